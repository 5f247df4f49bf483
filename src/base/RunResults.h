#pragma once

#include <string>

namespace velk {

/// To be told of every file that a modification has written, by the name it has in the end. Warns when that
/// took the place of another input's result, or of another input, since two names had become one.
void noteResult(std::string const& outputPath, std::string const& inputPath);

} // namespace velk
