#pragma once

#include "base/Result.h"
#include "platform/graphics/RowSource.h"

#include <vector>

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
    /// Spaces with profiles that colours pass through on their way to `space`, each reached with its own
    /// intent.
    std::vector<graphics::ColorLink> through = {};
    /// Converts between a device space and a profile of one model too.
    bool readsDevice = false;
};

/// Whether colours of `from` are to be converted on their way into the target.
bool changesColors(graphics::ColorSpace const& from, ConversionTarget const& target);

Result<graphics::RowSourcePointer> convertColors(
    graphics::RowSourcePointer rows, ConversionTarget const& target);

} // namespace velk::color
