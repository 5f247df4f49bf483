#include "platform/graphics/ColorSpace.h"

#include <algorithm>
#include <cassert>

namespace velk::graphics {

bool Palette::hasAlpha() const
{
    return std::any_of(entries.begin(), entries.end(), [](auto const& color) { return color[3] != 255; });
}

ColorSpace ColorSpace::indexed(ColorSpace const& base, Palette palette)
{
    assert(base.model() == ColorModel::RGB);
    ColorSpace space = base;
    space.m_palette = std::make_shared<Palette const>(std::move(palette));
    return space;
}

ColorSpace ColorSpace::replacingProfile(SharedBytes profile) const
{
    ColorSpace space = *this;
    space.m_profile = std::move(profile);
    return space;
}

bool ColorSpace::operator==(ColorSpace const& other) const
{
    if (m_model != other.m_model || !equalBytes(m_profile, other.m_profile))
        return false;
    if (m_palette == other.m_palette)
        return true;
    return m_palette && other.m_palette && m_palette->entries == other.m_palette->entries;
}

} // namespace velk::graphics
