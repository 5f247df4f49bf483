#pragma once

#include <cstdint>
#include <string_view>

namespace velk {

/// A colour that has a name.
struct NamedColor {
    std::string_view name; ///< ASCII, lower case
    std::uint32_t value; ///< 0xRRGGBB
};

/// The colour of exactly this name, or null. The names are those of CSS Color 4 without rebeccapurple and
/// transparent, and with lightslateblue and violetred; mediumpurple and palevioletred have their older
/// values.
NamedColor const* namedColor(std::string_view name);

} // namespace velk
