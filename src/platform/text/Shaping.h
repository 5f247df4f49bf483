#pragma once

#include "platform/text/Face.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velk::text {

/// A glyph in its place on a line, in ems from the line's origin, y upwards.
struct ShapedGlyph {
    Face const* face;
    GlyphIndex glyph;
    graphics::Point origin;
};

/// The characters of one line: invalid UTF-8 as U+FFFD, control characters and line breaks as blanks, a
/// letter and its mark as one character where there is one, for more fonts have that than the mark.
std::u32string lineCharacters(std::string_view text);

/// Shapes text of one direction in one script that `face` has all glyphs for: what nearly all text is, and
/// several times faster than `shapeAny`. Nothing when the text is more than that.
std::optional<std::vector<ShapedGlyph>> shapePlain(std::u32string_view text, Face const& face);

/// Shapes any text: in visual order, with glyphs from other faces where `face` lacks them, or where none has
/// them, a box.
std::vector<ShapedGlyph> shapeAny(std::u32string_view text, Face const& face);

} // namespace velk::text
