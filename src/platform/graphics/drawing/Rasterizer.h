#pragma once

#include "platform/graphics/drawing/CoverageSink.h"
#include "platform/graphics/drawing/Flatten.h"

#include <cstdint>
#include <vector>

namespace velk::graphics {

/// Turns polygons into coverage by exact area under the non-zero winding rule. Keeps its memory from shape to
/// shape: a band of cells that fits the cache, and lines of shapes that are taller than it.
class Rasterizer final : public PolygonSink {
public:
    /// Neither side of the bounds of a shape may be longer, in pixels.
    static constexpr std::int32_t kLongestSide = 1 << 22;

    /// A new shape, of which only what lies in `bounds` is wanted.
    void begin(IntRect const& bounds);
    /// Any finite coordinates of moderate magnitude (1e30).
    void polygon(std::span<Point const> points) override;
    /// Hands out the coverage from top to bottom and forgets the shape.
    void sweep(CoverageSink& sink);

private:
    /// Subpixels of 1/256 from the bounds' top-left corner.
    struct Subpixel {
        std::int32_t x = 0, y = 0;
    };
    struct Line {
        Subpixel from, to;
    };

    Subpixel rounded(Point place) const;
    bool isInside(Point place) const;
    void addClipped(Point from, Point to);
    void addWithinRows(Point from, Point to);
    void add(Subpixel from, Subpixel to);
    void split(Line line);
    void draw(Line line, std::int32_t bandTop);
    void sweepBand(std::int32_t top, std::int32_t rows, CoverageSink& sink);
    void announceRow(std::int32_t row, std::int32_t y, CoverageSink& sink) const;
    void sweepRow(std::int32_t row, std::int32_t y, CoverageSink& sink);

    IntRect m_bounds;
    double m_right = 0, m_bottom = 0; // in subpixels
    std::int32_t m_stride = 0; // cells of a row
    std::int32_t m_words = 0; // of `m_touched` for a row
    std::int32_t m_bandRows = 0;
    int m_bandShift = 0; // from subpixels to bands
    std::int32_t m_bandCount = 0;
    std::vector<std::uint32_t> m_cells; // of one band; all zero between sweeps
    std::vector<std::uint64_t> m_touched; // a bit for every eight cells
    std::vector<std::vector<Line>> m_bands; // unless there is only one
    std::vector<std::uint8_t> m_coverage; // of one row
};

} // namespace velk::graphics
