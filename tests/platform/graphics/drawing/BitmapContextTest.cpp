#include "platform/graphics/drawing/BitmapContext.h"

#include "platform/color/ColorConversion.h"
#include "platform/graphics/drawing/Blend.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <numbers>

namespace velk::graphics {
namespace {

using Pixel = std::array<int, 4>;

constexpr Color kWhite {1, 1, 1};
constexpr Color kBlack {0, 0, 0};
constexpr Color kRed {1, 0, 0};
constexpr Color kBlue {0, 0, 1};
constexpr Pixel kClear {0, 0, 0, 0};
constexpr Pixel kRedPixel {255, 0, 0, 255};
constexpr Pixel kBluePixel {0, 0, 255, 255};

/// A surface whose user space has its origin at the top-left corner, y downwards.
std::unique_ptr<BitmapContext> canvas(Size size = {20, 20})
{
    auto context = BitmapContext::create(size).value();
    context->concatenate({.d = -1, .ty = static_cast<double>(size.height)});
    return context;
}

Pixel pixelAt(BitmapContext const& context, std::int32_t x, std::int32_t y)
{
    auto const* pixel = context.row(y) + 4 * x;
    return {pixel[0], pixel[1], pixel[2], pixel[3]};
}

void fillAll(BitmapContext& context, Color const& color)
{
    context.setFillColor(color);
    context.fillRect({0, 0, 1e4, 1e4});
}

// In pixels.
double alphaSum(BitmapContext const& context)
{
    double sum = 0;
    for (std::int32_t y = 0; y < context.size().height; ++y) {
        for (std::int32_t x = 0; x < context.size().width; ++x)
            sum += pixelAt(context, x, y)[3] / 255.0;
    }
    return sum;
}

TEST(BitmapContext, StartsTransparentWithItsOriginAtTheBottomLeft)
{
    auto const context = BitmapContext::create({20, 10}).value();
    EXPECT_EQ(alphaSum(*context), 0);
    context->setFillColor(kRed);
    context->fillRect({0, 0, 1, 2});
    EXPECT_EQ(pixelAt(*context, 0, 9), kRedPixel);
    EXPECT_EQ(pixelAt(*context, 0, 8), kRedPixel);
    EXPECT_EQ(alphaSum(*context), 2);
    for (auto const size : {Size {0, 5}, Size {5, -1}, Size {1 << 30, 1 << 30}})
        EXPECT_FALSE(BitmapContext::create(size).has_value());
}

TEST(BitmapContext, FillsRectanglesByTheAreaOfTheirEdges)
{
    auto const context = canvas();
    context->setFillColor(kBlack);
    context->fillRect({2.5, 3.25, 4, 2});
    // Columns 1/2 1 1 1 1/2, rows 3/4 1 1/4; black pixels show their coverage in alpha.
    int const expected[3][7] = {
        {0, 96, 191, 191, 191, 96, 0}, {0, 128, 255, 255, 255, 128, 0}, {0, 32, 64, 64, 64, 32, 0}};
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 7; ++x)
            EXPECT_EQ(pixelAt(*context, x + 1, y + 3)[3], expected[y][x]) << x << ", " << y;
    }
    EXPECT_NEAR(alphaSum(*context), 8, 0.02);
}

TEST(BitmapContext, DrawsRectanglesInWhateverWayTheyAreGivenAlike)
{
    FloatRect const rect {3.3, 2.6, 11.2, 40.9};
    std::function<void(BitmapContext&)> const ways[] = {
        [&](BitmapContext& context) { context.fillRect(rect); },
        [&](BitmapContext& context) {
            context.fillRect({14.5, 43.5, -11.2, -40.9});
        },
        [&](BitmapContext& context) {
            context.addRect(rect);
            context.fillPath();
        },
        [&](BitmapContext& context) {
            context.moveTo(3.3, 2.6);
            context.lineTo(3.3, 43.5);
            context.lineTo(14.5, 43.5);
            context.lineTo(14.5, 2.6);
            context.fillPath();
        },
        [&](BitmapContext& context) { // not recognised as one
            context.moveTo(3.3, 2.6);
            context.lineTo(3.3, 20);
            context.lineTo(3.3, 43.5);
            context.lineTo(14.5, 43.5);
            context.lineTo(14.5, 2.6);
            context.fillPath();
        },
        [&](BitmapContext& context) {
            context.addRect(rect);
            context.clipToPath();
            context.fillRect({0, 0, 100, 100});
        },
        [&](BitmapContext& context) {
            context.concatenate({.a = 0, .b = 1, .c = 1, .d = 0});
            context.fillRect({rect.y, rect.x, rect.height, rect.width});
        },
    };
    auto const first = canvas({50, 50});
    ways[0](*first);
    for (auto const& way : ways) {
        auto const context = canvas({50, 50});
        way(*context);
        for (std::int32_t y = 0; y < 50; ++y) {
            for (std::int32_t x = 0; x < 50; ++x)
                ASSERT_NEAR(pixelAt(*context, x, y)[3], pixelAt(*first, x, y)[3], 2)
                    << &way - ways << ": " << x << ", " << y;
        }
    }
}

