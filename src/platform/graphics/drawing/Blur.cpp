#include "platform/graphics/drawing/Blur.h"

#include "platform/graphics/drawing/BlurPasses.h"

#include <algorithm>
#include <cmath>

namespace velk::graphics {

namespace {

// Larger deviations are blurred in cells of several pixels, so that no deviation costs more than these do.
constexpr double kLargestDeviationInPixels = 48;
constexpr double kDeviationInCells = 16;
// What a larger deviation reaches is too faint to be worth the memory of a shape that far outside.
constexpr std::int32_t kLongestReach = 4096;

struct Range {
    std::int64_t begin, end;

    bool isEmpty() const { return begin >= end; }
};

constexpr std::int64_t floorDivide(std::int64_t a, std::int64_t b)
{
    return a >= 0 ? a / b : -((-a + b - 1) / b);
}

// One axis of the grid of cells. Cells are an odd number of pixels long and lie symmetrically about the
// middle of the mask, and so does what comes out:
//
//     mask of 4 pixels, cells of 3:     |. a b|c d .|
//     mask of 5 pixels, cells of 3:     |. . a|b c d|e . .|
//
struct CellAxis {
    std::int64_t origin; ///< where cell 0 begins
    std::int64_t length;

    static CellAxis around(std::int32_t begin, std::int32_t pixels, std::int64_t length)
    {
        auto const cells = (pixels + length - 1) / length;
        auto const symmetric = (cells * length - pixels) % 2 == 0 ? cells : cells + 1;
        return {begin - (symmetric * length - pixels) / 2, length};
    }
    std::int32_t cellOf(std::int64_t pixel) const
    {
        return static_cast<std::int32_t>(floorDivide(pixel - origin, length));
    }
};

struct CellGrid {
    CellAxis x, y;
};

std::int64_t cellLength(double deviation)
{
    if (deviation <= kLargestDeviationInPixels)
        return 1;
    return 2 * static_cast<std::int64_t>(std::min(deviation, 1e12) / kDeviationInCells / 2) + 1;
}

// The mean over a cell and the interpolation between cells blur too: boxes of this length, and tents.
double deviationInCells(double deviation, std::int64_t length)
{
    auto const cells = std::min(deviation, 1e12) / static_cast<double>(length);
    auto const cell = static_cast<double>(length);
    auto const variance = (1 - 1 / (cell * cell)) * (1.0 / 12 + 1.0 / 6);
    return std::sqrt(cells * cells - variance);
}

std::int64_t reachInPixels(double deviation)
{
    if (!(deviation > 0))
        return 0;
    auto const length = cellLength(deviation);
    auto const reach = reachOf(blurPasses(deviationInCells(deviation, length)));
    return length == 1 ? reach : (reach + 2) * length;
}

Range reached(
    std::int32_t begin, std::int32_t length, std::int64_t reach, std::int32_t clip, std::int32_t size)
{
    return {std::max<std::int64_t>(begin - reach, clip),
        std::min(std::int64_t {begin} + length + reach, std::int64_t {clip} + size)};
}

IntRect boundsOf(CoverageMask const& mask, std::int64_t reach, IntRect const& clip)
{
    auto const& bounds = mask.bounds;
    auto const x = reached(bounds.x, bounds.width, reach, clip.x, clip.width);
    auto const y = reached(bounds.y, bounds.height, reach, clip.y, clip.height);
    if (mask.isEmpty() || clip.isEmpty() || x.isEmpty() || y.isEmpty())
        return {};
    return {static_cast<std::int32_t>(x.begin), static_cast<std::int32_t>(y.begin),
        static_cast<std::int32_t>(x.end - x.begin), static_cast<std::int32_t>(y.end - y.begin)};
}

CoverageMask emptyMask(IntRect const& bounds)
{
    return {bounds,
        std::vector<std::uint8_t>(
            static_cast<std::size_t>(bounds.width) * static_cast<std::size_t>(bounds.height))};
}

CoverageMask cut(CoverageMask const& mask, IntRect const& bounds)
{
    auto result = emptyMask(bounds);
    for (auto y = bounds.y; y < bounds.y + bounds.height; ++y)
        std::copy_n(mask.row(y) + (bounds.x - mask.bounds.x), bounds.width, result.row(y));
    return result;
}

BlurPlane planeOf(CoverageMask const& mask)
{
    auto const& bounds = mask.bounds;
    BlurPlane plane(bounds);
    for (auto y = bounds.y; y < bounds.y + bounds.height; ++y)
        widenCoverage(mask.row(y), plane.row(y), static_cast<std::size_t>(bounds.width));
    return plane;
}

// The means of cells.
BlurPlane cellsOf(CoverageMask const& mask, CellGrid const& grid)
{
    auto const& bounds = mask.bounds;
    auto const left = grid.x.cellOf(bounds.x);
    auto const top = grid.y.cellOf(bounds.y);
    BlurPlane plane({left, top, grid.x.cellOf(std::int64_t {bounds.x} + bounds.width - 1) - left + 1,
        grid.y.cellOf(std::int64_t {bounds.y} + bounds.height - 1) - top + 1});
    std::vector<std::int32_t> cellOfColumn;
    for (std::int32_t x = 0; x < bounds.width; ++x)
        cellOfColumn.push_back(grid.x.cellOf(std::int64_t {bounds.x} + x) - left);
    auto const scale = (1 << BlurPlane::kFractionBits)
        / (static_cast<double>(grid.x.length) * static_cast<double>(grid.y.length));
    std::vector<std::int64_t> sums(static_cast<std::size_t>(plane.bounds().width));
    for (std::int32_t y = 0; y < bounds.height; ++y) {
        auto const* const row = mask.row(bounds.y + y);
        for (std::size_t x = 0; x < cellOfColumn.size(); ++x)
            sums[static_cast<std::size_t>(cellOfColumn[x])] += row[x];
        auto const cell = grid.y.cellOf(std::int64_t {bounds.y} + y);
        if (y + 1 < bounds.height && grid.y.cellOf(std::int64_t {bounds.y} + y + 1) == cell)
            continue;
        std::transform(sums.begin(), sums.end(), plane.row(cell), [&](std::int64_t sum) {
            return static_cast<std::uint16_t>(std::lround(static_cast<double>(sum) * scale));
        });
        std::fill(sums.begin(), sums.end(), 0);
    }
    return plane;
}

BlurPlane filtered(BlurPlane plane, double deviation, IntRect const& needed)
{
    auto const passes = blurPasses(deviation);
    plane = filterColumns(std::move(plane), passes, needed.y, needed.y + needed.height);
    plane = filterColumns(plane.transposed(), passes, needed.x, needed.x + needed.width);
    return plane.transposed();
}

CoverageMask maskOf(BlurPlane const& plane)
{
    auto const& bounds = plane.bounds();
    auto mask = emptyMask(bounds);
    for (auto y = bounds.y; y < bounds.y + bounds.height; ++y)
        narrowCoverage(plane.row(y), mask.row(y), static_cast<std::size_t>(bounds.width));
    return mask;
}

// ---- Pixels between the centres of cells.

struct CellBlend {
    std::int32_t first;
    float second; ///< weight of the cell after `first`
};

CellBlend between(CellAxis const& axis, std::int32_t pixel)
{
    auto const position =
        (static_cast<double>(pixel - axis.origin) + 0.5) / static_cast<double>(axis.length) - 0.5;
    auto const first = std::floor(position);
    return {static_cast<std::int32_t>(first), static_cast<float>(position - first)};
}

float valueAt(BlurPlane const& plane, std::int32_t x, std::int32_t y)
{
    auto const& bounds = plane.bounds();
    if (x < bounds.x || x >= bounds.x + bounds.width || y < bounds.y || y >= bounds.y + bounds.height)
        return 0;
    return plane.row(y)[x - bounds.x];
}

CoverageMask interpolated(BlurPlane const& cells, CellGrid const& grid, IntRect const& bounds)
{
    auto const left = grid.x.cellOf(bounds.x) - 1;
    std::vector<CellBlend> across;
    for (std::int32_t x = 0; x < bounds.width; ++x)
        across.push_back(between(grid.x, bounds.x + x));
    std::vector<float> row(static_cast<std::size_t>(across.back().first - left) + 2);
    std::vector<std::uint16_t> values(across.size());
    auto mask = emptyMask(bounds);
    for (auto y = bounds.y; y < bounds.y + bounds.height; ++y) {
        auto const down = between(grid.y, y);
        for (std::size_t i = 0; i < row.size(); ++i) {
            auto const x = left + static_cast<std::int32_t>(i);
            row[i] = valueAt(cells, x, down.first) * (1 - down.second)
                + valueAt(cells, x, down.first + 1) * down.second;
        }
        for (std::size_t x = 0; x < across.size(); ++x) {
            auto const at = static_cast<std::size_t>(across[x].first - left);
            auto const value = row[at] + (row[at + 1] - row[at]) * across[x].second;
            values[x] = static_cast<std::uint16_t>(value + 0.5F);
        }
        narrowCoverage(values.data(), mask.row(y), values.size());
    }
    return mask;
}

CoverageMask blurredInCells(
    CoverageMask const& mask, double deviation, std::int64_t length, IntRect const& bounds)
{
    CellGrid const grid = {CellAxis::around(mask.bounds.x, mask.bounds.width, length),
        CellAxis::around(mask.bounds.y, mask.bounds.height, length)};
    auto const left = grid.x.cellOf(bounds.x) - 1;
    auto const top = grid.y.cellOf(bounds.y) - 1;
    IntRect const needed = {left, top, grid.x.cellOf(bounds.x + bounds.width - 1) + 2 - left,
        grid.y.cellOf(bounds.y + bounds.height - 1) + 2 - top};
    auto const cells = filtered(cellsOf(mask, grid), deviationInCells(deviation, length), needed);
    return interpolated(cells, grid, bounds);
}

} // namespace

std::int32_t blurReach(double deviation)
{
    return static_cast<std::int32_t>(std::min<std::int64_t>(reachInPixels(deviation), kLongestReach));
}

CoverageMask blurred(CoverageMask const& mask, double deviation, IntRect const& clip)
{
    auto const bounds = boundsOf(mask, reachInPixels(deviation), clip);
    if (bounds.isEmpty())
        return {};
    if (!(deviation > 0))
        return cut(mask, bounds);
    auto const length = cellLength(deviation);
    if (length > 1)
        return blurredInCells(mask, deviation, length, bounds);
    return maskOf(filtered(planeOf(mask), deviation, bounds));
}

} // namespace velk::graphics
