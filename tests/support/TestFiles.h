#pragma once

#include "base/Bytes.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace velk::test {

/// A directory of its own that goes with the test.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    TemporaryDirectory(TemporaryDirectory const&) = delete;
    ~TemporaryDirectory();

    std::string path() const { return m_path.string(); }
    std::string operator/(std::string const& name) const { return (m_path / name).string(); }
    /// Names of everything in it, sorted.
    std::vector<std::string> names() const;

private:
    std::filesystem::path m_path;
};

Bytes readBytes(std::string const& path);
void writeBytes(std::string const& path, ByteSpan bytes);
/// A file in tests/data, or one of those in data/ that velk itself is built with.
std::string dataFile(std::string const& name);

/// What a run of the velk binary did.
struct RunResult {
    int status = -1; ///< exit status; 128 + n when signal n ended it
    std::string output;
    std::string errors;
};

/// Runs velk with these arguments, without a shell; `beforeExec` runs in the child (limits, signals).
RunResult runVelk(
    std::vector<std::string> const& arguments, std::string const& directory = ".",
    std::function<void()> const& beforeExec = [] {});

} // namespace velk::test