TEST(BitmapContext, RoundsToNearest)
{
    auto const context = canvas();
    fillAll(*context, kWhite);
    EXPECT_EQ(pixelAt(*context, 7, 7), (Pixel {255, 255, 255, 255}));
    fillAll(*context, {0, 0, 0, 0.5});
    EXPECT_EQ(pixelAt(*context, 7, 7), (Pixel {127, 127, 127, 255}));
    context->setAlpha(0.5);
    fillAll(*context, {2, -1, 0, 1}); // clamped
    EXPECT_EQ(pixelAt(*context, 7, 7), (Pixel {191, 63, 63, 255}));
}

TEST(BitmapContext, PaintsTheShapeAndConsumesThePath)
{
    auto const context = canvas({100, 100});
    context->addArc(50, 50, 30, 0, 7);
    context->fillPath();
    EXPECT_NEAR(alphaSum(*context), std::numbers::pi * 900, 5);
    EXPECT_TRUE(context->path().isEmpty());
    context->clearRect({0, 0, 100, 100});
    context->moveTo(10, 10);
    context->lineTo(90, 10);
    context->setLineWidth(4);
    context->strokePath();
    EXPECT_NEAR(alphaSum(*context), 320, 0.5);
    EXPECT_TRUE(context->path().isEmpty());
    context->moveTo(5, 5);
    context->fillRect({0, 0, 1, 1});
    context->strokeRect({20, 30, 30, 40});
    context->clearRect({0, 0, 1, 1});
    EXPECT_FALSE(context->path().isEmpty());
    EXPECT_NEAR(alphaSum(*context), 320 + 34 * 44 - 26 * 36, 0.5);
}

TEST(BitmapContext, StrokesInTheSpaceOfTheMoment)
{
    auto const context = canvas({100, 100});
    context->moveTo(10, 50);
    context->lineTo(90, 50);
    context->concatenate(AffineTransform::scale(2, 10));
    context->setLineWidth(2);
    context->strokePath();
    EXPECT_NEAR(alphaSum(*context), 80 * 20, 0.5);
}

TEST(BitmapContext, ClipsToWhatAllClipsShare)
{
    auto const context = canvas({100, 100});
    context->save();
    context->addRect({10, 10, 50, 50}); // whole pixels
    context->clipToPath();
    context->addRect({40, 40, 50.5, 50});
    context->clipToPath();
    fillAll(*context, kRed);
    EXPECT_EQ(alphaSum(*context), 400);
    context->restore();
    fillAll(*context, kRed);
    EXPECT_EQ(alphaSum(*context), 10000);
}

TEST(BitmapContext, ClipsToShapesWithSoftEdges)
{
    auto const disc = [](BitmapContext& context, double x) {
        context.addArc(x, 50, 30, 0, 7);
        context.clipToPath();
    };
    auto const area = 900 * std::numbers::pi;
    struct Case {
        char const* what;
        std::function<void(BitmapContext&)> clip;
        double area;
    };
    Case const cases[] = {
        {"a disc", [&](auto& context) { disc(context, 50); }, area},
        {"half of it",
            [&](auto& context) {
                disc(context, 50);
                context.addRect({50, 0, 50, 100});
                context.clipToPath();
            },
            area / 2},
        {"a lens of two discs through each other's centre, their masks multiplied",
            [&](auto& context) {
                disc(context, 35);
                disc(context, 65);
            },
            900 * (2 * std::numbers::pi / 3 - std::sqrt(3) / 2)},
        {"a disc again after another was restored",
            [&](auto& context) {
                disc(context, 50);
                context.save();
                disc(context, 90);
                context.restore();
            },
            area},
        {"discs apart",
            [&](auto& context) {
                disc(context, 0);
                disc(context, 90);
            },
            0},
        {"a path of no area",
            [&](auto& context) {
                context.moveTo(1, 1);
                context.clipToPath();
            },
            0},
        {"an empty path", [](auto& context) { context.clipToPath(); }, 0},
    };
    for (auto const& [what, clip, expected] : cases) {
        auto const context = canvas({100, 100});
        clip(*context);
        fillAll(*context, kRed);
        EXPECT_NEAR(alphaSum(*context), expected, 5) << what;
    }
}

