#include "platform/text/Font.h"

#include "platform/text/FontCatalog.h"
#include "platform/text/Line.h"

#include <fontconfig/fontconfig.h>
#include <gtest/gtest.h>

#include <limits>

namespace velk::text {

namespace {

std::string postScriptName(Face const& face)
{
    FcChar8* name = nullptr;
    FcPatternGetString(face.pattern(), FC_POSTSCRIPT_NAME, 0, &name);
    return name ? reinterpret_cast<char const*>(name) : "";
}

double widthIn(std::string const& name)
{
    auto const font = Font::find(name, 100);
    return font ? Line("Sphinx of black quartz, judge my vow", *font).inkBox().width : -1;
}

} // namespace

TEST(Font, IsFoundByFamilyFullAndPostScriptName)
{
    struct {
        char const *name, *face;
    } const cases[] = {
        {"DejaVu Sans", "DejaVuSans"},
        {"dejavu sans", "DejaVuSans"},
        {"DejaVu Sans Bold", "DejaVuSans-Bold"},
        {"DejaVuSans-Bold", "DejaVuSans-Bold"},
        {"DejaVuSansMono", "DejaVuSansMono"},
        {"Liberation Mono", "LiberationMono"},
        {"liberationserif", "LiberationSerif"},
        {"LiberationSans", "LiberationSans"},
        {"LIBERATIONSANS-BOLD", "LiberationSans-Bold"},
        {"LiberationSerif-Italic", "LiberationSerif-Italic"},
        {"Liberation Serif Bold Italic", "LiberationSerif-BoldItalic"},
        {"LiberationSans-BoldItalic", "LiberationSans-BoldItalic"},
    };
    for (auto const& row : cases) {
        auto const* const face = installedFace(row.name);
        ASSERT_NE(face, nullptr) << row.name;
        EXPECT_EQ(postScriptName(*face), row.face);
    }
}

TEST(Font, NamesOfTheClassicFamiliesGiveTheSameWidths)
{
    struct {
        char const *name, *installed;
    } const cases[] = {
        {"Helvetica", "LiberationSans"},
        {"helvetica", "LiberationSans"},
        {"Arial", "LiberationSans"},
        {"Times", "LiberationSerif"},
        {"Times New Roman", "LiberationSerif"},
        {"TimesNewRoman", "LiberationSerif"},
        {"Courier", "LiberationMono"},
        {"Courier New", "LiberationMono"},
        {"Helvetica-Bold", "LiberationSans-Bold"},
        {"Arial-BoldMT", "LiberationSans-Bold"},
        {"Times-Roman", "LiberationSerif"},
        {"TimesNewRomanPS-BoldItalicMT", "LiberationSerif-BoldItalic"},
        {"Courier-Oblique", "LiberationMono-Italic"},
    };
    for (auto const& row : cases) {
        ASSERT_GT(widthIn(row.installed), 1000);
        EXPECT_NEAR(widthIn(row.name), widthIn(row.installed), 0.02 * widthIn(row.installed)) << row.name;
    }
}

TEST(Font, GenericNamesStandForSomeFont)
{
    for (auto const* const name :
        {"serif", "sans-serif", "Sans-Serif", "sans", "monospace", "mono", "cursive", "fantasy", "system-ui"})
        EXPECT_TRUE(Font::find(name, 12)) << name;
    EXPECT_NE(widthIn("serif"), widthIn("sans-serif"));
    EXPECT_NE(widthIn("sans-serif"), widthIn("monospace"));
}

TEST(Font, UnknownNamesAreNothing)
{
    std::string const cases[] = {
        "",
        " ",
        "Nonesuch",
        "Roman",
        "Helvetica,Arial",
        "\"Arial\"",
        "Helvetica:bold",
        "Helvetica-12",
        "Helvetica-Bol",
        "*",
        "%s%n",
        "\\",
        "../../etc/passwd",
        std::string("Arial\0", 6),
        std::string("Arial\0Bold", 10),
        "\n",
        "Ari\xFF"
        "al",
        "\xC0\x80",
        "漢字",
        std::string(255, 'x'),
        std::string(1 << 20, 'x'),
    };
    for (auto const& name : cases)
        EXPECT_FALSE(Font::find(name, 12)) << name.substr(0, 300);
}

TEST(Font, ManyUnknownNamesDoNotHideAKnownOne)
{
    for (int i = 0; i < 1000; ++i)
        EXPECT_FALSE(Font::find("Nonesuch" + std::to_string(i), 12));
    EXPECT_TRUE(Font::find("Helvetica", 12));
}

TEST(Font, SizesThatAreNoneGiveTheDefault)
{
    for (auto const size : {0.0, -3.0, std::numeric_limits<double>::infinity(),
             -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()})
        EXPECT_EQ(Font::find("Helvetica", size)->size(), Font::kDefaultSize) << size;
    EXPECT_EQ(Font::find("Helvetica", 56.7)->size(), 56.7);
    EXPECT_EQ(Font::fallback().size(), Font::kDefaultSize);
}

TEST(Font, FallbackIsHelvetica)
{
    auto const expected = Line("Quiz", *Font::find("Helvetica", Font::kDefaultSize)).inkBox();
    EXPECT_EQ(Line("Quiz", Font::fallback()).inkBox().width, expected.width);
}

} // namespace velk::text
