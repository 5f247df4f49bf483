#include "platform/codec/PngFilter.h"

#include "base/Bytes.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

namespace velk::codec {

namespace {

constexpr std::size_t kPadding = 16;

struct TwoRows {
    Bytes previous, row;
    std::size_t size, pixelBytes;

    PngFilterInput input() const
    {
        return {row.data() + kPadding, previous.data() + kPadding, size, pixelBytes};
    }
};

// Exactly as long as they need be, so that the address sanitizer sees a vector that reads or writes beyond.
TwoRows rowsOfBytes(std::size_t size, std::size_t pixelBytes, std::function<std::uint8_t()> const& next)
{
    TwoRows rows {Bytes(kPadding + size), Bytes(kPadding + size), size, pixelBytes};
    for (std::size_t i = 0; i < size; ++i) {
        rows.previous[kPadding + i] = next();
        rows.row[kPadding + i] = next();
    }
    return rows;
}

void expectAgreement(TwoRows const& rows)
{
    auto const input = rows.input();
    EXPECT_EQ(pngFilterSums(input), scalar::pngFilterSums(input)) << rows.size << " bytes";
    for (std::size_t i = 0; i < kPngFilterCount; ++i) {
        auto const filter = static_cast<PngFilter>(i);
        Bytes vectors(rows.size), reference(rows.size);
        applyPngFilter(filter, input, vectors.data());
        scalar::applyPngFilter(filter, input, reference.data());
        EXPECT_EQ(vectors, reference) << "filter " << i << ", " << rows.size << " bytes";
    }
}

// What a decoder does (PNG, third edition, 9.2), written from the other side.
Bytes unfiltered(PngFilter filter, TwoRows const& rows, Bytes const& filtered)
{
    Bytes result(rows.size);
    for (std::size_t i = 0; i < rows.size; ++i) {
        auto const left = i >= rows.pixelBytes;
        int const a = left ? result[i - rows.pixelBytes] : 0;
        int const b = rows.previous[kPadding + i];
        int const c = left ? rows.previous[kPadding + i - rows.pixelBytes] : 0;
        int const p = a + b - c;
        int const nearest = std::min({std::abs(p - a), std::abs(p - b), std::abs(p - c)});
        int const paeth = std::abs(p - a) == nearest ? a : std::abs(p - b) == nearest ? b : c;
        std::array<int, kPngFilterCount> const predictions = {0, a, b, (a + b) / 2, paeth};
        result[i] = static_cast<std::uint8_t>(filtered[i] + predictions[static_cast<std::size_t>(filter)]);
    }
    return result;
}

} // namespace

TEST(PngFilter, VectorsAgreeWithTheReferenceOnOddSizesAndExtremes)
{
    std::minstd_rand random(7);
    auto const anything = [&] { return static_cast<std::uint8_t>(random() >> 8); };
    auto const extremes = [&] {
        return static_cast<std::uint8_t>(random() & 0x100 ? 255 : random() & 0x200 ? 128 : 0);
    };
    for (std::size_t const pixelBytes : {1, 2, 3, 4, 6, 8}) {
        for (std::size_t const pixels : {1, 2, 5, 7, 16, 21, 33, 64, 100, 341}) {
            expectAgreement(rowsOfBytes(pixels * pixelBytes, pixelBytes, anything));
            expectAgreement(rowsOfBytes(pixels * pixelBytes, pixelBytes, extremes));
        }
    }
}

TEST(PngFilter, DecodersRecoverTheRow)
{
    std::minstd_rand random(11);
    auto const rows = rowsOfBytes(3 * 131, 3, [&] { return static_cast<std::uint8_t>(random() >> 5); });
    for (std::size_t i = 0; i < kPngFilterCount; ++i) {
        auto const filter = static_cast<PngFilter>(i);
        Bytes filtered(rows.size);
        applyPngFilter(filter, rows.input(), filtered.data());
        EXPECT_EQ(unfiltered(filter, rows, filtered), Bytes(rows.row.begin() + kPadding, rows.row.end()));
    }
}

TEST(PngFilter, ChoosesThePredictionThatFits)
{
    std::minstd_rand random(3);
    auto slope = rowsOfBytes(300, 1, [&] { return static_cast<std::uint8_t>(random() >> 6); });
    for (std::size_t i = 0; i < slope.size; ++i)
        slope.row[kPadding + i] = static_cast<std::uint8_t>(i * 3);
    EXPECT_EQ(bestPngFilter(pngFilterSums(slope.input())), PngFilter::Sub);
    auto repeated = rowsOfBytes(300, 3, [&] { return static_cast<std::uint8_t>(random() >> 6); });
    repeated.row = repeated.previous;
    EXPECT_EQ(bestPngFilter(pngFilterSums(repeated.input())), PngFilter::Up);
}

} // namespace velk::codec
