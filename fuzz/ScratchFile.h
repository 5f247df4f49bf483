#pragma once

#include "base/Bytes.h"

#include <string>

namespace velk::fuzz {

/// A directory in memory that goes with the process.
std::string const& scratchDirectory();

/// Writes the input where parsers that want a path can open it; the same path every time.
std::string const& scratchFile(ByteSpan content);

} // namespace velk::fuzz
