#include "base/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <mutex>
#include <random>

namespace velk {

namespace {

constexpr std::size_t kBufferSize = 256 * 1024;
// What may end the process while a file is written: the user, a closed pipe behind a message, a limit.
constexpr std::array kEndingSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGXCPU, SIGXFSZ};

// The temporary files that a signal has to remove. A handler may only read plain memory, so the paths lie in
// fixed slots; a slot is the handler's to read once its `used` is set.
struct CleanupSlot {
    std::atomic<bool> claimed = false;
    std::atomic<bool> used = false;
    char path[4096] = {};
};
std::array<CleanupSlot, 64> cleanupSlots;

// Files that exist, or soon will, and stand in no slot yet.
std::atomic<int> filesBeingCreated = 0;
std::atomic<bool> isEnding = false;

// The thread that runs the handler is creating no file, for that blocks signals; others may be.
void awaitCreations()
{
    constexpr int kMilliseconds = 1000;
    timespec const millisecond = {0, 1'000'000};
    for (int i = 0; i < kMilliseconds && filesBeingCreated != 0; ++i)
        ::nanosleep(&millisecond, nullptr);
}

void removeTemporariesAndDie(int signal)
{
    isEnding = true;
    awaitCreations();
    for (auto& slot : cleanupSlots) {
        if (slot.used.load(std::memory_order_acquire))
            ::unlink(slot.path);
    }
    ::signal(signal, SIG_DFL);
    ::raise(signal);
}

void installSignalHandlers()
{
    for (auto const signal : kEndingSignals) {
        struct sigaction current = {};
        // An ignored signal (nohup) stays ignored.
        if (::sigaction(signal, nullptr, &current) == 0 && current.sa_handler == SIG_IGN)
            continue;
        struct sigaction action = {};
        action.sa_handler = removeTemporariesAndDie;
        ::sigemptyset(&action.sa_mask);
        for (auto const other : kEndingSignals)
            ::sigaddset(&action.sa_mask, other);
        ::sigaction(signal, &action, nullptr);
    }
}

/// While a thread creates a temporary file and lists it: signals wait.
class Creation {
public:
    Creation()
    {
        static std::once_flag installed;
        std::call_once(installed, installSignalHandlers);
        sigset_t blocked;
        ::sigemptyset(&blocked);
        for (auto const signal : kEndingSignals)
            ::sigaddset(&blocked, signal);
        ::pthread_sigmask(SIG_BLOCK, &blocked, &m_previous);
        ++filesBeingCreated;
        if (isEnding)
            awaitTheEnd();
    }
    Creation(Creation const&) = delete;
    ~Creation()
    {
        --filesBeingCreated;
        ::pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
    }

private:
    [[noreturn]] static void awaitTheEnd()
    {
        --filesBeingCreated;
        for (;;)
            ::pause();
    }

    sigset_t m_previous;
};

int claimCleanupSlot(std::string const& path)
{
    for (std::size_t i = 0; i < cleanupSlots.size(); ++i) {
        auto& slot = cleanupSlots[i];
        if (path.size() >= sizeof(slot.path) || slot.claimed.exchange(true))
            continue;
        path.copy(slot.path, path.size());
        slot.path[path.size()] = '\0';
        slot.used.store(true, std::memory_order_release);
        return static_cast<int>(i);
    }
    return -1;
}

void releaseCleanupSlot(int index)
{
    if (index < 0)
        return;
    auto& slot = cleanupSlots[static_cast<std::size_t>(index)];
    slot.used.store(false, std::memory_order_release);
    slot.claimed.store(false);
}

// Creates a new file whose name replaces the five X at the end of `path`.
Result<FileDescriptor> createUnique(std::string& path, mode_t mode)
{
    constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    constexpr int kAttempts = 1000;
    std::random_device entropy;
    std::minstd_rand random(entropy() ^ static_cast<unsigned>(::getpid()));
    std::uniform_int_distribution<std::size_t> letter(0, kLetters.size() - 1);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        std::generate(path.end() - 5, path.end(), [&] { return kLetters[letter(random)]; });
        auto const fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (fd >= 0)
            return FileDescriptor(fd);
        if (errno != EEXIST)
            return fail("{}", systemMessage(errno));
    }
    return fail("{}", systemMessage(EEXIST));
}

// Gives the file owner and permission bits of the file at `target`, if there is one. A target that may not be
// written is not replaced either.
Result<bool> adoptPermissions(int fd, std::string const& target)
{
    struct stat status = {};
    if (::stat(target.c_str(), &status) != 0) {
        if (errno == ENOENT)
            return false;
        return fail("{}", systemMessage(errno));
    }
    if (::access(target.c_str(), W_OK) != 0)
        return fail("the file that stands there may not be replaced: {}", systemMessage(errno));
    if (!S_ISREG(status.st_mode))
        return true;
    // Ownership first: changing it clears the set-id bits. It may be refused, and then the file is ours.
    [[maybe_unused]] auto const owned = ::fchown(fd, status.st_uid, status.st_gid);
    if (::fchmod(fd, status.st_mode & 07777) != 0)
        return fail("{}", systemMessage(errno));
    return true;
}

} // namespace

