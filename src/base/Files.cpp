#include "base/Files.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace velk {

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept
{
    if (this != &other) {
        close();
        m_fd = std::exchange(other.m_fd, -1);
    }
    return *this;
}

bool FileDescriptor::close()
{
    if (m_fd < 0)
        return true;
    return ::close(std::exchange(m_fd, -1)) == 0;
}

std::string systemMessage(int error)
{
    return std::system_category().message(error);
}

Result<InputFile> InputFile::open(std::string const& path)
{
    InputFile file;
    file.m_path = path;
    file.m_fd = FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.m_fd)
        return fail("{}", systemMessage(errno));
    struct stat status = {};
    if (::fstat(file.m_fd.get(), &status) != 0)
        return fail("{}", systemMessage(errno));
    if (!S_ISREG(status.st_mode))
        return fail("not a regular file");
    file.m_size = static_cast<std::uint64_t>(status.st_size);
    return file;
}

Result<InputFile> InputFile::inMemory(std::string const& path, ByteSpan bytes)
{
    InputFile file;
    file.m_path = path;
    file.m_fd = FileDescriptor(::memfd_create("velk", MFD_CLOEXEC));
    if (!file.m_fd)
        return fail("{}", systemMessage(errno));
    while (file.m_size < bytes.size()) {
        auto const rest = bytes.subspan(file.m_size);
        auto const count = ::write(file.m_fd.get(), rest.data(), rest.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return fail("{}", systemMessage(errno));
        file.m_size += static_cast<std::uint64_t>(count);
    }
    return file;
}

namespace {

auto cannotBeRead(int error)
{
    return fail("cannot be read: {}", systemMessage(error));
}

} // namespace

Result<std::size_t> InputFile::readAt(std::uint64_t offset, std::span<std::uint8_t> to) const
{
    std::size_t done = 0;
    while (done < to.size()) {
        auto const count =
            ::pread(m_fd.get(), to.data() + done, to.size() - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0) {
            *m_readError = errno;
            return cannotBeRead(errno);
        }
        if (count == 0)
            break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

Result<void> InputFile::readExactlyAt(std::uint64_t offset, std::span<std::uint8_t> to) const
{
    if (TRY(readAt(offset, to)) != to.size())
        return fail("unexpected end of file");
    return {};
}

Result<void> InputFile::checkReads() const
{
    if (auto const error = m_readError->load())
        return cannotBeRead(error);
    return {};
}

Result<Bytes> InputFile::readAll(std::uint64_t limit) const
{
    if (m_size > limit)
        return fail("too large ({} bytes)", m_size);
    Bytes bytes(m_size);
    bytes.resize(TRY(readAt(0, bytes)));
    return bytes;
}

BufferedReader::BufferedReader(InputFile const& file, std::uint64_t offset, std::size_t bufferSize)
    : m_file(&file)
    , m_buffer(bufferSize)
    , m_bufferOffset(offset)
{
}

void BufferedReader::seek(std::uint64_t offset)
{
    if (offset >= m_bufferOffset && offset <= m_bufferOffset + m_end) {
        m_next = static_cast<std::size_t>(offset - m_bufferOffset);
        return;
    }
    m_bufferOffset = offset;
    m_next = m_end = 0;
}

bool BufferedReader::refill()
{
    m_bufferOffset += m_end;
    m_next = m_end = 0;
    auto const count = m_file->readAt(m_bufferOffset, m_buffer);
    m_end = count ? *count : 0;
    return m_end > 0;
}

std::size_t BufferedReader::read(std::span<std::uint8_t> to)
{
    std::size_t done = 0;
    while (done < to.size()) {
        if (m_next == m_end && !refill())
            break;
        auto const count = std::min(to.size() - done, m_end - m_next);
        std::copy_n(m_buffer.data() + m_next, count, to.data() + done);
        m_next += count;
        done += count;
    }
    return done;
}

Result<void> BufferedReader::readExactly(std::span<std::uint8_t> to)
{
    if (read(to) != to.size())
        return fail("unexpected end of file");
    return {};
}

Result<Bytes> readFile(std::string const& path, std::uint64_t limit)
{
    return TRY(InputFile::open(path)).readAll(limit);
}

std::optional<std::string> canonicalPath(std::string const& path)
{
    std::unique_ptr<char, decltype(&std::free)> const resolved(::realpath(path.c_str(), nullptr), &std::free);
    if (!resolved)
        return std::nullopt;
    return std::string(resolved.get());
}

std::optional<std::string> canonicalOutputPath(std::string const& path)
{
    if (auto resolved = canonicalPath(path))
        return resolved;
    if (errno != ENOENT || path.empty() || path.back() == '/')
        return std::nullopt;
    auto const name = lastPathComponent(path);
    if (name == "." || name == "..")
        return std::nullopt;
    auto const parentLength = path.size() - name.size();
    auto parent = canonicalPath(parentLength == 0 ? "." : path.substr(0, parentLength));
    if (!parent)
        return std::nullopt;
    return (*parent == "/" ? "" : *parent) + "/" + std::string(name);
}

std::string_view lastPathComponent(std::string_view path)
{
    auto const slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

} // namespace velk
