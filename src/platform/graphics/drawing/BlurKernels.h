#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// The inner loops of a blur, with the widest vectors that the machine has. Rows of 16-bit values are as long
/// as `count`, a multiple of kBlurAlignment.
namespace velk::graphics {

constexpr std::size_t kBlurAlignment = 32;

/// 8-bit values with 7 fraction bits, and back, rounded to nearest; any count.
void widenCoverage(std::uint8_t const* in, std::uint16_t* out, std::size_t count);
void narrowCoverage(std::uint16_t const* in, std::uint8_t* out, std::size_t count);

/// out = weights[0] · rows[n] + weights[1] · (rows[n - 1] + rows[n + 1]) + ..., for 2 n + 1 rows.
void sumTaps(std::span<std::uint16_t const* const> rows, std::span<float const> weights, std::uint16_t* out,
    std::size_t count);

/// Around a box on its way down: the row above its inner ones, the uppermost of these, and the row below.
struct BoxRows {
    std::uint16_t const* above;
    std::uint16_t const* leaving;
    std::uint16_t const* below;
};
struct BoxWeights {
    float inner, edge;
};

void addToSums(std::uint16_t const* row, std::int32_t* sums, std::size_t count);
/// out = inner · sums + edge · (above + below); then moves the sums down by one row.
void moveBox(
    BoxRows const& rows, BoxWeights weights, std::int32_t* sums, std::uint16_t* out, std::size_t count);

/// Turns 8 rows of 8 values into columns; strides count values.
void transposeTile(std::uint16_t const* in, std::size_t inStride, std::uint16_t* out, std::size_t outStride);

} // namespace velk::graphics
