#include "platform/graphics/drawing/Blend.h"

#include <algorithm>
#include <cmath>

namespace velk::graphics {

namespace {

constexpr unsigned divideBy255(unsigned value)
{
    return (value + 127) / 255;
}

enum class Factor : std::uint8_t { Zero, One, Alpha, OneMinusAlpha };

// result = source · (factor of the target's alpha) + target · (factor of the source's alpha)
struct PorterDuff {
    Factor source;
    Factor target;
};

constexpr PorterDuff kOperators[] = {
    {Factor::One, Factor::OneMinusAlpha}, // Normal
    {Factor::Alpha, Factor::OneMinusAlpha}, // SourceAtop
    {Factor::Alpha, Factor::Zero}, // SourceIn
    {Factor::OneMinusAlpha, Factor::Zero}, // SourceOut
    {Factor::OneMinusAlpha, Factor::One}, // DestinationOver
    {Factor::OneMinusAlpha, Factor::Alpha}, // DestinationAtop
    {Factor::Zero, Factor::Alpha}, // DestinationIn
    {Factor::Zero, Factor::OneMinusAlpha}, // DestinationOut
    {Factor::OneMinusAlpha, Factor::OneMinusAlpha}, // Lighten, plus the larger one where both are
    {Factor::One, Factor::Zero}, // Copy
    {Factor::OneMinusAlpha, Factor::OneMinusAlpha}, // Xor
};

constexpr unsigned valueOf(Factor factor, unsigned alpha)
{
    switch (factor) {
    case Factor::Zero:
        return 0;
    case Factor::One:
        return 255;
    case Factor::Alpha:
        return alpha;
    case Factor::OneMinusAlpha:
        return 255 - alpha;
    }
    return 0;
}

void blendPixel(
    BlendMode mode, std::uint8_t* target, std::uint8_t const* pixel, unsigned alpha, unsigned coverage)
{
    auto const lerps = changesOutside(mode);
    auto const scale = lerps ? alpha : divideBy255(alpha * coverage);
    unsigned source[4];
    for (int i = 0; i < 4; ++i)
        source[i] = divideBy255(pixel[i] * scale);
    auto const factors = kOperators[static_cast<std::size_t>(mode)];
    unsigned const targetAlpha = target[3];
    auto const sourceFactor = valueOf(factors.source, targetAlpha);
    auto const targetFactor = valueOf(factors.target, source[3]);
    for (int i = 0; i < 4; ++i) {
        auto sum = source[i] * sourceFactor + target[i] * targetFactor;
        if (mode == BlendMode::Lighten)
            sum += std::max(source[i] * targetAlpha, target[i] * source[3]);
        auto result = divideBy255(std::min(sum, 255u * 255u));
        if (lerps)
            result = divideBy255(result * coverage + target[i] * (255 - coverage));
        target[i] = static_cast<std::uint8_t>(result);
    }
}

} // namespace

PremultipliedColor premultiplied(Color const& color, double alpha)
{
    auto const clamped = [](double value) { return value > 0 ? std::min(value, 1.0) : 0.0; };
    auto const opacity = clamped(color.alpha) * clamped(alpha);
    auto const rounded = [&](double value) { return static_cast<std::uint8_t>(std::lround(value * 255)); };
    return {rounded(clamped(color.red) * opacity), rounded(clamped(color.green) * opacity),
        rounded(clamped(color.blue) * opacity), rounded(opacity)};
}

bool changesOutside(BlendMode mode)
{
    return kOperators[static_cast<std::size_t>(mode)].target == Factor::Zero
        || kOperators[static_cast<std::size_t>(mode)].target == Factor::Alpha;
}

void blendColor(BlendMode mode, std::uint8_t* target, PremultipliedColor color, std::uint8_t const* coverage,
    std::size_t count)
{
    std::uint8_t const pixel[] = {color.red, color.green, color.blue, color.alpha};
    for (std::size_t i = 0; i < count; ++i)
        blendPixel(mode, target + 4 * i, pixel, 255, coverage ? coverage[i] : 255);
}

void blendPixels(BlendMode mode, std::uint8_t* target, std::uint8_t const* pixels, std::uint8_t alpha,
    std::uint8_t const* coverage, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        blendPixel(mode, target + 4 * i, pixels + 4 * i, alpha, coverage ? coverage[i] : 255);
}

void multiplyCoverage(std::uint8_t* values, std::uint8_t const* mask, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        values[i] = static_cast<std::uint8_t>(divideBy255(unsigned {values[i]} * mask[i]));
}

} // namespace velk::graphics
