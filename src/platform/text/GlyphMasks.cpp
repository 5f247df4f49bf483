#include "platform/text/GlyphMasks.h"

#include <bit>
#include <cmath>

namespace velk::text {

using namespace graphics;

namespace {

constexpr std::size_t kSharedBytes = std::size_t {16} << 20;
/// About what the cache spends on an entry beside its pixels.
constexpr std::size_t kEntryBytes = 192;
/// Sides of larger masks: such glyphs are rare, and drawing them anew is as fast as it gets.
constexpr double kMaximumSide = 256;
/// Farther from the origin no pixel of a bitmap lies.
constexpr double kMaximumDistance = 1 << 30;
constexpr int kPhases = 4;

// A coordinate as whole pixels and quarters of one.
struct SplitCoordinate {
    std::int32_t pixels;
    std::uint8_t quarters;
};

SplitCoordinate split(double coordinate)
{
    auto const quarters = static_cast<std::int64_t>(std::floor(coordinate * kPhases + 0.5));
    auto const pixels = quarters >> 2;
    return {static_cast<std::int32_t>(pixels), static_cast<std::uint8_t>(quarters & 3)};
}

bool isNear(Point point)
{
    return std::abs(point.x) < kMaximumDistance && std::abs(point.y) < kMaximumDistance;
}

IntRect roundedOut(FloatRect const& rect)
{
    auto const left = std::floor(rect.x), top = std::floor(rect.y);
    return {static_cast<std::int32_t>(left), static_cast<std::int32_t>(top),
        static_cast<std::int32_t>(std::ceil(rect.x + rect.width) - left),
        static_cast<std::int32_t>(std::ceil(rect.y + rect.height) - top)};
}

} // namespace

GlyphMasks& GlyphMasks::shared()
{
    static GlyphMasks masks(kSharedBytes);
    return masks;
}

GlyphMasks::GlyphMasks(std::size_t maximumBytes)
    : m_masks(maximumBytes)
{
}

std::size_t GlyphMasks::KeyHash::operator()(Key const& key) const
{
    auto const phase = static_cast<std::uint64_t>(key.phaseX * kPhases + key.phaseY);
    auto const mixed = (key.outline * kPhases * kPhases + phase) * 0x9E3779B97F4A7C15U
        ^ std::bit_cast<std::uint64_t>(key.scale);
    return static_cast<std::size_t>(mixed ^ (mixed >> 32));
}

std::optional<CoverageMask> GlyphMasks::cover(Path const& outline, Key const& key) const
{
    Path path;
    path.append(outline,
        {.a = key.scale,
            .d = -key.scale,
            .tx = static_cast<double>(key.phaseX) / kPhases,
            .ty = static_cast<double>(key.phaseY) / kPhases});
    auto const bounds = path.controlBounds();
    // Also false for numbers that are none.
    bool const isSmall = std::abs(bounds.x) < kMaximumDistance && std::abs(bounds.y) < kMaximumDistance
        && bounds.width < kMaximumSide && bounds.height < kMaximumSide;
    if (!isSmall)
        return std::nullopt;
    return coverageOf(path, roundedOut(bounds));
}

std::optional<PlacedMask> GlyphMasks::place(PlacedGlyph const& glyph, double scale, Point origin)
{
    if (!isNear(origin))
        return std::nullopt;
    auto const x = split(origin.x), y = split(origin.y);
    Key const key {glyph.outlineIdentity, scale, x.quarters, y.quarters};
    auto* known = m_masks.find(key);
    if (!known) {
        auto mask = cover(*glyph.outline, key);
        auto const cost = kEntryBytes + (mask ? mask->values.size() : 0);
        known = &m_masks.add(key, std::move(mask), cost);
    }
    if (!*known)
        return std::nullopt;
    return PlacedMask {&**known, x.pixels, y.pixels};
}

} // namespace velk::text
