#include "canvas/CanvasProbe.h"
#include "script/Configuration.h"

#include <gtest/gtest.h>

#include <limits>

namespace velk {

using namespace test;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Runs `body` with a configured size.
template <typename Body> void withConfiguredSize(SizeValue size, Body const& body)
{
    Configuration::sharedInstance()->setSize(size);
    body();
    Configuration::sharedInstance()->setSize({});
}

} // namespace

TEST(CanvasState, TakesBothSidesFromTheConfigurationWhenOneIsMissing)
{
    withConfiguredSize({7.9, 5}, [] {
        for (auto const& [width, height] : {std::pair(0U, 100U), {100U, 0U}, {0U, 0U}}) {
            auto const canvas = makeCanvas(width, height);
            EXPECT_EQ(canvas->width(), 7);
            EXPECT_EQ(canvas->height(), 5);
            EXPECT_EQ(canvas->bitmapContext()->size(), (graphics::Size {7, 5}));
        }
    });
}

TEST(CanvasState, WithoutPixelsDrawsNothing)
{
    auto const expectInert = [](std::uint32_t width, std::uint32_t height) {
        auto const canvas = makeCanvas(width, height);
        EXPECT_FALSE(canvas->bitmapContext());
        canvas->setFillStyle("red");
        canvas->setLineWidth(3);
        canvas->setShadowColor("red");
        canvas->setGlobalCompositeOperation("copy");
        canvas->save();
        canvas->setTransform(1, 0, 0, 1, 0, 0);
        canvas->rotate(1);
        canvas->rect(0, 0, 5, 5);
        EXPECT_FALSE(canvas->isPointInPath(1, 1));
        canvas->stroke();
        canvas->clip();
        canvas->fill();
        canvas->fillRect(0, 0, 5, 5);
        canvas->strokeRect(0, 0, 5, 5);
        canvas->clearRect(0, 0, 5, 5);
        canvas->fillText("text", 0, 0);
        canvas->strokeText("text", 0, 0);
        canvas->setFillStyle(js::Value(canvas->createLinearGradient(0, 0, 1, 1)));
        canvas->fillRect(0, 0, 5, 5);
        canvas->drawImage(std::make_shared<Image>(std::string()), {});
        canvas->putImageData(canvas->createImageData(2, 2), 0, 0);
        EXPECT_EQ(canvas->getImageData({}, {}, {}, {})->length(), 0u);
        canvas->restore();
        EXPECT_FALSE(canvas->snapshot());
    };
    expectInert(0, 0);
    expectInert(0xFFFFFFFF, 0xFFFFFFFF);
    expectInert(1 << 20, 1 << 20);
    for (auto const& size : {SizeValue {kNaN, 5}, SizeValue {-3, 5}, SizeValue {1e30, 5}, SizeValue {0.5, 5}})
        withConfiguredSize(size, [&] { expectInert(0, 0); });
}

TEST(CanvasState, IsItsOwnContext)
{
    auto const canvas = makeCanvas(1, 1);
    EXPECT_EQ(canvas->getContext().as<Canvas>(), canvas);
}

TEST(CanvasState, ReadsBackWhatWasAssigned)
{
    auto const canvas = makeCanvas(1, 1);
    EXPECT_EQ(canvas->miterLimit(), 0);
    EXPECT_TRUE(canvas->shadowColor().isNull());
    canvas->setShadowColor("blue");
    canvas->setShadowColor(5);
    canvas->setShadowColor({});
    EXPECT_EQ(*canvas->shadowColor().asString(), "blue");
    canvas->setLineCap("Round");
    EXPECT_EQ(canvas->lineCap(), "Round");
    canvas->setLineJoin(5);
    EXPECT_EQ(canvas->lineJoin(), "5");
    canvas->setGlobalCompositeOperation("XOR");
    EXPECT_EQ(canvas->globalCompositeOperation(), "xor");
    canvas->setGlobalAlpha(7);
    EXPECT_EQ(canvas->globalAlpha(), 7);
    canvas->setFillStyle(5);
    EXPECT_EQ(canvas->fillStyle().toNumber(), 5);
}

