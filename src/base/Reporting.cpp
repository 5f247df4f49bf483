#include "base/Reporting.h"

#include "base/RunSettings.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <string>

namespace velk {

namespace {

// Indexed by ErrorCode; at most one {} for the offending argument.
constexpr std::array<char const*, 14> kMessages = {
    "no error",
    "unknown function \"{}\"",
    "missing parameters for function \"{}\"",
    "bad parameter for function \"{}\"",
    "no file was specified",
    "no valid functions were specified",
    "cannot get properties and modify file in the same invocation",
    "cannot extract and modify file in the same invocation",
    "cannot verify and modify file in the same invocation",
    "cannot perform functions on files because no destination dir was specified",
    "out_dir_not_found {}",
    "an unknown property '{}' was specified",
    "the property '{}' cannot be modified directly",
    "an unknown error occurred",
};

std::atomic<bool> debugFlag = false;
std::mutex reportMutex;

// One write a line, so that lines of several threads do not mix; results printed before come out before.
void writeDiagnostic(std::string const& line)
{
    std::fflush(stdout);
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace

void reportRunError(ErrorCode code, std::string_view argument)
{
    auto const index = std::clamp(static_cast<int>(code), 0, static_cast<int>(ErrorCode::Unknown));
    std::lock_guard const lock(reportMutex);
    runSettings().runError = static_cast<ErrorCode>(index);
    if (index == 0)
        return;
    auto const message = fmt::format(fmt::runtime(kMessages[static_cast<std::size_t>(index)]), argument);
    writeDiagnostic(
        fmt::format("Error {}: {}\nTry 'velk --help' for help using this tool\n", index, message));
}

void reportErrorText(std::string_view message)
{
    std::lock_guard const lock(reportMutex);
    runSettings().runError = ErrorCode::Unknown;
    writeDiagnostic(fmt::format("Error: {}", message));
}

void reportWarningText(std::string_view message)
{
    std::lock_guard const lock(reportMutex);
    writeDiagnostic(fmt::format("Warning: {}", message));
}

void setDebug()
{
    debugFlag = true;
}
bool isDebug()
{
    return debugFlag;
}

void reportMissing(std::string_view name, std::string_view unit, int line)
{
    reportStatus(name, 0, unit, line);
}

void reportStatus(std::string_view name, long status, std::string_view unit, int line)
{
    if (!isDebug())
        return;
    std::lock_guard const lock(reportMutex);
    writeDiagnostic(fmt::format("   assert: {}={} [{}, line {}]\n", name, status, unit, line));
}

} // namespace velk
