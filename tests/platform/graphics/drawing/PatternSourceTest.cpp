#include "platform/graphics/drawing/SpanSource.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>

#include <limits>

namespace velk::test {

using namespace graphics;

namespace {

constexpr PixelFormat kCanvas {ComponentType::UInt8, ColorModel::RGB, Alpha::Premultiplied};

// Red counts columns, green rows.
PixelBufferPointer tileOf(Size size, bool isOpaque = true)
{
    return paint(size, kCanvas, [=](int x, int y, int channel) {
        auto const corner = x == size.width - 1 && y == size.height - 1;
        double const values[] = {x / 255.0, y / 255.0, 0, corner && !isOpaque ? 0.9 : 1};
        return values[channel];
    });
}

} // namespace

TEST(PatternSource, RepeatsInBothDirectionsFromAnyOrigin)
{
    constexpr std::int32_t kFar = std::numeric_limits<std::int32_t>::max();
    for (auto const size : {Size {1, 1}, Size {2, 3}, Size {7, 1}, Size {13, 5}, Size {200, 4}}) {
        auto const tile = tileOf(size);
        for (auto const origin : {0, 1, -1, 17, -1000, kFar, -kFar}) {
            auto const source = patternSource(tile, origin, -origin / 3);
            for (auto const& [x, y, count] :
                {std::tuple {0, 0, 1}, {5, 2, 40}, {-9, -8, 3}, {1000, 999, 333}, {-kFar, kFar - 5, 30}}) {
                std::vector<std::uint8_t> pixels(4 * static_cast<std::size_t>(count) + 4, 77);
                source->span(x, y, count, pixels.data());
                for (std::int32_t i = 0; i < count; ++i) {
                    auto const wrap = [](std::int64_t a, std::int64_t n) { return (a % n + n) % n; };
                    auto const* const pixel = pixels.data() + 4 * i;
                    ASSERT_EQ(wrap(std::int64_t {x} + i - origin, size.width), pixel[0]);
                    ASSERT_EQ(wrap(std::int64_t {y} + origin / 3, size.height), pixel[1]);
                }
                ASSERT_EQ(77, pixels.back());
            }
        }
    }
}

TEST(PatternSource, IsOpaqueWhenAllOfTheTileIs)
{
    EXPECT_TRUE(patternSource(tileOf({9, 4}), 0, 0)->isOpaque());
    EXPECT_FALSE(patternSource(tileOf({9, 4}, false), 0, 0)->isOpaque());
}

} // namespace velk::test
