#include "support/TestFiles.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velk {

using test::runVelk;
using test::TemporaryDirectory;
using test::writeBytes;

namespace {

using Words = std::vector<std::string>;

constexpr auto kHint = "Try 'velk --help' for help using this tool\n";

std::string runError(int code, std::string const& message)
{
    return "Error " + std::to_string(code) + ": " + message + "\n" + kHint;
}

// A directory with a file that is no image, an empty file, a directory and a script.
class CommandLine : public testing::Test {
protected:
    CommandLine()
    {
        writeBytes(directory / "notes.txt", asBytes("no image"));
        writeBytes(directory / "more.txt", asBytes("none either"));
        writeBytes(directory / "empty", {});
        writeBytes(directory / "script.js", asBytes("print('x')"));
        writeBytes(directory / "latin1.js", asBytes("print('\xE4')"));
        std::filesystem::create_directory(directory / "out");
        std::filesystem::create_symlink("notes.txt", directory / "link.txt");
    }

    test::RunResult run(Words const& arguments) const { return runVelk(arguments, directory.path()); }

    TemporaryDirectory const directory;
};

struct RefusalCase {
    Words arguments;
    int status;
    std::string errors;
};

} // namespace

TEST_F(CommandLine, RefusesWhatItDoesNotUnderstandBeforeAnyFileIsTouched)
{
    auto const missing = [](auto name) {
        return "missing parameters for function \"" + std::string(name) + "\"";
    };
    auto const bad = [](auto name) { return "bad parameter for function \"" + std::string(name) + "\""; };
    RefusalCase const cases[] = {
        {{"--frobnicate"}, 1, runError(1, "unknown function \"--frobnicate\"")},
        {{"notes.txt", "-gx", "--nonsense"}, 1, runError(1, "unknown function \"-gx\"")},
        {{"-"}, 1, runError(1, "unknown function \"-\"")},
        {{"-G", "all", "notes.txt"}, 1, runError(1, "unknown function \"-G\"")},
        {{"--GetProperty", "all"}, 1, runError(1, "unknown function \"--GetProperty\"")},
        {{"-g"}, 2, runError(2, missing("-g"))},
        {{"notes.txt", "--setProperty", "format"}, 2, runError(2, missing("--setProperty"))},
        {{"-r", "-o", "notes.txt"}, 2, runError(2, missing("-r"))},
        {{"-s", "format", "-1", "notes.txt"}, 2, runError(2, missing("-s"))},
        {{"-r", "-5", "notes.txt"}, 3, runError(3, bad("-r"))},
        {{"-r", "-", "notes.txt"}, 3, runError(3, bad("-r"))},
        {{"-s", "make", "--5", "notes.txt"}, 3, runError(3, bad("-s"))},
        {{"-g", "all"}, 4, runError(4, "no file was specified")},
        {{"notes.txt"}, 5, runError(5, "no valid functions were specified")},
        {{"notes.txt", "--oneLine", "-o", "out"}, 5, runError(5, "no valid functions were specified")},
        {{"-g", "all", "-r", "90", "-x", "p", "notes.txt"}, 6,
            runError(6, "cannot get properties and modify file in the same invocation")},
        {{"-r", "90", "-x", "p", "--verify", "notes.txt"}, 7,
            runError(7, "cannot extract and modify file in the same invocation")},
        {{"-r", "90", "--verify", "notes.txt"}, 8,
            runError(8, "cannot verify and modify file in the same invocation")},
        {{"-r", "90", "-o", "more.txt", "notes.txt", "notes.txt"}, 9,
            runError(9, "cannot perform functions on files because no destination dir was specified")},
        {{"-o", "gone/", "-r", "90", "notes.txt", "--frobnicate"}, 10,
            runError(10, "out_dir_not_found gone/")},
        {{"-o", "notes.txt/", "-r", "90", "notes.txt"}, 10, runError(10, "out_dir_not_found notes.txt/")},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(testing::PrintToString(row.arguments));
        auto const result = run(row.arguments);
        EXPECT_EQ(result.status, row.status);
        EXPECT_EQ(result.errors, row.errors);
        EXPECT_EQ(result.output, "");
    }
}

