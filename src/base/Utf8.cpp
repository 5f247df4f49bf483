#include "base/Utf8.h"

#include <cassert>

namespace velk {

namespace {

struct SequenceForm {
    unsigned char leadMask, lead;
    std::size_t length;
    char32_t smallest;
};

constexpr SequenceForm kForms[] = {
    {0x80, 0x00, 1, 0},
    {0xE0, 0xC0, 2, 0x80},
    {0xF0, 0xE0, 3, 0x800},
    {0xF8, 0xF0, 4, 0x10000},
};

bool isScalarValue(char32_t codePoint)
{
    return codePoint <= 0x10FFFF && (codePoint < 0xD800 || codePoint > 0xDFFF);
}

std::optional<char32_t> decode(std::string_view text, SequenceForm const& form)
{
    if (text.size() < form.length)
        return std::nullopt;
    auto codePoint = static_cast<char32_t>(static_cast<unsigned char>(text[0]) & ~form.leadMask);
    for (auto const c : text.substr(1, form.length - 1)) {
        auto const byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0) != 0x80)
            return std::nullopt;
        codePoint = codePoint << 6 | (byte & 0x3F);
    }
    if (codePoint < form.smallest || !isScalarValue(codePoint))
        return std::nullopt;
    return codePoint;
}

} // namespace

Utf8Character firstUtf8Character(std::string_view text)
{
    assert(!text.empty());
    for (auto const& form : kForms) {
        if ((static_cast<unsigned char>(text[0]) & form.leadMask) != form.lead)
            continue;
        if (auto const codePoint = decode(text, form))
            return {codePoint, form.length};
    }
    return {};
}

bool isUtf8(std::string_view text)
{
    while (!text.empty()) {
        auto const character = firstUtf8Character(text);
        if (!character.codePoint)
            return false;
        text.remove_prefix(character.length);
    }
    return true;
}

} // namespace velk
