#include "platform/graphics/Render.h"

#include "platform/graphics/Pipeline.h"
#include "platform/graphics/PipelineTesting.h"
#include "platform/graphics/Turn.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <numbers>
#include <thread>

namespace velk::test {

using namespace graphics;

namespace {

RenderRequest request(AffineTransform const& transform, Size size)
{
    return {.transform = transform,
        .size = size,
        .background = std::nullopt,
        .drawingSpace = ColorSpace::device(ColorModel::RGB),
        .tagSpace = ColorSpace::device(ColorModel::RGB)};
}

PixelBufferPointer drawn(PixelBufferPointer const& pixels, RenderRequest const& how)
{
    return collect(render(Image(pixels), how).value());
}

struct Origin final : ImageOrigin { };

// Notes what is asked of it, and decodes at a half or a part where that is allowed.
class WatchedProvider final : public PixelProvider {
public:
    explicit WatchedProvider(PixelBufferPointer pixels)
        : m_pixels(std::move(pixels))
    {
    }

    Result<DecodedRows> open(DecodeRequest const& asked) const override
    {
        last = asked;
        ++timesOpened;
        auto const size = m_pixels->size();
        auto region = asked.region.isEmpty() ? IntRect {0, 0, size.width, size.height} : asked.region;
        // As a codec does, in whole blocks.
        region.width += region.x % 8;
        region.x -= region.x % 8;
        FloatRect const area = {static_cast<double>(region.x), static_cast<double>(region.y),
            static_cast<double>(region.width), static_cast<double>(region.height)};
        auto rows = cropOrPad(rowsOf(m_pixels), region, Bytes(m_pixels->format().bytesPerPixel()));
        if (asked.scale <= 0.5)
            rows = resample(std::move(rows), {0, 0, area.width, area.height},
                {(region.width + 1) / 2, (region.height + 1) / 2});
        return DecodedRows {std::move(rows), area};
    }

    mutable DecodeRequest last;
    mutable int timesOpened = 0;

private:
    PixelBufferPointer m_pixels;
};

struct WatchedImage {
    explicit WatchedImage(PixelBufferPointer const& pixels)
        : provider(std::make_shared<WatchedProvider>(pixels))
        , image({pixels->layout(), 8}, provider, std::make_shared<Origin>())
    {
    }

