#include "support/TestFiles.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace velk::test {

TemporaryDirectory::TemporaryDirectory()
{
    auto name = (std::filesystem::temp_directory_path() / "velk-test-XXXXXX").string();
    if (!::mkdtemp(name.data()))
        throw std::runtime_error("no temporary directory");
    m_path = std::filesystem::canonical(name);
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::vector<std::string> TemporaryDirectory::names() const
{
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(m_path))
        names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
}

Bytes readBytes(std::string const& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeBytes(std::string const& path, ByteSpan bytes)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<char const*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!file.flush())
        throw std::runtime_error("cannot write " + path);
}

std::string dataFile(std::string const& name)
{
    auto path = std::string(VELK_TEST_DATA) + "/" + name;
    return std::filesystem::exists(path) ? path : std::string(VELK_TOP) + "/data/" + name;
}

RunResult runVelk(std::vector<std::string> const& arguments, std::string const& directory,
    std::function<void()> const& beforeExec)
{
    TemporaryDirectory const streams;
    auto const outputPath = streams / "out";
    auto const errorPath = streams / "err";
    auto const child = ::fork();
    if (child == 0) {
        std::vector<char*> argv = {const_cast<char*>(VELK_BINARY)};
        for (auto const& argument : arguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        beforeExec();
        if (::chdir(directory.c_str()) == 0 && std::freopen(outputPath.c_str(), "w", stdout)
            && std::freopen(errorPath.c_str(), "w", stderr))
            ::execv(VELK_BINARY, argv.data());
        ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    auto const output = readBytes(outputPath);
    auto const errors = readBytes(errorPath);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), std::string(asText(output)),
        std::string(asText(errors))};
}

} // namespace velk::test
