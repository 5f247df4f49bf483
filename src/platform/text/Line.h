#pragma once

#include "platform/graphics/drawing/Path.h"
#include "platform/text/Font.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace velk::text {

class Face;

/// One glyph of a line: an outline that many lines share, and where its origin lies.
struct PlacedGlyph {
    /// Numbers the outline: it has the same one in all lines while it is cached, and never stands for
    /// another.
    std::uint64_t outlineIdentity;
    /// y upwards from the baseline; alive as long as the line.
    graphics::Path const* outline;
    graphics::Point origin;
};

/// One line of text, laid out from left to right from the origin on, y upwards from the baseline:
/// bidirectional text in its visual order, complex scripts shaped, glyphs that the font lacks taken from
/// others. Line breaks and tabs count as blanks; invalid UTF-8 is shown as U+FFFD.
class Line {
public:
    Line(std::string_view text, Font const& font);

    /// From left to right; without glyphs that leave no ink.
    std::span<PlacedGlyph const> glyphs() const { return m_glyphs; }
    /// The rectangle around the ink, y upwards: `y` is its lower edge. Empty for blanks.
    graphics::FloatRect inkBox() const { return m_inkBox; }
    /// All outlines, in place.
    graphics::Path outline() const;

private:
    SizedFace& sizedFace(Face const& face, double size);

    /// The font's face and those that lend it glyphs: they own the outlines.
    std::vector<std::shared_ptr<SizedFace>> m_faces;
    std::vector<PlacedGlyph> m_glyphs;
    graphics::FloatRect m_inkBox;
};

} // namespace velk::text
