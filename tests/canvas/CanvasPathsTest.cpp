#include "canvas/CanvasProbe.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>

#include <limits>
#include <numbers>

namespace velk {

using namespace test;

namespace {

constexpr double kPi = std::numbers::pi;

std::shared_ptr<Gradient> gradientOf(std::shared_ptr<Gradient> gradient, char const* first, char const* last)
{
    gradient->addColorStop(0, first);
    gradient->addColorStop(1, last);
    return gradient;
}

// A picture of 2 by 2 pixels: red and green over blue and white.
class CanvasPattern : public testing::Test {
protected:
    CanvasPattern()
    {
        constexpr double kColors[2][2][3] = {{{1, 0, 0}, {0, 1, 0}}, {{0, 0, 1}, {1, 1, 1}}};
        auto const pixels = paint(
            {2, 2}, {.model = graphics::ColorModel::RGB},
            [&](int x, int y, int channel) { return kColors[y][x][channel]; }, &m_space);
        EncodeExtras extras;
        extras.profile = m_space.profile();
        EXPECT_TRUE(encode("public.png", pixels, m_directory / "tile.png", extras));
        m_image = std::make_shared<Image>(m_directory / "tile.png");
    }

    TemporaryDirectory m_directory;
    // The canvas's own colours, so that none is converted.
    graphics::ColorSpace m_space = graphics::BitmapContext::layout({1, 1}).space;
    std::shared_ptr<Image> m_image;
};

} // namespace

TEST(CanvasPaths, AreConsumedByPainting)
{
    auto const canvas = makeCanvas(80, 80);
    canvas->setFillStyle("red");
    canvas->rect(10, 10, 50, 50);
    canvas->fill();
    EXPECT_EQ(pixelOf(*canvas, 10, 10), kRed);
    EXPECT_EQ(pixelOf(*canvas, 59, 59), kRed);
    EXPECT_EQ(pixelOf(*canvas, 60, 59), kClear);
    EXPECT_EQ(pixelOf(*canvas, 9, 10), kClear);
    canvas->setFillStyle("blue");
    canvas->fill();
    canvas->stroke();
    EXPECT_EQ(pixelOf(*canvas, 30, 30), kRed);
}

TEST(CanvasPaths, StayWhereTheyWereWhenTheTransformChanges)
{
    auto const canvas = makeCanvas(20, 20);
    canvas->rect(0, 0, 5, 5);
    canvas->translate(10, 10);
    canvas->rect(0, 0, 5, 5);
    canvas->scale(3, 3);
    EXPECT_TRUE(canvas->isPointInPath(-3, -3));
    EXPECT_TRUE(canvas->isPointInPath(1, 1));
    EXPECT_FALSE(canvas->isPointInPath(-1, -1));
    canvas->fill();
    EXPECT_EQ(pixelOf(*canvas, 4, 4), kBlack);
    EXPECT_EQ(pixelOf(*canvas, 14, 14), kBlack);
    EXPECT_EQ(pixelOf(*canvas, 7, 7), kClear);
}

TEST(CanvasPaths, OutliveAGradientWithoutColors)
{
    auto const canvas = makeCanvas(20, 20);
    auto const gradient = canvas->createLinearGradient(0, 0, 20, 0);
    canvas->setFillStyle(js::Value(gradient));
    for (int i = 0; i < 2; ++i) {
        canvas->rect(5.5, 5.5, 10, 10);
        canvas->fill();
        EXPECT_EQ(pixelOf(*canvas, 10, 10), kClear);
        canvas->stroke();
        EXPECT_EQ(pixelOf(*canvas, 5, 10), kBlack);
        canvas->clearRect(0, 0, 20, 20);
        gradient->addColorStop(0.5, "");
    }
}

TEST(CanvasPaths, OutliveAStyleThatFillsNothing)
{
    auto const canvas = makeCanvas(20, 20);
    for (auto const& style : {js::Value(5), js::Value(""), js::Value(), js::Value(canvas)}) {
        canvas->setFillStyle(style);
        canvas->beginPath();
        canvas->rect(0, 0, 20, 20);
        canvas->fill();
        EXPECT_TRUE(canvas->isPointInPath(5, 5));
        EXPECT_TRUE(isBlank(*canvas));
    }
    canvas->setFillStyle("red");
    canvas->fill();
    EXPECT_EQ(pixelOf(*canvas, 5, 5), kRed);
    canvas->setFillStyle(js::Value()); // or the canvas holds itself
}

TEST(CanvasPaths, ClipToThePathThatWasStrokedLast)
{
    auto const canvas = makeCanvas(80, 80);
    canvas->clip(); // nothing yet
    canvas->rect(0, 0, 50, 50);
    canvas->stroke();
    canvas->save();
    canvas->clip();
    canvas->setFillStyle("red");
    canvas->fillRect(0, 0, 80, 80);
    EXPECT_EQ(pixelOf(*canvas, 49, 49), kRed);
    EXPECT_EQ(pixelOf(*canvas, 51, 51), kClear);
    canvas->restore();
    canvas->fill();
    EXPECT_EQ(pixelOf(*canvas, 51, 51), kClear);

    canvas->stroke(); // of nothing: forgets the square
    canvas->clip();
    canvas->fillRect(60, 60, 5, 5);
    EXPECT_EQ(alphaOf(*canvas, 62, 62), 255);
}

TEST(CanvasPaths, MoveStrokedRectanglesByHalfOddWidths)
{
    struct Case {
        double lineWidth;
        int coverage[5]; ///< of the pixels 8 to 12 across the left edge at 10
    };
    constexpr Case kCases[] = {
        {1, {0, 0, 255, 0, 0}}, // at 10.5
        {2, {0, 255, 255, 0, 0}}, // at 10
        {3, {0, 0, 255, 255, 255}}, // at 11.5
        {4, {255, 255, 255, 255, 0}}, // at 10
        {1.5, {0, 0, 255, 128, 0}}, // at 10.75
        {2.5, {64, 255, 255, 64, 0}}, // at 10
        {0, {0, 0, 0, 0, 0}},
        {-1, {0, 0, 0, 0, 0}},
    };
    for (auto const& [lineWidth, coverage] : kCases) {
        auto const canvas = makeCanvas(60, 60);
        canvas->setLineWidth(lineWidth);
        canvas->strokeRect(10, 10, 20, 20);
        for (int i = 0; i < 5; ++i)
            EXPECT_NEAR(alphaOf(*canvas, 8 + i, 20), coverage[i], 1) << lineWidth << " at " << 8 + i;
    }
}

TEST(CanvasPaths, SurviveRectanglesOfColor)
{
    auto const canvas = makeCanvas(20, 20);
    canvas->rect(0, 0, 5, 5);
    canvas->fillRect(10, 10, 2, 2);
    canvas->strokeRect(10, 10, 2, 2);
    canvas->clearRect(10, 10, 5, 5);
    EXPECT_TRUE(isBlank(*canvas));
    EXPECT_TRUE(canvas->isPointInPath(2, 2));

    canvas->setFillStyle(js::Value(gradientOf(canvas->createLinearGradient(0, 0, 20, 0), "red", "red")));
    canvas->fillRect(10, 10, 2, 2);
    EXPECT_EQ(pixelOf(*canvas, 10, 10), kRed);
    canvas->fill();
    EXPECT_EQ(pixelOf(*canvas, 2, 2), kClear);
}

TEST(CanvasPaths, ReplaceTheTransform)
{
    auto const canvas = makeCanvas(120, 40);
    canvas->translate(100, 0);
    canvas->rotate(0.3);
    canvas->scale(3, -2);
    canvas->setTransform(1, 0, 0, 1, 0, 0);
    canvas->fillRect(0, 0, 10, 10);
    EXPECT_EQ(pixelOf(*canvas, 0, 0), kBlack);
    EXPECT_EQ(pixelOf(*canvas, 9, 9), kBlack);
    EXPECT_EQ(pixelOf(*canvas, 10, 9), kClear);

    canvas->setTransform(2, 0, 0, 1, 20, 10);
    canvas->fillRect(0, 0, 10, 10);
    EXPECT_EQ(pixelOf(*canvas, 39, 19), kBlack);
    EXPECT_EQ(pixelOf(*canvas, 40, 19), kClear);

    canvas->scale(0, 0);
    canvas->setTransform(1, 0, 0, 1, 0, 0);
    canvas->fillRect(0, 0, 120, 40);
    EXPECT_EQ(pixelOf(*canvas, 60, 20), kClear);
}

TEST(CanvasPaths, TurnClockwise)
{
    auto const canvas = makeCanvas(100, 100);
    canvas->moveTo(50, 50);
    canvas->arc(50, 50, 20, 0, kPi / 2);
    canvas->fill();
    EXPECT_EQ(alphaOf(*canvas, 60, 60), 255);
    EXPECT_EQ(alphaOf(*canvas, 60, 40), 0);
    EXPECT_EQ(alphaOf(*canvas, 40, 60), 0);
    EXPECT_EQ(alphaOf(*canvas, 66, 66), 0);

    canvas->translate(50, 50);
    canvas->rotate(kPi / 2);
    canvas->fillRect(10, 10, 5, 5); // from the lower right to the lower left
    EXPECT_EQ(alphaOf(*canvas, 37, 62), 255);
}

TEST(CanvasPaths, FillRingsOfOneDirection)
{
    auto const canvas = makeCanvas(100, 100);
    for (auto const radius : {40.0, 20.0}) {
        canvas->moveTo(50 + radius, 50);
        canvas->arc(50, 50, radius, 0, 2 * kPi);
    }
    EXPECT_TRUE(canvas->isPointInPath(50, 50));
    EXPECT_TRUE(canvas->isPointInPath(80, 50));
    EXPECT_FALSE(canvas->isPointInPath(95, 50));
}

TEST(CanvasPaths, ExtendGradientsAtBothEnds)
{
    auto const canvas = makeCanvas(100, 10);
    auto const gradient = gradientOf(canvas->createLinearGradient(40, 0, 60, 0), "red", "blue");
    canvas->setFillStyle(js::Value(gradient));
    canvas->fillRect(0, 0, 100, 5);
    EXPECT_EQ(pixelOf(*canvas, 2, 2), kRed);
    EXPECT_EQ(pixelOf(*canvas, 97, 2), kBlue);
    EXPECT_NEAR(pixelOf(*canvas, 49, 2).red, 128, 10);
    EXPECT_EQ(pixelOf(*canvas, 50, 6), kClear);

    gradient->addColorStop(0.5, "lime");
    canvas->rect(0, 5, 100, 5);
    canvas->fill();
    EXPECT_NEAR(pixelOf(*canvas, 50, 7).green, 250, 10);
    EXPECT_NEAR(pixelOf(*canvas, 50, 7).red, 0, 15);
    canvas->fill(); // the path is gone, and no path is not everything
    EXPECT_EQ(pixelOf(*canvas, 2, 2), kRed);
}

TEST(CanvasPaths, FillWithColorsOfCirclesAndTheirClear)
{
    auto const canvas = makeCanvas(140, 140);
    auto const radial = gradientOf(canvas->createRadialGradient(70, 70, 0, 70, 70, 50), "white", "blue");
    canvas->setFillStyle(js::Value(radial));
    canvas->fillRect(0, 0, 140, 140);
    EXPECT_NEAR(pixelOf(*canvas, 70, 70).red, 255, 4);
    EXPECT_NEAR(pixelOf(*canvas, 95, 70).red, 128, 8);
    EXPECT_EQ(pixelOf(*canvas, 125, 70), kBlue);
    EXPECT_EQ(pixelOf(*canvas, 0, 0), kBlue);

    canvas->clearRect(0, 0, 140, 140);
    auto const fading = canvas->createLinearGradient(0, 0, 100, 0);
    fading->addColorStop(0, "red");
    fading->addColorStop(std::numeric_limits<double>::quiet_NaN(), "lime");
    fading->addColorStop(0.5, "");
    fading->addColorStop(1, "nonsense"); // transparent black
    canvas->setFillStyle(js::Value(fading));
    canvas->fillRect(0, 0, 140, 140);
    EXPECT_NEAR(alphaOf(*canvas, 50, 70), 127, 3);
    EXPECT_EQ(alphaOf(*canvas, 120, 70), 0);
}

TEST(CanvasPaths, StrokeWithTheLastColorString)
{
    auto const canvas = makeCanvas(20, 20);
    canvas->setStrokeStyle("red");
    canvas->setStrokeStyle(js::Value(gradientOf(canvas->createLinearGradient(0, 0, 9, 0), "blue", "blue")));
    canvas->strokeRect(5, 5, 10, 10);
    EXPECT_EQ(pixelOf(*canvas, 5, 10), kRed);
}

TEST(CanvasPaths, IgnoreNumbersThatAreNone)
{
    for (auto const bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
             -std::numeric_limits<double>::infinity(), 1e300}) {
        auto const canvas = makeCanvas(20, 20);
        canvas->moveTo(bad, 1);
        canvas->lineTo(1, bad);
        canvas->quadraticCurveTo(1, bad, bad, 1);
        canvas->bezierCurveTo(1, 2, bad, 4, 5, bad);
        canvas->arc(5, 5, bad, 0, bad);
        canvas->arcTo(1, bad, 2, 3, bad);
        canvas->rect(bad, bad, bad, bad);
        canvas->isPointInPath(bad, bad);
        canvas->save();
        canvas->stroke();
        canvas->clip();
        canvas->restore();
        canvas->clearRect(0, 0, 20, 20);
        canvas->beginPath();
        canvas->fillText("x", bad, 5);
        canvas->strokeText("x", 5, bad);
        EXPECT_TRUE(isBlank(*canvas));
        canvas->clearRect(bad, 0, 1, 1);
        canvas->setShadowColor("red");
        canvas->setShadowBlur(bad);
        canvas->setShadowOffsetX(bad);
        canvas->setLineWidth(bad);
        canvas->setMiterLimit(bad);
        canvas->setGlobalAlpha(bad);
        canvas->strokeRect(1, 1, bad, bad);
        canvas->putImageData(canvas->createImageData(1, 1), bad, bad);
        canvas->setFillStyle(
            js::Value(gradientOf(canvas->createRadialGradient(bad, 0, bad, 1, 1, 2), "red", "blue")));
        canvas->fillRect(bad, 0, bad, 5);
        canvas->rotate(bad);
        canvas->translate(1, bad);
        canvas->transform(1, bad, 1, 1, 1, 1);
        canvas->setTransform(bad, bad, bad, bad, bad, bad);
        canvas->fillRect(0, 0, 3, 3);
    }
    auto const canvas = makeCanvas(20, 20);
    auto const nan = std::numeric_limits<double>::quiet_NaN();
    canvas->rotate(nan);
    canvas->scale(nan, 1);
    canvas->setTransform(nan, 0, 0, 1, 0, 0);
    canvas->fillRect(0, 0, 5, 5);
    canvas->fillRect(nan, 10, 5, 5);
    EXPECT_EQ(pixelOf(*canvas, 2, 2), kBlack);
    EXPECT_EQ(pixelOf(*canvas, 2, 12), kClear);
}

