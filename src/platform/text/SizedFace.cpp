#include "platform/text/SizedFace.h"

#include <algorithm>
#include <vector>

namespace velk::text {

namespace {

std::uint64_t nextIdentity()
{
    static std::uint64_t last = 0;
    return ++last;
}

Glyph makeGlyph(Face const& face, GlyphIndex index, double size)
{
    Glyph glyph {.identity = nextIdentity(), .outline = face.outline(index, size), .ink = {}};
    glyph.ink = inkExtent(glyph.outline);
    return glyph;
}

} // namespace

SizedFace::SizedFace(Face const& face, double size)
    : m_face(face)
    , m_size(size)
{
}

std::shared_ptr<SizedFace> SizedFace::of(Face const& face, double size)
{
    // Text that grows in an animation passes through many sizes, each with its outlines.
    constexpr std::size_t kKept = 64;
    static std::vector<std::shared_ptr<SizedFace>> recent;

    auto const found = std::ranges::find_if(
        recent, [&](auto const& sized) { return &sized->face() == &face && sized->size() == size; });
    if (found != recent.end()) {
        std::rotate(recent.begin(), found, found + 1);
        return recent.front();
    }
    if (recent.size() == kKept)
        recent.pop_back();
    return *recent.insert(recent.begin(), std::make_shared<SizedFace>(face, size));
}

Glyph const& SizedFace::glyph(GlyphIndex index)
{
    auto const found = m_glyphs.find(index);
    if (found != m_glyphs.end())
        return found->second;
    return m_glyphs.emplace(index, makeGlyph(m_face, index, m_size)).first->second;
}

} // namespace velk::text
