#include "platform/graphics/drawing/Rasterizer.h"

#include "platform/graphics/drawing/CoverageCells.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <cstring>

namespace velk::graphics {

namespace {

constexpr int kSubpixelBits = 8;
constexpr std::int32_t kSubpixels = 1 << kSubpixelBits;

// Half a megabyte of cells stays in a second-level cache.
constexpr std::int32_t kBandCells = 1 << 17;
constexpr std::int32_t kMostBandRows = 1024;

// A bit of `m_touched` stands for eight cells.
constexpr int kBlockBits = 3;
constexpr std::int32_t kBlockCells = 1 << kBlockBits;
constexpr std::uint32_t kBlocksPerWord = 64;

// Fewer fully covered pixels than this are cheaper as part of the coverage around them.
constexpr std::int32_t kShortestFull = 24;

// Rows between a row that is worked on and the one whose pixels are fetched.
constexpr std::int32_t kRowsAhead = 4;

// Lines of a shape that was large are not kept for the next one.
constexpr std::size_t kKeptLines = 4096;

// The first block at or after `from` whose bit is `wanted`, or `count`.
[[gnu::always_inline]] inline std::int32_t findBlock(
    std::uint64_t const* words, std::int32_t from, std::int32_t count, bool wanted)
{
    auto const end = static_cast<std::uint32_t>(count);
    for (auto at = static_cast<std::uint32_t>(from); at < end;
         at = (at / kBlocksPerWord + 1) * kBlocksPerWord) {
        auto const word = wanted ? words[at / kBlocksPerWord] : ~words[at / kBlocksPerWord];
        auto const rest = word >> (at % kBlocksPerWord);
        if (rest != 0)
            return std::min(count, static_cast<std::int32_t>(at) + std::countr_zero(rest));
    }
    return count;
}

// ---- Cells
//
// An edge changes the coverage of its pixel in part and of all pixels to the right of it in full. So the sum
// of a row's cells up to a pixel shall be its coverage, and an edge of height h through pixel x, on the way
// from offset a to offset b in it, adds
//
//     to cell x        h · (2·256 - (a + b))      what lies to the right of it in its pixel, twice
//     to cell x + 1    h · (a + b)                the rest

/// A row of cells, and a bit for every eight of them.
struct CellRow {
    std::uint32_t* cells;
    std::uint64_t* touched;

    void add(std::int32_t cell, std::int32_t height, std::int32_t offsets) const
    {
        cells[cell] += static_cast<std::uint32_t>(height * (2 * kSubpixels - offsets));
        cells[cell + 1] += static_cast<std::uint32_t>(height * offsets);
    }

    void touch(std::int32_t firstCell, std::int32_t lastCell) const
    {
        auto const firstBlock = static_cast<std::uint32_t>(firstCell >> kBlockBits);
        auto const lastBlock = static_cast<std::uint32_t>(lastCell >> kBlockBits);
        if (firstBlock == lastBlock) {
            touched[lastBlock / kBlocksPerWord] |= std::uint64_t {1} << (lastBlock % kBlocksPerWord);
            return;
        }
        for (auto block = firstBlock; block <= lastBlock;) {
            auto const bit = block % kBlocksPerWord;
            auto const more = std::min(lastBlock - block, kBlocksPerWord - 1 - bit);
            touched[block / kBlocksPerWord] |= ((std::uint64_t {2} << more) - 1) << bit;
            block += more + 1;
        }
    }

    // Through several cells, from left to right.
    void addAcross(
        std::int32_t fromX, std::int32_t toX, std::int32_t height, std::int32_t winding, double rise) const
    {
        auto const last = toX >> kSubpixelBits;
        auto offset = fromX & (kSubpixels - 1);
        std::int32_t drawn = 0;
        for (auto cell = fromX >> kSubpixelBits; cell < last; ++cell) {
            auto const edge = (cell + 1) << kSubpixelBits;
            auto const reached =
                static_cast<std::int32_t>(std::min<double>(height, (edge - fromX) * rise + 0.5));
            add(cell, (reached - drawn) * winding, offset + kSubpixels);
            drawn = reached;
            offset = 0;
        }
        add(last, (height - drawn) * winding, toX & (kSubpixels - 1));
    }

