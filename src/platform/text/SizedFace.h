#pragma once

#include "platform/text/Face.h"
#include "platform/text/InkExtent.h"

#include <cstdint>
#include <memory>
#include <unordered_map>

namespace velk::text {

/// A glyph at a size.
struct Glyph {
    /// A number that no other glyph ever has.
    std::uint64_t identity;
    graphics::Path outline;
    /// Around the outline, from the glyph's origin.
    InkExtent ink;
};

/// A face at a size: keeps the outlines that were asked for.
class SizedFace {
public:
    /// Shared by all who ask for the same while one of them, or the cache of recent ones, still has it.
    static std::shared_ptr<SizedFace> of(Face const& face, double size);

    SizedFace(Face const& face, double size);

    Face const& face() const { return m_face; }
    double size() const { return m_size; }
    /// Alive as long as this.
    Glyph const& glyph(GlyphIndex index);

private:
    Face const& m_face;
    double m_size;
    std::unordered_map<GlyphIndex, Glyph> m_glyphs;
};

} // namespace velk::text
