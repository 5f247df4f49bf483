#include "base/AtomicFile.h"

#include "support/TestFiles.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace velk {

using test::readBytes;
using test::TemporaryDirectory;
using test::writeBytes;

TEST(AtomicFile, LeavesTheTargetAloneUntilCommit)
{
    TemporaryDirectory const directory;
    auto const target = directory / "photo.jpg";
    writeBytes(target, asBytes("old"));
    {
        auto file = AtomicFile::create(target).value();
        EXPECT_EQ(file.temporaryPath().size(), target.size() + 6);
        ASSERT_TRUE(file.write(asBytes("new content")));
        ASSERT_TRUE(file.flush());
        EXPECT_EQ(readBytes(target).size(), 3u);
    }
    EXPECT_EQ(directory.names(), std::vector<std::string> {"photo.jpg"});
    EXPECT_EQ(asText(readBytes(target)), "old");
}

TEST(AtomicFile, KeepsThePermissionBitsOfWhatItReplaces)
{
    TemporaryDirectory const directory;
    auto const target = directory / "photo.jpg";
    writeBytes(target, asBytes("old"));
    ASSERT_EQ(::chmod(target.c_str(), 0604), 0);
    auto file = AtomicFile::create(target).value();
    ASSERT_TRUE(file.write(asBytes("new")));
    ASSERT_TRUE(file.commit(target));
    struct stat status = {};
    ASSERT_EQ(::stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0604u);
    EXPECT_EQ(asText(readBytes(target)), "new");
    EXPECT_EQ(directory.names(), std::vector<std::string> {"photo.jpg"});
}

TEST(AtomicFile, MixesAppendingCopyingAndPatching)
{
    TemporaryDirectory const directory;
    Bytes large(700'000);
    for (std::size_t i = 0; i < large.size(); ++i)
        large[i] = static_cast<std::uint8_t>(i * 31 >> 3);
    writeBytes(directory / "in", large);
    auto const input = InputFile::open(directory / "in").value();
    auto file = AtomicFile::create(directory / "out").value();
    ASSERT_TRUE(file.write(asBytes("head")));
    ASSERT_TRUE(file.copyFrom(input, 100, 600'000));
    ASSERT_TRUE(file.write(large));
    EXPECT_EQ(file.position(), 4 + 600'000 + large.size());
    ASSERT_TRUE(file.writeAt(0, asBytes("HEAD")));
    ASSERT_TRUE(file.write(asBytes("tail")));
    ASSERT_TRUE(file.commit(directory / "out"));

    Bytes expected;
    append(expected, std::string_view("HEAD"));
    append(expected, std::span(large).subspan(100, 600'000));
    append(expected, ByteSpan(large));
    append(expected, std::string_view("tail"));
    EXPECT_TRUE(readBytes(directory / "out") == expected);
    EXPECT_FALSE(file.copyFrom(input, 100, 800'000).has_value());
}

TEST(AtomicFile, ASignalRemovesTheTemporaryFile)
{
    TemporaryDirectory const directory;
    for (auto const signal : {SIGTERM, SIGPIPE, SIGXFSZ}) {
        auto const child = ::fork();
        if (child == 0) {
            rlimit const noCore = {0, 0};
            ::setrlimit(RLIMIT_CORE, &noCore);
            auto file = AtomicFile::create(directory / "photo.jpg");
            ::raise(signal);
            ::_exit(1);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << signal;
        EXPECT_TRUE(directory.names().empty()) << signal;
    }
}

TEST(AtomicFile, APrivateFileTakesNothingFromWhatItReplaces)
{
    TemporaryDirectory const directory;
    auto const target = directory / "icon.png";
    writeBytes(target, asBytes("old"));
    ASSERT_EQ(::chmod(target.c_str(), 0444), 0);
    auto file = AtomicFile::createPrivate(target).value();
    ASSERT_TRUE(file.write(asBytes("new")));
    ASSERT_TRUE(file.commit(target));
    struct stat status = {};
    ASSERT_EQ(::stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_EQ(asText(readBytes(target)), "new");
}

TEST(Files, OutputPathsNeedTheirParentOnly)
{
    TemporaryDirectory const directory;
    EXPECT_EQ(canonicalOutputPath(directory / "new.jpg"), directory / "new.jpg");
    EXPECT_EQ(canonicalOutputPath(directory.path() + "/./new.jpg"), directory / "new.jpg");
    EXPECT_EQ(canonicalOutputPath(directory.path()), directory.path());
    EXPECT_EQ(canonicalOutputPath(directory / "missing/new.jpg"), std::nullopt);
    EXPECT_EQ(canonicalOutputPath(directory / "new/"), std::nullopt);
}

} // namespace velk
