#include "cli/FunctionTable.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace velk {

using test::runVelk;
using testing::HasSubstr;

namespace {

std::string outputOf(std::vector<std::string> const& arguments)
{
    auto const result = runVelk(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    return result.output;
}

std::vector<std::string> linesOf(std::string const& text)
{
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

} // namespace

TEST(InformationalModes, UsageListsEveryGroup)
{
    auto const usage = outputOf({"--help"});
    EXPECT_EQ(usage, outputOf({}));
    EXPECT_EQ(usage, outputOf({"-H", "-h"})) << "the last mode counts";

    auto const lines = linesOf(usage);
    EXPECT_TRUE(lines[0].starts_with("velk - ") && lines[0].ends_with("."));
    auto const body = usage.substr(usage.find("\n\n"));
    EXPECT_EQ(body.substr(0, body.find("  Image modification")), R"(

  Usages:
    velk [image-functions] imagefile ... 
    velk [profile-functions] profile ... 

  Profile query functions: 
    -g, --getProperty key 
    -X, --extractTag tag tagFile 
        --verify 
    -1, --oneLine 

  Image query functions: 
    -g, --getProperty key 
    -x, --extractProfile profile 
    -1, --oneLine 

  Profile modification functions: 
    -s, --setProperty key value 
    -d, --deleteProperty key 
        --deleteTag tag 
        --copyTag srcTag dstTag 
        --loadTag tag tagFile 
        --repair 
    -o, --out file-or-directory 

)");
    EXPECT_TRUE(body.ends_with(R"(    -j, --js file 

  Other functions: 
        --debug           Enable debugging output
    -h, --help            Show help
    -H, --helpProperties  Show help for properties
        --man             Generate man pages
    -v, --version         Show the version
        --formats         Show the read/write formats
)"));
    EXPECT_THAT(body, HasSubstr("    -f, --flip horizontal|vertical \n"));
    EXPECT_THAT(body, HasSubstr("        --cropOffset offsetY offsetH \n"));
}

TEST(InformationalModes, EveryFunctionIsReachableByBothItsNames)
{
    EXPECT_EQ(functionTable().size(), 36u);
    for (auto const& function : functionTable()) {
        EXPECT_EQ(findFunction(function.longName), &function);
        if (function.shortLetter) {
            EXPECT_EQ(findFunction(std::string {'-', function.shortLetter}), &function);
        }
    }
    EXPECT_EQ(findFunction(std::string_view("-\0", 2)), nullptr);
}

TEST(InformationalModes, PropertyHelpShowsTypesHintsAndWhatIsReadOnly)
{
    auto const help = outputOf({"--helpProperties"});
    EXPECT_THAT(help, HasSubstr(R"(
  The commands --getProperty, --setProperty, and --deleteProperty
  can use one of the following keys as a parameter.

  Special property keys: 
    all                  binary data
    allxml               binary data

  Image property keys: 
    dpiHeight            float
    dpiWidth             float
    pixelHeight          integer (read-only)
)"));
    EXPECT_THAT(help,
        HasSubstr("    hasAlpha             boolean (read-only)\n\n  Profile property keys: \n"
                  "    description          utf8 string\n"));
    EXPECT_THAT(help,
        HasSubstr(
            "    format               string jpeg | tiff | png | gif | jp2 | lumb | bmp | zorn | psd | sgi "
            "| tga\n"));
    EXPECT_TRUE(help.ends_with("    md5                  string (read-only)\n\n"));
}

TEST(InformationalModes, ManualPageIsMdoc)
{
    auto const page = outputOf({"--man"});
    EXPECT_TRUE(page.starts_with(".Dd 7/10/05\n.Dt velk 1\n.Os Tundra\n.Sh NAME\n.Nm velk\n.Nd "));
    EXPECT_THAT(page, HasSubstr(".It Fl r Ar degreesCW \n.It Fl -rotate Ar degreesCW \n.Pp\n"));
    EXPECT_THAT(
        page, HasSubstr(".It Fl -verify \nVerify any profile problems and log output to stdout.\n.Pp\n"));
    EXPECT_THAT(page,
        HasSubstr(
            "Profile property keys:\n.Bl -tag -width xxxxxxxxxxxxxxxxxx -compact\n.It description\nutf8 "
            "string\n.It size\ninteger (read-only)\n"));

    // Every list is closed before the next begins, and no text is mistaken for a macro.
    int open = 0;
    for (auto const& line : linesOf(page)) {
        open += line.starts_with(".Bl") - line.starts_with(".El");
        EXPECT_TRUE(open == 0 || open == 1);
        EXPECT_FALSE(line.empty() || line.starts_with("'"));
    }
    EXPECT_EQ(open, 0);
}

TEST(InformationalModes, VersionIsPrintedWhateverElseIsWrong)
{
    for (auto const& arguments :
        {std::vector<std::string> {"-v"}, {"-g", "all", "--version", "gone.jpg", "--no"}})
        EXPECT_EQ(runVelk(arguments).output, "velk-295\n");
    EXPECT_EQ(runVelk({"--version", "--bogus"}).status, 0);
    EXPECT_EQ(runVelk({"--version", "--bogus"}).errors, "");
}

TEST(InformationalModes, ParseErrorsFollowTheModesText)
{
    auto const result = runVelk({"--help", "--bogus"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, outputOf({"--help"}));
    EXPECT_EQ(
        result.errors, "Error 1: unknown function \"--bogus\"\nTry 'velk --help' for help using this tool\n");
}

TEST(InformationalModes, FormatsAreSortedAndAligned)
{
    auto const lines = linesOf(outputOf({"--formats"}));
    ASSERT_GT(lines.size(), 3u);
    EXPECT_EQ(lines[0], "Supported Formats:");
    EXPECT_EQ(lines[1].find_first_not_of('-'), std::string::npos);
    std::vector<std::string> const rows(lines.begin() + 2, lines.end());
    EXPECT_TRUE(std::ranges::is_sorted(rows));
    // 8 for the last column and its space, 2 for another.
    auto const width = lines[1].size() - 10 + 2;
    for (auto const& row : rows) {
        SCOPED_TRACE(row);
        EXPECT_EQ(row.substr(width), row.ends_with("Writable") ? "Writable" : "");
        EXPECT_EQ(row[width - 1], ' ');
    }
    EXPECT_THAT(rows, testing::Contains(testing::StartsWith("com.adobe.pdf ")));
    EXPECT_THAT(rows, testing::Contains(testing::ContainsRegex("^public\\.png +png +Writable$")));
}

} // namespace velk
