#pragma once

#include "base/Result.h"
#include "platform/color/PixelKernels.h"
#include "platform/graphics/ColorSpace.h"

#include <span>

namespace velk::color {

/// Pixels and what they mean.
struct ColoredPixels {
    graphics::PixelFormat format;
    graphics::ColorSpace space = graphics::ColorSpace::device(graphics::ColorModel::RGB);
};

/// A conversion of colours; copies of its kernel may run on several threads at once.
struct ColorKernel {
    RowKernel kernel;
    bool isCostly = false; ///< several threads are worth while
};

/// Converts colours along `links`, at least one, to pixels of format `to` in the space of the last. Device
/// spaces stand for sRGB, sRGB-like grey, CGATS 001 and D50 Lab; a space on the way, not the last, has a
/// profile. No side is indexed or has premultiplied alpha. Alpha is copied, or opaque where only the target
/// has it. An error when a profile cannot be used.
Result<ColorKernel> profileTransform(
    ColoredPixels const& from, std::span<graphics::ColorLink const> links, graphics::PixelFormat to);

/// Whether colours can be converted into the space of the profile's device, by any intent.
bool canConvertTo(ByteSpan profile);

} // namespace velk::color
