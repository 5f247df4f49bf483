#pragma once

#include "base/Bytes.h"

#include <optional>
#include <string>

namespace velk {

/// The whole content of a tag file, which may be a pipe. Nothing, after a report, when it cannot be read.
std::optional<Bytes> readTagFile(std::string const& path);

/// Writes the element of a tag of the profile at `profilePath` into a file; a failure is reported, and the
/// result is false.
bool writeTagFile(std::string const& path, ByteSpan element, std::string const& profilePath);

} // namespace velk
