#include "platform/graphics/Pipeline.h"
#include "platform/graphics/PipelineTesting.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace velk::test {

using namespace graphics;

namespace {

FloatRect whole(PixelBufferPointer const& pixels)
{
    auto const size = pixels->size();
    return {0, 0, static_cast<double>(size.width), static_cast<double>(size.height)};
}

PixelBufferPointer resized(PixelBufferPointer const& pixels, Size target)
{
    return collect(resample(rowsOf(pixels), whole(pixels), target));
}

double kernel(double x, bool enlarges)
{
    x = std::abs(x);
    if (enlarges) {
        if (x < 1)
            return 1.5 * x * x * x - 2.5 * x * x + 1;
        return x < 2 ? -0.5 * x * x * x + 2.5 * x * x - 4 * x + 2 : 0;
    }
    auto const sinc = [](double t) {
        return t == 0 ? 1 : std::sin(t * std::numbers::pi) / (t * std::numbers::pi);
    };
    return x < 3 ? sinc(x) * sinc(x / 3) : 0;
}

struct Tap {
    int at;
    double weight;
};

std::vector<Tap> tapsOf(double origin, double extent, int target, int length, int index)
{
    auto const ratio = extent / target;
    auto const stretch = std::max(1.0, ratio);
    auto const center = origin + (index + 0.5) * ratio;
    std::vector<Tap> taps;
    double sum = 0;
    for (int j = static_cast<int>(std::floor(center - 3 * stretch)) - 1; j <= center + 3 * stretch + 1; ++j) {
        auto const weight = kernel((j + 0.5 - center) / stretch, ratio <= 1);
        taps.push_back({std::clamp(j, 0, length - 1), weight});
        sum += weight;
    }
    for (auto& tap : taps)
        tap.weight /= sum;
    return taps;
}

// The definition of resampling, in double precision and without any cleverness.
PixelBufferPointer resampledByDefinition(PixelBufferPointer const& pixels, FloatRect area, Size target)
{
    auto const size = pixels->size();
    auto format = pixels->format();
    if (format.componentType == ComponentType::UInt16)
        format.componentType = ComponentType::UInt8;
    auto const channels = static_cast<std::size_t>(format.channels());
    auto const index = [&](int x, int y, std::size_t channel) {
        return (static_cast<std::size_t>(y) * static_cast<std::size_t>(size.width)
                   + static_cast<std::size_t>(x))
            * channels
            + channel;
    };
    std::vector<double> filtered(index(0, target.height, 0));
    for (int y = 0; y < target.height; ++y) {
        for (auto const& row : tapsOf(area.y, area.height, target.height, size.height, y)) {
            for (int x = 0; x < size.width; ++x) {
                for (std::size_t channel = 0; channel < channels; ++channel)
                    filtered[index(x, y, channel)] +=
                        row.weight * component(*pixels, x, row.at, static_cast<int>(channel));
            }
        }
    }
    std::vector<std::vector<Tap>> columns;
    for (int x = 0; x < target.width; ++x)
        columns.push_back(tapsOf(area.x, area.width, target.width, size.width, x));
    return paint(target, format, [&](int x, int y, int channel) {
        double sum = 0;
        for (auto const& column : columns[static_cast<std::size_t>(x)])
            sum += column.weight * filtered[index(column.at, y, static_cast<std::size_t>(channel))];
        return sum;
    });
}

PixelBufferPointer noise(Size size, PixelFormat format)
{
    return paint(size, format, [state = 12345U](int, int, int) mutable {
        state = state * 1664525U + 1013904223U;
        return (state >> 24) / 255.0;
    });
}

// The definition above is painted, and so within 0..1; Float32 results overshoot.
PixelBufferPointer clamped(PixelBuffer const& pixels)
{
    return paint(pixels.size(), pixels.format(),
        [&](int x, int y, int channel) { return component(pixels, x, y, channel); });
}

} // namespace

