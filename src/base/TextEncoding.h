#pragma once

#include "base/Bytes.h"
#include "base/Utf8.h"

#include <string>

namespace velk {

bool isAscii(std::string_view text);
/// Text of a field that declares no character code: UTF-8 if it can be that, else Latin-1.
std::string utf8FromUndeclared(ByteSpan bytes);
std::string utf8FromLatin1(ByteSpan bytes);
/// UTF-16; a byte-order mark overrides `order`. What is no character becomes U+FFFD.
std::string utf8FromUtf16(ByteSpan bytes, ByteOrder order);
/// UTF-16 without byte-order mark; `text` is well-formed UTF-8.
Bytes utf16FromUtf8(std::string_view text, ByteOrder order);
void appendUtf8(std::string& text, char32_t character);
/// Cuts blanks, line ends and zeros off the end.
void trimEnd(std::string& text);

} // namespace velk
