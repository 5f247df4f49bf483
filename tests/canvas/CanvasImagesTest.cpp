#include "canvas/CanvasProbe.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace velk {

using namespace test;

namespace {

Canvas::ImageArguments arguments(std::vector<double> const& numbers)
{
    Canvas::ImageArguments result;
    std::ranges::copy(numbers, result.begin());
    return result;
}

// A picture of quarters: red and green over blue and white, 20 pixels each way.
class CanvasImages : public testing::Test {
protected:
    CanvasImages()
    {
        auto const space = graphics::BitmapContext::layout({1, 1}).space;
        auto const pixels = paint(
            {20, 20}, {.model = graphics::ColorModel::RGB},
            [](int x, int y, int channel) {
                constexpr double kColors[2][2][3] = {{{1, 0, 0}, {0, 1, 0}}, {{0, 0, 1}, {1, 1, 1}}};
                return kColors[y / 10][x / 10][channel];
            },
            &space);
        EncodeExtras extras;
        extras.profile = space.profile();
        EXPECT_TRUE(encode("public.png", pixels, m_directory / "quarters.png", extras));
        m_image = std::make_shared<Image>(m_directory / "quarters.png");
    }

    void draw(std::vector<double> const& numbers) { m_canvas->drawImage(m_image, arguments(numbers)); }
    Pixel at(int x, int y) const { return pixelOf(*m_canvas, x, y); }

    TemporaryDirectory m_directory;
    std::shared_ptr<Image> m_image;
    std::shared_ptr<Canvas> m_canvas = makeCanvas(120, 80);
};

// A canvas that is red in its upper and blue in its lower half.
std::shared_ptr<Canvas> redOverBlue(std::uint32_t width, std::uint32_t height)
{
    auto const canvas = makeCanvas(width, height);
    canvas->setFillStyle("red");
    canvas->fillRect(0, 0, width, height / 2);
    canvas->setFillStyle("blue");
    canvas->fillRect(0, height / 2, width, height / 2);
    return canvas;
}

Pixel pixelOf(ImageData const& data, std::uint32_t x, std::uint32_t row)
{
    auto const* bytes = data.buffer() + (row * data.width() + x) * 4;
    return {bytes[0], bytes[1], bytes[2], bytes[3]};
}

} // namespace

TEST_F(CanvasImages, AreDrawnUprightAtTheirSize)
{
    draw({10, 20});
    EXPECT_EQ(at(9, 20), kClear);
    EXPECT_EQ(at(10, 19), kClear);
    EXPECT_EQ(at(10, 20), kRed);
    EXPECT_EQ(at(29, 20), kGreen);
    EXPECT_EQ(at(10, 39), kBlue);
    EXPECT_EQ(at(29, 39), kWhite);
    EXPECT_EQ(at(30, 39), kClear);
}

TEST_F(CanvasImages, AreScaledToADestination)
{
    draw({0, 0, 100, 50});
    EXPECT_EQ(at(2, 2), kRed);
    EXPECT_EQ(at(97, 2), kGreen);
    EXPECT_EQ(at(2, 47), kBlue);
    EXPECT_EQ(at(97, 47), kWhite);
    EXPECT_EQ(at(102, 2), kClear);
    EXPECT_EQ(at(2, 52), kClear);
}

TEST_F(CanvasImages, AreDrawnInPart)
{
    draw({10, 0, 10, 10, 50, 50, 20, 20});
    EXPECT_EQ(at(49, 50), kClear);
    EXPECT_EQ(at(51, 51), kGreen);
    EXPECT_EQ(at(68, 68), kGreen);
    EXPECT_EQ(at(71, 51), kClear);

    // What lies outside of the image is cut off before the rest is scaled.
    draw({-10, -10, 20, 20, 0, 0, 40, 40});
    EXPECT_EQ(at(2, 2), kRed);
    EXPECT_EQ(at(37, 37), kRed);

    // Negative sizes count backwards and mirror nothing.
    draw({20, 20, -20, -20, 120, 80, -20, -20});
    EXPECT_EQ(at(100, 60), kRed);
    EXPECT_EQ(at(119, 79), kWhite);
}

