#pragma once

#include "platform/graphics/drawing/BitmapContext.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velk {

/// The colour that a script means by `text`: a name ("red"), hexadecimal digits ("#f00", "#ff0000"), a
/// function ("rgb(255 0 0)", "rgba", "hsl", "hsla") or bare numbers ("255 0 0"), most of them with an alpha
/// value behind, in brackets or not. Everything is taken as Display P3 and nothing is clamped. Text that
/// means no colour is transparent black; empty text is `fallback`.
std::optional<graphics::Color> CreateColorFromString(
    std::string_view text, std::optional<graphics::Color> fallback = std::nullopt);

/// The text without square brackets, white space and line breaks at both ends, in lower case.
std::string NormalizedColorString(std::string_view text);

/// The pieces between commas, white space and line breaks; views into `text`.
std::vector<std::string_view> ColorStringComponents(std::string_view text);

/// The number that `text` begins with, in single precision, 0 without one: taken as it is when it has a
/// decimal point or is at most 1, else divided by `scale`. So "1", "255" and "1.0" are all of 255.
double ColorComponentValue(std::string_view text, double scale);

} // namespace velk
