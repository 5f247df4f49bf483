#pragma once

#include <fmt/format.h>

#include <string_view>
#include <utility>

namespace velk {

/// The run error: what ends a run, and its exit status.
enum class ErrorCode : int {
    None = 0,
    UnknownFunction = 1,
    MissingParameters = 2,
    BadParameter = 3,
    NoFile = 4,
    NoFunction = 5,
    QueryAndModify = 6,
    ExtractAndModify = 7,
    VerifyAndModify = 8,
    NoDestinationDirectory = 9,
    OutputDirectoryNotFound = 10,
    UnknownProperty = 11,
    ReadOnlyProperty = 12,
    Unknown = 13,
};

/// Stores `code` as the run error and, unless it is None, prints it with a hint to standard error. `argument`
/// is the offending command-line argument, for the messages that name one. A code above 13 counts as 13.
void reportRunError(ErrorCode code, std::string_view argument = {});

/// Writes "Error: " and the message to standard error and makes the run end with error 13. Safe on any
/// thread.
void reportErrorText(std::string_view message);

/// Writes "Warning: " and the message to standard error. Safe on any thread.
void reportWarningText(std::string_view message);

/// `reportErrorText` with a {fmt} format; callers pass complete lines, "\n" included.
template <typename... Values> void reportError(fmt::format_string<Values...> format, Values&&... values)
{
    reportErrorText(fmt::format(format, std::forward<Values>(values)...));
}

/// `reportWarningText` with a {fmt} format; callers pass complete lines, "\n" included.
template <typename... Values> void reportWarning(fmt::format_string<Values...> format, Values&&... values)
{
    reportWarningText(fmt::format(format, std::forward<Values>(values)...));
}

/// The debug flag: adds a line to standard error at every guarded step that fails.
void setDebug();
bool isDebug();

/// With the debug flag: the line that says that the value `name` is missing in `unit` at `line`.
void reportMissing(std::string_view name, std::string_view unit, int line);
/// With the debug flag: the line that says that the status `name` is `status` in `unit` at `line`.
void reportStatus(std::string_view name, long status, std::string_view unit, int line);

} // namespace velk
