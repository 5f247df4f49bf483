#pragma once

#include <cstddef>
#include <cstdint>

namespace velk::graphics {

/// Copies `count` pixels of `pixelSize` (at most 20) bytes in reverse order; the rows do not overlap.
void reversePixels(std::uint8_t const* from, std::uint8_t* to, std::size_t count, std::size_t pixelSize);

/// Pixels at `data`, `stride` bytes (maybe negative) from one row to the next.
template <typename Byte> struct PixelGrid {
    Byte* data;
    std::ptrdiff_t stride;

    Byte* row(std::ptrdiff_t y) const { return data + y * stride; }
};

/// Writes pixel (x, y) of `from` to pixel (y, x) of `to`, for `columns` by `rows` pixels of `from`.
void transposePixels(PixelGrid<std::uint8_t const> from, PixelGrid<std::uint8_t> to, std::size_t columns,
    std::size_t rows, std::size_t pixelSize);

} // namespace velk::graphics
