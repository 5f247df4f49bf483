#include "platform/graphics/drawing/Blend.h"

#include "platform/graphics/drawing/BlendKernels.h"

#include <algorithm>
#include <cmath>

namespace velk::graphics {

PremultipliedColor premultiplied(Color const& color, double alpha)
{
    // What is not a number is 0.
    auto const clamped = [](double value) { return value > 0 ? std::min(value, 1.0) : 0.0; };
    auto const opacity = clamped(color.alpha) * clamped(alpha);
    auto const rounded = [&](double value) { return static_cast<std::uint8_t>(std::lround(value * 255)); };
    return {rounded(clamped(color.red) * opacity), rounded(clamped(color.green) * opacity),
        rounded(clamped(color.blue) * opacity), rounded(opacity)};
}

bool changesOutside(BlendMode mode)
{
    return emptySourceCounts(mode);
}

void blendColor(BlendMode mode, std::uint8_t* target, PremultipliedColor color, std::uint8_t const* coverage,
    std::size_t count)
{
    std::uint8_t const pixel[] = {color.red, color.green, color.blue, color.alpha};
    blendSpan(mode, {target, pixel, true, 255, coverage, count});
}

void blendPixels(BlendMode mode, std::uint8_t* target, std::uint8_t const* pixels, std::uint8_t alpha,
    std::uint8_t const* coverage, std::size_t count)
{
    blendSpan(mode, {target, pixels, false, alpha, coverage, count});
}

} // namespace velk::graphics
