#pragma once

#include "base/FourCC.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace velk {

/// The text "0" gives 0; any other text the decimal integer at its start (white space and a sign may lead,
/// reading stops at the first other character), and -1 when that is 0. Values outside 32 bits are clamped.
std::int32_t parseInteger(std::string_view text);

/// "0" gives 0, "0x" and eight hexadecimal digits their value, four ASCII characters those characters; every
/// other text gives `kNoFourCC`.
FourCC parseSignature(std::string_view text);

/// 0 gives "0"; a code whose first two bytes are printable ASCII its characters up to the first zero byte,
/// without a space in fourth place; any other code "0x" and eight hexadecimal digits.
std::string formatSignature(FourCC code);

} // namespace velk