TEST(CanvasState, CompositesByEachWord)
{
    struct Case {
        char const* word;
        Pixel below, both, above; ///< where there is only what was there, both, and only what is drawn
    };
    constexpr Pixel kMagenta {255, 0, 255, 255};
    constexpr Case kCases[] = {
        {"source-over", kRed, kBlue, kBlue},
        {"source-atop", kRed, kBlue, kClear},
        {"source-in", kClear, kBlue, kClear},
        {"source-out", kClear, kClear, kBlue},
        {"destination-over", kRed, kRed, kBlue},
        {"destination-atop", kClear, kRed, kBlue},
        {"destination-in", kClear, kRed, kClear},
        {"destination-out", kRed, kClear, kClear},
        {"lighter", kRed, kMagenta, kBlue},
        {"copy", kClear, kBlue, kBlue},
        {"xor", kRed, kClear, kBlue},
        {"XOR", kRed, kClear, kBlue},
        {"multiply", kRed, kBlue, kBlue},
        {"copy ", kRed, kBlue, kBlue},
        {"", kRed, kBlue, kBlue},
    };
    for (auto const& [word, below, both, above] : kCases) {
        auto const canvas = makeCanvas(3, 1);
        canvas->setFillStyle("red");
        canvas->fillRect(0, 0, 2, 1);
        canvas->setFillStyle("blue");
        canvas->setGlobalCompositeOperation(word);
        canvas->fillRect(1, 0, 2, 1);
        EXPECT_EQ(pixelOf(*canvas, 0, 0), below) << word;
        EXPECT_EQ(pixelOf(*canvas, 1, 0), both) << word;
        EXPECT_EQ(pixelOf(*canvas, 2, 0), above) << word;
    }
}

TEST(CanvasState, EndsLinesByExactWords)
{
    struct Case {
        char const* word;
        bool side, corner; ///< what is covered beyond the end
    };
    for (auto const& [word, side, corner] : {Case {"butt", false, false}, {"round", true, false},
             {"square", true, true}, {"Round", false, false}, {"", false, false}}) {
        auto const canvas = makeCanvas(30, 20);
        canvas->setLineWidth(10);
        canvas->setLineCap(word);
        canvas->moveTo(10, 10);
        canvas->lineTo(20, 10);
        canvas->stroke();
        EXPECT_EQ(alphaOf(*canvas, 6, 9) == 255, side) << word;
        EXPECT_EQ(alphaOf(*canvas, 5, 5) == 255, corner) << word;
        EXPECT_EQ(alphaOf(*canvas, 15, 9), 255) << word;
    }
}

TEST(CanvasState, JoinsLinesByExactWords)
{
    struct Case {
        char const* word;
        bool round, tip;
    };
    for (auto const& [word, round, tip] : {Case {"miter", true, true}, {"round", true, false},
             {"bevel", false, false}, {"foo", false, false}, {"Miter", false, false}}) {
        auto const canvas = makeCanvas(40, 40);
        canvas->setLineWidth(20);
        canvas->setLineJoin(word);
        canvas->moveTo(5, 20);
        canvas->lineTo(20, 20);
        canvas->lineTo(20, 5);
        canvas->stroke();
        EXPECT_EQ(alphaOf(*canvas, 26, 26) > 200, round) << word;
        EXPECT_EQ(alphaOf(*canvas, 29, 29) > 200, tip) << word;
    }
}

