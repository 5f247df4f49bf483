#include "image/NumberText.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace velk {

std::optional<double> leadingNumber(std::string_view text)
{
    constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";
    text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    // "inf" and "nan" are words here, not numbers.
    if (text.find_first_of("0123456789.") > 1)
        return std::nullopt;
    double value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || !std::isfinite(value))
        return std::nullopt;
    return value;
}

std::optional<int> hexadecimalDigit(char character)
{
    if (character >= '0' && character <= '9')
        return character - '0';
    if (character >= 'a' && character <= 'f')
        return character - 'a' + 10;
    if (character >= 'A' && character <= 'F')
        return character - 'A' + 10;
    return std::nullopt;
}

} // namespace velk
