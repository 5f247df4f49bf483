#include "canvas/CanvasProbe.h"
#include "platform/text/GlyphMasks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace velk {

using namespace test;

namespace {

constexpr int kWidth = 200, kHeight = 120;
constexpr char kFont[] = "40px DejaVuSans";

std::shared_ptr<Canvas> textCanvas(char const* font = kFont)
{
    auto const canvas = makeCanvas(kWidth, kHeight);
    canvas->setFont(font);
    return canvas;
}

// The pixels that are not clear: first and last column and row.
struct Extent {
    int left = kWidth, top = kHeight, right = -1, bottom = -1;
};

Extent extentOf(Canvas const& canvas)
{
    Extent extent;
    for (int y = 0; y < canvas.height(); ++y) {
        for (int x = 0; x < canvas.width(); ++x) {
            if (alphaOf(canvas, x, y) < 40)
                continue;
            extent.left = std::min(extent.left, x);
            extent.right = std::max(extent.right, x);
            extent.top = std::min(extent.top, y);
            extent.bottom = std::max(extent.bottom, y);
        }
    }
    return extent;
}

int largestDifference(Canvas const& a, Canvas const& b)
{
    int largest = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x)
            largest = std::max(largest, std::abs(alphaOf(a, x, y) - alphaOf(b, x, y)));
    }
    return largest;
}

template <typename Action> std::string printedBy(Action const& action)
{
    testing::internal::CaptureStdout();
    action();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

} // namespace

TEST(CanvasText, StandsUprightOnItsBaseline)
{
    auto const canvas = textCanvas();
    canvas->fillText("L", 20, 80);
    auto const extent = extentOf(*canvas);
    EXPECT_EQ(extent.bottom, 79);
    EXPECT_NEAR(extent.top, 80 - canvas->measureText("L").height, 1.5);
    EXPECT_EQ(alphaOf(*canvas, extent.right - 2, 78), 255); // the foot
    EXPECT_EQ(alphaOf(*canvas, extent.right - 2, 60), 0);
    EXPECT_EQ(alphaOf(*canvas, extent.left + 2, 60), 255);
}

TEST(CanvasText, IsAlignedByItsInk)
{
    auto const width = textCanvas()->measureText("HH").width;
    struct Case {
        char const* align;
        double left;
    };
    for (auto const& [align, left] : {Case {"left", 100}, {"start", 100}, {"Center", 100}, {"", 100},
             {"center", 100 - width / 2}, {"right", 100 - width}, {"end", 100 - width}}) {
        auto const canvas = textCanvas();
        canvas->setTextAlign(align);
        canvas->fillText("HH", 100, 80);
        // A letter keeps its distance from the origin.
        EXPECT_NEAR(extentOf(*canvas).left, left + 201 / 2048.0 * 40, 1.2) << align;
    }
}

TEST(CanvasText, IsPlacedByTheHeightOfItsInk)
{
    auto const height = textCanvas()->measureText("H").height;
    struct Case {
        char const* baseline;
        double below; ///< of y, where the baseline comes to lie
    };
    for (auto const& [baseline, below] : {Case {"alphabetic", 0}, {"bottom", 0}, {"middle", height / 2},
             {"top", height}, {"hanging", height}, {"ideographic", height}, {"Alphabetic", height}}) {
        auto const canvas = textCanvas();
        canvas->setTextBaseline(baseline);
        canvas->fillText("H", 20, 60);
        EXPECT_NEAR(extentOf(*canvas).bottom + 1, 60 + below, 1) << baseline;
    }
}

TEST(CanvasText, MeasuresInk)
{
    auto const canvas = textCanvas();
    EXPECT_EQ(canvas->measureText("  "), SizeValue {});
    EXPECT_EQ(canvas->measureText(""), SizeValue {});
    EXPECT_EQ(canvas->measureText("H  "), canvas->measureText("H"));
    auto const small = canvas->measureText("Hg");
    canvas->setFont("80px DejaVuSans");
    EXPECT_NEAR(canvas->measureText("Hg").width, 2 * small.width, 0.1);
    EXPECT_NEAR(canvas->measureText("Hg").height, 2 * small.height, 0.1);
}

TEST(CanvasText, SaysWhichFontIsMissingEachTime)
{
    auto const canvas = textCanvas("12pt No-Such-Font-Anywhere");
    auto const printed = printedBy([&] {
        canvas->fillText("H", 20, 60);
        canvas->fillText("H", 20, 60);
        canvas->strokeText("H", 20, 60);
        EXPECT_GT(canvas->measureText("H").width, 0);
    });
    std::string const line = "Unable to create font: '12pt No-Such-Font-Anywhere'\n";
    EXPECT_EQ(printed, line + line + line + line);
    EXPECT_TRUE(isBlank(*canvas));

    auto const unnamed = textCanvas("");
    EXPECT_EQ(printedBy([&] { unnamed->fillText("H", 20, 60); }), "");
    EXPECT_TRUE(isBlank(*unnamed));
    EXPECT_GT(unnamed->measureText("H").width, 0);
    unnamed->setFont("12pt ");
    EXPECT_EQ(printedBy([&] { unnamed->fillText("H", 20, 60); }), "Unable to create font: '12pt '\n");
}

