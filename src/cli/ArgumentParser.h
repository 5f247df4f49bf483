#pragma once

#include "cli/FunctionTable.h"

namespace velk {

/// Walks the arguments (the first is the program's name) and records every function and file in `settings`,
/// which are the settings of this process. The first error ends the walk; it becomes the run error and is not
/// printed yet.
void parseArguments(RunSettings& settings, Arguments arguments);

} // namespace velk
