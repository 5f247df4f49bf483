#pragma once

#include "platform/graphics/drawing/Blend.h"

#include <array>
#include <cstddef>
#include <cstdint>

/// Blending with the widest vectors that the machine has; every target gives the same bytes.
namespace velk::graphics {

/// What the alpha of the other side makes of a side: one of the factors of T. Porter and T. Duff,
/// "Compositing Digital Images", 1984.
enum class BlendFactor : std::uint8_t { Zero, One, Alpha, OneMinusAlpha };

/// result = source · (factor of the target's alpha) + target · (factor of the source's alpha)
struct BlendFactors {
    BlendFactor source;
    BlendFactor target;
};

constexpr std::array<BlendFactors, 11> kBlendFactors = {{
    {BlendFactor::One, BlendFactor::OneMinusAlpha}, // Normal
    {BlendFactor::Alpha, BlendFactor::OneMinusAlpha}, // SourceAtop
    {BlendFactor::Alpha, BlendFactor::Zero}, // SourceIn
    {BlendFactor::OneMinusAlpha, BlendFactor::Zero}, // SourceOut
    {BlendFactor::OneMinusAlpha, BlendFactor::One}, // DestinationOver
    {BlendFactor::OneMinusAlpha, BlendFactor::Alpha}, // DestinationAtop
    {BlendFactor::Zero, BlendFactor::Alpha}, // DestinationIn
    {BlendFactor::Zero, BlendFactor::OneMinusAlpha}, // DestinationOut
    {BlendFactor::OneMinusAlpha, BlendFactor::OneMinusAlpha}, // Lighten: and the larger one where both are
    {BlendFactor::One, BlendFactor::Zero}, // Copy
    {BlendFactor::OneMinusAlpha, BlendFactor::OneMinusAlpha}, // Xor
}};

constexpr BlendFactors blendFactors(BlendMode mode)
{
    return kBlendFactors[static_cast<std::size_t>(mode)];
}

/// Whether a source of no alpha changes the target; such modes cannot take coverage as part of the alpha.
constexpr bool emptySourceCounts(BlendMode mode)
{
    auto const factor = blendFactors(mode).target;
    return factor == BlendFactor::Zero || factor == BlendFactor::Alpha;
}

/// A span to blend; `coverage` may be null. `pixels` is one pixel when `isSolid`.
struct BlendSpan {
    std::uint8_t* target;
    std::uint8_t const* pixels;
    bool isSolid;
    std::uint8_t alpha;
    std::uint8_t const* coverage;
    std::size_t count;
};

void blendSpan(BlendMode mode, BlendSpan const& span);

} // namespace velk::graphics
