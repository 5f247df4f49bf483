#include "profile/TextTags.h"

#include "base/TextEncoding.h"
#include "platform/color/ProfileText.h"

#include <vector>

namespace velk {

using color::LocalizedText;
using desktop::Locale;

namespace {

constexpr std::size_t kMaximumAsciiDescription = 1024;
constexpr std::size_t kMaximumCopyright = 200;

// The first `limit` characters, with a question mark for each that is not ASCII.
std::string toAscii(std::string_view text, std::size_t limit)
{
    std::string ascii;
    while (!text.empty() && ascii.size() < limit) {
        auto const character = firstUtf8Character(text);
        ascii += character.codePoint && *character.codePoint < 0x80 ? text.front() : '?';
        text.remove_prefix(character.length);
    }
    return ascii;
}

} // namespace

Bytes descriptionElement(std::string const& text)
{
    Locale const english {"en", "US"};
    auto const locale = desktop::currentLocale();
    auto const unchanged = utf8FromUndeclared(asBytes(text));
    std::vector<LocalizedText> texts = {{locale, unchanged}};
    if (locale != english)
        texts.push_back({english, toAscii(unchanged, kMaximumAsciiDescription)});
    return color::localizedElement(texts);
}

Bytes copyrightElement(std::string const& text)
{
    Bytes element;
    append(element, "text");
    appendBE32(element, 0);
    append(element, toAscii(utf8FromUndeclared(asBytes(text)), kMaximumCopyright));
    element.push_back(0);
    return element;
}

} // namespace velk
