#pragma once

#include "base/RunSettings.h"

#include <string>
#include <vector>

namespace velk {

/// What an image operation returns for a file that is not an image, so that it can be tried as a profile.
constexpr int kNotAnImage = -43;

/// Applies modification requests, in order, to the image file at `inputPath` and writes the result to
/// `outputPath` (which may be the same) through a temporary file. Returns `kNotAnImage`, without a message,
/// when the file cannot be opened as an image; 0 in every other case, success or failure. Failures are
/// reported and leave both paths as they were. With `outputIsDirectory` a suffix that does not fit the
/// written type is changed.
int modifyImageFile(std::string const& inputPath, std::string const& outputPath,
    std::vector<FunctionRequest> const& requests, bool outputIsDirectory);

} // namespace velk