// ---- Blend modes

struct ModeCase {
    BlendMode mode;
    /// Opaque red drawn: over opaque blue, over nothing; and not drawn: what becomes of blue.
    Pixel onBlue, onNothing, bluesideOut;
};

TEST(BitmapContext, BlendsInsideAndOutsideOfTheShape)
{
    using enum BlendMode;
    ModeCase const cases[] = {
        {Normal, kRedPixel, kRedPixel, kBluePixel},
        {SourceAtop, kRedPixel, kClear, kBluePixel},
        {SourceIn, kRedPixel, kClear, kClear},
        {SourceOut, kClear, kRedPixel, kClear},
        {DestinationOver, kBluePixel, kRedPixel, kBluePixel},
        {DestinationAtop, kBluePixel, kRedPixel, kClear},
        {DestinationIn, kBluePixel, kClear, kClear},
        {DestinationOut, kClear, kClear, kBluePixel},
        {Lighten, {255, 0, 255, 255}, kRedPixel, kBluePixel},
        {Copy, kRedPixel, kRedPixel, kClear},
        {Xor, kClear, kRedPixel, kBluePixel},
    };
    for (auto const& [mode, onBlue, onNothing, outside] : cases) {
        SCOPED_TRACE(static_cast<int>(mode));
        auto const context = canvas();
        context->setFillColor(kBlue);
        context->fillRect({0, 0, 10, 20});
        // Rows 15 and below lie outside of the clip.
        context->addRect({0, 0, 20, 15});
        context->clipToPath();
        context->setFillColor(kRed);
        context->setBlendMode(mode);
        context->fillRect({5, 5, 10, 5});
        EXPECT_EQ(pixelAt(*context, 7, 7), onBlue);
        EXPECT_EQ(pixelAt(*context, 12, 7), onNothing);
        EXPECT_EQ(pixelAt(*context, 2, 7), outside);
        EXPECT_EQ(pixelAt(*context, 7, 12), outside);
        EXPECT_EQ(pixelAt(*context, 17, 12), kClear);
        EXPECT_EQ(pixelAt(*context, 2, 17), kBluePixel);
    }
}

TEST(BitmapContext, CopiesTheEdgesOfAShapeTranslucent)
{
    auto const context = canvas();
    fillAll(*context, kBlue);
    context->setFillColor(kRed);
    context->setBlendMode(BlendMode::Copy);
    context->fillRect({5.5, 5, 10, 5});
    EXPECT_EQ(pixelAt(*context, 5, 7), (Pixel {128, 0, 0, 128}));
    EXPECT_EQ(pixelAt(*context, 6, 7), kRedPixel);
}

TEST(BitmapContext, ClearsWhateverTheState)
{
    auto const context = canvas();
    fillAll(*context, kWhite);
    context->setAlpha(0.1);
    context->setBlendMode(BlendMode::DestinationOver);
    context->setShadow({.offsetX = 3, .color = kRed});
    context->clearRect({4, 4, 4.5, 2});
    EXPECT_EQ(pixelAt(*context, 4, 4), kClear);
    EXPECT_EQ(pixelAt(*context, 8, 5), (Pixel {127, 127, 127, 127}));
    EXPECT_NEAR(alphaSum(*context), 400 - 9, 0.01) << "nothing else has changed";
}

// ---- Shadows

TEST(BitmapContext, DropsShadowsInDevicePixelsUpwards)
{
    auto const context = canvas();
    context->concatenate(AffineTransform::scale(2, 2));
    context->setFillColor(kBlue);
    context->setShadow({.offsetX = 3, .offsetY = 4, .color = kRed});
    context->fillRect({2, 5, 2, 2}); // pixels 4..7, 10..13
    EXPECT_EQ(pixelAt(*context, 4, 10), kBluePixel);
    EXPECT_EQ(pixelAt(*context, 7, 6), kRedPixel);
    EXPECT_EQ(pixelAt(*context, 10, 9), kRedPixel);
    EXPECT_EQ(pixelAt(*context, 7, 10), kBluePixel);
    EXPECT_EQ(alphaSum(*context), 32);
}

