#include "platform/codec/PixelPacking.h"

#include "platform/codec/RunLength.h"

#include <gtest/gtest.h>

#include <numeric>

namespace velk::codec {

TEST(PixelPacking, PacksAndUnpacksRowsOfAnyLength)
{
    for (int const bits : {1, 2, 4, 8}) {
        for (std::size_t count = 1; count < 40; ++count) {
            Bytes samples(count);
            for (std::size_t i = 0; i < count; ++i)
                samples[i] = static_cast<std::uint8_t>(i * 37 % (1u << bits));
            // A guard behind each row must stay.
            Bytes packed(packedBytes(count, bits) + 1, 0xA5);
            packSamples(samples.data(), bits, count, packed.data());
            EXPECT_EQ(packed.back(), 0xA5);
            for (std::size_t i = 0; i < count; ++i) {
                auto const bit = i * static_cast<unsigned>(bits);
                auto const shift = 8 - static_cast<unsigned>(bits) - bit % 8;
                EXPECT_EQ(packed[bit / 8] >> shift & ((1 << bits) - 1), samples[i]);
            }
            Bytes unpacked(count + 1, 0xA5);
            unpackSamples(packed.data(), bits, count, unpacked.data());
            EXPECT_EQ(unpacked.back(), 0xA5);
            unpacked.pop_back();
            EXPECT_EQ(unpacked, samples);
        }
    }
}

TEST(PixelPacking, FullRangeAndBack)
{
    for (int const bits : {1, 2, 4, 8}) {
        Bytes samples(std::size_t {1} << bits);
        std::iota(samples.begin(), samples.end(), std::uint8_t {0});
        auto full = samples;
        expandToFullRange(full.data(), bits, full.size());
        EXPECT_EQ(full.front(), 0);
        EXPECT_EQ(full.back(), 255);
        Bytes reduced(full.size());
        reduceFromFullRange(full.data(), bits, full.size(), reduced.data());
        EXPECT_EQ(reduced, samples);
    }
    EXPECT_EQ(scaleSample(65535, 65535, 65535), 65535u);
    EXPECT_EQ(scaleSample(1, 3, 65535), 21845u);
    EXPECT_EQ(scaleSample(9, 5, 255), 255u);
    EXPECT_EQ(scaleSample(0xFFFFFFFE, 0xFFFFFFFF, 65535), 65535u);
}

TEST(PixelPacking, MovesComponentsBetweenPlanesAndPixels)
{
    Bytes const planes = {0, 1, 0, 2, 0, 3, 1, 1, 1, 2, 1, 3};
    Bytes pixels(planes.size());
    copySpaced(planes.data(), pixels.data(), 3, 2, {.to = 2});
    copySpaced(planes.data() + 6, pixels.data() + 2, 3, 2, {.to = 2});
    EXPECT_EQ(pixels, (Bytes {0, 1, 1, 1, 0, 2, 1, 2, 0, 3, 1, 3}));
    mirrorRow(pixels.data(), 3, 4);
    EXPECT_EQ(pixels, (Bytes {0, 3, 1, 3, 0, 2, 1, 2, 0, 1, 1, 1}));
}

namespace {

// Rows in which runs and literals meet in every way, up to and over the longest packet.
std::vector<Bytes> rowsOfRuns()
{
    std::vector<Bytes> rows = {
        {}, {7}, Bytes(2, 7), Bytes(127, 7), Bytes(128, 7), Bytes(129, 7), Bytes(1000, 7)};
    for (std::size_t const run : {1, 2, 3, 4, 127, 128, 129, 300}) {
        for (std::size_t const literals : {0, 1, 2, 127, 128, 129, 257}) {
            Bytes row;
            for (int part = 0; part < 3; ++part) {
                for (std::size_t i = 0; i < literals; ++i)
                    row.push_back(static_cast<std::uint8_t>(i * 5 + 1));
                row.insert(row.end(), run, static_cast<std::uint8_t>(part));
            }
            rows.push_back(std::move(row));
        }
    }
    return rows;
}

} // namespace

TEST(RunLength, PackBitsRoundTripsWithinItsBound)
{
    for (auto const& row : rowsOfRuns()) {
        Bytes packed;
        appendPackBits(packed, row);
        EXPECT_LE(packed.size(), packBitsBound(row.size()));
        Bytes unpacked(row.size());
        EXPECT_EQ(unpackBits(packed, unpacked), row.size());
        EXPECT_EQ(unpacked, row);
    }
}

TEST(RunLength, PackBitsStopsWhereEitherSideEnds)
{
    Bytes row(4);
    EXPECT_EQ(unpackBits(Bytes {0x80, 0xFF, 9, 0x80}, row), 2u); // 0x80 means nothing
    EXPECT_EQ(unpackBits(Bytes {0x81, 9}, row), 4u); // longer than the row
    EXPECT_EQ(unpackBits(Bytes {5, 1, 2}, row), 2u); // shorter than it says
    EXPECT_EQ(unpackBits(Bytes {0xFF}, row), 0u);
}

} // namespace velk::codec
