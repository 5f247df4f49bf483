#include "base/Utf8.h"
#include "platform/text/Shaping.h"

namespace velk::text {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

/// Controls, and the separators of lines and paragraphs, which a single line does not obey.
bool isControl(char32_t character)
{
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x2028
        || character == 0x2029;
}

} // namespace

std::u32string lineCharacters(std::string_view text)
{
    std::u32string characters;
    characters.reserve(text.size());
    while (!text.empty()) {
        auto const [codePoint, length] = firstUtf8Character(text);
        auto const character = codePoint.value_or(kReplacement);
        characters.push_back(isControl(character) ? U' ' : character);
        text.remove_prefix(length);
    }
    return characters;
}

} // namespace velk::text
