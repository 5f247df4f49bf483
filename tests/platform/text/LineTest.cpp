#include "platform/text/Line.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

namespace velk::text {

namespace {

using graphics::FloatRect;

/// DejaVu Sans has 2048 units per em, capitals 1493 units high, and letters of many scripts.
Font dejaVu(double size)
{
    return *Font::find("DejaVu Sans", size);
}

FloatRect ink(std::string_view text, Font const& font)
{
    return Line(text, font).inkBox();
}

std::vector<std::uint64_t> identities(std::string_view text, Font const& font)
{
    std::vector<std::uint64_t> result;
    Line const line(text, font);
    std::ranges::transform(line.glyphs(), std::back_inserter(result), &PlacedGlyph::outlineIdentity);
    return result;
}

bool isBlank(std::string_view text, Font const& font)
{
    Line const line(text, font);
    return line.inkBox().width == 0 && line.inkBox().height == 0 && line.outline().isEmpty();
}

} // namespace

TEST(Line, MeasuresTheInkOfItsGlyphs)
{
    auto const font = dejaVu(2048);
    auto const capital = ink("H", font);
    EXPECT_NEAR(capital.x, 201, 0.5);
    EXPECT_NEAR(capital.y, 0, 0.5);
    EXPECT_NEAR(capital.height, 1493, 0.5);
    EXPECT_NEAR(capital.width, 1138, 0.5);

    auto const descender = ink("p", font);
    EXPECT_LT(descender.y, -400);
    EXPECT_GT(descender.y + descender.height, 1000);

    // Round letters reach as far as their curves, not as the control points of these.
    auto const round = ink("O", font);
    EXPECT_NEAR(round.y, -29, 1);
    EXPECT_NEAR(round.y + round.height, 1520, 1);
}

TEST(Line, GrowsInProportionToTheSize)
{
    for (std::string_view const text : {"Hamburgefonstiv", "Привет, мир", "שלום"}) {
        auto const one = ink(text, dejaVu(1));
        for (auto const size : {7.0, 12.5, 300.0, 100000.0}) {
            auto const scaled = ink(text, dejaVu(size));
            EXPECT_NEAR(scaled.x, one.x * size, 1e-9 * size) << text << size;
            EXPECT_NEAR(scaled.y, one.y * size, 1e-9 * size) << text << size;
            EXPECT_NEAR(scaled.width, one.width * size, 1e-9 * size) << text << size;
            EXPECT_NEAR(scaled.height, one.height * size, 1e-9 * size) << text << size;
        }
    }
}

TEST(Line, KernsPairs)
{
    auto const font = *Font::find("LiberationSans", 100);
    auto const distance = [&](std::string_view pair) {
        Line const line(pair, font);
        return line.glyphs()[1].origin.x - line.glyphs()[0].origin.x;
    };
    EXPECT_LT(distance("AV"), distance("AH") - 5);
    EXPECT_LT(distance("To"), distance("Tl") - 5);
}

TEST(Line, BlanksHaveNoInk)
{
    for (std::string_view const text : {"", " ", "      ", "\t", "\n", "\r\n", "\u00A0", "\u2003", "\u200B"})
        EXPECT_TRUE(isBlank(text, dejaVu(20))) << '"' << text << '"';
    EXPECT_EQ(ink("A   ", dejaVu(20)).width, ink("A", dejaVu(20)).width);
    EXPECT_GT(ink("  A", dejaVu(20)).x, ink("A", dejaVu(20)).x + 10);
}

TEST(Line, StaysOneLine)
{
    auto const font = dejaVu(20);
    auto const blank = ink("a b", font);
    constexpr std::string_view kTexts[] = {
        "a\nb", "a\tb", "a\rb", "a\vb", "a\u0085b", "a\u2028b", "a\u2029b", {"a\0b", 3}};
    for (auto const text : kTexts) {
        auto const box = ink(text, font);
        EXPECT_EQ(box.width, blank.width) << text;
        EXPECT_EQ(box.height, blank.height) << text;
    }
}

TEST(Line, SharesOutlinesBetweenEqualGlyphsOnly)
{
    auto const font = dejaVu(20);
    auto const letters = identities("abab", font);
    ASSERT_EQ(letters.size(), 4u);
    EXPECT_EQ(letters[0], letters[2]);
    EXPECT_EQ(letters[1], letters[3]);
    EXPECT_NE(letters[0], letters[1]);
    EXPECT_EQ(identities("a", font)[0], letters[0]);
    EXPECT_EQ(identities("a", dejaVu(20))[0], letters[0]);
    EXPECT_NE(identities("a", dejaVu(21))[0], letters[0]);
    EXPECT_NE(identities("a", *Font::find("DejaVuSans-Bold", 20))[0], letters[0]);
}

TEST(Line, KeepsItsOutlinesWhenManySizesFollow)
{
    Line const line("g", dejaVu(20));
    auto const bounds = line.glyphs()[0].outline->controlBounds();
    std::map<std::uint64_t, double> sizes {{line.glyphs()[0].outlineIdentity, 20}};
    for (int i = 0; i < 500; ++i) {
        auto const size = 30 + i * 0.5;
        auto const identity = identities("g", dejaVu(size))[0];
        EXPECT_EQ(sizes.emplace(identity, size).first->second, size);
    }
    EXPECT_EQ(line.glyphs()[0].outline->controlBounds().width, bounds.width);
    EXPECT_EQ(line.outline().controlBounds().height, bounds.height);
}

TEST(Line, SetsRightToLeftTextInVisualOrder)
{
    auto const font = dejaVu(20);
    auto const alef = identities("\u05D0", font), bet = identities("\u05D1", font),
               gimel = identities("\u05D2", font), a = identities("a", font), one = identities("1", font),
               two = identities("2", font), armenian = identities("\u0561", font);
    struct {
        char const* text;
        std::vector<std::uint64_t> order;
    } const cases[] = {
        {"\u05D0\u05D1\u05D2", {gimel[0], bet[0], alef[0]}},
        {"a \u05D0\u05D1", {a[0], bet[0], alef[0]}},
        // The first letter gives the line its direction.
        {"\u05D0\u05D1 a", {a[0], bet[0], alef[0]}},
        {"\u05D0 12 \u05D1", {bet[0], one[0], two[0], alef[0]}},
        {"a 12 \u05D0", {a[0], one[0], two[0], alef[0]}},
        {"\u05D0 a \u0561 1 \u05D1 2", {two[0], bet[0], a[0], armenian[0], one[0], alef[0]}},
    };
    for (auto const& row : cases)
        EXPECT_EQ(identities(row.text, font), row.order) << row.text;
}

TEST(Line, RunsFromLeftToRight)
{
    for (std::string_view const text : {"Plain", "שלום abc", "abc שלום", "Ελλάδα"}) {
        Line const line(text, dejaVu(20));
        EXPECT_TRUE(std::ranges::is_sorted(line.glyphs(), {}, [](PlacedGlyph const& glyph) {
            return glyph.origin.x;
        })) << text;
        EXPECT_GE(line.inkBox().x, 0) << text;
    }
}

TEST(Line, JoinsArabicLetters)
{
    auto const font = dejaVu(20);
    auto const alone = identities("\u0628", font);
    auto const joined = identities("\u0628\u0628\u0628", font);
    EXPECT_GE(joined.size(), 3u);
    EXPECT_EQ(std::ranges::count(joined, alone[0]), 0);
    EXPECT_GT(std::set(joined.begin(), joined.end()).size(), 2u);
}

TEST(Line, PlacesCombiningMarksOnTheirLetter)
{
    auto const font = dejaVu(100);
    auto const letter = ink("q", font);
    Line const marked("q\u0302", font);
    ASSERT_EQ(marked.glyphs().size(), 2u);
    EXPECT_NEAR(marked.inkBox().x, letter.x, 1);
    EXPECT_NEAR(marked.inkBox().width, letter.width, 1);
    EXPECT_NEAR(marked.inkBox().y, letter.y, 0.01);
    EXPECT_GT(marked.inkBox().height, letter.height + 10);

    EXPECT_EQ(identities("e\u0301", font), identities("\u00E9", font));
}

TEST(Line, BorrowsGlyphsThatTheFontLacks)
{
    auto const font = *Font::find("LiberationSans", 20);
    // Armenian is in DejaVu Sans.
    EXPECT_NE(identities("\u0561", font), identities("\U000F1234", font));
    auto const mixed = identities("a\u0561a", font);
    ASSERT_EQ(mixed.size(), 3u);
    EXPECT_EQ(mixed[0], identities("a", font)[0]);
    EXPECT_EQ(mixed[2], mixed[0]);
}

TEST(Line, ShowsABoxForWhatNoFontHas)
{
    auto const font = dejaVu(20);
    Line const line("a\U000F1234b", font);
    ASSERT_EQ(line.glyphs().size(), 3u);
    EXPECT_GT(line.inkBox().width, ink("ab", font).width + 5);
    EXPECT_EQ(identities("\U000F1234", font), identities("\U000F5678", font));
    // Also where the font itself leaves missing glyphs blank.
    EXPECT_EQ(Line("\U000F1234", *Font::find("Helvetica", 20)).glyphs().size(), 1u);
}

TEST(Line, ShowsInvalidUtf8AsReplacementCharacters)
{
    auto const font = dejaVu(20);
    struct {
        std::string_view text, shown;
    } const cases[] = {
        {"\xFF", "\uFFFD"},
        {"a\x80z", "a\uFFFDz"},
        {"\xC3", "\uFFFD"},
        {"\xC0\xAF", "\uFFFD\uFFFD"},
        {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},
        {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"ab\xE2\x82", "ab\uFFFD\uFFFD"},
    };
    for (auto const& row : cases)
        EXPECT_EQ(identities(row.text, font), identities(row.shown, font)) << row.shown;
}

TEST(Line, SurvivesUnusualText)
{
    auto const font = *Font::find("Helvetica", 12);
    std::string everything;
    for (auto const* const piece : {"\u202E", "\u2066", "\u200D", "\uFE0F", "👩\u200D👩\u200D👧", "\u0301",
             "क्षि", "\u0E33", "한글", "\U000E0041", "\uFFFF", "\u200F", "\u061F", "ﷺ", "🇦🇹"}) {
        Line(piece, font);
        everything += piece;
    }
    for (int i = 0; i < 6; ++i)
        everything += everything;
    EXPECT_GT(Line(everything, font).glyphs().size(), 64u);
    // Thousands of runs.
    std::string accents;
    for (int i = 0; i < 3000; ++i)
        accents += "a\u0323\u0325";
    Line(accents, font);
    EXPECT_GT(Line(std::string(100000, 'x'), font).inkBox().width, 500000);
    EXPECT_GT(Line(std::string(200000, '\xFF'), font).glyphs().size(), 199999u);
}

TEST(Line, OutlineHoldsAllGlyphsInPlace)
{
    auto const font = dejaVu(20);
    Line const line("HIH", font);
    auto const bounds = line.outline().controlBounds();
    EXPECT_NEAR(bounds.x, line.inkBox().x, 1e-9);
    EXPECT_NEAR(bounds.y, line.inkBox().y, 1e-9);
    EXPECT_NEAR(bounds.width, line.inkBox().width, 1e-9);
    EXPECT_NEAR(bounds.height, line.inkBox().height, 1e-9);
}

} // namespace velk::text
