#include "canvas/TextLines.h"

#include "base/RecentlyUsed.h"
#include "canvas/FontString.h"

#include <optional>

namespace velk {

using text::Font;

namespace {

constexpr std::size_t kRememberedFonts = 64;
constexpr std::size_t kRememberedTextBytes = std::size_t {1} << 20;
/// About what is remembered of a line beside its text, and for each byte of that.
constexpr std::size_t kLineBytes = 256;
constexpr std::size_t kBytesPerTextByte = 40;

std::optional<Font> const& fontFor(std::string const& description)
{
    static RecentlyUsed<std::string, std::optional<Font>> fonts(kRememberedFonts);
    if (auto const* known = fonts.find(description))
        return *known;
    auto const request = parseFontString(description);
    auto font = request.family.empty() ? std::nullopt : Font::find(request.family, request.size);
    return fonts.add(description, std::move(font));
}

std::shared_ptr<TextLine const> layOut(std::string const& text, Font const& font)
{
    return std::make_shared<TextLine>(TextLine {text::Line(text, font), font.size()});
}

} // namespace

std::shared_ptr<TextLine const> textLine(std::string const& font, std::string const& text)
{
    static RecentlyUsed<std::string, std::shared_ptr<TextLine const>> lines(kRememberedTextBytes);
    auto const key = font + '\0' + text;
    if (auto const* known = lines.find(key))
        return *known;
    auto const& found = fontFor(font);
    if (!found)
        return nullptr;
    return lines.add(key, layOut(text, *found), kLineBytes + text.size() * kBytesPerTextByte);
}

std::shared_ptr<TextLine const> textLineInFallbackFont(std::string const& text)
{
    return layOut(text, Font::fallback());
}

} // namespace velk
