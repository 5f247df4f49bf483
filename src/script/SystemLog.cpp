#include "script/SystemLog.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

namespace velk {

void writeLog(std::string_view message)
{
    std::timespec now {};
    std::timespec_get(&now, TIME_UTC);
    std::tm local {};
    ::localtime_r(&now.tv_sec, &local);
    char time[32] = {};
    std::strftime(time, sizeof time, "%Y-%m-%d %H:%M:%S", &local);
    // One write, so that the lines of several threads do not mix.
    auto const line =
        fmt::format("{}.{:03} velk[{}] {}\n", time, now.tv_nsec / 1'000'000, ::getpid(), message);
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace velk
