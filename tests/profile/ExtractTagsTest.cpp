#include "support/TestFiles.h"
#include "support/TestProfiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

namespace velk {

using test::readBytes;
using test::runVelk;
using test::TemporaryDirectory;
using testing::HasSubstr;

namespace {

using Words = std::vector<std::string>;

constexpr auto kFailed = "Error 13: an unknown error occurred\nTry 'velk --help' for help using this tool\n";

class ExtractTags : public testing::Test {
protected:
    ExtractTags() { test::writeBytes(path, test::grayProfile().bytes()); }

    test::RunResult run(
        Words arguments, std::function<void()> const& beforeExec = [] {}) const
    {
        arguments.push_back(path);
        return runVelk(arguments, directory.path(), beforeExec);
    }

    TemporaryDirectory const directory;
    std::string const path = directory / "p.icc";
};

} // namespace

TEST_F(ExtractTags, WritesWholeElementsInOrder)
{
    test::writeBytes(directory / "old", Bytes(10'000));
    std::filesystem::create_symlink("old", directory / "link");
    std::filesystem::create_symlink("target", directory / "dangling");
    auto const result = run(
        {"-X", "desc", "new", "-X", "0x6B545243", "link", "-X", "kTRC", "dangling"}, [] { ::umask(027); });
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, path + "\n");
    EXPECT_EQ(readBytes(directory / "new"), test::localizedElement({{"enUS", u"Test profile"}}));
    EXPECT_EQ(readBytes(directory / "old"), test::gammaElement(2.2));
    EXPECT_EQ(readBytes(directory / "target"), test::gammaElement(2.2));
    EXPECT_TRUE(std::filesystem::is_symlink(directory / "link"));
    EXPECT_TRUE(std::filesystem::is_symlink(directory / "dangling"));
    EXPECT_EQ(std::filesystem::status(directory / "new").permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(readBytes(path), test::grayProfile().bytes());
}

TEST_F(ExtractTags, StopsAtTheFirstFailure)
{
    struct {
        Words arguments;
        std::string error, assertion;
    } const cases[] = {
        {{"-X", "chad", "b"}, "Tag chad not found", "err=-1 [Profile, line 480]"},
        {{"-X", "0x61620063", "b"}, "Tag ab not found", "err=-1 [Profile, line 480]"},
        {{"-X", "wrong", "b"}, "Tag \xFF\xFF\xFF\xFF not found", "err=-1 [Profile, line 480]"},
        {{"-X", "desc", "gone/b"}, "Cannot open file gone/b", "f>=0=0 [Profile, line 486]"},
        {{"-X", "desc", "."}, "Cannot open file .", "f>=0=0 [Profile, line 486]"},
        {{"-x", "b"}, "Cannot do --extractProfile on file", ""},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(testing::PrintToString(row.arguments));
        Words arguments = {"-X", "desc", "a"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        arguments.insert(arguments.end(), {"-X", "desc", "c"});
        auto const result = run(arguments);
        EXPECT_EQ(result.status, 13);
        EXPECT_EQ(result.errors, "Error: " + row.error + "\n" + kFailed);
        EXPECT_EQ(directory.names(), (Words {"a", "p.icc"}));
        if (row.assertion.empty())
            continue;
        arguments.insert(arguments.begin(), "--debug");
        EXPECT_THAT(
            run(arguments).errors, HasSubstr("   assert: " + row.assertion + "\nError: " + row.error + "\n"));
    }
}

TEST_F(ExtractTags, AShortWriteIsReportedAndLeavesWhatStoodThere)
{
    test::writeBytes(path, test::grayProfile().tag("data", Bytes(9000)).bytes());
    test::writeBytes(directory / "old", asBytes("precious"));
    auto const limited = [] {
        ::signal(SIGXFSZ, SIG_IGN);
        rlimit const limit = {4096, 4096};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    };
    EXPECT_EQ(run({"-X", "data", "old"}, limited).errors,
        std::string("Error: Failed to write file old: File too large\n") + kFailed);
    EXPECT_EQ(asText(readBytes(directory / "old")), "precious");
    EXPECT_EQ(directory.names(), (Words {"old", "p.icc"}));
    // A device cannot be replaced.
    EXPECT_EQ(run({"-X", "data", "/dev/full"}).errors,
        std::string("Error: Failed to write file /dev/full: No space left on device\n") + kFailed);
    EXPECT_EQ(run({"-X", "data", "/dev/null"}).errors, "");
}

TEST_F(ExtractTags, TheProfileIsNotReplacedByItsTag)
{
    auto const result = run({"-X", "desc", "./p.icc"});
    EXPECT_THAT(result.errors, HasSubstr("Error: Cannot open file ./p.icc\n"));
    EXPECT_EQ(readBytes(path), test::grayProfile().bytes());
}

TEST_F(ExtractTags, WhatIsNoProfileGivesNoTags)
{
    auto const text = directory / "notes.txt";
    test::writeBytes(text, asBytes("no profile"));
    EXPECT_EQ(runVelk({"-X", "desc", directory / "a", text}).errors,
        std::string("Error: Error operating on file\n") + kFailed);
    EXPECT_EQ(directory.names(), (Words {"notes.txt", "p.icc"}));
}

} // namespace velk