    std::shared_ptr<WatchedProvider> provider;
    Image image;
};

} // namespace

TEST(Render, CropsAndPadsWithoutResampling)
{
    auto const source = photoLike({20, 10}, {});
    // y grows upwards: the bitmap shows what is 3 from the left and 2 from the bottom.
    auto const part = drawn(source, request(AffineTransform::translation(-3, -2), {8, 5}));
    EXPECT_EQ(pixelAt(part, 0, 4), pixelAt(source, 3, 7));
    EXPECT_EQ(pixelAt(part, 7, 0), pixelAt(source, 10, 3));

    auto padding = request(AffineTransform::translation(2, 1), {25, 15});
    auto const onBlack = drawn(source, padding);
    EXPECT_EQ(pixelAt(onBlack, 2, 4), pixelAt(source, 0, 0));
    EXPECT_EQ(pixelAt(onBlack, 21, 13), pixelAt(source, 19, 9));
    EXPECT_EQ(pixelAt(onBlack, 1, 4), (std::vector {0, 0, 0}));
    padding.background = {10, 200, 30};
    EXPECT_EQ(pixelAt(drawn(source, padding), 22, 14), (std::vector {10, 200, 30}));
    padding.alpha = true;
    EXPECT_EQ(pixelAt(drawn(source, padding), 0, 0), (std::vector {10, 200, 30, 255}));
    padding.background.reset();
    EXPECT_EQ(pixelAt(drawn(source, padding), 0, 0), (std::vector {0, 0, 0, 0}));
    EXPECT_EQ(pixelAt(drawn(source, padding), 2, 4)[3], 255);
}

TEST(Render, TurnsByRightAnglesWithoutResampling)
{
    struct Case {
        double degrees;
        bool flips;
        Turn turn;
    };
    Case const cases[] = {{0, true, Turn::MirrorHorizontal}, {90, false, Turn::RotateCounterclockwise},
        {180, false, Turn::Rotate180}, {270, false, Turn::RotateClockwise}, {180, true, Turn::MirrorVertical},
        {90, true, Turn::Transpose}, {270, true, Turn::Transverse}};
    auto const source = photoLike({21, 13}, {});
    for (auto const& c : cases) {
        auto const angle = c.degrees * std::numbers::pi / 180; // sines and cosines that are not quite 0
        auto const size = turnedSize({21, 13}, c.turn);
        auto const transform = AffineTransform::translation(-10.5, -6.5)
            * AffineTransform::scale(c.flips ? -1 : 1, 1)
            * AffineTransform {std::cos(angle), std::sin(angle), -std::sin(angle), std::cos(angle), 0, 0}
            * AffineTransform::translation(size.width / 2.0, size.height / 2.0);
        auto const expected = turned(*source, c.turn).value();
        EXPECT_EQ(largestDifference(*drawn(source, request(transform, size)), expected), 0)
            << c.degrees << (c.flips ? " flipped" : "");

        // Half as large, and cut off at the left: turned and reduced are exchangeable.
        auto const half = transform * AffineTransform::scale(0.5, 0.5) * AffineTransform::translation(-2, 0);
        Size const halfSize = {size.width / 2 - 2, size.height / 2};
        auto const reduced =
            collect(resample(rowsOf(std::make_shared<PixelBuffer>(turned(*source, c.turn).value())),
                {4, size.height % 2 ? 1.0 : 0.0, halfSize.width * 2.0, halfSize.height * 2.0}, halfSize));
        EXPECT_LE(largestDifference(*drawn(source, request(half, halfSize)), *reduced), 2.01 / 255);
    }
}

TEST(Render, KeepsTheOriginOfATurnedPicture)
{
    auto const source = photoLike({16, 8}, {});
    WatchedImage const watched(source);
    auto const turn = request({0, -1, 1, 0, 0, 16}, {8, 16}); // clockwise
    auto const once = render(watched.image, turn).value();
    EXPECT_EQ(once.origin(), watched.image.origin());
    EXPECT_EQ(once.turn(), Turn::RotateClockwise);
    EXPECT_EQ(watched.provider->timesOpened, 0);
    auto const twice = render(once, request({0, -1, 1, 0, 0, 8}, {16, 8})).value();
    EXPECT_EQ(twice.turn(), Turn::Rotate180);
    EXPECT_EQ(largestDifference(*collect(twice), turned(*source, Turn::Rotate180).value()), 0);
    EXPECT_EQ(render(watched.image, request({}, {16, 8})).value().origin(), watched.image.origin());

    auto other = turn;
    other.size = {9, 16};
    EXPECT_EQ(render(watched.image, other).value().origin(), nullptr) << "padded";
    other = turn;
    other.alpha = true;
    EXPECT_EQ(render(watched.image, other).value().origin(), nullptr) << "another format";
    other = turn;
    other.transform.tx = 0.4;
    EXPECT_EQ(render(watched.image, other).value().origin(), nullptr) << "between pixels";
}

TEST(Render, AsksTheDecoderForNoMoreThanIsDrawn)
{
    WatchedImage const watched(photoLike({400, 300}, {}));
    auto const& last = watched.provider->last;
    collect(render(watched.image, request(AffineTransform::translation(-100, -60), {50, 40})).value());
    EXPECT_EQ(last.region, (IntRect {100, 200, 50, 40}));
    EXPECT_EQ(last.scale, 1);

    collect(render(watched.image, request(AffineTransform::scale(0.2, 0.2), {80, 60})).value());
    EXPECT_NEAR(last.scale, 0.3, 1e-9);
    collect(render(watched.image, request(AffineTransform::scale(3, 3), {1200, 900})).value());
    EXPECT_EQ(last.scale, 1);

    auto const part = AffineTransform::translation(-200, -100) * AffineTransform::scale(0.5, 0.5);
    collect(render(watched.image, request(part, {40, 30})).value());
    EXPECT_LE(last.region.width, 80 + 2 * 12);
    EXPECT_LE(last.region.x, 200 - 6);

    AffineTransform const turn = {0.1, 0.1, -0.1, 0.1, 30, 0};
    collect(render(watched.image, request(turn, {70, 70})).value());
    EXPECT_NEAR(last.scale, 1.5 * std::sqrt(0.02), 1e-9);
}

TEST(Render, DrawsTheSameFromReducedAndCutDecodings)
{
    auto const source = photoLike({400, 300}, {});
    WatchedImage const watched(source);
    auto const turn = 0.3 * std::numbers::pi;
    AffineTransform const transforms[] = {
        AffineTransform::scale(0.25, 0.25),
        AffineTransform::translation(-170.3, -80.6) * AffineTransform::scale(0.3, 0.2),
        AffineTransform::translation(-170.3, -80.6) * AffineTransform::scale(1.7, 2.2),
        AffineTransform {0, 0.25, -0.25, 0, 75, -10},
        AffineTransform {
            0.3 * std::cos(turn), 0.3 * std::sin(turn), -0.3 * std::sin(turn), 0.3 * std::cos(turn), 50, 0},
    };
    for (auto const& transform : transforms) {
        auto const how = request(transform, {90, 70});
        auto const direct = drawn(source, how);
        auto const reduced = collect(render(watched.image, how).value());
        EXPECT_GT(psnr(*direct, *reduced), 40) << transform.a << ", " << transform.tx;
    }
}

TEST(Render, GivesReducedPicturesNoFaintEdges)
{
    auto const source = paint({300, 200}, {}, [](int, int, int) { return 1; });
    auto const white = [](PixelBufferPointer const& pixels, int x, int y) {
        return pixelAt(pixels, x, y) == std::vector {255, 255, 255};
    };
    // A little less than the bitmap's 150 pixels; and half a pixel beside the whole ones.
    for (auto const& transform :
        {AffineTransform {0.4994, 0, 0, 0.4997, 0, 0}, AffineTransform {0.5, 0, 0, 0.5, 0.3, -0.4},
            AffineTransform {-0.4994, 0, 0, 0.5003, 149.8, 0}}) {
        auto const result = drawn(source, request(transform, {150, 100}));
        EXPECT_TRUE(
            white(result, 0, 0) && white(result, 149, 0) && white(result, 0, 99) && white(result, 149, 99));
    }
    // Padding by half a pixel on each side moves the picture, with sharp edges.
    auto const padded = drawn(source, request(AffineTransform::translation(0.5, 0.5), {301, 201}));
    EXPECT_TRUE(white(padded, 1, 1) && white(padded, 300, 200));
    EXPECT_EQ(pixelAt(padded, 0, 0), (std::vector {0, 0, 0}));
    // What is thinner than a pixel is still there.
    auto const thin = drawn(source, request(AffineTransform::scale(0.5, 0.001), {150, 1}));
    EXPECT_TRUE(white(thin, 0, 0) && white(thin, 149, 0));
}

TEST(Render, BlendsTransparencyWithWhatItIsDrawnOn)
{
    // Half transparent green, stored straight.
    PixelFormat const straight = {ComponentType::UInt8, ColorModel::RGB, Alpha::Straight};
    auto const source = paint(
        {8, 8}, straight, [](int, int, int channel) { return channel == 3 ? 128 / 255.0 : channel == 1; });
    auto const s = std::sqrt(0.5);
    AffineTransform const transforms[] = {{}, AffineTransform::scale(0.5, 0.5), AffineTransform::scale(3, 3),
        {2 * s, 2 * s, -2 * s, 2 * s, 8, -6}};
    for (auto const& transform : transforms) {
        auto how = request(transform, {8, 8});
        auto const at = [&] { return pixelAt(drawn(source, how), 2, 5); };
        EXPECT_EQ(at(), (std::vector {0, 128, 0}));
        how.background = {255, 0, 100};
        EXPECT_EQ(at(), (std::vector {127, 128, 50}));
        how.alpha = true;
        EXPECT_EQ(at(), (std::vector {127, 128, 50, 255}));
        how.background.reset();
        EXPECT_EQ(at(), (std::vector {0, 128, 0, 128}));
    }
}

TEST(Render, LooksPaletteColoursUp)
{
    auto const source = indexedImage({12, 12}, 7, false);
    auto const& entries = source->layout().space.palette()->entries;
    for (auto const& transform : {AffineTransform {}, AffineTransform {-1, 0, 0, 1, 12, 0}}) {
        auto const result = drawn(source, request(transform, {12, 12}));
        auto const x = transform.a > 0 ? 4 : 7;
        auto const& color = entries[4];
        EXPECT_EQ(pixelAt(result, x, 0), (std::vector<int> {color[0], color[1], color[2]}));
    }
    EXPECT_EQ(drawn(source, request(AffineTransform::scale(0.5, 0.5), {6, 6}))->format(), PixelFormat {});
}

TEST(Render, DrawsGreyInTheDrawingSpace)
{
    auto const source = photoLike({40, 30}, {ComponentType::UInt8, ColorModel::Gray});
    auto how = request(AffineTransform::scale(0.5, 0.5), {20, 15});
    auto const image = render(Image(source), how).value();
    EXPECT_EQ(image.format(), PixelFormat {}) << "grey is drawn in RGB";
    auto const result = collect(image);
    auto const pixel = pixelAt(result, 10, 7);
    EXPECT_EQ(pixel[0], pixel[1]);
    EXPECT_EQ(pixel[1], pixel[2]);
}

TEST(Render, ConvertsTheBackgroundIntoTheDrawingSpace)
{
    auto const profile = std::make_shared<Bytes const>(readBytes(dataFile("DisplayP3-v4.icc")));
    auto how = request(AffineTransform::translation(1, 1), {6, 6});
    how.drawingSpace = how.tagSpace = ColorSpace::withProfile(ColorModel::RGB, profile);
    auto const source = paint({2, 2}, {}, [](int, int, int channel) { return channel == 0; });
    how.background = {255, 0, 0};
    auto const result = drawn(source, how);
    EXPECT_EQ(pixelAt(result, 1, 4), (std::vector {255, 0, 0})) << "an uncalibrated picture is not converted";
    auto const red = pixelAt(result, 5, 0);
    EXPECT_NEAR(red[0], 234, 1);
    EXPECT_NEAR(red[1], 51, 1);
    EXPECT_NEAR(red[2], 35, 1);
    how.background = {255, 255, 255};
    EXPECT_EQ(pixelAt(drawn(source, how), 5, 0), (std::vector {255, 255, 255}));
}

TEST(Render, DrawsEveryComponentType)
{
    auto const s = std::sqrt(0.5);
    AffineTransform const transforms[] = {AffineTransform::translation(3, 2),
        AffineTransform::scale(0.6, 0.7), AffineTransform::scale(1.6, 1.7), {0, 1.5, -1.5, 0, 60, 0},
        {s, s, -s, s, 20, -8}, {2 * s, s, -s, s, 20, -8}, {s / 3, s / 3, -s / 3, s / 3, 20, 0}};
    for (auto const model : {ColorModel::Gray, ColorModel::RGB, ColorModel::CMYK}) {
        for (auto const& transform : transforms) {
            auto how = request(transform, {60, 40});
            how.drawingSpace = how.tagSpace = ColorSpace::device(model);
            auto const picture = [&](ComponentType type) {
                return photoLike({40, 30}, {type, model, Alpha::None});
            };
            auto const bytes = drawn(picture(ComponentType::UInt8), how);
            auto const deep = drawn(picture(ComponentType::UInt16), how);
            EXPECT_EQ(deep->format().componentType, ComponentType::UInt8);
            EXPECT_LE(largestDifference(*bytes, *deep), 2.01 / 255);
            how.componentType = ComponentType::Float32;
            auto const real = drawn(picture(ComponentType::Float32), how);
            EXPECT_EQ(real->format().componentType, ComponentType::Float32);
            EXPECT_LE(largestDifference(*bytes, *real), 2.5 / 255);
        }
    }
}

TEST(Render, CanBeReadAgainAndByManyAtATime)
{
    auto const s = std::sqrt(0.5);
    auto const image =
        render(Image(photoLike({300, 200}, {})), request({s, s, -s, s, 150, -20}, {360, 320})).value();
    auto const once = collect(image);
    std::vector<std::thread> readers;
    std::atomic<int> equal = 0;
    for (int i = 0; i < 4; ++i)
        readers.emplace_back([&] { equal += largestDifference(*collect(image), *once) == 0; });
    for (auto& reader : readers)
        reader.join();
    EXPECT_EQ(equal, 4);
}

TEST(Render, DrawsNothingWhereTheImageIsNot)
{
    auto const source = photoLike({10, 10}, {});
    auto const turn = AffineTransform {0.7, 0.7, -0.7, 0.7, 0, 0};
    for (auto const& transform : {AffineTransform::translation(100, 0), AffineTransform::scale(0, 1),
             AffineTransform {0, 0, 0, 0, 3, 3}, AffineTransform {1, 1, 1, 1, 0, 0},
             turn * AffineTransform::translation(0, -1e9), AffineTransform::scale(1e-9, 1)}) {
        auto how = request(transform, {5, 5});
        how.background = {9, 8, 7};
        EXPECT_EQ(pixelAt(drawn(source, how), 2, 2), (std::vector {9, 8, 7}));
    }
    EXPECT_FALSE(render(Image(source), request({NAN, 0, 0, 1, 0, 0}, {5, 5})));
    EXPECT_FALSE(render(Image(source), request({}, {0, 5})));
    EXPECT_FALSE(render(Image(source), request({}, {1 << 20, 1 << 20})));
}

} // namespace velk::test
