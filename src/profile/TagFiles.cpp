#include "profile/TagFiles.h"

#include "base/Files.h"
#include "base/OutputFile.h"
#include "platform/color/IccProfile.h"
#include "profile/ProfileAssertions.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace velk {

namespace {

constexpr std::size_t kChunkSize = 64 * 1024;

std::optional<Bytes> cannotRead(std::string const& path, ProfileStep step)
{
    noteMissing(step);
    reportError("Failed to read file {}\n", path);
    return std::nullopt;
}

ssize_t readSome(int fd, std::span<std::uint8_t> to)
{
    for (;;) {
        auto const count = ::read(fd, to.data(), to.size());
        if (count >= 0 || errno != EINTR)
            return count;
    }
}

} // namespace

std::optional<Bytes> readTagFile(std::string const& path)
{
    FileDescriptor const file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) {
        noteMissing({"f>=0", 372});
        reportError("Cannot open file {}\n", path);
        return std::nullopt;
    }
    Bytes element;
    for (;;) {
        // No profile could hold more, and not every file ends.
        if (element.size() > color::IccProfile::kMaximumSize)
            return cannotRead(path, {"buff != NULL", 382});
        auto const end = element.size();
        element.resize(end + kChunkSize);
        auto const count = readSome(file.get(), std::span(element).subspan(end));
        if (count < 0)
            return cannotRead(path, {"bytesRead>=0", 377});
        element.resize(end + static_cast<std::size_t>(count));
        if (count == 0)
            return element;
    }
}

bool writeTagFile(std::string const& path, ByteSpan element, std::string const& profilePath)
{
    auto file = OutputFile::open(path, profilePath);
    if (!file) {
        noteMissing({"f>=0", 486});
        reportError("Cannot open file {}\n", path);
        return false;
    }
    if (auto const written = file->write(element); !written) {
        reportError("Failed to write file {}: {}\n", path, written.error().message);
        return false;
    }
    return true;
}

} // namespace velk