TEST(BitmapContext, KeepsTheMassOfABlurredShadow)
{
    auto const context = canvas({200, 200});
    context->setFillColor(kBlue);
    context->setShadow({.offsetX = 100.5, .offsetY = 0, .blur = 20, .color = {0, 0, 0, 0.5}});
    context->addArc(50, 100, 20, 0, 7);
    context->fillPath();
    double mass = 0;
    double middle = 0;
    for (std::int32_t y = 0; y < 200; ++y) {
        for (std::int32_t x = 100; x < 200; ++x) {
            mass += pixelAt(*context, x, y)[3] / 255.0;
            middle += (x + 0.5) * pixelAt(*context, x, y)[3] / 255.0;
        }
    }
    EXPECT_NEAR(mass, std::numbers::pi * 400 / 2, 40);
    EXPECT_NEAR(middle / mass, 150.5, 0.2);
    EXPECT_LT(pixelAt(*context, 150, 100)[3], 120); // spread out
}

TEST(BitmapContext, BlursRectanglesLikeOtherShapes)
{
    for (auto const& rect :
        {FloatRect {20.3, 30.6, 50, 30}, FloatRect {-10, 40, 500, 3}, FloatRect {50, -1e9, 0.4, 2e9}}) {
        for (auto const blur : {3.0, 9.0, 24.0}) {
            auto const asRectangle = canvas({100, 100});
            auto const asPath = canvas({100, 100});
            for (auto* context : {asRectangle.get(), asPath.get()}) {
                context->setShadow({.offsetX = 600.25, .offsetY = -200, .blur = blur, .color = kBlack});
                context->concatenate(AffineTransform::translation(-600, -200));
            }
            asRectangle->fillRect(rect);
            asPath->moveTo(rect.x + rect.width / 2, rect.y);
            asPath->addRect(rect);
            asPath->fillPath();
            for (std::int32_t y = 0; y < 100; ++y) {
                for (std::int32_t x = 0; x < 100; ++x)
                    ASSERT_NEAR(pixelAt(*asRectangle, x, y)[3], pixelAt(*asPath, x, y)[3], 6)
                        << blur << ": " << x << ", " << y;
            }
        }
    }
}

TEST(BitmapContext, ShowsShadowsOfThingsOutOfSight)
{
    auto const context = canvas();
    context->setShadow({.offsetX = 1e6, .offsetY = -1e6, .color = kRed});
    context->fillRect({-1e6 + 5, -1e6 + 5, 10, 10});
    EXPECT_EQ(alphaSum(*context), 100);
    EXPECT_EQ(pixelAt(*context, 5, 5), kRedPixel);
}

TEST(BitmapContext, CastsNoShadowThatCannotBeSeen)
{
    auto const nan = std::nan("");
    for (auto const& shadow : {
             Shadow {.color = kRed},
             Shadow {.offsetX = 10, .color = {1, 0, 0, 0}},
             Shadow {.offsetX = nan, .offsetY = 10, .color = kRed},
             Shadow {.offsetX = 10, .blur = HUGE_VAL, .color = kRed},
             Shadow {.offsetX = 1e300, .blur = 1e300, .color = kRed},
         }) {
        auto const context = canvas();
        context->setShadow(shadow);
        context->fillRect({0, 0, 5, 5});
        EXPECT_NEAR(alphaSum(*context), 25, 0.1) << shadow.offsetX;
    }
}

TEST(BitmapContext, ShadesAsFaintlyAsItPaints)
{
    auto const context = canvas();
    context->setAlpha(0.5);
    context->setFillColor({0, 0, 0, 0.5});
    context->setShadow({.offsetX = 10, .color = {1, 0, 0, 0.5}});
    context->fillRect({0, 0, 5, 5});
    EXPECT_EQ(pixelAt(*context, 12, 2), (Pixel {32, 0, 0, 32}));
}

// ---- Masks and pictures

