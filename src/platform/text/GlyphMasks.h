#pragma once

#include "base/RecentlyUsed.h"
#include "platform/graphics/drawing/Coverage.h"
#include "platform/text/Line.h"

#include <cstdint>
#include <optional>

namespace velk::text {

/// A glyph's coverage and the whole pixels by which it has to be moved.
struct PlacedMask {
    /// Good until the next mask is asked for.
    graphics::CoverageMask const* mask;
    std::int32_t dx, dy;
};

/// Remembers what glyphs cover, for upright text: drawing the same glyph again is then only blending. Places
/// are rounded to quarters of a pixel.
class GlyphMasks {
public:
    /// The masks of this process. Main thread only.
    static GlyphMasks& shared();

    explicit GlyphMasks(std::size_t maximumBytes);

    /// The mask of `glyph` with `scale` pixels to the unit and its origin at `origin` (device pixels, y
    /// downwards). Nothing for glyphs that are too large to be remembered or too far away to be seen.
    std::optional<PlacedMask> place(PlacedGlyph const& glyph, double scale, graphics::Point origin);

private:
    struct Key {
        std::uint64_t outline;
        double scale;
        std::uint8_t phaseX, phaseY; ///< quarters of a pixel
        bool operator==(Key const&) const = default;
    };
    struct KeyHash {
        std::size_t operator()(Key const& key) const;
    };

    std::optional<graphics::CoverageMask> cover(graphics::Path const& outline, Key const& key) const;

    RecentlyUsed<Key, std::optional<graphics::CoverageMask>, KeyHash> m_masks;
};

} // namespace velk::text
