#pragma once

#include "platform/graphics/ColorSpace.h"

namespace velk::graphics {

/// Display P3 as CSS Color 4 names it: the primaries of SMPTE RP 431-2, white D65 and the curve of sRGB. An
/// ICC profile of version 4.
ColorSpace const& displayP3();

} // namespace velk::graphics