TEST_F(CommandLine, RefusesOutputPathsThatCannotBeWritten)
{
    struct OutputCase {
        std::string path;
        std::string reason;
    };
    std::string const deep(1024, 'x');
    OutputCase const cases[] = {
        {"gone/new.png", "its directory does not exist"},
        {"notes.txt/new.png", "Not a directory"},
        {"", "the path is empty"},
        {"/dev/null", "it is neither a file nor a directory"},
        {deep, "the path is longer than 1023 bytes"},
        {std::string(400, 'x'), "File name too long"},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(row.path);
        auto const result = run({"-r", "90", "-o", row.path, "notes.txt"});
        EXPECT_EQ(result.status, 13);
        EXPECT_EQ(result.errors,
            "Error: cannot write to \"" + row.path + "\": " + row.reason + "\n"
                + runError(13, "an unknown error occurred"));
        EXPECT_EQ(result.output, "");
    }
}

TEST_F(CommandLine, RefusesPathsThatGrowTooLong)
{
    std::string path = directory / "";
    while (path.size() + 101 < 1024)
        path += std::string(100, 'd') + "/";
    std::filesystem::create_directories(path);
    auto const longest = path + std::string(1023 - path.size(), 'f');
    auto const shorter = path + "f";
    writeBytes(longest, asBytes("x"));
    writeBytes(shorter, asBytes("x"));

    auto const fits = run({"-g", "all", longest});
    EXPECT_EQ(fits.output, longest + "\n");

    // Relative and short as typed, too long as a canonical path.
    std::filesystem::create_directory_symlink(path, directory / "deep");
    auto const tooLong = "deep/" + longest.substr(path.size()) + "ff";
    writeBytes(directory / tooLong, asBytes("x"));
    auto const input = run({"-g", "all", tooLong});
    EXPECT_EQ(input.status, 4);
    EXPECT_EQ(input.errors,
        "Warning: " + tooLong + " not a valid file (the path is longer than 1023 bytes) - skipping\n"
            + runError(4, "no file was specified"));
    EXPECT_EQ(run({"-r", "90", "notes.txt", "-o", tooLong + "f"}).status, 13);

    // The directory fits, the file in it does not; the message names the file, and nothing appears there.
    auto const name = std::string(200, 'n');
    writeBytes(directory / name, asBytes("x"));
    auto const composed = run({"-r", "90", name, "-o", "deep"});
    EXPECT_EQ(composed.status, 13);
    EXPECT_EQ(composed.errors,
        "Error: " + (directory / name) + ": the output path is longer than 1023 bytes\n"
            + runError(13, "an unknown error occurred"));

    EXPECT_EQ(run({"-g", std::string(1024, 'k'), "notes.txt"}).errors,
        "Error: --getProperty: the key is longer than 1023 bytes\n"
            + runError(13, "an unknown error occurred"));
}

TEST_F(CommandLine, SkipsInvalidFilesWithAWarning)
{
    auto const result = run({"gone.jpg", "-g", "all", "empty", "out", ""});
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.errors,
        "Warning: gone.jpg not a valid file - skipping\n"
        "Warning: empty not a valid file - skipping\n"
        "Warning: out not a valid file - skipping\n"
        "Warning:  not a valid file - skipping\n"
            + runError(4, "no file was specified"));
}

