#pragma once

#include <optional>
#include <string_view>

namespace velk {

/// One character at the start of a text.
struct Utf8Character {
    /// The code point; nothing when the bytes are no well-formed UTF-8 (RFC 3629: shortest form, no
    /// surrogates, at most U+10FFFF).
    std::optional<char32_t> codePoint;
    /// Bytes that it takes; of malformed text 1.
    std::size_t length = 1;
};

/// The first character of `text`, which is not empty.
Utf8Character firstUtf8Character(std::string_view text);

/// Whether all of `text` is well-formed.
bool isUtf8(std::string_view text);

} // namespace velk
