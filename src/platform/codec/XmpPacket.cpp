#include "platform/codec/XmpPacket.h"

#include <optional>

namespace velk::codec {

namespace {

constexpr std::string_view kSpaces = " \t\r\n";
constexpr std::string_view kDigits = "0123456789";

struct Range {
    std::size_t begin, length;
};

// The digits behind a property's name: `name="6"`, `name = '6'`, or `<name>6</name>`.
std::optional<Range> numberAfter(std::string_view packet, std::size_t nameEnd)
{
    auto at = packet.find_first_not_of(kSpaces, nameEnd);
    if (at == std::string_view::npos)
        return std::nullopt;
    char terminator = '<';
    if (packet[at] == '=') {
        at = packet.find_first_of("\"'", at + 1);
        if (at == std::string_view::npos)
            return std::nullopt;
        terminator = packet[at];
    } else if (packet[at] != '>') {
        return std::nullopt;
    }
    auto const begin = packet.find_first_not_of(kSpaces, at + 1);
    if (begin == std::string_view::npos)
        return std::nullopt;
    auto const end = packet.find_first_not_of(kDigits, begin);
    if (end == begin || end == std::string_view::npos)
        return std::nullopt;
    auto const after = packet.find_first_not_of(kSpaces, end);
    if (after == std::string_view::npos || packet[after] != terminator)
        return std::nullopt;
    return Range {begin, end - begin};
}

// Neither part of a longer name nor the end tag of an element.
bool startsName(std::string_view packet, std::size_t at)
{
    return at > 0 && (packet[at - 1] == '<' || kSpaces.find(packet[at - 1]) != std::string_view::npos);
}

} // namespace

bool setXmpInteger(std::string& packet, std::string_view property, int number)
{
    auto const text = std::to_string(number);
    for (auto at = packet.find(property); at != std::string::npos; at = packet.find(property, at + 1)) {
        if (!startsName(packet, at))
            continue;
        auto const range = numberAfter(packet, at + property.size());
        if (!range)
            continue;
        if (std::string_view(packet).substr(range->begin, range->length) == text)
            return false;
        packet.replace(range->begin, range->length, text);
        return true;
    }
    return false;
}

} // namespace velk::codec