TEST_F(CommandLine, WorksThroughTheFilesInTheirOrder)
{
    auto const notes = directory / "notes.txt";
    auto const more = directory / "more.txt";
    auto const failed = runError(13, "an unknown error occurred");
    struct RunCase {
        Words arguments;
        std::string output;
        std::string errors;
    };
    std::string const queryError = "Error: Error querying file\n";
    std::string const modifyError = "Error: Error modifying file\n";
    std::string const operateError = "Error: Error operating on file\n";
    RunCase const cases[] = {
        {{"-g", "all", "more.txt", "link.txt", "./out/../more.txt"}, more + "\n" + notes + "\n" + more + "\n",
            queryError + queryError + queryError + failed},
        {{"-g", "all", "gone", "more.txt", "-1"}, more + "|\n",
            "Warning: gone not a valid file - skipping\n" + queryError + failed},
        {{"-g", "make", "-g", "allxml", "more.txt"}, "", queryError + failed},
        {{"-g", "make", "-x", "p", "--verify", "more.txt"}, more + "\n", queryError + operateError + failed},
        {{"-r", "-90", "more.txt"}, more + "\n  " + more + "\n", modifyError + failed},
        {{"-r", "-90", "more.txt", "notes.txt", "--out", "out", "-1"},
            more + "|\t" + (directory / "out/more.txt") + "\n" + notes + "|\t" + (directory / "out/notes.txt")
                + "\n",
            modifyError + modifyError + failed},
        {{"-o", "out", "-r", "180", "more.txt", "-o", "new.txt"},
            more + "\n  " + (directory / "new.txt") + "\n", modifyError + failed},
        {{"-o", "notes.txt", "-d", "make", "more.txt"}, more + "\n  " + notes + "\n", modifyError + failed},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(testing::PrintToString(row.arguments));
        auto const result = run(row.arguments);
        EXPECT_EQ(result.status, 13);
        EXPECT_EQ(result.output, row.output);
        EXPECT_EQ(result.errors, row.errors);
    }
    EXPECT_EQ(asText(test::readBytes(notes)), "no image");
}

TEST_F(CommandLine, TakesScriptsOnlyFromReadableText)
{
    EXPECT_EQ(run({"-j", "script.js"}).output, "x\n");
    EXPECT_EQ(run({"-j", "empty"}).status, 4);
    EXPECT_EQ(run({"-j", "gone.js"}).status, 4);
    EXPECT_EQ(run({"-j", "latin1.js", "notes.txt"}).status, 5);
    // With a script, no line announces a file.
    EXPECT_EQ(run({"-j", "script.js", "notes.txt"}).output, "x\n");
}

TEST_F(CommandLine, DebugShowsTheStepThatFailed)
{
    auto const result = run({"--debug", "-g", "all", "notes.txt"});
    EXPECT_TRUE(result.errors.starts_with("   assert: source=0 [ImageProcessing, line ")) << result.errors;
    EXPECT_NE(result.errors.find("]\nError: Error querying file\n"), std::string::npos);
}

namespace {

// Runs velk with `target` as standard output, or with none; the errors go to `errorPath`.
int statusWithOutputTo(char const* target, std::vector<char const*> arguments, std::string const& errorPath)
{
    arguments.insert(arguments.begin(), VELK_BINARY);
    arguments.push_back(nullptr);
    auto const child = ::fork();
    if (child == 0) {
        ::close(STDOUT_FILENO);
        if (target)
            ::open(target, O_WRONLY);
        auto const errors = ::open(errorPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
        ::dup2(errors, STDERR_FILENO);
        ::close(errors);
        ::execv(VELK_BINARY, const_cast<char**>(arguments.data()));
        ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

TEST_F(CommandLine, LostOutputIsAnError)
{
    auto const errors = directory / "errors";
    EXPECT_EQ(statusWithOutputTo("/dev/full", {"--help"}, errors), 13);
    EXPECT_EQ(asText(test::readBytes(errors)),
        "Error: cannot write to standard output: No space left on device\n"
            + runError(13, "an unknown error occurred"));
    EXPECT_EQ(statusWithOutputTo("/dev/full", {"--version"}, errors), 13);
    // A closed descriptor must not be given to the next file that is opened.
    EXPECT_EQ(statusWithOutputTo(nullptr, {"--formats"}, errors), 13);
    EXPECT_EQ(asText(test::readBytes(errors)),
        "Error: cannot write to standard output: Bad file descriptor\n"
            + runError(13, "an unknown error occurred"));
    EXPECT_EQ(statusWithOutputTo("/dev/null", {"--help"}, errors), 0);
}

} // namespace velk
