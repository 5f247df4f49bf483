#include "base/OutputFile.h"

#include "base/Reporting.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace velk {

namespace {

// Where a new file may be renamed to: an ordinary file, symbolic links resolved, or a name that is free.
std::optional<std::string> replaceablePath(std::string const& path)
{
    struct stat status = {};
    if (::stat(path.c_str(), &status) == 0)
        return S_ISREG(status.st_mode) ? canonicalPath(path) : std::nullopt;
    bool const isDanglingLink = ::lstat(path.c_str(), &status) == 0;
    return isDanglingLink ? std::nullopt : canonicalOutputPath(path);
}

// Whether the directory of a file takes new ones.
bool takesNewFiles(std::string const& path)
{
    auto const length = path.size() - lastPathComponent(path).size();
    return ::access(path.substr(0, length).c_str(), W_OK | X_OK) == 0;
}

Result<void> writeFully(int fd, ByteSpan bytes)
{
    while (!bytes.empty()) {
        auto const count = ::write(fd, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return fail("{}", systemMessage(errno));
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return {};
}

} // namespace

Result<OutputFile> OutputFile::open(std::string const& path, std::string const& source)
{
    std::error_code isMissing;
    if (std::filesystem::equivalent(path, source, isMissing)) {
        reportWarning("{}: would be replaced by what is extracted from it\n", path);
        return fail("is the input");
    }
    OutputFile file;
    if (auto const target = replaceablePath(path)) {
        auto replacement = AtomicFile::create(*target);
        if (replacement) {
            file.m_target = *target;
            file.m_replacement.emplace(std::move(*replacement));
            return file;
        }
        // A full disk, say, would leave nothing of the file that stands there.
        if (takesNewFiles(*target))
            return tl::unexpected(std::move(replacement).error());
    }
    file.m_inPlace = FileDescriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!file.m_inPlace)
        return fail("{}", systemMessage(errno));
    return file;
}

Result<void> OutputFile::write(ByteSpan content)
{
    if (m_replacement) {
        TRY(m_replacement->write(content));
        return m_replacement->commit(m_target);
    }
    TRY(writeFully(m_inPlace.get(), content));
    if (!m_inPlace.close())
        return fail("{}", systemMessage(errno));
    return {};
}

} // namespace velk
