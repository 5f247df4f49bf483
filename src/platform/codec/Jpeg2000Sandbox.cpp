#include "platform/codec/Jpeg2000Sandbox.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

namespace velk::codec {

namespace {

constexpr unsigned kMaximumSeconds = 20;

// Everything ends the child at once and without a trace; temporary files are its parent's to remove.
void prepareChild()
{
    for (int const number : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL, SIGINT, SIGTERM, SIGHUP, SIGQUIT,
             SIGPIPE, SIGXCPU, SIGXFSZ, SIGALRM})
        ::signal(number, SIG_DFL);
    rlimit const none = {0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    ::alarm(kMaximumSeconds);
}

bool hasSucceeded(pid_t child)
{
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return false;
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace

bool runInSandbox(std::span<std::uint8_t> result, std::function<bool()> const& work)
{
    auto* const shared =
        ::mmap(nullptr, result.size(), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED)
        return false;
    auto const child = ::fork();
    if (child == 0) {
        prepareChild();
        bool const isDone = work();
        if (isDone)
            std::memcpy(shared, result.data(), result.size());
        ::_exit(isDone ? 0 : 1);
    }
    bool const isDone = child > 0 && hasSucceeded(child);
    if (isDone)
        std::memcpy(result.data(), shared, result.size());
    ::munmap(shared, result.size());
    return isDone;
}

} // namespace velk::codec
