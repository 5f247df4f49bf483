#pragma once

#include "platform/graphics/drawing/BitmapContext.h"

#include <cstddef>
#include <cstdint>

namespace velk::graphics {

/// One premultiplied pixel, 8 bits each.
struct PremultipliedColor {
    std::uint8_t red = 0, green = 0, blue = 0, alpha = 0;

    bool isOpaque() const { return alpha == 255; }
};

/// Clamped to 0..1, multiplied by `alpha`, rounded to nearest.
PremultipliedColor premultiplied(Color const& color, double alpha = 1);

/// Whether pixels of no coverage change too.
bool changesOutside(BlendMode mode);

/// Joins one colour with `count` pixels at `target` (premultiplied RGBA): result = blend · c + target · (1 -
/// c) with the coverage c, 255 where `coverage` is null. Products round to nearest.
void blendColor(BlendMode mode, std::uint8_t* target, PremultipliedColor color, std::uint8_t const* coverage,
    std::size_t count);

/// The same with a pixel for each, scaled by `alpha` (0..255).
void blendPixels(BlendMode mode, std::uint8_t* target, std::uint8_t const* pixels, std::uint8_t alpha,
    std::uint8_t const* coverage, std::size_t count);

/// values = values · mask, rounded to nearest.
void multiplyCoverage(std::uint8_t* values, std::uint8_t const* mask, std::size_t count);

} // namespace velk::graphics
