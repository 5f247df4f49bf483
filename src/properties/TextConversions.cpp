#include "properties/TextConversions.h"

#include "base/TextEncoding.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <limits>

namespace velk {

namespace {

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

bool isPrintableAscii(std::uint32_t byte)
{
    return byte >= 0x20 && byte <= 0x7E;
}

// The number at the start of `text`, clamped; 0 when there is none.
std::int32_t leadingInteger(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
    bool const isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+'))
        text.remove_prefix(1);
    using Limits = std::numeric_limits<std::int32_t>;
    std::int64_t const limit = isNegative ? -std::int64_t {Limits::min()} : std::int64_t {Limits::max()};
    std::int64_t value = 0;
    for (auto const c : text) {
        if (c < '0' || c > '9')
            break;
        value = std::min(value * 10 + (c - '0'), limit);
    }
    return static_cast<std::int32_t>(isNegative ? -value : value);
}

FourCC hexadecimalCode(std::string_view digits)
{
    std::uint32_t value = 0;
    auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    return error == std::errc() && end == digits.data() + digits.size() ? FourCC(value) : kNoFourCC;
}

} // namespace

std::int32_t parseInteger(std::string_view text)
{
    if (text == "0")
        return 0;
    auto const value = leadingInteger(text);
    return value == 0 ? -1 : value;
}

FourCC parseSignature(std::string_view text)
{
    if (text == "0")
        return FourCC(0);
    if (!isAscii(text))
        return kNoFourCC;
    if (text.size() == 10 && text.starts_with("0x"))
        return hexadecimalCode(text.substr(2));
    if (text.size() != 4)
        return kNoFourCC;
    std::uint32_t code = 0;
    for (auto const c : text)
        code = code << 8 | static_cast<unsigned char>(c);
    return FourCC(code);
}

std::string formatSignature(FourCC code)
{
    if (code == FourCC(0))
        return "0";
    if (!isPrintableAscii(code.code >> 24) || !isPrintableAscii(code.code >> 16 & 0xFF))
        return fmt::format("0x{:08X}", code.code);
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += static_cast<char>(code.code >> shift & 0xFF);
    if (text.back() == ' ')
        text.pop_back();
    return text.substr(0, text.find('\0'));
}

} // namespace velk
