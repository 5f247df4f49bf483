#include "platform/graphics/Pipeline.h"
#include "platform/graphics/PipelineTesting.h"
#include "platform/graphics/drawing/DisplayP3.h"
#include "platform/graphics/drawing/SpanSource.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

namespace velk::test {

using namespace graphics;

namespace {

constexpr PixelFormat kRgb {};
constexpr PixelFormat kRgba {ComponentType::UInt8, ColorModel::RGB, Alpha::Straight};

Image p3Image(PixelBufferPointer const& pixels)
{
    return Image(pixels).withColorSpace(displayP3());
}

FloatRect whole(Image const& image)
{
    return {0, 0, static_cast<double>(image.size().width), static_cast<double>(image.size().height)};
}

using Pixel = std::vector<int>;

// A device of which only what was drawn is not transparent.
class Device {
public:
    explicit Device(Size size)
        : m_size(size)
        , m_bytes(4 * static_cast<std::size_t>(size.pixelCount()))
    {
    }

    void draw(Image const& image, FloatRect const& part, AffineTransform const& map)
    {
        WorkCrew crew;
        auto drawn = imageSource(image, part, map, {0, 0, m_size.width, m_size.height}, crew);
        ASSERT_TRUE(drawn) << drawn.error().message;
        bounds = drawn->bounds;
        isOpaque = drawn->source && drawn->source->isOpaque();
        for (auto y = bounds.y; y < bounds.y + bounds.height; ++y)
            drawn->source->span(bounds.x, y, bounds.width, at(bounds.x, y));
    }
    Pixel pixel(std::int32_t x, std::int32_t y)
    {
        auto const* const bytes = at(x, y);
        return {bytes[0], bytes[1], bytes[2], bytes[3]};
    }

    IntRect bounds;
    bool isOpaque = false;

private:
    std::uint8_t* at(std::int32_t x, std::int32_t y)
    {
        return m_bytes.data() + 4 * static_cast<std::size_t>(y * m_size.width + x);
    }

