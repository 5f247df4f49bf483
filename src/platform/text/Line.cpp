#include "platform/text/Line.h"

#include "platform/text/Shaping.h"
#include "platform/text/SizedFace.h"

namespace velk::text {

namespace {

std::vector<ShapedGlyph> shape(std::string_view text, Face const& face)
{
    auto const characters = lineCharacters(text);
    auto plain = shapePlain(characters, face);
    return plain ? std::move(*plain) : shapeAny(characters, face);
}

} // namespace

Line::Line(std::string_view text, Font const& font)
{
    if (!font.m_face)
        return;
    auto const size = font.m_size;
    m_faces.push_back(font.m_face);
    InkExtent ink;
    for (auto const& shaped : shape(text, font.m_face->face())) {
        auto const& glyph = sizedFace(*shaped.face, size).glyph(shaped.glyph);
        if (glyph.outline.isEmpty())
            continue;
        graphics::Point const origin {shaped.origin.x * size, shaped.origin.y * size};
        m_glyphs.push_back({glyph.identity, &glyph.outline, origin});
        ink.include(glyph.ink, origin);
    }
    m_inkBox = ink.rect();
}

SizedFace& Line::sizedFace(Face const& face, double size)
{
    for (auto const& sized : m_faces) {
        if (&sized->face() == &face)
            return *sized;
    }
    return *m_faces.emplace_back(SizedFace::of(face, size));
}

graphics::Path Line::outline() const
{
    graphics::Path path;
    for (auto const& glyph : m_glyphs)
        path.append(*glyph.outline, graphics::AffineTransform::translation(glyph.origin.x, glyph.origin.y));
    return path;
}

} // namespace velk::text
