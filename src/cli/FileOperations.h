#pragma once

#include "base/RunSettings.h"

#include <string>
#include <vector>

/// What the run does with one file. Each tries the file as an image first and as a profile then, and reports
/// its failures; a verification looks at profiles only and says nothing of other files.
namespace velk {

void extract(std::string const& path, std::vector<FunctionRequest> const& requests);

void verify(std::string const& path);

void modify(std::string const& inputPath, std::string const& outputPath,
    std::vector<FunctionRequest> const& requests, bool outputIsDirectory);

} // namespace velk