TEST(BitmapContext, FillsMasksWhereTheyAreMovedTo)
{
    auto const context = canvas();
    CoverageMask const mask = {{1, 2, 2, 2}, {255, 128, 64, 0}};
    context->setFillColor(kRed);
    context->fillMask(mask, 3, 4);
    EXPECT_EQ(pixelAt(*context, 4, 6), kRedPixel);
    EXPECT_EQ(pixelAt(*context, 5, 6), (Pixel {128, 0, 0, 128}));
    EXPECT_EQ(pixelAt(*context, 4, 7), (Pixel {64, 0, 0, 64}));
    // Only in part, or not at all, on the surface.
    context->fillMask(mask, -2, -3);
    EXPECT_EQ(pixelAt(*context, 0, 0), kClear);
    context->fillMask(mask, -2, -2);
    EXPECT_EQ(pixelAt(*context, 0, 0), (Pixel {128, 0, 0, 128}));
    for (auto const far : {INT32_MIN, INT32_MAX, 20})
        context->fillMask(mask, far, far);
}

Image picture(Size size, std::function<Pixel(int x, int y)> const& colour)
{
    auto buffer = PixelBuffer::create(BitmapContext::layout(size)).value();
    for (std::int32_t y = 0; y < size.height; ++y) {
        for (std::int32_t x = 0; x < size.width; ++x) {
            for (std::size_t i = 0; i < 4; ++i)
                buffer.row(y)[4 * static_cast<std::size_t>(x) + i] =
                    static_cast<std::uint8_t>(colour(x, y)[i]);
        }
    }
    return Image(std::make_shared<PixelBuffer const>(std::move(buffer)));
}

// Each pixel says where it is.
Pixel placeColour(int x, int y)
{
    return {x, y, 100, 255};
}

TEST(BitmapContext, DrawsPartsOfImagesUpright)
{
    auto const image = picture({8, 6}, placeColour);
    auto const context = BitmapContext::create({20, 20}).value();
    context->drawImage(image, {2, 1, 4, 3}, {5, 10, 4, 3}); // rows 7 to 9 from the top
    EXPECT_EQ(pixelAt(*context, 5, 7), placeColour(2, 1));
    EXPECT_EQ(pixelAt(*context, 8, 9), placeColour(5, 3));
    EXPECT_EQ(alphaSum(*context), 12);
}

TEST(BitmapContext, CutsPartsAtTheEdgesOfImages)
{
    auto const image = picture({8, 6}, placeColour);
    auto const context = BitmapContext::create({20, 20}).value();
    context->drawImage(image, {-2, 4, 4, 4}, {5, 5, 4, 4}); // columns 0, 1 and rows 4, 5 are there
    EXPECT_EQ(pixelAt(*context, 7, 11), placeColour(0, 4));
    EXPECT_EQ(pixelAt(*context, 8, 12), placeColour(1, 5));
    EXPECT_EQ(alphaSum(*context), 4);
    context->drawImage(image, {8, 0, 4, 4}, {0, 0, 4, 4});
    context->drawImage(image, {0, 0, 0, 4}, {0, 0, 4, 4});
    context->drawImage(image, {0, 0, 4, 4}, {0, 0, 0, 4});
    context->drawImage(image, {0, 0, 4, 4}, {0, 0, std::nan(""), 4});
    EXPECT_EQ(alphaSum(*context), 4);
}

TEST(BitmapContext, ShadesWithTheAlphaOfImages)
{
    auto const image = picture({4, 4}, [](int x, int) { return x < 2 ? kClear : Pixel {0, 0, 128, 128}; });
    auto const context = BitmapContext::create({20, 20}).value();
    context->setShadow({.offsetX = 10, .offsetY = 5, .color = kRed});
    context->drawImage(image, {0, 0, 4, 4}, {0, 0, 4, 4});
    EXPECT_EQ(pixelAt(*context, 2, 18), (Pixel {0, 0, 128, 128}));
    EXPECT_EQ(pixelAt(*context, 12, 13), (Pixel {128, 0, 0, 128}));
    EXPECT_EQ(pixelAt(*context, 11, 13), kClear);
}

