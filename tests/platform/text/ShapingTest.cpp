#include "platform/text/Shaping.h"

#include "platform/text/FontCatalog.h"

#include <gtest/gtest.h>

namespace velk::text {

namespace {

// Pango counts in fractions of an em that are not those of the font.
constexpr double kGlyphTolerance = 1.0 / 32768;

void expectSame(std::vector<ShapedGlyph> const& plain, std::vector<ShapedGlyph> const& any)
{
    ASSERT_EQ(plain.size(), any.size());
    for (std::size_t i = 0; i < plain.size(); ++i) {
        auto const tolerance = kGlyphTolerance * static_cast<double>(i + 1);
        EXPECT_EQ(plain[i].face, any[i].face) << i;
        EXPECT_EQ(plain[i].glyph, any[i].glyph) << i;
        EXPECT_NEAR(plain[i].origin.x, any[i].origin.x, tolerance) << i;
        EXPECT_NEAR(plain[i].origin.y, any[i].origin.y, tolerance) << i;
    }
}

} // namespace

TEST(Shaping, JoinsLettersAndMarksToOneCharacter)
{
    struct {
        char const* text;
        std::u32string_view characters;
    } const cases[] = {
        {"cafe\u0301", U"café"},
        {"e\u0302\u0301", U"\u1EBF"},
        {"q\u0302", U"q\u0302"},
        {"\u0301e", U"\u0301e"},
        {"e\u200D\u0301", U"e\u200D\u0301"},
        {"\u1112\u1161\u11AB", U"\uD55C"},
    };
    for (auto const& row : cases)
        EXPECT_EQ(lineCharacters(row.text), row.characters) << row.text;
}

TEST(Shaping, ThePlainWayAgreesWithTheGeneralOne)
{
    constexpr char32_t const* kTexts[] = {
        U"",
        U" ",
        U"H",
        U"AVATAR To Wa 11.7 fi ffl",
        U"  blanks  around  ",
        U"0123456789 +-*/=%#",
        U"1,234.50 € ± © ® ½ × µ",
        U"Grüße aus Österreich – „Zitat“ … «café»",
        U"Şişli ığüşöç Łódź",
        U"(no [letters] {at} <end>)?!",
    };
    for (auto const* const name : {"DejaVu Sans", "DejaVuSans-Bold", "DejaVu Sans Mono", "LiberationSans",
             "LiberationSans-BoldItalic", "LiberationSerif", "LiberationMono-Bold"}) {
        auto const* const face = installedFace(name);
        ASSERT_NE(face, nullptr) << name;
        for (std::size_t i = 0; i < std::size(kTexts); ++i) {
            SCOPED_TRACE(testing::Message() << name << ", text " << i);
            auto const plain = shapePlain(kTexts[i], *face);
            ASSERT_TRUE(plain);
            expectSame(*plain, shapeAny(kTexts[i], *face));
        }
    }
}

TEST(Shaping, AFaceThatStoodInForABoldOneIsStillTheRegularOne)
{
    // In the regular face only.
    shapeAny(U"\u2102", *installedFace("DejaVuSerif-Bold"));
    auto const* const face = installedFace("DejaVu Serif");
    expectSame(*shapePlain(U"Regular", *face), shapeAny(U"Regular", *face));
}

TEST(Shaping, ThePlainWayLeavesTheRestToTheGeneralOne)
{
    auto const* const face = installedFace("LiberationSans");
    for (auto const* const text : {U"Привет", U"a\u0301", U"שלום", U"a\u200Db", U"a\u00ADb", U"\u200F1",
             U"漢", U"👍", U"©\uFE0F", U"\uFFFD"})
        EXPECT_FALSE(shapePlain(text, *face));
    // A letter like the others, but not in the font.
    EXPECT_FALSE(shapePlain(U"a\u1E9Fb", *face));
}

} // namespace velk::text
