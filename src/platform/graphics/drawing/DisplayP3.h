#pragma once

#include "platform/graphics/Image.h"

namespace velk::graphics {

/// Display P3 (as CSS Color 4 names it) with the profile that saved canvases get.
ColorSpace const& displayP3();

/// Whether the profile's colours are those of Display P3, whoever wrote it; only profiles of a matrix and
/// parametric curves are recognised.
bool isDisplayP3(ColorSpace const& space);

/// `image` as a canvas takes it: without a profile, RGB stands for sRGB; any Display P3 is the canvas's own,
/// so that nothing is converted.
Image forCanvas(Image const& image);

} // namespace velk::graphics
