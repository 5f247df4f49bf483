#pragma once

#include "base/Bytes.h"

#include <string>
#include <string_view>

namespace velk::fuzz {

/// A directory in memory that goes with the process.
std::string const& scratchDirectory();

/// Writes the input where parsers that want a path can open it. A name's suffix tells some formats apart.
std::string scratchFile(ByteSpan content, std::string_view suffix = "");

} // namespace velk::fuzz