TEST(CanvasText, NeedsAColor)
{
    auto const canvas = textCanvas("12pt No-Such-Font-Anywhere");
    canvas->setFillStyle(js::Value(canvas->createLinearGradient(0, 0, 1, 1)));
    canvas->setStrokeStyle("");
    EXPECT_EQ(printedBy([&] {
        canvas->fillText("H", 20, 60);
        canvas->strokeText("H", 20, 60);
    }),
        "");
}

TEST(CanvasText, KeepsItsColorWhenTheStateIsRestored)
{
    auto const canvas = textCanvas();
    canvas->save();
    canvas->setFillStyle("red");
    canvas->restore();
    canvas->fillText("H", 0, 80);
    auto const left = extentOf(*canvas).left;
    EXPECT_EQ(pixelOf(*canvas, left + 2, 70), kRed);
    canvas->fillRect(100, 0, 10, 10);
    EXPECT_EQ(pixelOf(*canvas, 105, 5), kBlack);
}

TEST(CanvasText, OutlinesByPercentOfTheFontSize)
{
    auto const canvas = textCanvas("100px DejaVuSans");
    canvas->setLineWidth(10); // units of text, then
    canvas->setStrokeStyle("red");
    canvas->strokeText("I", 20, 100);
    // The stem of the letter is about 10 wide, and 5 more on each side.
    auto const extent = extentOf(*canvas);
    EXPECT_NEAR(extent.right - extent.left + 1, 9.9 + 10, 2);
    auto const blank = textCanvas();
    blank->setLineWidth(0);
    blank->strokeText("I", 20, 100);
    EXPECT_TRUE(isBlank(*blank));
}

TEST(CanvasText, LooksTheSameWithAndWithoutRememberedMasks)
{
    for (auto const x : {20.0, 20.25, 20.6}) {
        auto const masks = textCanvas("17px DejaVuSans"), outlines = textCanvas("17px DejaVuSans");
        outlines->rotate(1e-7); // no longer upright
        for (auto const& canvas : {masks, outlines})
            canvas->fillText("Sphinx of black", x, 60.5);
        // An eighth of a pixel is the most by which a letter is moved.
        EXPECT_LT(largestDifference(*masks, *outlines), 40) << x;
        EXPECT_GT(extentOf(*masks).right, 100);
    }
}

TEST(CanvasText, CastsOneShadowForAllLetters)
{
    auto const canvas = textCanvas();
    canvas->setFillStyle("black");
    canvas->setShadowColor("red 0.5");
    canvas->setShadowOffsetY(-40);
    canvas->setGlobalAlpha(1);
    canvas->fillText("HHH", 10, 60);
    int darkest = 0;
    for (int x = 0; x < kWidth; ++x) {
        for (int y = 70; y < 100; ++y)
            darkest = std::max(darkest, alphaOf(*canvas, x, y));
    }
    EXPECT_NEAR(darkest, 128, 1);
}

TEST(CanvasText, ReplacesTheWholePictureAtOnce)
{
    auto const canvas = textCanvas();
    canvas->setGlobalCompositeOperation("copy");
    canvas->fillText("HH", 10, 60);
    auto const both = textCanvas()->measureText("HH").width;
    auto const extent = extentOf(*canvas);
    EXPECT_NEAR(extent.right - extent.left + 1, both, 2);
    EXPECT_EQ(alphaOf(*canvas, extent.left + 2, 50), 255);
}

TEST(CanvasText, TakesAnyText)
{
    auto const canvas = textCanvas();
    std::string const texts[] = {"", "\xFF\xFE", "a\0b", "\n\t", "\xED\xA0\x80", std::string(20'000, 'x'),
        "ابجد שלום 漢字 👩‍👩‍👧"};
    for (auto const& text : texts) {
        canvas->fillText(text, 10, 50);
        canvas->strokeText(text, 10, 50);
        canvas->measureText(text);
    }
    canvas->scale(1e6, 1e6);
    canvas->fillText("Hg", 0, 0);
    canvas->scale(1e-12, 1e-12);
    canvas->fillText("Hg", 0, 0);
    canvas->translate(1e200, 0);
    canvas->fillText("Hg", 0, 0);
}

TEST(GlyphMasks, AreSharedByQuartersOfAPixel)
{
    auto const font = *text::Font::find("DejaVu Sans", 20);
    text::Line const line("H", font);
    auto const& glyph = line.glyphs().front();
    text::GlyphMasks masks(1 << 20);
    auto const first = *masks.place(glyph, 1, {10, 30});
    auto const moved = *masks.place(glyph, 1, {15.05, 29.9});
    EXPECT_EQ(first.mask, moved.mask);
    EXPECT_EQ(moved.dx - first.dx, 5);
    EXPECT_EQ(moved.dy, first.dy);
    EXPECT_NE(masks.place(glyph, 1, {10.25, 30})->mask, first.mask);
    EXPECT_NE(masks.place(glyph, 2, {10, 30})->mask, first.mask);
    EXPECT_EQ(masks.place(glyph, 1, {-3.9, -0.1})->dx, -4);
    EXPECT_FALSE(masks.place(glyph, 100, {0, 0}));
    EXPECT_FALSE(masks.place(glyph, 1, {1e12, 0}));
    EXPECT_FALSE(masks.place(glyph, 1, {std::nan(""), 0}));
}

} // namespace velk
