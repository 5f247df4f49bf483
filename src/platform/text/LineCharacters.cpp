#include "base/Utf8.h"
#include "platform/text/Shaping.h"

#include <hb.h>

namespace velk::text {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

/// Controls, and the separators of lines and paragraphs, which a single line does not obey.
bool isControl(char32_t character)
{
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x2028
        || character == 0x2029;
}

char32_t shown(std::optional<char32_t> codePoint)
{
    auto const character = codePoint.value_or(kReplacement);
    return isControl(character) ? U' ' : character;
}

/// The one character that is both, if there is.
std::optional<char32_t> composed(char32_t first, char32_t second)
{
    constexpr char32_t kFirstCombining = 0x300;
    if (second < kFirstCombining)
        return std::nullopt;
    hb_codepoint_t both = 0;
    if (!hb_unicode_compose(hb_unicode_funcs_get_default(), first, second, &both))
        return std::nullopt;
    return both;
}

void append(std::u32string& characters, char32_t character)
{
    auto const both = characters.empty() ? std::nullopt : composed(characters.back(), character);
    if (both)
        characters.back() = *both;
    else
        characters.push_back(character);
}

} // namespace

std::u32string lineCharacters(std::string_view text)
{
    std::u32string characters;
    characters.reserve(text.size());
    while (!text.empty()) {
        auto const [codePoint, length] = firstUtf8Character(text);
        append(characters, shown(codePoint));
        text.remove_prefix(length);
    }
    return characters;
}

} // namespace velk::text