TEST(Resample, FollowsTheDefinitionOnEveryMachine)
{
    struct Case {
        Size from;
        FloatRect area;
        Size to;
    };
    Case const cases[] = {
        {{40, 30}, {0, 0, 40, 30}, {20, 15}}, // exactly half
        {{41, 33}, {0, 0, 41, 33}, {29, 13}}, // odd, and different in x and y
        {{23, 17}, {0, 0, 23, 17}, {60, 50}}, // larger
        {{23, 17}, {0, 0, 23, 17}, {60, 9}}, // larger and smaller
        {{30, 30}, {3.25, 4.5, 20.5, 19.75}, {13, 12}}, // a part, between pixels
        {{12, 12}, {-0.3, 0.4, 12, 12}, {12, 12}}, // moved by less than a pixel
        {{5, 200}, {0, 0, 5, 200}, {1, 30}}, // narrower than the kernel
        {{1, 1}, {0, 0, 1, 1}, {4, 3}},
        {{3, 2}, {0, 0, 3, 2}, {2, 2}},
    };
    for (auto const type : {ComponentType::UInt8, ComponentType::UInt16, ComponentType::Float32}) {
        for (auto const model : {ColorModel::Gray, ColorModel::RGB, ColorModel::CMYK}) {
            for (auto const& c : cases) {
                auto const source = noise(c.from, {type, model, Alpha::None});
                auto const expected = resampledByDefinition(source, c.area, c.to);
                auto const compare = [&] {
                    auto const actual = clamped(*collect(resample(rowsOf(source), c.area, c.to)));
                    EXPECT_LE(largestDifference(*actual, *expected), 1.01 / 255) << c.to.width << " wide";
                };
                onEveryTarget(compare);
            }
        }
    }
}

TEST(Resample, KeepsFloatValuesThatLieOutsideTheRange)
{
    PixelFormat const format = {ComponentType::Float32, ColorModel::RGB, Alpha::None};
    auto bright = PixelBuffer::create({{9, 9}, format, ColorSpace::device(ColorModel::RGB)}).value();
    for (int y = 0; y < 9; ++y)
        std::fill_n(reinterpret_cast<float*>(bright.row(y)), 27, 7.5F);
    auto const result = resized(std::make_shared<PixelBuffer>(std::move(bright)), {4, 20});
    EXPECT_NEAR(component(*result, 3, 19, 2), 7.5, 1e-5);
}

TEST(Resample, ComputesTheSameBytesOnEveryMachine)
{
    for (auto const model : {ColorModel::Gray, ColorModel::RGB, ColorModel::CMYK}) {
        for (auto const alpha : {Alpha::None, Alpha::Premultiplied}) {
            PixelFormat const format = {ComponentType::UInt8, model, alpha};
            if (format.channels() > 4)
                continue;
            // The extremes give the largest overshoot, which must not wrap around.
            auto const source =
                paint({67, 41}, format, [](int x, int y, int) { return (x / 5 + y / 7) % 2; });
            for (auto const target : {Size {33, 20}, Size {100, 90}, Size {7, 5}, Size {1, 1}}) {
                PixelBufferPointer first;
                onEveryTarget([&] {
                    auto const result = resized(source, target);
                    first = first ? first : result;
                    EXPECT_EQ(largestDifference(*result, *first), 0);
                });
            }
        }
    }
}

TEST(Resample, KeepsConstantImagesConstant)
{
    for (auto const value : {0, 1, 77, 254, 255}) {
        auto const source = paint({53, 47}, {}, [&](int, int, int) { return value / 255.0; });
        for (int i = 1; i < 40; ++i) {
            Size const target = {i * 3, 121 - i * 3};
            FloatRect const area = {i * 0.37, -i * 0.11, 50.0 - i, 40 + i * 0.7};
            auto const result = collect(resample(rowsOf(source), area, target));
            for (int y = 0; y < target.height; ++y)
                ASSERT_TRUE(std::all_of(result->row(y), result->row(y) + target.width * 3,
                    [&](int byte) { return byte == value; }));
        }
    }
}

