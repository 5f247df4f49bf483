#pragma once

#include "base/Reporting.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace velk {

/// One requested function: element 0 is its long name with the dashes, the rest are its parameters.
using FunctionRequest = std::vector<std::string>;

enum class RunMode : int { ProcessFiles = 0, Help, HelpProperties, Manual, Version, Formats };

/// The longest path or key, in bytes, that velk takes.
constexpr std::size_t kMaximumTextLength = 1023;

/// The parsed command line and the state of the run.
struct RunSettings {
    RunMode mode = RunMode::ProcessFiles;
    bool verify = false;
    ErrorCode runError = ErrorCode::None;
    /// Index, in the argument vector, of the argument that the run error names; 0 = none.
    int errorArgumentIndex = 0;
    /// A list that was never created means that no such request was made.
    std::optional<std::vector<std::string>> queryKeys;
    std::optional<std::vector<FunctionRequest>> modifications;
    std::optional<std::vector<FunctionRequest>> extractions;
    /// Canonical paths of the valid files, in command-line order.
    std::vector<std::string> files;
    bool fileRequired = true;
    /// Resolved `--out` path; empty = modify in place.
    std::string outputPath;
    bool outputIsDirectory = false;
    bool oneLine = false;
    std::optional<std::string> scriptSource;
    /// The files written so far, each with the input that it was made from.
    std::map<std::string, std::string> results;
};

/// The settings of this process.
RunSettings& runSettings();

} // namespace velk
