#include "base/TextEncoding.h"

#include <algorithm>

namespace velk {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

} // namespace

bool isAscii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<std::uint8_t>(c) < 0x80; });
}

std::string utf8FromUndeclared(ByteSpan bytes)
{
    auto const text = asText(bytes);
    return isUtf8(text) ? std::string(text) : utf8FromLatin1(bytes);
}

std::string utf8FromLatin1(ByteSpan bytes)
{
    std::string text;
    for (auto const byte : bytes)
        appendUtf8(text, byte);
    return text;
}

std::string utf8FromUtf16(ByteSpan bytes, ByteOrder order)
{
    std::string text;
    std::size_t i = 0;
    if (bytes.size() >= 2 && (loadBE16(bytes.data()) == 0xFEFF || loadLE16(bytes.data()) == 0xFEFF)) {
        order = bytes[0] == 0xFE ? ByteOrder::Big : ByteOrder::Little;
        i = 2;
    }
    for (; i + 1 < bytes.size(); i += 2) {
        char32_t character = loadInteger<std::uint16_t>(bytes.data() + i, order);
        if (character >= 0xD800 && character < 0xDC00 && i + 3 < bytes.size()) {
            auto const low = loadInteger<std::uint16_t>(bytes.data() + i + 2, order);
            if (low >= 0xDC00 && low < 0xE000) {
                character = 0x10000 + ((character - 0xD800) << 10) + (low - 0xDC00u);
                i += 2;
            }
        }
        appendUtf8(text, character >= 0xD800 && character < 0xE000 ? kReplacement : character);
    }
    return text;
}

Bytes utf16FromUtf8(std::string_view text, ByteOrder order)
{
    Bytes bytes;
    while (!text.empty()) {
        auto const first = firstUtf8Character(text);
        auto const character = first.codePoint.value_or(kReplacement);
        text.remove_prefix(first.length);
        if (character < 0x10000) {
            append(bytes, static_cast<std::uint16_t>(character), order);
            continue;
        }
        append(bytes, static_cast<std::uint16_t>(0xD800 + ((character - 0x10000) >> 10)), order);
        append(bytes, static_cast<std::uint16_t>(0xDC00 + (character & 0x3FF)), order);
    }
    return bytes;
}

void appendUtf8(std::string& text, char32_t character)
{
    auto const add = [&](char32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (character < 0x80) {
        add(character);
        return;
    }
    int const followers = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
    constexpr char32_t kLeads[] = {0, 0xC0, 0xE0, 0xF0};
    add(kLeads[followers] | character >> (6 * followers));
    for (int i = followers - 1; i >= 0; --i)
        add(0x80 | (character >> (6 * i) & 0x3F));
}

void trimEnd(std::string& text)
{
    constexpr std::string_view kBlanks(" \t\r\n\0", 5);
    auto const last = text.find_last_not_of(kBlanks);
    text.resize(last == std::string::npos ? 0 : last + 1);
}

} // namespace velk
