#pragma once

#include "base/RunSettings.h"

#include <string>
#include <vector>

namespace velk {

/// Writes the ICC profile of the first image at `path` into files as `--extractProfile` requests ask; other
/// requests and failures are reported, and the next request follows. Returns `kNotAnImage`, without a
/// message, when the file cannot be opened as an image, else 0.
int extractImageProfile(std::string const& path, std::vector<FunctionRequest> const& requests);

} // namespace velk
