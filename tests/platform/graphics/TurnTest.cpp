#include "platform/graphics/Turn.h"

#include "platform/graphics/Pipeline.h"
#include "platform/graphics/PipelineTesting.h"

#include <gtest/gtest.h>

namespace velk::test {

using namespace graphics;

namespace {

constexpr Turn kAllTurns[] = {Turn::None, Turn::MirrorHorizontal, Turn::Rotate180, Turn::MirrorVertical,
    Turn::Transpose, Turn::RotateClockwise, Turn::Transverse, Turn::RotateCounterclockwise};

struct Point {
    int x, y;
};

// Where pixel (x, y) of a w x h image goes, said once more in the plainest words.
Point destination(Turn turn, int x, int y, int w, int h)
{
    switch (turn) {
    case Turn::None:
        return {x, y};
    case Turn::MirrorHorizontal:
        return {w - 1 - x, y};
    case Turn::Rotate180:
        return {w - 1 - x, h - 1 - y};
    case Turn::MirrorVertical:
        return {x, h - 1 - y};
    case Turn::Transpose:
        return {y, x};
    case Turn::RotateClockwise:
        return {h - 1 - y, x};
    case Turn::Transverse:
        return {h - 1 - y, w - 1 - x};
    case Turn::RotateCounterclockwise:
        return {y, w - 1 - x};
    }
    return {};
}

int countWrongPixels(PixelBuffer const& source, PixelBuffer const& result, Turn turn)
{
    auto const size = source.size();
    auto const bytes = source.format().bytesPerPixel();
    int wrong = 0;
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            auto const to = destination(turn, x, y, size.width, size.height);
            auto const* expected = source.row(y) + static_cast<std::size_t>(x) * bytes;
            auto const* actual = result.row(to.y) + static_cast<std::size_t>(to.x) * bytes;
            wrong += !std::equal(expected, expected + bytes, actual);
        }
    }
    return wrong;
}

} // namespace

TEST(Turn, MovesEveryPixelToItsPlace)
{
    onEveryTarget([] {
        for (auto const format : variousFormats()) {
            for (auto const size : {Size {1, 1}, Size {1, 9}, Size {7, 1}, Size {37, 53}, Size {66, 35}}) {
                auto const source = paint(size, format, [](int x, int y, int channel) {
                    return (x * 131 + y * 57 + channel * 29) % 256 / 255.0;
                });
                for (auto const turn : kAllTurns) {
                    SCOPED_TRACE(testing::Message()
                        << size.width << " x " << size.height << ", " << format.bytesPerPixel()
                        << " bytes, turn " << static_cast<int>(turn));
                    auto const whole = turned(*source, turn).value();
                    EXPECT_EQ(whole.size(), turnedSize(size, turn));
                    EXPECT_EQ(countWrongPixels(*source, whole, turn), 0);
                    EXPECT_EQ(countWrongPixels(*source, *collect(turnedRows(rowsOf(source), turn)), turn), 0);
                }
            }
        }
    });
}

TEST(Turn, ComposesLikeOneTurnAfterTheOther)
{
    auto const source = paint({3, 2}, {}, [](int x, int y, int) { return (x + 3 * y) / 8.0; });
    for (auto const first : kAllTurns) {
        for (auto const second : kAllTurns) {
            auto const twice = turned(turned(*source, first).value(), second).value();
            EXPECT_EQ(largestDifference(turned(*source, composed(first, second)).value(), twice), 0);
        }
    }
}

TEST(Turn, MovesRectanglesWithThePixels)
{
    // The pixel at (1, 0) of a 5 x 3 image as a rectangle.
    for (auto const turn : kAllTurns) {
        auto const rect = turnedRect({1, 0, 1, 1}, {5, 3}, turn);
        auto const to = destination(turn, 1, 0, 5, 3);
        EXPECT_EQ(rect.x, to.x);
        EXPECT_EQ(rect.y, to.y);
    }
}

} // namespace velk::test