    // A line within the row. Which way it goes along x makes no difference to the areas.
    void addLine(
        std::int32_t fromX, std::int32_t toX, std::int32_t height, std::int32_t winding, double rise) const
    {
        auto const first = fromX >> kSubpixelBits;
        auto const last = toX >> kSubpixelBits;
        if (first == last) {
            add(first, height * winding, fromX + toX - (first << (kSubpixelBits + 1)));
            touch(first, first + 1);
        } else if (first < last) {
            addAcross(fromX, toX, height, winding, rise);
            touch(first, last + 1);
        } else {
            addAcross(toX, fromX, height, winding, -rise);
            touch(last, first + 1);
        }
    }
};

} // namespace

void Rasterizer::begin(IntRect const& bounds)
{
    assert(!bounds.isEmpty() && bounds.width <= kLongestSide && bounds.height <= kLongestSide);
    m_bounds = bounds;
    m_right = static_cast<double>(bounds.width) * kSubpixels;
    m_bottom = static_cast<double>(bounds.height) * kSubpixels;
    // An edge at the right end touches the cell behind the last one, and that one's neighbour.
    m_stride = (bounds.width + 2 + kBlockCells - 1) & ~(kBlockCells - 1);
    m_words = static_cast<std::int32_t>(((m_stride >> kBlockBits) + kBlocksPerWord - 1) / kBlocksPerWord);
    auto const rows = static_cast<std::uint32_t>(std::clamp(kBandCells / m_stride, 1, kMostBandRows));
    m_bandRows = static_cast<std::int32_t>(std::bit_floor(rows));
    m_bandShift = kSubpixelBits + std::countr_zero(std::bit_floor(rows));
    m_bandCount = (bounds.height + m_bandRows - 1) / m_bandRows;
    auto const drawnRows = static_cast<std::size_t>(std::min(m_bandRows, bounds.height));
    m_cells.resize(std::max(m_cells.size(), drawnRows * static_cast<std::size_t>(m_stride)));
    m_touched.resize(std::max(m_touched.size(), drawnRows * static_cast<std::size_t>(m_words)));
    m_coverage.resize(std::max(m_coverage.size(), static_cast<std::size_t>(m_stride)));
    m_bands.resize(std::max(m_bands.size(), static_cast<std::size_t>(m_bandCount)));
}

// ---- Lines

Rasterizer::Subpixel Rasterizer::rounded(Point place) const
{
    return {static_cast<std::int32_t>(place.x + 0.5), static_cast<std::int32_t>(place.y + 0.5)};
}

bool Rasterizer::isInside(Point place) const
{
    return place.x >= 0 && place.x <= m_right && place.y >= 0 && place.y <= m_bottom;
}

void Rasterizer::polygon(std::span<Point const> points)
{
    if (points.size() < 2)
        return;
    auto const placed = [this](Point point) {
        return Point {(point.x - m_bounds.x) * kSubpixels, (point.y - m_bounds.y) * kSubpixels};
    };
    auto from = placed(points.back());
    auto fromInside = isInside(from);
    auto fromRounded = fromInside ? rounded(from) : Subpixel {};
    for (auto const point : points) {
        auto const to = placed(point);
        auto const toInside = isInside(to);
        auto const toRounded = toInside ? rounded(to) : Subpixel {};
        if (fromInside && toInside)
            add(fromRounded, toRounded);
        else
            addClipped(from, to);
        from = to;
        fromInside = toInside;
        fromRounded = toRounded;
    }
}

// Nothing above, below or to the right of the bounds has an influence on what lies in them.
void Rasterizer::addClipped(Point from, Point to)
{
    if ((from.y <= 0 && to.y <= 0) || (from.y >= m_bottom && to.y >= m_bottom)
        || (from.x >= m_right && to.x >= m_right))
        return;
    auto const onRow = [from, to](double y) {
        return Point {from.x + (to.x - from.x) * ((y - from.y) / (to.y - from.y)), y};
    };
    auto const clipped = [&](Point end) {
        return end.y < 0 ? onRow(0) : end.y > m_bottom ? onRow(m_bottom) : end;
    };
    addWithinRows(clipped(from), clipped(to));
}

// What lies to the left of the bounds counts as if on their left edge.
//
//        from
//           \        |             |          the part left of the bounds
//            \       |             |   -->    becomes an upright line
//             \------+------\      |
//                    |       to
void Rasterizer::addWithinRows(Point from, Point to)
{
    auto const onColumn = [from, to](double x) {
        auto const y = from.y + (to.y - from.y) * ((x - from.x) / (to.x - from.x));
        return Point {x, std::clamp(y, std::min(from.y, to.y), std::max(from.y, to.y))};
    };
    auto const upright = [this](double fromY, double toY) { add(rounded({0, fromY}), rounded({0, toY})); };
    if (from.x <= 0 && to.x <= 0)
        return upright(from.y, to.y);
    if (from.x >= m_right && to.x >= m_right)
        return;
    auto const first = from.x < 0 ? onColumn(0) : from.x > m_right ? onColumn(m_right) : from;
    auto const last = to.x < 0 ? onColumn(0) : to.x > m_right ? onColumn(m_right) : to;
    if (from.x < 0)
        upright(from.y, first.y);
    add(rounded(first), rounded(last));
    if (to.x < 0)
        upright(last.y, to.y);
}

void Rasterizer::add(Subpixel from, Subpixel to)
{
    if (from.y == to.y)
        return;
    if (m_bandCount == 1)
        return draw({from, to}, 0);
    auto const band = std::min(from.y, to.y) >> m_bandShift;
    if (band == (std::max(from.y, to.y) - 1) >> m_bandShift)
        m_bands[static_cast<std::size_t>(band)].push_back({from, to});
    else
        split({from, to});
}

// Cuts a line where it passes from band to band, from top to bottom.
void Rasterizer::split(Line line)
{
    auto const isUpward = line.from.y > line.to.y;
    auto const [top, bottom] = isUpward ? Line {line.to, line.from} : line;
    auto const slope = static_cast<double>(bottom.x - top.x) / (bottom.y - top.y);
    for (auto at = top; at.y < bottom.y;) {
        auto const band = at.y >> m_bandShift;
        auto end = bottom;
        if (auto const edge = (band + 1) << m_bandShift; edge < bottom.y)
            end = {static_cast<std::int32_t>(top.x + slope * (edge - top.y) + 0.5), edge};
        m_bands[static_cast<std::size_t>(band)].push_back(isUpward ? Line {end, at} : Line {at, end});
        at = end;
    }
}

// Row by row, from top to bottom.
void Rasterizer::draw(Line line, std::int32_t bandTop)
{
    std::int32_t winding = 1;
    if (line.from.y > line.to.y) {
        std::swap(line.from, line.to);
        winding = -1;
    }
    auto const width = static_cast<double>(line.to.x - line.from.x);
    auto const height = static_cast<double>(line.to.y - line.from.y);
    auto const slope = width / height;
    auto const rise = height / width;
    auto const firstRow = (line.from.y >> kSubpixelBits) - (bandTop >> kSubpixelBits);
    CellRow row = {m_cells.data() + static_cast<std::ptrdiff_t>(firstRow) * m_stride,
        m_touched.data() + static_cast<std::ptrdiff_t>(firstRow) * m_words};
    for (auto at = line.from; at.y < line.to.y;) {
        auto end = line.to;
        if (auto const edge = (at.y | (kSubpixels - 1)) + 1; edge < end.y)
            end = {static_cast<std::int32_t>(line.from.x + slope * (edge - line.from.y) + 0.5), edge};
        row.addLine(at.x, end.x, end.y - at.y, winding, rise);
        row = {row.cells + m_stride, row.touched + m_words};
        at = end;
    }
}

// ---- Coverage

void Rasterizer::sweep(CoverageSink& sink)
{
    for (std::int32_t band = 0; band < m_bandCount; ++band) {
        auto const top = band * m_bandRows;
        auto& lines = m_bands[static_cast<std::size_t>(band)];
        for (auto const& line : lines)
            draw(line, top << kSubpixelBits);
        lines.clear();
        if (lines.capacity() > kKeptLines)
            lines.shrink_to_fit();
        sweepBand(top, std::min(m_bandRows, m_bounds.height - top), sink);
    }
}

void Rasterizer::sweepBand(std::int32_t top, std::int32_t rows, CoverageSink& sink)
{
    for (std::int32_t row = 0; row < rows; ++row) {
        if (row + kRowsAhead < rows)
            announceRow(row + kRowsAhead, m_bounds.y + top + row + kRowsAhead, sink);
        sweepRow(row, m_bounds.y + top + row, sink);
    }
}

// The rows of a surface lie far apart, so that each edge in each row would be waited for.
void Rasterizer::announceRow(std::int32_t row, std::int32_t y, CoverageSink& sink) const
{
    auto const* const words = m_touched.data() + static_cast<std::ptrdiff_t>(row) * m_words;
    for (std::int32_t word = 0; word < m_words; ++word) {
        for (auto rest = words[word]; rest != 0;) {
            auto const bit = std::countr_zero(rest);
            auto const x = (word * std::int32_t {kBlocksPerWord} + bit) << kBlockBits;
            sink.expect(m_bounds.x + std::min(x, m_bounds.width - 1), y);
            rest &= rest - 1;
        }
    }
}

// Only blocks that edges touched hold anything; between them the coverage stays as it is:
//
//     ....[####]..............[######]....
//         edge   full, or none   edge
void Rasterizer::sweepRow(std::int32_t row, std::int32_t y, CoverageSink& sink)
{
    auto* const words = m_touched.data() + static_cast<std::ptrdiff_t>(row) * m_words;
    auto* const cells = m_cells.data() + static_cast<std::ptrdiff_t>(row) * m_stride;
    auto* const coverage = m_coverage.data();
    auto const blocks = m_stride >> kBlockBits;
    std::int32_t runStart = -1; // of coverage that has not been handed out
    auto const flush = [&](std::int32_t end) {
        end = std::min(end, m_bounds.width);
        if (runStart >= 0 && end > runStart)
            sink.partial(m_bounds.x + runStart, y, end - runStart, coverage + runStart);
        runStart = -1;
    };
    std::uint32_t sum = 0;
    auto block = findBlock(words, 0, blocks, true);
    while (block < blocks) {
        auto const end = findBlock(words, block, blocks, false);
        auto const first = block << kBlockBits;
        auto const last = end << kBlockBits;
        if (runStart < 0)
            runStart = first;
        sum = takeCoverage(cells + first, static_cast<std::size_t>(last - first), sum, coverage + first);
        block = findBlock(words, end, blocks, true);
        auto const gap = std::min(block << kBlockBits, m_bounds.width) - last;
        if (gap <= 0)
            continue;
        auto const between = coverageOfCells(sum);
        if (between == 0) {
            flush(last);
        } else if (between == 255 && gap >= kShortestFull) {
            flush(last);
            sink.full(m_bounds.x + last, y, gap);
        } else {
            std::memset(coverage + last, between, static_cast<std::size_t>(gap));
        }
    }
    flush(m_bounds.width);
    std::fill(words, words + m_words, std::uint64_t {0});
}

} // namespace velk::graphics
