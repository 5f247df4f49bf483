#pragma once

#include "base/Bytes.h"

#include <array>

namespace velk::codec::jpeg {

/// The MD5 digest (RFC 1321), by which extended XMP names its parts.
std::array<std::uint8_t, 16> md5(ByteSpan data);

} // namespace velk::codec::jpeg
