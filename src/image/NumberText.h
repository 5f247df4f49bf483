#pragma once

#include <optional>
#include <string_view>

namespace velk {

/// The decimal number (sign, digits, point, exponent) at the start of a text, after white space; nothing when
/// there is none.
std::optional<double> leadingNumber(std::string_view text);

/// 0 to 15 for a hexadecimal digit of either case.
std::optional<int> hexadecimalDigit(char character);

} // namespace velk
