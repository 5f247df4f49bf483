#include "fuzz/ScratchFile.h"

#include "fuzz/FuzzInput.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

namespace velk::fuzz {

namespace {

class ScratchDirectory {
public:
    ScratchDirectory()
    {
        auto name = std::string("/dev/shm/velk-fuzz-XXXXXX");
        require(::mkdtemp(name.data()) != nullptr, "there is room in /dev/shm");
        m_path = name;
    }
    ~ScratchDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    std::string m_path;
};

ScratchDirectory const& directory()
{
    static ScratchDirectory const directory;
    return directory;
}

} // namespace

std::string const& scratchDirectory()
{
    return directory().m_path;
}

std::string scratchFile(ByteSpan content, std::string_view suffix)
{
    auto const path = directory().m_path + "/input" + std::string(suffix);
    auto const fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    require(fd >= 0 && ::write(fd, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
        "the input can be written");
    ::close(fd);
    return path;
}

} // namespace velk::fuzz
