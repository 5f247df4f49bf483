#include "canvas/FontString.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace velk {

namespace {

constexpr double kSizeWithoutWord = 12;
constexpr double kUnitsPerCentimeter = 72.0 / 2.54;
constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

// The whole number at the start, cut to the range of int, and what follows it.
struct LeadingInteger {
    int value = 0;
    std::string_view rest;
};

LeadingInteger leadingInteger(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
    bool const isNegative = text.starts_with('-');
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    LeadingInteger number;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number.value);
    if (error == std::errc::invalid_argument)
        return {};
    if (error == std::errc::result_out_of_range)
        number.value = isNegative ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
    number.rest = text.substr(static_cast<std::size_t>(end - text.data()));
    return number;
}

bool isCentimeter(std::string_view unit)
{
    return unit.size() == 2 && (unit[0] | 0x20) == 'c' && (unit[1] | 0x20) == 'm';
}

double fontSize(std::string_view word)
{
    auto const [value, rest] = leadingInteger(word);
    auto const unit = rest.substr(0, rest.find_first_of(kWhiteSpace));
    if (unit.empty())
        return 0;
    return isCentimeter(unit) ? value * kUnitsPerCentimeter : value;
}

} // namespace

FontRequest parseFontString(std::string_view text)
{
    auto const lastBlank = text.rfind(' ');
    if (lastBlank == text.npos)
        return {std::string(text), kSizeWithoutWord};
    auto const front = text.substr(0, lastBlank);
    bool const hasTwoWords = front.find(' ') == front.npos;
    return {std::string(text.substr(lastBlank + 1)), hasTwoWords ? fontSize(front) : kSizeWithoutWord};
}

} // namespace velk
