#pragma once

#include <cstddef>
#include <cstdint>

namespace velk::graphics {

/// Twice the area of a pixel in square subpixels of 1/256: the sum of a row's cells up to a pixel that is
/// covered once.
constexpr std::int32_t kFullCell = 2 * 256 * 256;

/// Coverage of a sum of cells: its magnitude, at most a whole pixel, rounded to nearest.
constexpr std::uint8_t coverageOfCells(std::uint32_t sum)
{
    auto const signedSum = static_cast<std::int32_t>(sum);
    auto const area = signedSum < 0 ? 0 - sum : sum;
    auto const limited = area < kFullCell ? area : kFullCell;
    return static_cast<std::uint8_t>((limited * 255 + kFullCell / 2) / kFullCell);
}

/// The coverage of each of `count` cells (a multiple of 8) is that of `sum` and all cells up to it; returns
/// the last sum and leaves the cells zero. Sums wrap around.
std::uint32_t takeCoverage(
    std::uint32_t* cells, std::size_t count, std::uint32_t sum, std::uint8_t* coverage);

} // namespace velk::graphics
