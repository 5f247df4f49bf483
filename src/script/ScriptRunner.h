#pragma once

#include "platform/js/ClassTable.h"
#include "script/GeometryValues.h"

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace velk {

/// What a run takes from the rooms above it.
struct ScriptServices {
    /// The classes that become global constructors.
    std::span<js::ClassDescription const* const> classes;
    /// The script's image of a file; null leaves the file out.
    std::function<std::shared_ptr<js::NativeObject>(std::string const& path)> imageWithURL;
    /// How many outputs are still to be written.
    std::function<std::size_t()> pendingOperations;
};

/// Runs a script over the files and the output location of the run's settings. Prints what the script prints
/// and "JS Error: " with what it throws, and returns when all its outputs are written.
void runScript(
    std::string const& source, std::vector<std::string> const& arguments, ScriptServices const& services);

/// The size of outputs that a command line recommends: --resampleWidth and --resampleHeight, else the
/// parameters of -z, else those of -c. The first parameter of -z and -c counts as the width.
SizeValue recommendedSize(std::span<std::string const> arguments);
/// The parameter of -Z, or 0.
double recommendedLongestEdge(std::span<std::string const> arguments);

} // namespace velk
