#pragma once

#include "platform/graphics/drawing/Path.h"

#include <cstdint>
#include <memory>

struct hb_font_t;
struct _FcPattern;

namespace velk::text {

/// Numbers a glyph within its face.
using GlyphIndex = std::uint32_t;
/// What a face shows for characters that it lacks.
constexpr GlyphIndex kMissingGlyph = 0;

/// An installed face, scalable, without a size. Opened once; lives as long as the process.
class Face {
public:
    /// The face that a fontconfig pattern names by file, index and variations; null when the file is no
    /// TrueType or OpenType font.
    static Face const* of(_FcPattern* pattern);

    /// The pattern that it was first opened by.
    _FcPattern* pattern() const { return m_pattern.get(); }
    /// Shapes and measures in font units.
    hb_font_t* shaper() const { return m_shaper.get(); }
    double unitsPerEm() const { return m_unitsPerEm; }

    /// The glyph's outline, unhinted, y upwards; empty for blanks and for glyphs that exist only as bitmaps.
    graphics::Path outline(GlyphIndex glyph, double size) const;

private:
    struct PatternRelease {
        void operator()(_FcPattern* pattern) const;
    };
    struct ShaperRelease {
        void operator()(hb_font_t* font) const;
    };

    explicit Face(_FcPattern* pattern);

    std::unique_ptr<_FcPattern, PatternRelease> m_pattern;
    std::unique_ptr<hb_font_t, ShaperRelease> m_shaper;
    double m_unitsPerEm = 0;
};

} // namespace velk::text
