#pragma once

#include "base/Result.h"
#include "platform/graphics/RowSource.h"

namespace velk::color {

/// Converts rows into another layout of the same size: component type, model, alpha layout, and, where the
/// colour spaces differ, colour (through ICC profiles, perceptual for the default intent). Device spaces
/// stand for sRGB, the sRGB tone curve in grey, CGATS 001 for CMYK and D50 Lab; between two spaces of one
/// model of which one is a device space, nothing is converted. Indexed sources are looked up; indexed targets
/// are not possible. Alpha is kept where the target has it; where it has none, the picture is put on
/// `background` (red, green, blue in 0..1).
struct ConversionTarget {
    graphics::PixelFormat format;
    graphics::ColorSpace space;
    graphics::RenderingIntent intent = graphics::RenderingIntent::Default;
    float background[3] = {1, 1, 1};
};

Result<graphics::RowSourcePointer> convertColors(
    graphics::RowSourcePointer rows, ConversionTarget const& target);

} // namespace velk::color
