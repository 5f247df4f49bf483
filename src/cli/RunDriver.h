#pragma once

#include "cli/FunctionTable.h"

namespace velk {

/// One run of velk: parses the arguments (the first is the program's name), prints what an informational mode
/// asks for or works through the files, and reports the run error. Returns the exit status.
int run(Arguments arguments);

} // namespace velk