TEST(Resample, IsExactAtTheSameSize)
{
    auto const source = noise({31, 19}, {});
    EXPECT_EQ(largestDifference(*resized(source, source->size()), *source), 0);
}

TEST(Resample, LeavesNoMoireOnAZonePlate)
{
    // cos(k r^2): its frequency grows with r and passes what a fifth of the size can hold at r = 60.
    constexpr int kSide = 600;
    auto const source =
        paint({kSide, kSide}, {ComponentType::UInt8, ColorModel::Gray}, [](int x, int y, int) {
            auto const dx = x - kSide / 2;
            auto const dy = y - kSide / 2;
            return 0.5 + 0.5 * std::cos(std::numbers::pi / kSide * (dx * dx + dy * dy));
        });
    for (auto const side : {120, 133, 60, 30}) {
        auto const result = resized(source, {side, side});
        auto const limit = side / 2.0 * side / kSide; // the radius, in result pixels, of the finest ring left
        double largest = 0;
        for (int y = 0; y < side; ++y) {
            for (int x = 0; x < side; ++x) {
                auto const farX = std::abs(x - side / 2);
                auto const farY = std::abs(y - side / 2);
                // The outermost rings of the source are aliased themselves.
                if (std::max(farX, farY) > 3 * limit && std::max(farX, farY) < 0.95 * side / 2)
                    largest = std::max(largest, std::abs(component(*result, x, y, 0) - 0.5));
            }
        }
        EXPECT_LT(largest, 0.03) << side;
    }
}

TEST(Resample, ReducesByLargeFactorsAsByDefinition)
{
    for (auto const type : {ComponentType::UInt8, ComponentType::UInt16}) {
        auto const source = photoLike({1003, 517}, {type, ColorModel::RGB, Alpha::None});
        Size const target = {31, 17};
        auto const expected = resampledByDefinition(source, whole(source), target);
        EXPECT_GT(psnr(*resized(source, target), *expected), 50);
    }
}

TEST(Resample, MixesNoColourFromBehindTransparency)
{
    // A red disc on nothing. Premultiplied, what is around it is all zero, and no other colour may appear.
    PixelFormat const format = {ComponentType::UInt8, ColorModel::RGB, Alpha::Premultiplied};
    auto const source = paint({90, 90}, format, [](int x, int y, int channel) {
        return std::hypot(x - 45, y - 45) < 30 && (channel == 0 || channel == 3);
    });
    for (auto const side : {40, 200}) {
        auto const result = resized(source, {side, side});
        for (int y = 0; y < side; ++y) {
            for (int x = 0; x < side; ++x) {
                auto const pixel = pixelAt(result, x, y);
                ASSERT_EQ(pixel[1], 0);
                ASSERT_EQ(pixel[0], pixel[3]) << "red must be as strong as the disc is opaque";
            }
        }
    }
}

TEST(Resample, ReadsOnlyTheRowsThatItNeeds)
{
    int rowsRead = 0;
    auto const source = noise({64, 1000}, {});
    auto const rows = resample(watchedRows(source, rowsRead), {0, 0, 64, 1000}, {32, 500});
    EXPECT_EQ(rowsRead, 0);
    Bytes row(rows->rowBytes());
    ASSERT_TRUE(rows->read({row.data(), row.size(), 1}));
    EXPECT_LT(rowsRead, 40);

    rowsRead = 0;
    collect(resample(watchedRows(source, rowsRead), {0, 100, 64, 200}, {32, 100}));
    EXPECT_LT(rowsRead, 340);
}

TEST(Resample, PassesFailuresOn)
{
    int rowsRead = 0;
    auto const source = noise({64, 100}, {});
    for (auto const height : {50, 5}) {
        auto const rows = resample(watchedRows(source, rowsRead, 60), {0, 0, 64, 100}, {32, height});
        auto const result = PixelBuffer::collect(*rows);
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().message, "row 60 is damaged");
    }
}

} // namespace velk::test
