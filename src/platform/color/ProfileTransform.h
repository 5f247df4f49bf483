#pragma once

#include "base/Result.h"
#include "platform/color/PixelKernels.h"
#include "platform/graphics/ColorSpace.h"

namespace velk::color {

/// Pixels and what they mean.
struct ColoredPixels {
    graphics::PixelFormat format;
    graphics::ColorSpace space = graphics::ColorSpace::device(graphics::ColorModel::RGB);
};

/// Converts colours between two spaces, of which device spaces stand for sRGB, sRGB-like grey, CGATS 001 and
/// D50 Lab. No side is indexed or has premultiplied alpha. Alpha is copied, or opaque where only the target
/// has it. An error when a profile cannot be used.
Result<RowKernel> profileTransform(
    ColoredPixels const& from, ColoredPixels const& to, graphics::RenderingIntent intent);

} // namespace velk::color
