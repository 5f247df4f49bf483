#include "platform/codec/FixedText.h"

namespace velk::codec {

std::string readFixedText(ByteSpan field)
{
    std::string text;
    for (auto const byte : field) {
        if (byte == 0)
            break;
        if (byte < 0x80) {
            text.push_back(static_cast<char>(byte));
        } else {
            text.push_back(static_cast<char>(0xC0 | byte >> 6));
            text.push_back(static_cast<char>(0x80 | (byte & 0x3F)));
        }
    }
    text.erase(text.find_last_not_of(" \t\r\n") + 1);
    return text;
}

Bytes fixedText(std::string_view text, std::size_t size)
{
    Bytes field;
    for (std::size_t i = 0; i < text.size() && field.size() + 1 < size; ++i) {
        auto const byte = static_cast<std::uint8_t>(text[i]);
        if (byte < 0x80) {
            field.push_back(byte);
        } else if ((byte == 0xC2 || byte == 0xC3) && i + 1 < text.size()) {
            auto const next = static_cast<std::uint8_t>(text[++i]);
            field.push_back(static_cast<std::uint8_t>((byte & 3) << 6 | (next & 0x3F)));
        } else if ((byte & 0xC0) == 0xC0) {
            field.push_back('?');
        }
    }
    field.resize(size);
    return field;
}

} // namespace velk::codec