    Size m_size;
    std::vector<std::uint8_t> m_bytes;
};

Device drawn(Image const& image, FloatRect const& part, AffineTransform const& map, Size device = {40, 30})
{
    Device result(device);
    result.draw(image, part, map);
    return result;
}

// Columns and rows can be told apart.
PixelBufferPointer numbered(Size size, PixelFormat format = kRgb)
{
    return paint(size, format, [](int x, int y, int channel) {
        double const values[] = {10 * x / 255.0, 10 * y / 255.0, 100 / 255.0, 1};
        return values[channel];
    });
}

Pixel numberedPixel(int x, int y)
{
    return {10 * x, 10 * y, 100, 255};
}

// `inside` is a rectangle of white in a field of black.
PixelBufferPointer whiteIn(Size size, IntRect const& inside)
{
    return paint(size, kRgb, [=](int x, int y, int) {
        return x >= inside.x && x < inside.x + inside.width && y >= inside.y && y < inside.y + inside.height;
    });
}

PixelBufferPointer plain(Size size, double value)
{
    return paint(size, kRgb, [=](int, int, int) { return value; });
}

AffineTransform place(double scaleX, double scaleY, double x, double y)
{
    return {scaleX, 0, 0, scaleY, x, y};
}

AffineTransform turned(double degrees, double scale, Point middleOfImage, Point middleOfDevice)
{
    auto const angle = degrees * std::numbers::pi / 180;
    AffineTransform const turn = {
        scale * std::cos(angle), scale * std::sin(angle), -scale * std::sin(angle), scale * std::cos(angle)};
    return AffineTransform::translation(-middleOfImage.x, -middleOfImage.y) * turn
        * AffineTransform::translation(middleOfDevice.x, middleOfDevice.y);
}

} // namespace

TEST(ImageSource, WholePixelsInWholePlacesAreCopied)
{
    auto const image = p3Image(numbered({8, 5}));
    struct {
        char const* name;
        AffineTransform map;
        IntRect bounds;
        Pixel topLeft, bottomRight;
    } const cases[] = {
        {"upright", place(1, 1, 3, 4), {3, 4, 8, 5}, numberedPixel(0, 0), numberedPixel(7, 4)},
        {"mirrored", place(-1, 1, 11, 4), {3, 4, 8, 5}, numberedPixel(7, 0), numberedPixel(0, 4)},
        {"upside down", place(1, -1, 3, 9), {3, 4, 8, 5}, numberedPixel(0, 4), numberedPixel(7, 0)},
        {"a quarter turn", {0, 1, -1, 0, 8, 2}, {3, 2, 5, 8}, numberedPixel(0, 4), numberedPixel(7, 0)},
        {"transposed", {0, 1, 1, 0, 3, 2}, {3, 2, 5, 8}, numberedPixel(0, 0), numberedPixel(7, 4)},
        {"nearly", place(1 + 1e-9, 1, 3 - 1e-7, 4), {3, 4, 8, 5}, numberedPixel(0, 0), numberedPixel(7, 4)},
        {"cut by the device", place(1, 1, -2, -3), {0, 0, 6, 2}, numberedPixel(2, 3), numberedPixel(7, 4)},
    };
    for (auto const& [name, map, bounds, topLeft, bottomRight] : cases) {
        SCOPED_TRACE(name);
        auto device = drawn(image, whole(image), map);
        EXPECT_EQ(bounds, device.bounds);
        EXPECT_EQ(topLeft, device.pixel(bounds.x, bounds.y));
        EXPECT_EQ(bottomRight, device.pixel(bounds.x + bounds.width - 1, bounds.y + bounds.height - 1));
        EXPECT_TRUE(device.isOpaque);
    }
}

TEST(ImageSource, PartsAreCountedFromTheirCornerAndCutAtTheImage)
{
    auto const image = p3Image(numbered({8, 5}));
    auto inside = drawn(image, {2, 1, 4, 3}, place(1, 1, 10, 10));
    EXPECT_EQ((IntRect {10, 10, 4, 3}), inside.bounds);
    EXPECT_EQ(numberedPixel(2, 1), inside.pixel(10, 10));

    auto beyond = drawn(image, {-3, -2, 20, 20}, place(1, 1, 10, 10));
    EXPECT_EQ((IntRect {13, 12, 8, 5}), beyond.bounds);
    EXPECT_EQ(numberedPixel(0, 0), beyond.pixel(13, 12));

    EXPECT_TRUE(drawn(image, {8, 0, 5, 5}, {}).bounds.isEmpty());
    EXPECT_TRUE(drawn(image, {2, 2, 0, 3}, {}).bounds.isEmpty());
}

TEST(ImageSource, NothingOutsideOfAPartMixesIn)
{
    IntRect const inside {7, 5, 11, 9};
    auto const image = p3Image(whiteIn({30, 20}, inside));
    FloatRect const part {7, 5, 11, 9};
    AffineTransform const maps[] = {place(2.7, 3.1, 1, 1), place(0.4, 0.3, 2, 2), place(-1.5, 1, 30, 3),
        {0, 2, -2, 0, 30, 1}, turned(20, 1.4, {5.5, 4.5}, {20, 15}), turned(-50, 0.5, {5.5, 4.5}, {20, 15})};
    for (auto const& map : maps) {
        auto device = drawn(image, part, map);
        ASSERT_FALSE(device.bounds.isEmpty());
        for (auto y = device.bounds.y; y < device.bounds.y + device.bounds.height; ++y) {
            for (auto x = device.bounds.x; x < device.bounds.x + device.bounds.width; ++x) {
                auto const pixel = device.pixel(x, y);
                ASSERT_EQ(pixel[3], pixel[0]) << map.a << ": " << x << ", " << y;
            }
        }
    }
}

TEST(ImageSource, EdgesBetweenPixelsAreAntialiased)
{
    auto const image = p3Image(plain({4, 4}, 1));
    struct {
        AffineTransform map;
        IntRect bounds;
        int left, top, middle;
    } const cases[] = {
        {place(2.5, 3, 1.25, 2), {1, 2, 11, 12}, 191, 255, 255},
        {place(2, 2.25, 3, 5.75), {3, 5, 8, 10}, 255, 64, 255},
        {place(0.5, 0.5, 3.75, 5.75), {3, 5, 3, 3}, 64, 64, 255},
        {place(-2, 2, 9.25, 3), {1, 3, 9, 8}, 191, 255, 255},
        {place(0.06, 10, 4.88, 0), {4, 0, 2, 30}, 31, 31, 31},
    };
    for (auto const& [map, bounds, left, top, middle] : cases) {
        SCOPED_TRACE(map.a);
        auto device = drawn(image, whole(image), map);
        EXPECT_EQ(bounds, device.bounds);
        EXPECT_FALSE(device.isOpaque);
        auto const centreX = bounds.x + (bounds.width - 1) / 2;
        auto const centreY = bounds.y + bounds.height / 2;
        EXPECT_EQ(Pixel(4, left), device.pixel(bounds.x, centreY));
        EXPECT_EQ(Pixel(4, top), device.pixel(centreX, bounds.y));
        EXPECT_EQ(Pixel(4, middle), device.pixel(centreX, centreY));
    }
}

TEST(ImageSource, FreeTransformsShowTheImageInItsPlace)
{
    auto const image = p3Image(plain({10, 6}, 1));
    auto device = drawn(image, whole(image), turned(30, 2, {5, 3}, {20, 15}));
    double covered = 0;
    for (auto y = 0; y < 30; ++y) {
        for (auto x = 0; x < 40; ++x)
            covered += device.pixel(x, y)[3] / 255.0;
    }
    EXPECT_NEAR(240, covered, 2);
    EXPECT_EQ(Pixel(4, 255), device.pixel(20, 15));
    // The corners, turned by hand.
    EXPECT_EQ(Pixel(4, 255), device.pixel(14, 6));
    EXPECT_EQ(Pixel(4, 0), device.pixel(11, 22));
    EXPECT_EQ(Pixel(4, 0), device.pixel(30, 10));
}

TEST(ImageSource, ShrinkingAveragesAndEnlargingInterpolates)
{
    auto const stripes = p3Image(paint({200, 40}, kRgb, [](int x, int, int) { return x % 2; }));
    auto small = drawn(stripes, whole(stripes), place(0.1, 0.5, 0, 0));
    for (auto x = 3; x < 17; ++x)
        EXPECT_NEAR(127.5, small.pixel(x, 9)[0], 2);

    auto const ramp = p3Image(numbered({12, 3}));
    auto large = drawn(ramp, whole(ramp), place(3, 3, 0, 0));
    for (auto x = 3; x < 33; ++x)
        EXPECT_NEAR((x + 0.5) / 3 * 10 - 5, large.pixel(x, 4)[0], 1.01) << x;
}

TEST(ImageSource, FractionalPartsKeepTheirPlace)
{
    auto const ramp = p3Image(numbered({20, 10}));
    FloatRect const part {2.5, 1.5, 9, 6};
    auto upright = drawn(ramp, part, place(2, 2, 4, 3));
    EXPECT_EQ((IntRect {4, 3, 18, 12}), upright.bounds);
    auto turn = drawn(ramp, part, turned(0.5, 2, {4.5, 3}, {13, 9}));
    for (auto x = 8; x < 18; ++x) {
        auto const expected = (2.5 + (x + 0.5 - 4) / 2) * 10 - 5;
        EXPECT_NEAR(expected, upright.pixel(x, 9)[0], 1.01);
        EXPECT_NEAR(expected, turn.pixel(x, 9)[0], 2.5);
    }
}

TEST(ImageSource, AlphaIsPremultiplied)
{
    auto const image = p3Image(paint({4, 4}, kRgba, [](int, int, int channel) {
        double const values[] = {1, 0.6, 0, 0.4};
        return values[channel];
    }));
    for (auto const& map : {place(1, 1, 2, 2), place(2.5, 2.5, 2, 2), turned(10, 2, {2, 2}, {6, 6})}) {
        auto device = drawn(image, whole(image), map);
        EXPECT_EQ((Pixel {102, 61, 0, 102}), device.pixel(5, 5));
        EXPECT_FALSE(device.isOpaque);
    }
}

TEST(ImageSource, ColorsBecomeDisplayP3)
{
    auto const red = paint({4, 4}, kRgb, [](int, int, int channel) { return channel == 0; });
    auto const icc = shareBytes(readBytes(dataFile("DisplayP3-v4.icc")));
    struct {
        char const* name;
        Image image;
        Pixel expected;
    } const cases[] = {
        // CSS Color 4: color(srgb 1 0 0) is color(display-p3 0.9175 0.2003 0.1386).
        {"without a profile", Image(red), {234, 51, 35, 255}},
        {"another Display P3", Image(red).withColorSpace(ColorSpace::withProfile(ColorModel::RGB, icc)),
            {255, 0, 0, 255}},
        {"grey", Image(paint({4, 4}, {.model = ColorModel::Gray}, [](int, int, int) { return 0.4; })),
            {102, 102, 102, 255}},
        {"indexed", Image(indexedImage({4, 4}, 1, false)), {}},
    };
    for (auto const& [name, image, expected] : cases) {
        SCOPED_TRACE(name);
        for (auto const& map : {place(1, 1, 0, 0), place(3, 3, 0, 0), turned(10, 4, {2, 2}, {2, 2})}) {
            auto device = drawn(image, whole(image), map);
            auto const found = device.pixel(2, 2);
            for (std::size_t i = 0; i < expected.size(); ++i)
                EXPECT_NEAR(expected[i], found[i], 1);
            EXPECT_EQ(255, found[3]);
        }
    }
}

TEST(ImageSource, OtherProfilesAreNotTakenForDisplayP3)
{
    for (auto const* name : {"sRGB-v2-magic.icc", "AdobeCompat-v2.icc"}) {
        auto const icc = shareBytes(readBytes(dataFile(name)));
        EXPECT_FALSE(isDisplayP3(ColorSpace::withProfile(ColorModel::RGB, icc))) << name;
    }
    EXPECT_FALSE(isDisplayP3(ColorSpace::device(ColorModel::RGB)));
    auto cut = readBytes(dataFile("DisplayP3-v4.icc"));
    for (; !cut.empty(); cut.pop_back())
        isDisplayP3(ColorSpace::withProfile(ColorModel::RGB, shareBytes(cut)));
}

namespace {

// More pixels than are kept from the first time on.
PixelBufferPointer largePixels()
{
    auto pixels = PixelBuffer::create({{1500, 1000}, kRgb}).value();
    for (std::int32_t y = 0; y < pixels.size().height; ++y)
        std::fill_n(pixels.row(y), pixels.layout().rowBytes(), static_cast<std::uint8_t>(10 * y));
    return std::make_shared<PixelBuffer const>(std::move(pixels));
}

// Counts how often it is opened, and delivers half the size where that is enough.
class CountingProvider final : public PixelProvider {
public:
    CountingProvider(PixelBufferPointer pixels, int& opened)
        : m_pixels(std::move(pixels))
        , m_half(resampled(m_pixels))
        , m_opened(opened)
    {
    }

