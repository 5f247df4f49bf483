#pragma once

#include "base/Bytes.h"

#include <array>
#include <string>

namespace velk {

using Md5Digest = std::array<std::uint8_t, 16>;

/// The MD5 digest (RFC 1321) of all of `data`.
Md5Digest md5(ByteSpan data);

/// A digest as 32 lowercase hexadecimal digits.
std::string hexadecimal(Md5Digest const& digest);

} // namespace velk
