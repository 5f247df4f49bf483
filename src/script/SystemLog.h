#pragma once

#include <string_view>

namespace velk {

/// Writes one line to standard error, after the time, the program's name and its process number. For what
/// scripts do wrong with outputs; a log line is no error of the run. Safe on any thread.
void writeLog(std::string_view message);

} // namespace velk
