#pragma once

#include "platform/graphics/ColorSpace.h"

namespace velk::color {

/// RGB with a small sRGB profile (IEC 61966-2-1) that every reader understands.
graphics::ColorSpace srgbSpace();

/// Whether 8-bit numbers in the space mean what they mean in sRGB, but for one step; a device space is read
/// as sRGB.
bool isSrgb(graphics::ColorSpace const& space);

} // namespace velk::color
