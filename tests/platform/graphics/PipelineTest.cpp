#include "platform/graphics/Pipeline.h"

#include "platform/graphics/PipelineTesting.h"

#include <gtest/gtest.h>

namespace velk::test {

using namespace graphics;

TEST(CropOrPad, ShowsTheFrameAndFillsAround)
{
    IntRect const frames[] = {
        {0, 0, 5, 4}, // all of it
        {1, 2, 3, 2}, // a part
        {-2, -3, 9, 10}, // around all sides
        {-2, 1, 4, 2}, // over the left edge
        {3, 3, 6, 5}, // over the bottom right corner
        {0, -2, 5, 3}, // full width over the top
        {5, 0, 3, 4}, // just beside it
        {-100, -100, 8, 8}, // far away
        {0, 100, 5, 2}, // below
        {INT32_MIN, 1, 3, 1}, // as far as numbers go
        {0, INT32_MAX, 2, 2},
    };
    for (auto const& format : variousFormats()) {
        auto const source = photoLike({5, 4}, format);
        Bytes fill(format.bytesPerPixel(), 0x3F);
        for (auto const& frame : frames) {
            auto const result = collect(cropOrPad(rowsOf(source), frame, fill));
            ASSERT_EQ(result->size(), (Size {frame.width, frame.height}));
            for (int y = 0; y < frame.height; ++y) {
                for (int x = 0; x < frame.width; ++x) {
                    auto const fromX = std::int64_t {frame.x} + x;
                    auto const fromY = std::int64_t {frame.y} + y;
                    auto const inside = fromX >= 0 && fromX < 5 && fromY >= 0 && fromY < 4;
                    auto const* expected = inside
                        ? source->row(static_cast<int>(fromY)) + static_cast<std::size_t>(fromX) * fill.size()
                        : fill.data();
                    auto const* actual = result->row(y) + static_cast<std::size_t>(x) * fill.size();
                    ASSERT_TRUE(std::equal(expected, expected + fill.size(), actual))
                        << "frame at " << frame.x << ", " << frame.y << ", pixel " << x << ", " << y;
                }
            }
        }
    }
}

TEST(CropOrPad, ReadsNothingBelowTheFrame)
{
    int rowsRead = 0;
    auto const source = photoLike({400, 300}, {});
    collect(cropOrPad(watchedRows(source, rowsRead), {10, 20, 50, 30}, Bytes(3)));
    EXPECT_EQ(rowsRead, 50);
}

// Large enough for many blocks.
static PixelBufferPointer largePicture()
{
    return paint(
        {1500, 900}, {}, [](int x, int y, int channel) { return (x * 7 + y * 13 + channel) % 256 / 255.0; });
}

TEST(ReadAhead, DeliversTheSameRows)
{
    auto const source = largePicture();
    EXPECT_EQ(largestDifference(*collect(readAhead(rowsOf(source))), *source), 0);
    auto const small = photoLike({3, 2}, {});
    EXPECT_EQ(largestDifference(*collect(readAhead(rowsOf(small))), *small), 0);
}

TEST(ReadAhead, PassesFailuresOnAfterTheRowsBefore)
{
    int rowsRead = 0;
    auto const rows = readAhead(watchedRows(largePicture(), rowsRead, 600));
    auto buffer = PixelBuffer::create(rows->layout()).value();
    ASSERT_TRUE(rows->read(buffer.rows(0, 400)));
    auto const result = rows->read(buffer.rows(400, 500));
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().message, "row 600 is damaged");
}

TEST(ReadAhead, StopsWhenItsReaderIsDone)
{
    int rowsRead = 0;
    auto const source = largePicture();
    Bytes row(source->layout().rowBytes());
    for (int i = 0; i < 50; ++i) {
        {
            auto const rows = readAhead(watchedRows(source, rowsRead));
            if (i % 2) {
                ASSERT_TRUE(rows->read({row.data(), row.size(), 1}));
            }
        }
        EXPECT_LT(rowsRead, i % 2 ? 900 : 1) << "more is read than is wanted";
        rowsRead = 0;
    }
}

} // namespace velk::test