TEST_F(CanvasImages, DrawNothingWithoutPixels)
{
    m_canvas->drawImage(nullptr, arguments({0, 0}));
    m_canvas->drawImage(std::make_shared<Image>("/no/where"), arguments({0, 0, 50, 50}));
    EXPECT_TRUE(isBlank(*m_canvas));
    writeBytes(m_directory / "bad.png", ByteSpan(readBytes(m_image->URL())).first(20));
    m_canvas->drawImage(std::make_shared<Image>(m_directory / "bad.png"), arguments({0, 0, 50, 50}));
    EXPECT_TRUE(isBlank(*m_canvas));
    auto const nan = std::numeric_limits<double>::quiet_NaN();
    auto const infinity = std::numeric_limits<double>::infinity();
    for (auto const& numbers :
        {std::vector<double> {nan, 0}, {0, 0, nan, 5}, {0, 0, infinity, 5}, {0, 0, 0, 5},
            {nan, 0, 5, 5, 0, 0, 5, 5}, {100, 100, 5, 5, 0, 0, 5, 5}, {0, 0, 5, 5, 0, 0, 0, 0}})
        draw(numbers);
    EXPECT_TRUE(isBlank(*m_canvas));
}

TEST_F(CanvasImages, FollowTransformAndAlphaAndLeaveThem)
{
    m_canvas->save();
    m_canvas->translate(40, 0);
    m_canvas->scale(-1, 2);
    m_canvas->setGlobalAlpha(0.5);
    draw({0, 0});
    draw({0, 20});
    m_canvas->restore();
    EXPECT_EQ(at(38, 2), (Pixel {128, 0, 0, 128}));
    EXPECT_EQ(at(22, 2), (Pixel {0, 128, 0, 128}));
    EXPECT_EQ(at(38, 37), (Pixel {0, 0, 128, 128}));
    EXPECT_EQ(at(38, 42), (Pixel {128, 0, 0, 128}));
}

TEST(CanvasPixels, LieBottomUp)
{
    auto const canvas = redOverBlue(4, 4);
    auto const data = canvas->getImageData(0, 0, 4, 4);
    ASSERT_EQ(data->length(), 64u);
    EXPECT_EQ(pixelOf(*data, 0, 0), kBlue);
    EXPECT_EQ(pixelOf(*data, 3, 1), kBlue);
    EXPECT_EQ(pixelOf(*data, 0, 2), kRed);
}

TEST(CanvasPixels, AreCopiedWhereTheCanvasHasThem)
{
    auto const canvas = redOverBlue(4, 4);
    struct Case {
        js::Value x, y, width, height;
        std::uint32_t columns, rows;
        Pixel first, last;
    };
    Case const cases[] = {
        {{}, {}, {}, {}, 4, 4, kBlue, kRed},
        {4, 3, {}, {}, 4, 3, kBlue, kRed},
        {2, 2, 0, 5, 4, 4, kBlue, kRed},
        {0, 1, 2, 2, 2, 2, kBlue, kRed},
        {-1, -1, 3, 3, 3, 3, kClear, kClear},
        {3, 3, 2, 2, 2, 2, kClear, kClear},
        {2, 2, -2, -2, 2, 2, kRed, kRed},
        {0, 0, 1.9, 1.9, 1, 1, kRed, kRed},
        {100, 100, 2, 2, 2, 2, kClear, kClear},
        {1e12, -1e300, 2, 2, 2, 2, kClear, kClear},
    };
    for (auto const& [x, y, width, height, columns, rows, first, last] : cases) {
        auto const data = canvas->getImageData(x, y, width, height);
        ASSERT_EQ(data->width(), columns);
        ASSERT_EQ(data->height(), rows);
        EXPECT_EQ(pixelOf(*data, 0, 0), first);
        EXPECT_EQ(pixelOf(*data, columns - 1, rows - 1), last);
    }
    EXPECT_EQ(pixelOf(*canvas->getImageData(-1, -1, 3, 3), 1, 0), kRed);
    // Half a pixel down there is half of each colour.
    auto const between = canvas->getImageData(0, 0.5, 4, 3);
    EXPECT_EQ(pixelOf(*between, 1, 2), kRed);
    EXPECT_NEAR(pixelOf(*between, 1, 1).red, 128, 3);
    EXPECT_NEAR(pixelOf(*between, 1, 1).blue, 128, 3);
}

TEST(CanvasPixels, IgnoreTransformAndClip)
{
    auto const canvas = redOverBlue(4, 4);
    canvas->translate(2, 2);
    canvas->rect(0, 0, 0.5, 0.5);
    canvas->clip();
    canvas->setGlobalAlpha(0);
    EXPECT_EQ(pixelOf(*canvas->getImageData(0, 0, 1, 1), 0, 0), kRed);
}

