#pragma once

#include <string>
#include <vector>

namespace velk::modules {

/// Name of the function in the module "script".
constexpr char kRunScript[] = "velkRunScript";

/// Runs a script (UTF-8) with the files and the output location of the run's settings, and returns when all
/// that it puts out is written. `arguments` are those of the process without the program's name.
using RunScript = void (*)(std::string const& source, std::vector<std::string> const& arguments);

} // namespace velk::modules