TEST_F(CanvasPattern, StartsAtTheTopLeftCornerOfTheShape)
{
    auto const canvas = makeCanvas(20, 20);
    auto const pattern = js::Value(canvas->createPattern(m_image, "no-repeat"));
    canvas->setFillStyle(pattern);
    canvas->fillRect(0, 0, 20, 20);
    EXPECT_TRUE(isBlank(*canvas));

    canvas->rect(5, 3, 9, 9);
    canvas->fill();
    EXPECT_EQ(pixelOf(*canvas, 5, 3), kRed);
    EXPECT_EQ(pixelOf(*canvas, 6, 3), kGreen);
    EXPECT_EQ(pixelOf(*canvas, 5, 4), kBlue);
    EXPECT_EQ(pixelOf(*canvas, 6, 4), kWhite);
    EXPECT_EQ(pixelOf(*canvas, 13, 11), kRed); // an even number of pixels on
    EXPECT_EQ(pixelOf(*canvas, 14, 11), kClear);
    canvas->fill();
    EXPECT_EQ(pixelOf(*canvas, 0, 0), kClear);

    // The size of a tile does not follow the transform.
    canvas->clearRect(0, 0, 20, 20);
    canvas->scale(2, 2);
    canvas->rect(0, 0, 4, 4);
    canvas->fill();
    for (int x = 0; x < 8; ++x)
        EXPECT_EQ(pixelOf(*canvas, x, 0), x % 2 == 0 ? kRed : kGreen) << x;
}

TEST_F(CanvasPattern, CountsTheAlphaTwice)
{
    auto const canvas = makeCanvas(4, 4);
    canvas->setFillStyle(js::Value(canvas->createPattern(m_image, "repeat")));
    canvas->setGlobalAlpha(0.5);
    canvas->rect(0, 0, 4, 4);
    canvas->fill();
    EXPECT_NEAR(alphaOf(*canvas, 0, 0), 64, 1);
}

TEST_F(CanvasPattern, OfNoImageConsumesThePath)
{
    auto const canvas = makeCanvas(4, 4);
    for (auto const& image : {std::shared_ptr<Image>(), std::make_shared<Image>("/no/where")}) {
        canvas->setFillStyle(js::Value(canvas->createPattern(image, "repeat")));
        canvas->rect(0, 0, 4, 4);
        canvas->fill();
        EXPECT_FALSE(canvas->isPointInPath(1, 1));
        EXPECT_TRUE(isBlank(*canvas));
    }
}

} // namespace velk
