#pragma once

#include "base/Bytes.h"

#include <string>

namespace velk::codec {

/// The text in a header field of fixed length, up to the first zero, without trailing blanks. Bytes beyond
/// ASCII are taken for ISO 8859-1; the result is UTF-8.
std::string readFixedText(ByteSpan field);
/// `text` in ISO 8859-1 ('?' for what that lacks), cut or filled up with zeros to `size` bytes, the last of
/// which is zero.
Bytes fixedText(std::string_view text, std::size_t size);

} // namespace velk::codec