TEST(BitmapContext, RepeatsPatternsFromTheirPhase)
{
    auto const tile = picture({4, 3}, placeColour);
    for (auto const phase : {Point {5, 8}, Point {5.4, 7.6}, Point {5 - 4e6, 8 + 3e6}}) {
        auto const context = canvas();
        context->concatenate(AffineTransform::scale(2, 2)); // without effect on the tiles
        context->addRect({1, 1, 8, 8});
        context->fillPathWithPattern(tile, phase, 1);
        EXPECT_TRUE(context->path().isEmpty());
        EXPECT_EQ(alphaSum(*context), 256);
        // The tile's lower-left pixel lies right of 5 and above 8 from the bottom: row 11.
        EXPECT_EQ(pixelAt(*context, 5, 11), placeColour(0, 2));
        EXPECT_EQ(pixelAt(*context, 4, 12), placeColour(3, 0));
        EXPECT_EQ(pixelAt(*context, 13, 14), placeColour(0, 2));
    }
}

TEST(BitmapContext, FillsTheClipWithGradients)
{
    Gradient const gradient = {.start = {0, 0}, .end = {10, 0}, .stops = {{0, kRed}, {1, kRed}}};
    auto const context = canvas();
    context->drawGradient({});
    EXPECT_EQ(alphaSum(*context), 0);
    context->addRect({5, 5, 4.5, 10});
    context->clipToPath();
    context->drawGradient(gradient);
    EXPECT_EQ(pixelAt(*context, 5, 5), kRedPixel);
    EXPECT_EQ(pixelAt(*context, 9, 14), (Pixel {128, 0, 0, 128}));
    EXPECT_NEAR(alphaSum(*context), 45, 0.1);
    context->setAlpha(0.5);
    context->setBlendMode(BlendMode::Copy);
    context->drawGradient(gradient);
    EXPECT_EQ(pixelAt(*context, 5, 5), (Pixel {128, 0, 0, 128}));
}

// Large areas are drawn on several threads, small ones on one.
TEST(BitmapContext, DrawsLargeAreasLikeTheirParts)
{
    constexpr Size kSize {1100, 700};
    constexpr std::int32_t kStripHeight = 140;
    auto const gradient = [](Gradient::Kind kind, Point end) {
        Color const veil {0.2, 0.9, 0.4, 0.3};
        return Gradient {kind, {100, 100}, end, 20, 600, {{0, kRed}, {0.4, veil}, {1, kBlue}}};
    };
    auto const drawGradient = [](Gradient const& drawn) {
        return [drawn](BitmapContext& context) { context.drawGradient(drawn); };
    };
    std::function<void(BitmapContext&)> const drawings[] = {
        drawGradient(gradient(Gradient::Kind::Linear, {900, 100})),
        drawGradient(gradient(Gradient::Kind::Linear, {100, 650})),
        drawGradient(gradient(Gradient::Kind::Linear, {800, 600})),
        drawGradient(gradient(Gradient::Kind::Radial, {200, 150})),
        [](BitmapContext& context) {
            fillAll(context, {0.7, 0.3, 0.1, 0.6});
        },
    };
    for (auto const& draw : drawings) {
        for (auto const isRound : {false, true}) {
            auto const whole = canvas(kSize), inParts = canvas(kSize);
            for (auto* const context : {whole.get(), inParts.get()}) {
                context->drawGradient(gradient(Gradient::Kind::Linear, {300, 300}));
                context->addArc(550, 350, isRound ? 500 : 5000, 0, 2 * std::numbers::pi);
                context->clipToPath();
            }
            draw(*whole);
            for (std::int32_t y = 0; y < kSize.height; y += kStripHeight) {
                inParts->save();
                inParts->addRect({0, double(y), double(kSize.width), kStripHeight});
                inParts->clipToPath();
                draw(*inParts);
                inParts->restore();
            }
            auto const bytes = 4 * static_cast<std::size_t>(kSize.width);
            for (std::int32_t y = 0; y < kSize.height; ++y)
                ASSERT_EQ(std::memcmp(whole->row(y), inParts->row(y), bytes), 0)
                    << "drawing " << &draw - drawings << ", row " << y;
        }
    }
}

TEST(BitmapContext, SnapshotsStayAsTheyWere)
{
    auto const context = canvas({3, 2});
    fillAll(*context, kRed);
    auto const image = context->snapshot().value();
    fillAll(*context, kBlue);
    auto rows = image.rows().value();
    Bytes row(rows->rowBytes());
    ASSERT_TRUE(rows->read({row.data(), row.size(), 1}).has_value());
    EXPECT_THAT(row, testing::ElementsAre(255, 0, 0, 255, 255, 0, 0, 255, 255, 0, 0, 255));
    EXPECT_EQ(image.space(), BitmapContext::layout({1, 1}).space);
}

