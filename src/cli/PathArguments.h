#pragma once

#include "base/RunSettings.h"

#include <string>

namespace velk {

/// Appends the canonical path of a file argument to the file list. A warning says that it is skipped when it
/// does not exist, is a directory or empty, or its path is too long.
void recordFile(RunSettings& settings, std::string const& argument);

/// Resolves the parameter of `--out`. A directory that is not there becomes the run error; a file that cannot
/// be written at all is reported at once.
void recordOutputPath(RunSettings& settings, std::string const& parameter);

/// Where the result for `inputPath` goes: the input itself, the `--out` file, or a file of the input's name
/// in the `--out` directory. May be longer than `kMaximumTextLength`.
std::string composeOutputPath(RunSettings const& settings, std::string const& inputPath);

} // namespace velk
