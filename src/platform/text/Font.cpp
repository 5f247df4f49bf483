#include "platform/text/Font.h"

#include "platform/text/FontCatalog.h"
#include "platform/text/SizedFace.h"

#include <cmath>
#include <unordered_map>

namespace velk::text {

namespace {

/// As `installedFace`; remembers what a name led to, for it is asked for with every text that is drawn.
Face const* knownFace(std::string const& name)
{
    constexpr std::size_t kMostNames = 256;
    static std::unordered_map<std::string, Face const*> known;
    auto const found = known.find(name);
    if (found != known.end())
        return found->second;
    if (known.size() == kMostNames)
        known.clear();
    return known.emplace(name, installedFace(name)).first->second;
}

Face const* fallbackFace()
{
    static auto const* const face = [] {
        auto const* const usual = knownFace("Helvetica");
        return usual ? usual : anyFace();
    }();
    return face;
}

} // namespace

Font::Font(double size, std::shared_ptr<SizedFace> face)
    : m_size(size)
    , m_face(std::move(face))
{
}

std::optional<Font> Font::find(std::string const& name, double size)
{
    auto const* const face = knownFace(name);
    if (face == nullptr)
        return std::nullopt;
    auto const usedSize = std::isfinite(size) && size > 0 ? size : kDefaultSize;
    return Font(usedSize, SizedFace::of(*face, usedSize));
}

Font Font::fallback()
{
    auto const* const face = fallbackFace();
    return Font(kDefaultSize, face ? SizedFace::of(*face, kDefaultSize) : nullptr);
}

} // namespace velk::text