TEST(BitmapContext, DrawsIntoPixelsOfOthers)
{
    std::vector<std::uint8_t> pixels(3 * 20, 7);
    auto const context = BitmapContext::over(pixels.data(), {2, 3}, 20);
    context->setFillColor(kRed);
    context->fillRect({0, 0, 2, 1});
    EXPECT_EQ(pixels[40], 255);
    EXPECT_EQ(pixels[48], 7); // between the rows
    EXPECT_EQ(pixels[20], 7);
}

// ---- State

TEST(BitmapContext, RestoresWhatWasSaved)
{
    auto const context = canvas();
    auto const initial = context->transform();
    context->restore(); // without effect
    context->setFillColor(kRed);
    context->save();
    context->save();
    context->setFillColor(kBlue);
    context->setBlendMode(BlendMode::Copy);
    context->setAlpha(0.3);
    context->concatenate(AffineTransform::scale(3, 3));
    context->addRect({0, 0, 1, 1});
    context->clipToPath();
    context->restore();
    EXPECT_EQ(context->transform(), initial);
    context->setFillColor(kBlue);
    context->restore();
    context->fillRect({0, 0, 1, 1});
    context->restore();
    EXPECT_EQ(pixelAt(*context, 0, 0), kRedPixel);
    EXPECT_EQ(alphaSum(*context), 1);
}

TEST(BitmapContext, SavesAHundredThousandTimes)
{
    auto const context = canvas({1000, 1000});
    context->addArc(500, 500, 400, 0, 7);
    context->clipToPath();
    for (int i = 0; i < 100000; ++i) {
        context->save();
        if (i % 2 != 0)
            context->concatenate(AffineTransform::translation(1, 0));
    }
    EXPECT_EQ(context->transform().tx, 50000);
    for (int i = 0; i < 100000; ++i)
        context->restore();
    EXPECT_EQ(context->transform().tx, 0);
}

// ---- Hostile numbers

TEST(BitmapContext, SurvivesHostileNumbers)
{
    auto const nan = std::nan("");
    std::function<void(BitmapContext&)> const drawsNothing[] = {
        [&](BitmapContext& c) {
            c.fillRect({nan, 0, 10, 10});
        },
        [&](BitmapContext& c) {
            c.fillRect({0, 0, HUGE_VAL, 10});
        },
        [&](BitmapContext& c) {
            c.strokeRect({0, nan, 10, 10});
        },
        [&](BitmapContext& c) {
            c.fillRect({1e9, 1e9, 1e9, 1e9});
        },
        [&](BitmapContext& c) {
            c.concatenate(AffineTransform::scale(0, 0));
            c.fillRect({0, 0, 10, 10});
            c.strokeRect({0, 0, 10, 10});
            c.drawGradient({.end = {1, 1}, .stops = {}});
        },
        [&](BitmapContext& c) {
            c.setLineWidth(nan);
            c.strokeRect({0, 0, 10, 10});
            c.setLineWidth(-5);
            c.strokeRect({0, 0, 10, 10});
        },
        [&](BitmapContext& c) {
            c.setAlpha(0);
            c.setAlpha(nan); // ignored
            c.fillRect({0, 0, 10, 10});
        },
        [&](BitmapContext& c) { c.fillMask({}, 0, 0); },
        [&](BitmapContext& c) {
            for (int i = 0; i < 5; ++i)
                c.concatenate(AffineTransform::scale(1e100, 1e100));
            c.fillRect({1, 1, 1, 1});
            c.strokeRect({1, 1, 1, 1});
        },
    };
    for (auto const& draw : drawsNothing) {
        auto const context = canvas();
        draw(*context);
        EXPECT_EQ(alphaSum(*context), 0) << &draw - drawsNothing;
    }
    auto const context = canvas();
    context->concatenate({.a = nan});
    context->setLineWidth(1e300);
    context->moveTo(10, 10);
    context->lineTo(11, 12);
    context->strokePath();
    context->setLineWidth(3);
    context->setLineDash(0, {1e-3, 1e-3});
    context->moveTo(-1e9, 5);
    context->lineTo(1e9, 5);
    context->strokePath();
    context->fillRect({-1e300, -1e300, 2e300, 2e300});
    EXPECT_EQ(alphaSum(*context), 400);
}

} // namespace
} // namespace velk::graphics