TEST(CanvasPixels, ComeBackAsTheyWere)
{
    auto const canvas = redOverBlue(33, 8);
    canvas->setFillStyle("lime");
    canvas->fillRect(3, 1, 9, 2);
    auto const before = canvas->getImageData({}, {}, {}, {});
    canvas->putImageData(canvas->getImageData(0, 0, 33, 8), 0, 0);
    auto const after = canvas->getImageData({}, {}, {}, {});
    EXPECT_TRUE(std::equal(before->buffer(), before->buffer() + before->length(), after->buffer()));

    canvas->putImageData(canvas->getImageData(3, 1, 9, 2), 20, 5);
    EXPECT_EQ(pixelOf(*canvas, 20, 5), kGreen);
    EXPECT_EQ(pixelOf(*canvas, 28, 6), kGreen);
    EXPECT_EQ(pixelOf(*canvas, 29, 6), kBlue);
    EXPECT_EQ(pixelOf(*canvas, 20, 7), kBlue);
}

TEST(CanvasPixels, AreCompositedLikeImages)
{
    auto const canvas = redOverBlue(4, 4);
    auto const data = canvas->createImageData(1, 1);
    canvas->putImageData(data, 0, 0);
    EXPECT_EQ(pixelOf(*canvas, 0, 0), kRed);
    constexpr std::uint8_t kHalfGreen[] = {0, 128, 0, 128};
    std::ranges::copy(kHalfGreen, data->buffer());
    canvas->putImageData(data, 0, 0);
    EXPECT_EQ(pixelOf(*canvas, 0, 0), (Pixel {127, 128, 0, 255}));
    canvas->scale(2, 2);
    canvas->putImageData(data, 1, 0);
    EXPECT_EQ(pixelOf(*canvas, 3, 1), (Pixel {127, 128, 0, 255}));
    canvas->putImageData(nullptr, 0, 0);
    canvas->putImageData(canvas->createImageData(0, 5), 0, 0);
}

TEST(ImageData, CopiesPixels)
{
    auto const canvas = makeCanvas(1, 1);
    auto const original = canvas->createImageData(3, 2);
    EXPECT_EQ(original->length(), 24u);
    EXPECT_TRUE(std::all_of(original->buffer(), original->buffer() + 24, [](int byte) { return byte == 0; }));
    original->buffer()[5] = 200;
    auto const copy = canvas->createImageData(js::Value(original), 99);
    EXPECT_EQ(copy->width(), 3u);
    EXPECT_EQ(copy->height(), 2u);
    EXPECT_EQ(copy->buffer()[5], 200);
    copy->buffer()[6] = 1;
    EXPECT_EQ(original->buffer()[6], 0);

    auto const ofUntouched = canvas->createImageData(js::Value(canvas->createImageData(2, 2)), 0);
    EXPECT_EQ(ofUntouched->length(), 16u);
    EXPECT_EQ(ofUntouched->buffer()[0], 0);
}

TEST(ImageData, IsEmptyWhenItCannotBe)
{
    struct Case {
        std::uint32_t width, height;
    };
    for (auto const& [width, height] :
        {Case {1U << 30, 1}, {1, 1U << 30}, {65536, 16384}, {0xFFFFFFFF, 0xFFFFFFFF}}) {
        ImageData const data(width, height);
        EXPECT_EQ(data.width(), 0u);
        EXPECT_EQ(data.length(), 0u);
        EXPECT_FALSE(data.buffer());
        EXPECT_FALSE(data.createImage());
    }
    auto const canvas = makeCanvas(2, 2);
    EXPECT_EQ(canvas->getImageData(0, 0, 1e9, 1e9)->length(), 0u);
    EXPECT_EQ(canvas->getImageData(0, 0, 1e300, 1)->length(), 0u);
}

TEST(ImageData, CostsNothingBeyondWhatItIsFilledFrom)
{
    auto const canvas = redOverBlue(2, 2);
    auto const data = canvas->getImageData(0, 0, 32767, 32767);
    EXPECT_EQ(data->width(), 32767u);
    ASSERT_TRUE(data->buffer());
    EXPECT_EQ(pixelOf(*data, 0, 32766), kRed);
    EXPECT_EQ(pixelOf(*data, 2, 32766), kClear);
}

} // namespace velk
