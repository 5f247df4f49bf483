#pragma once

#include <string>
#include <string_view>

namespace velk {

/// What the `font` of a canvas asks for.
struct FontRequest {
    std::string family;
    /// In units of user space; 0 = the default size of the text service.
    double size;

    bool operator==(FontRequest const&) const = default;
};

/// Reads "12pt Helvetica": the last of the words between single blanks is the family, and if there are just
/// two, the first one is the size: a whole number with a unit, where "cm" are centimetres at 72 units to the
/// inch and everything else are units. Other numbers of words have size 12.
FontRequest parseFontString(std::string_view text);

} // namespace velk