TEST(CanvasState, RestoresWhatDrawsButNotWhatReads)
{
    auto const canvas = makeCanvas(20, 20);
    canvas->save();
    canvas->setLineWidth(10);
    canvas->setFillStyle("red");
    canvas->setGlobalAlpha(0.5);
    canvas->restore();
    EXPECT_EQ(canvas->lineWidth(), 10);
    EXPECT_EQ(*canvas->fillStyle().asString(), "red");
    EXPECT_EQ(canvas->globalAlpha(), 0.5);

    canvas->moveTo(0, 5.5);
    canvas->lineTo(20, 5.5);
    canvas->stroke();
    EXPECT_EQ(pixelOf(*canvas, 10, 5), kBlack);
    EXPECT_EQ(pixelOf(*canvas, 10, 4), kClear);
    EXPECT_EQ(pixelOf(*canvas, 10, 6), kClear);
    canvas->fillRect(0, 10, 5, 5);
    EXPECT_EQ(pixelOf(*canvas, 2, 12), kBlack);
}

TEST(CanvasState, RestoresAsOftenAsItSaves)
{
    auto const canvas = makeCanvas(4, 1);
    canvas->restore();
    canvas->setFillStyle("red");
    constexpr int kTimes = 100'000;
    for (int i = 0; i < kTimes; ++i) {
        canvas->save();
        canvas->setFillStyle("blue");
    }
    for (int i = 0; i < kTimes; ++i)
        canvas->restore();
    canvas->fillRect(0, 0, 1, 1);
    canvas->restore();
    canvas->fillRect(1, 0, 1, 1);
    EXPECT_EQ(pixelOf(*canvas, 0, 0), kRed);
    EXPECT_EQ(pixelOf(*canvas, 1, 0), kRed);
}

TEST(CanvasState, KeepsTheColorForAnEmptyStringAndNothingElse)
{
    auto const canvas = makeCanvas(4, 4);
    canvas->setStrokeStyle("red");
    canvas->setStrokeStyle("");
    canvas->strokeRect(0, 0, 3, 3);
    EXPECT_EQ(pixelOf(*canvas, 0, 0), kRed);

    canvas->setFillStyle("");
    canvas->fillRect(1, 1, 2, 2);
    canvas->setFillStyle("nonsense"); // transparent black
    canvas->fillRect(1, 1, 2, 2);
    canvas->setFillStyle(nullptr);
    canvas->fillRect(1, 1, 2, 2);
    EXPECT_EQ(pixelOf(*canvas, 2, 2), kClear);
}

TEST(CanvasState, CastsShadowsUpwardsInDevicePixels)
{
    auto const canvas = makeCanvas(20, 20);
    canvas->setShadowOffsetX(-2);
    canvas->setShadowOffsetY(8);
    canvas->scale(2, 2);
    canvas->fillRect(5, 5, 2, 2); // pixels 10 to 13
    EXPECT_EQ(pixelOf(*canvas, 9, 3), kClear);
    canvas->setShadowColor("red");
    canvas->fillRect(5, 5, 2, 2);
    EXPECT_EQ(pixelOf(*canvas, 10, 10), kBlack);
    EXPECT_EQ(pixelOf(*canvas, 8, 2), kRed);
    EXPECT_EQ(pixelOf(*canvas, 11, 5), kRed);
    EXPECT_EQ(pixelOf(*canvas, 12, 5), kClear);
    EXPECT_EQ(pixelOf(*canvas, 9, 6), kClear);

    canvas->setShadowColor(""); // no colour: the shadow stays
    canvas->setShadowOffsetY(100);
    canvas->fillRect(2, 8, 1, 1); // pixels 4 and 16 to 17
    EXPECT_EQ(pixelOf(*canvas, 2, 8), kRed);
}

TEST(CanvasState, BlursShadowsOnceTheyHaveAColor)
{
    auto const canvas = makeCanvas(40, 40);
    canvas->setShadowBlur(4);
    canvas->fillRect(15, 15, 10, 10);
    EXPECT_EQ(alphaOf(*canvas, 13, 20), 0);
    canvas->setShadowColor("black");
    canvas->fillRect(15, 15, 10, 10);
    auto const near = alphaOf(*canvas, 13, 20), far = alphaOf(*canvas, 11, 20);
    EXPECT_GT(near, far);
    EXPECT_GT(far, 0);
    EXPECT_EQ(alphaOf(*canvas, 2, 20), 0);
}

} // namespace velk
