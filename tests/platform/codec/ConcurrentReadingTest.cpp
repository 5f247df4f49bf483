#include "platform/codec/CodecProbe.h"

#include <gtest/gtest.h>

#include <thread>

namespace velk::test {

using namespace graphics;

// Every row source has a decoder of its own, so that one file can be read by many at once.
TEST(ConcurrentReading, GivesEveryReaderTheSamePixels)
{
    for (std::string_view const type : {"com.compuserve.gif", "org.webmproject.webp", "public.jpeg-2000"}) {
        TemporaryDirectory const directory;
        ASSERT_TRUE(encode(type, photoLike({120, 90}, {}), directory / "image"));
        auto const source = codec::openImage(directory / "image").value();
        auto const expected = PixelBuffer::collect(*source->image().rows().value()).value();
        std::array<double, 4> differences;
        differences.fill(1);
        std::vector<std::jthread> threads;
        for (auto& difference : differences) {
            threads.emplace_back([&] {
                auto const rows = source->image().rows().value();
                difference = largestDifference(PixelBuffer::collect(*rows).value(), expected);
            });
        }
        threads.clear();
        for (auto const difference : differences)
            EXPECT_EQ(difference, 0) << type;
    }
}

// Row by row or many at once, what is delivered is the same.
TEST(ConcurrentReading, DoesNotDependOnTheNumberOfRowsAskedFor)
{
    for (std::string_view const type : {"com.compuserve.gif", "org.webmproject.webp", "public.jpeg-2000"}) {
        TemporaryDirectory const directory;
        ASSERT_TRUE(encode(type, photoLike({60, 45}, {}), directory / "image"));
        auto const source = codec::openImage(directory / "image").value();
        auto const expected = PixelBuffer::collect(*source->image().rows().value()).value();
        for (int const block : {1, 7, 45}) {
            auto const rows = source->image().rows().value();
            auto buffer = PixelBuffer::create(rows->layout()).value();
            for (int y = 0; rows->rowsLeft() > 0; y += block)
                ASSERT_TRUE(rows->read(buffer.rows(y, std::min(block, rows->rowsLeft()))));
            EXPECT_EQ(largestDifference(buffer, expected), 0) << type << " " << block;
        }
    }
}

} // namespace velk::test
