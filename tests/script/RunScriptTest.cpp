#include "support/TestFiles.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace velk {

namespace {

using Words = std::vector<std::string>;

// Runs velk with --js in a directory of its own.
class RunScript : public testing::Test {
protected:
    test::RunResult run(
        std::string const& source, Words const& more = {},
        std::function<void()> const& beforeExec = [] {}) const
    {
        test::writeBytes(directory / "a.js", asBytes(source));
        Words arguments = {"--js", "a.js"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return test::runVelk(arguments, directory.path(), beforeExec);
    }

    test::TemporaryDirectory const directory;
};

} // namespace

TEST_F(RunScript, PrintsOneLineForEachValue)
{
    auto const result = run(R"(
        print('hi'); console.log(3); console.log(); print(undefined); print(''); print('a', 'b');
        print(null); print([1, 'x', [true]]); print({a: 1, b: 'x'}); print(new Rect(1, 2, 3, 4));
        print(0.1); print('grün\n'); ({log: console.log}).log('lost'); console.log.call(console, 'found');
    )");
    EXPECT_EQ(result.output,
        "hi\n3\n<Can't create string>\n<Can't create string>\n\na\nnull\n[1, \"x\", [true]]\n{a: 1, b: "
        "\"x\"}\n"
        "Rect: {{1, 2}, {3, 4}}\n0.1\ngrün\n\nfound\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, 0);
}

TEST_F(RunScript, ReportsErrorsOnStandardOutputAndEndsWell)
{
    struct Case {
        char const* source;
        char const* output;
    };
    Case const cases[] = {
        {"print(1); throw new Error('x'); print(2)", "1\nJS Error: Error: x\n"},
        {"print(1); let y = ;", "JS Error: SyntaxError: expected expression, got ';'\n"},
        {"throw 'text'", "JS Error: text\n"},
        {"(async () => { print(1); await null; print(3); none() })(); print(2)",
            "1\n2\n3\nJS Error: ReferenceError: none is not defined\n"},
        {"function f() { return f() + 1 } f()", "JS Error: InternalError: too much recursion\n"},
        {"new ArrayBuffer(2 ** 53 - 1)", "JS Error: RangeError: invalid array length\n"},
        {"\xEF\xBB\xBFprint('after a byte order mark')", "after a byte order mark\n"},
        {"#!/usr/bin/velk --js\nprint(1)", "1\n"},
    };
    for (auto const& [source, output] : cases) {
        auto const result = run(source);
        EXPECT_EQ(result.output, output) << source;
        EXPECT_EQ(result.errors, "") << source;
        EXPECT_EQ(result.status, 0) << source;
    }
}

TEST_F(RunScript, SurvivesASmallStack)
{
    auto const result = run("function f(a) { return [a].map(f) } f(1)", {}, [] {
        rlimit const limit = {512 * 1024, 512 * 1024};
        ::setrlimit(RLIMIT_STACK, &limit);
    });
    EXPECT_EQ(result.output, "JS Error: InternalError: too much recursion\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(RunScript, ShowsTheCommandLine)
{
    std::filesystem::create_directory(directory / "out");
    struct Case {
        Words more;
        char const* source;
        std::string output;
    };
    auto const root = std::filesystem::canonical(directory.path()).string();
    Case const cases[] = {
        {{"-z", "100", "200"}, "print(velk.size)", "{width: 100, height: 200}"},
        {{"--resampleWidth", "300"}, "print(velk.size)", "{width: 300, height: 0}"},
        {{"-Z", "512"}, "print([velk.longestEdge, velk.size.width])", "[512, 0]"},
        {{"-Z", "100"}, "print(velk.requestedSizeForSize(new Size(400, 200)))", "{width: 100, height: 50}"},
        {{"-Z", "9"}, "print(velk.arguments)", "[\"--js\", \"a.js\", \"-Z\", \"9\"]"},
        {{"--out", "out"}, "print([velk.outputDir, velk.outputPath])", "[\"" + root + "/out\", undefined]"},
        {{"--out", "o.png"}, "print([velk.outputDir, velk.outputPath])",
            "[undefined, \"" + root + "/o.png\"]"},
        {{}, "print([velk.outputDir, velk.outputPath, velk.images])", "[undefined, \"\", []]"},
    };
    for (auto const& [more, source, output] : cases) {
        auto const result = run(source, more);
        EXPECT_EQ(result.output, output + "\n") << source;
        EXPECT_EQ(result.status, 0) << source;
    }
}

} // namespace velk