Result<AtomicFile> AtomicFile::create(std::string const& target)
{
    auto file = TRY(createTemporary(target, 0666));
    // From the start, so that a private photo is never readable by others while it is written.
    TRY(adoptPermissions(file.m_fd.get(), target));
    return file;
}

Result<AtomicFile> AtomicFile::createPrivate(std::string const& target)
{
    auto file = TRY(createTemporary(target, 0600));
    file.m_isPrepared = true;
    return file;
}

Result<AtomicFile> AtomicFile::createTemporary(std::string const& target, unsigned mode)
{
    AtomicFile file;
    auto path = temporaryTemplate(target);
    Creation const creation;
    file.m_fd = TRY(createUnique(path, mode));
    file.m_cleanupSlot = claimCleanupSlot(path);
    file.m_temporaryPath = std::move(path);
    return file;
}

AtomicFile::AtomicFile(AtomicFile&& other) noexcept
    : m_fd(std::move(other.m_fd))
    , m_temporaryPath(std::exchange(other.m_temporaryPath, {}))
    , m_buffer(std::move(other.m_buffer))
    , m_isPrepared(other.m_isPrepared)
    , m_written(other.m_written)
    , m_failure(std::move(other.m_failure))
    , m_cleanupSlot(std::exchange(other.m_cleanupSlot, -1))
{
}

AtomicFile::~AtomicFile()
{
    if (!m_temporaryPath.empty())
        ::unlink(m_temporaryPath.c_str());
    releaseCleanupSlot(m_cleanupSlot);
}

Result<void> AtomicFile::remember(Result<void> result)
{
    if (!result && m_failure.empty())
        m_failure = result.error().message;
    return result;
}

static Result<void> writeFully(int fd, std::uint64_t offset, ByteSpan bytes)
{
    while (!bytes.empty()) {
        auto const count = ::pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return fail("{}", systemMessage(errno));
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
    return {};
}

Result<void> AtomicFile::write(ByteSpan bytes)
{
    if (!m_failure.empty())
        return fail("{}", m_failure);
    if (m_buffer.size() + bytes.size() >= kBufferSize)
        TRY(flush());
    if (bytes.size() >= kBufferSize) {
        TRY(remember(writeFully(m_fd.get(), m_written, bytes)));
        m_written += bytes.size();
    } else {
        append(m_buffer, bytes);
    }
    return {};
}

Result<void> AtomicFile::writeAt(std::uint64_t offset, ByteSpan bytes)
{
    TRY(flush());
    TRY(remember(writeFully(m_fd.get(), offset, bytes)));
    m_written = std::max(m_written, offset + bytes.size());
    return {};
}

Result<void> AtomicFile::flush()
{
    if (!m_failure.empty())
        return fail("{}", m_failure);
    TRY(remember(writeFully(m_fd.get(), m_written, m_buffer)));
    m_written += m_buffer.size();
    m_buffer.clear();
    return {};
}

Result<void> AtomicFile::syncPosition()
{
    struct stat status = {};
    if (::fstat(m_fd.get(), &status) != 0)
        return remember(fail("{}", systemMessage(errno)));
    m_written = static_cast<std::uint64_t>(status.st_size);
    return {};
}

Result<void> AtomicFile::copyFrom(InputFile const& from, std::uint64_t offset, std::uint64_t count)
{
    TRY(flush());
    while (count > 0) {
        auto in = static_cast<off_t>(offset);
        auto out = static_cast<off_t>(m_written);
        auto const copied = ::copy_file_range(from.descriptor(), &in, m_fd.get(), &out, count, 0);
        if (copied <= 0)
            break;
        offset += static_cast<std::uint64_t>(copied);
        m_written += static_cast<std::uint64_t>(copied);
        count -= static_cast<std::uint64_t>(copied);
    }
    // What the kernel could not copy (another file system, an old kernel) goes through memory.
    Bytes block(std::min<std::uint64_t>(count, kBufferSize));
    while (count > 0) {
        auto const part = std::span(block).first(std::min<std::uint64_t>(count, block.size()));
        TRY(remember(from.readExactlyAt(offset, part)));
        TRY(write(part));
        offset += part.size();
        count -= part.size();
    }
    return {};
}

Result<void> AtomicFile::prepareCommit(std::string const& target)
{
    TRY(flush());
    bool const replaces = TRY(adoptPermissions(m_fd.get(), target));
    if (replaces && ::fsync(m_fd.get()) != 0)
        return fail("{}", systemMessage(errno));
    m_isPrepared = true;
    return {};
}

Result<void> AtomicFile::commit(std::string const& target)
{
    TRY(m_isPrepared ? flush() : prepareCommit(target));
    // Before the target is replaced: some file systems tell only now that there was no room.
    if (!m_fd.close())
        return fail("{}", systemMessage(errno));
    if (::rename(m_temporaryPath.c_str(), target.c_str()) != 0)
        return fail("{}", systemMessage(errno));
    m_temporaryPath.clear();
    releaseCleanupSlot(std::exchange(m_cleanupSlot, -1));
    return {};
}

} // namespace velk