    Result<DecodedRows> open(DecodeRequest const& request) const override
    {
        ++m_opened;
        auto const size = m_pixels->size();
        FloatRect const area {0, 0, static_cast<double>(size.width), static_cast<double>(size.height)};
        return DecodedRows {rowsOf(request.scale <= 0.5 ? m_half : m_pixels), area};
    }

private:
    static PixelBufferPointer resampled(PixelBufferPointer const& pixels)
    {
        auto const size = pixels->size();
        FloatRect const area {0, 0, static_cast<double>(size.width), static_cast<double>(size.height)};
        return collect(resample(rowsOf(pixels), area, {size.width / 2, size.height / 2}));
    }

    PixelBufferPointer m_pixels, m_half;
    int& m_opened;
};

} // namespace

TEST(ImageSource, ImagesDrawnAgainAreNotDecodedAgain)
{
    for (auto const& pixels : {numbered({60, 40}), largePixels()}) {
        int opened = 0;
        Image const image({pixels->layout(), 8}, std::make_shared<CountingProvider>(pixels, opened));
        FloatRect const corner {0, 0, 20, 20};
        auto const first = drawn(image, corner, {}).pixel(9, 7);
        drawn(image, corner, {});
        auto const openedTwice = opened;
        for (int i = 0; i < 5; ++i)
            EXPECT_EQ(first, drawn(image, corner, place(1, 1, i, i)).pixel(9 + i, 7 + i));
        EXPECT_EQ(openedTwice, opened);
        // The same pixels with another meaning are decoded anew.
        drawn(image.withColorSpace(displayP3()), corner, {});
        EXPECT_LT(openedTwice, opened);
    }
}

// What lies in memory is scaled in bands; the first drawing of a large image is scaled as it is decoded.
TEST(ImageSource, BandsOfLargeDrawingsFitTogether)
{
    int opened = 0;
    auto const pixels = largePixels();
    auto const image = Image({pixels->layout(), 8}, std::make_shared<CountingProvider>(pixels, opened))
                           .withColorSpace(displayP3());
    Size const size {610, 450};
    FloatRect const part {3.25, 7.5, 800, 600};
    auto const map = place(size.width / part.width, size.height / part.height, 0, 0);
    auto first = drawn(image, part, map, size);
    for (int i = 0; i < 3; ++i) {
        auto again = drawn(image, part, map, size);
        for (std::int32_t y = 0; y < size.height; ++y) {
            for (std::int32_t x = 0; x < size.width; ++x)
                ASSERT_NEAR(again.pixel(x, y)[0], first.pixel(x, y)[0], 1) << x << ", " << y;
        }
    }
}

TEST(ImageSource, AKeptReductionIsNotEnoughForALargerDrawing)
{
    int opened = 0;
    auto const pixels = numbered({24, 24});
    Image const image({pixels->layout(), 8}, std::make_shared<CountingProvider>(pixels, opened));
    auto const labelled = image.withColorSpace(displayP3());
    drawn(labelled, whole(labelled), place(0.3, 0.3, 0, 0));
    for (int i = 0; i < 3; ++i) {
        auto device = drawn(labelled, whole(labelled), place(1, 1, 0, 0));
        for (int x = 0; x < 24; ++x)
            EXPECT_EQ(numberedPixel(x, x), device.pixel(x, x));
    }
    // A part of the reduction keeps to itself.
    auto const white = whiteIn({24, 24}, {5, 5, 9, 9});
    Image const framed({white->layout(), 8}, std::make_shared<CountingProvider>(white, opened));
    for (int i = 0; i < 3; ++i) {
        auto device = drawn(framed, {5, 5, 9, 9}, place(0.3, 0.3, 0, 0));
        EXPECT_NEAR(255, device.pixel(0, 0)[0], 4);
        EXPECT_NEAR(255, device.pixel(1, 1)[0], 4);
    }
}

TEST(ImageSource, AnyTransformIsSurvived)
{
    auto const image = p3Image(numbered({8, 5}));
    double const numbers[] = {0, 1e-300, 1e-9, 0.001, 1e9, 1e300, -1e20,
        std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()};
    for (auto const number : numbers) {
        SCOPED_TRACE(number);
        AffineTransform const maps[] = {place(number, 1, 0, 0), place(1, number, 3, 3),
            place(1, 1, number, 0), place(number, number, 1, 1), {number, 1, 1, 0.5, 0, 0},
            {1, 0.3, number, 1, 5, 5}, {0.3, 0.4, 0.5, 0.6, 0, number}};
        for (auto const& map : maps)
            drawn(image, whole(image), map);
        drawn(image, {0.2, 0.3, number, 2}, turned(10, 1, {}, {}));
    }
}

TEST(ImageSource, WhatCannotBeDecodedIsAnError)
{
    int read = 0;
    class Failing final : public PixelProvider {
    public:
        Failing(PixelBufferPointer pixels, int& rowsRead)
            : m_pixels(std::move(pixels))
            , m_rowsRead(rowsRead)
        {
        }
        Result<DecodedRows> open(DecodeRequest const&) const override
        {
            return DecodedRows {watchedRows(m_pixels, m_rowsRead, 3), {0, 0, 8, 5}};
        }

    private:
        PixelBufferPointer m_pixels;
        int& m_rowsRead;
    };
    auto const pixels = numbered({8, 5});
    Image const image({pixels->layout(), 8}, std::make_shared<Failing>(pixels, read));
    WorkCrew crew;
    for (auto const& map : {place(1, 1, 0, 0), place(2, 2, 0, 0), turned(20, 1, {}, {5, 5})})
        EXPECT_FALSE(imageSource(image, whole(image), map, {0, 0, 40, 30}, crew));
}

} // namespace velk::test
