#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace velk::codec {

/// Filter types (PNG, third edition, 9.2), numbered as the file has them.
enum class PngFilter : std::uint8_t { None, Sub, Up, Average, Paeth };
constexpr std::size_t kPngFilterCount = 5;

/// A row of packed samples with the one above it. A byte x is predicted from its neighbours
///
///     previous:  c b
///     row:       a x
///
/// where a and c belong to the pixel on the left, so that both rows can be read `pixelBytes` bytes (1 to 8)
/// before their start, where there are zeros. Above the first row there is a row of zeros.
struct PngFilterInput {
    std::uint8_t const* row;
    std::uint8_t const* previous;
    std::size_t size;
    std::size_t pixelBytes;
};

/// For each filter the sum of the filtered bytes taken as signed magnitudes: the smaller the sum, the better
/// the row is likely to compress (PNG, third edition, 12.7).
using PngFilterSums = std::array<std::uint64_t, kPngFilterCount>;
PngFilterSums pngFilterSums(PngFilterInput const& input);
/// The filter of the smallest sum; the first of equals.
PngFilter bestPngFilter(PngFilterSums const& sums);
/// Writes the `size` filtered bytes of a row.
void applyPngFilter(PngFilter filter, PngFilterInput const& input, std::uint8_t* filtered);

/// The same, byte by byte: what the vector code has to agree with.
namespace scalar {
PngFilterSums pngFilterSums(PngFilterInput const& input);
void applyPngFilter(PngFilter filter, PngFilterInput const& input, std::uint8_t* filtered);
} // namespace scalar

} // namespace velk::codec
