#pragma once

#include "platform/graphics/drawing/Coverage.h"
#include "platform/text/Font.h"

#include <memory>
#include <span>
#include <vector>

namespace velk::text {

/// One glyph of a line: an outline that many lines share, and where its origin lies.
struct PlacedGlyph {
    /// Numbers the outline: same face, glyph and size = same identity. Never used again for another.
    std::uint64_t outlineIdentity;
    /// y upwards from the baseline; alive as long as the process.
    graphics::Path const* outline;
    graphics::Point origin;
};

/// One line of text, laid out from left to right from the origin on, y upwards from the baseline:
/// bidirectional text in its visual order, complex scripts shaped, glyphs that the font lacks taken from
/// others. Line breaks and tabs count as blanks; invalid UTF-8 is shown as U+FFFD.
class Line {
public:
    Line(std::string_view text, Font const& font);

    std::span<PlacedGlyph const> glyphs() const { return m_glyphs; }
    /// The rectangle around the ink, y upwards: `y` is its lower edge. Empty for blanks.
    graphics::FloatRect inkBox() const { return m_inkBox; }
    /// All outlines, in place.
    graphics::Path outline() const;

private:
    std::vector<PlacedGlyph> m_glyphs;
    graphics::FloatRect m_inkBox;
};

} // namespace velk::text
