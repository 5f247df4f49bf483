#include "base/StandardOutput.h"

#include "base/Files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace velk {

namespace {

// Processes that share an output, as in `xargs -P`, must not tear each other's lines: whole lines are handed
// over before the stream's buffer is full and cuts one.
constexpr std::size_t kLongestWait = 2048;

std::size_t waitingBytes = 0;
int firstFailure = 0;

void rememberFailure()
{
    if (firstFailure == 0)
        firstFailure = errno;
}

void flushBuffer()
{
    waitingBytes = 0;
    if (std::fflush(stdout) != 0)
        rememberFailure();
}

} // namespace

void writeOutput(std::string_view text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        rememberFailure();
    waitingBytes += text.size();
    if (waitingBytes >= kLongestWait && text.ends_with('\n'))
        flushBuffer();
}

void writeOutputUnbuffered(ByteSpan bytes)
{
    flushBuffer();
    while (!bytes.empty()) {
        auto const count = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return rememberFailure();
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

Result<void> flushOutput()
{
    flushBuffer();
    // Diagnostics flush the buffer too; a failure there shows only in the stream's own flag.
    if (firstFailure == 0 && std::ferror(stdout))
        firstFailure = EIO;
    std::clearerr(stdout);
    if (auto const failure = std::exchange(firstFailure, 0))
        return fail("{}", systemMessage(failure));
    return {};
}

void occupyStandardStreams()
{
    for (int const stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) != -1)
            continue;
        // The lowest free descriptor is this one. The mode is the wrong one on purpose: use must fail.
        [[maybe_unused]] auto const standIn =
            ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

} // namespace velk
