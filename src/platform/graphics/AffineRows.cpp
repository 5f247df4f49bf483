#include "platform/graphics/AffineRows.h"

#include "platform/graphics/AffineSampling.h"
#include "platform/graphics/PixelBuffer.h"
#include "platform/graphics/Premultiplied.h"
#include "platform/graphics/WorkCrew.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>

namespace velk::graphics {

namespace {

PixelLayout sizedLayout(PixelLayout layout, Size size)
{
    layout.size = size;
    return layout;
}

// ---- The source in memory, with its edge pixels repeated around it, as far as it has been read.
class PaddedPixels {
public:
    static Result<PaddedPixels> create(PixelLayout const& layout)
    {
        auto padded = layout;
        padded.size.width += kLeft + kSampleMargin;
        padded.size.height += 2 * kSampleMargin;
        return PaddedPixels(layout, TRY(PixelBuffer::create(std::move(padded))));
    }

    /// Reads on until all rows before `end` are there.
    Result<void> readUntil(RowSource& rows, std::int32_t end)
    {
        constexpr std::int32_t kBlock = 32;
        while (rows.nextRow() < end) {
            auto const y = rows.nextRow();
            auto const count = std::min(kBlock, end - y);
            TRY(rows.read({pixel(0, y), m_buffer.stride(), count}));
            for (auto done = y; done < y + count; ++done)
                repeatColumns(done);
            if (y == 0)
                repeatRow(0, -1);
            if (rows.rowsLeft() == 0)
                repeatRow(m_layout.size.height - 1, 1);
        }
        return {};
    }

    SampleSource source()
    {
        return {pixel(0, 0), static_cast<std::ptrdiff_t>(m_buffer.stride()), m_layout.format};
    }

private:
    // 16 pixels of any format keep the rows aligned.
    static constexpr std::int32_t kLeft = 16;

    PaddedPixels(PixelLayout layout, PixelBuffer buffer)
        : m_layout(std::move(layout))
        , m_buffer(std::move(buffer))
    {
    }

    std::uint8_t* pixel(std::int32_t x, std::int32_t y)
    {
        return m_buffer.row(y + kSampleMargin)
            + static_cast<std::size_t>(x + kLeft) * m_layout.format.bytesPerPixel();
    }

    void repeatColumns(std::int32_t y)
    {
        auto const width = m_layout.size.width;
        auto const bytes = m_layout.format.bytesPerPixel();
        for (std::int32_t i = 0; i < kSampleMargin; ++i) {
            std::memcpy(pixel(-1 - i, y), pixel(0, y), bytes);
            std::memcpy(pixel(width + i, y), pixel(width - 1, y), bytes);
        }
    }

    void repeatRow(std::int32_t y, std::int32_t direction)
    {
        auto const bytes = m_buffer.layout().rowBytes();
        for (std::int32_t i = 1; i <= kSampleMargin; ++i)
            std::memcpy(pixel(-kLeft, y + i * direction), pixel(-kLeft, y), bytes);
    }

    PixelLayout m_layout;
    PixelBuffer m_buffer;
};

// ---- Which pixels of a bitmap's row an image covers, and how far.

struct Span {
    std::int32_t begin = 0;
    std::int32_t end = 0;

    bool isEmpty() const { return begin >= end; }
    Span within(Span other) const
    {
        auto const first = std::clamp(begin, other.begin, other.end);
        return {first, std::clamp(end, first, other.end)};
    }
};

// One coordinate of the source along a row of the bitmap: u = start + x * step at the centre of pixel x.
struct Coordinate {
    double start = 0;
    double step = 0;
    double length = 0; // of the source along this axis
    double slope = 1; // source pixels for a bitmap pixel across the source's edges

    double at(std::int32_t x) const { return start + x * step; }

    // Bitmap pixels whose coordinate is from `margin` bitmap pixels inside the edges on; negative = outside.
    Span where(double margin, std::int32_t width) const
    {
        auto low = margin * slope;
        auto high = length - margin * slope;
        if (high < low)
            return {};
        if (std::abs(step) < 1e-12)
            return start >= low && start <= high ? Span {0, width} : Span {};
        low = (low - start) / step;
        high = (high - start) / step;
        if (step < 0)
            std::swap(low, high);
        auto const limit = static_cast<double>(width);
        return {static_cast<std::int32_t>(std::ceil(std::clamp(low, 0.0, limit))),
            static_cast<std::int32_t>(std::floor(std::clamp(high, -1.0, limit - 1))) + 1};
    }

    double coverage(std::int32_t x) const
    {
        auto const u = at(x);
        auto const fromStart = std::clamp(u / slope + 0.5, 0.0, 1.0);
        auto const fromEnd = std::clamp((length - u) / slope + 0.5, 0.0, 1.0);
        return std::max(0.0, fromStart + fromEnd - 1);
    }

    // In fixed point, counted from pixel centres, where samples of covered pixels may lie.
    std::int64_t position(std::int32_t x) const
    {
        return std::llround(std::clamp(at(x) - 0.5, -1.0, length) * kSampleOne);
    }
    // A step that leaves the source at once may be any.
    std::int64_t fixedStep() const
    {
        return std::llround(std::clamp(step, -kLongestStep, kLongestStep) * kSampleOne);
    }

    static constexpr double kLongestStep = 1 << 24;
};

struct RowGeometry {
    Coordinate u;
    Coordinate v;
    Span touched; // covered at all
    Span inside; // covered completely

    SampleWalk walkFrom(std::int32_t x) const
    {
        return {u.position(x), v.position(x), u.fixedStep(), v.fixedStep()};
    }
};

class Geometry {
public:
    Geometry(AffineTransform const& transform, Size source, Size bitmap)
        : m_source(source)
        , m_bitmap(bitmap)
    {
        auto const determinant = transform.a * transform.d - transform.b * transform.c;
        assert(determinant != 0);
        m_inverse.a = transform.d / determinant;
        m_inverse.b = -transform.b / determinant;
        m_inverse.c = -transform.c / determinant;
        m_inverse.d = transform.a / determinant;
        m_inverse.tx = -(transform.tx * m_inverse.a + transform.ty * m_inverse.c);
        m_inverse.ty = -(transform.tx * m_inverse.b + transform.ty * m_inverse.d);
    }

    RowGeometry row(std::int32_t y) const
    {
        auto const centre = y + 0.5;
        auto const& map = m_inverse;
        RowGeometry row;
        row.u = {map.a * 0.5 + map.c * centre + map.tx, map.a, static_cast<double>(m_source.width),
            std::hypot(map.a, map.c)};
        row.v = {map.b * 0.5 + map.d * centre + map.ty, map.b, static_cast<double>(m_source.height),
            std::hypot(map.b, map.d)};
        row.touched = row.u.where(-0.5, m_bitmap.width).within(row.v.where(-0.5, m_bitmap.width));
        row.inside = row.u.where(0.5, m_bitmap.width).within(row.v.where(0.5, m_bitmap.width));
        row.inside = row.inside.within(row.touched);
        return row;
    }

    /// Rows of the source that these rows of the bitmap need, counted from the top.
    std::int32_t sourceRowsFor(Span rows) const
    {
        double last = -1;
        for (auto y = rows.begin; y < rows.end; ++y) {
            auto const geometry = row(y);
            if (!geometry.touched.isEmpty())
                last = std::max(
                    {last, geometry.v.at(geometry.touched.begin), geometry.v.at(geometry.touched.end - 1)});
        }
        if (last < 0)
            return 0;
        return static_cast<std::int32_t>(
            std::min(last + kSampleMargin + 1, static_cast<double>(m_source.height)));
    }

private:
    AffineTransform m_inverse;
    Size m_source;
    Size m_bitmap;
};

// ---- Pixels at the edge: a sample over the fill, by coverage.

void blendPixel(PixelFormat format, std::uint8_t const* sample, std::uint8_t const* fill, double coverage,
    std::uint8_t* to)
{
    auto const channels = static_cast<std::size_t>(format.channels());
    if (format.componentType == ComponentType::UInt8) {
        auto const part = static_cast<int>(std::lround(coverage * 256));
        for (std::size_t i = 0; i < channels; ++i)
            to[i] = static_cast<std::uint8_t>((sample[i] * part + fill[i] * (256 - part) + 128) >> 8);
        return;
    }
    for (std::size_t i = 0; i < channels * sizeof(float); i += sizeof(float)) {
        float over;
        float under;
        std::memcpy(&over, sample + i, sizeof(over));
        std::memcpy(&under, fill + i, sizeof(under));
        auto const result = static_cast<float>(over * coverage + under * (1 - coverage));
        std::memcpy(to + i, &result, sizeof(result));
    }
}

// ---- The bitmap's rows, made in bands whose tiles are shared among threads. Tiles keep the part of the
// source that a thread walks through within its cache.
class AffineRows final : public RowSource {
public:
    AffineRows(RowSourcePointer rows, AffineTransform const& transform, Size size, ByteSpan fill)
        : RowSource(sizedLayout(rows->layout(), size))
        , m_rows(std::move(rows))
        , m_geometry(transform, m_rows->size(), size)
        , m_fillRow(rowBytes())
    {
        assert(fill.size() == format().bytesPerPixel());
        for (std::size_t at = 0; at < m_fillRow.size(); at += fill.size())
            std::memcpy(m_fillRow.data() + at, fill.data(), fill.size());
    }

private:
    static constexpr std::int32_t kBandRows = 32;
    static constexpr std::int32_t kTileColumns = 128;

    Result<void> readRows(RowView rows) override
    {
        for (std::int32_t i = 0; i < rows.count; ++i) {
            auto const y = nextRow() + i;
            if (y >= m_band.end)
                TRY(makeBand(y));
            std::memcpy(rows.row(i), bandRow(y), rowBytes());
        }
        return {};
    }

    Result<void> makeBand(std::int32_t y)
    {
        m_band = {y, std::min(y + kBandRows, size().height)};
        if (!m_pixels) {
            m_pixels = TRY(PaddedPixels::create(m_rows->layout()));
            m_pixelsOfBand.resize(rowBytes() * kBandRows);
        }
        TRY(m_pixels->readUntil(*m_rows, m_geometry.sourceRowsFor(m_band)));
        auto const tiles = static_cast<std::size_t>((size().width + kTileColumns - 1) / kTileColumns);
        m_crew.run(tiles, [this](std::size_t tile) { makeTile(static_cast<std::int32_t>(tile)); });
        return {};
    }

    void makeTile(std::int32_t tile)
    {
        auto const first = tile * kTileColumns;
        Span const columns = {first, std::min(first + kTileColumns, size().width)};
        for (auto y = m_band.begin; y < m_band.end; ++y)
            makeTileRow(m_geometry.row(y), columns, bandRow(y));
    }

    //     columns:    | fill | edge | inside | edge | fill |
    void makeTileRow(RowGeometry const& geometry, Span columns, std::uint8_t* row)
    {
        auto const touched = geometry.touched.within(columns);
        auto const inside = geometry.inside.within(touched);
        fill({columns.begin, touched.begin}, row);
        sampleEdge(geometry, {touched.begin, inside.begin}, row);
        sampleInside(geometry, inside, row);
        sampleEdge(geometry, {inside.end, touched.end}, row);
        fill({touched.end, columns.end}, row);
    }

    void fill(Span span, std::uint8_t* row)
    {
        auto const bytes = format().bytesPerPixel();
        std::memcpy(row + static_cast<std::size_t>(span.begin) * bytes, m_fillRow.data(),
            static_cast<std::size_t>(span.end - span.begin) * bytes);
    }

    void sampleInside(RowGeometry const& geometry, Span span, std::uint8_t* row)
    {
        if (span.isEmpty())
            return;
        auto* const to = row + static_cast<std::size_t>(span.begin) * format().bytesPerPixel();
        sample(geometry.walkFrom(span.begin), static_cast<std::size_t>(span.end - span.begin), to);
    }

    void sampleEdge(RowGeometry const& geometry, Span span, std::uint8_t* row)
    {
        alignas(16) std::array<std::uint8_t, 32> pixel;
        auto const bytes = format().bytesPerPixel();
        for (auto x = span.begin; x < span.end; ++x) {
            sample(geometry.walkFrom(x), 1, pixel.data());
            blendPixel(format(), pixel.data(), m_fillRow.data(),
                geometry.u.coverage(x) * geometry.v.coverage(x), row + static_cast<std::size_t>(x) * bytes);
        }
    }

    void sample(SampleWalk const& walk, std::size_t count, std::uint8_t* to)
    {
        sampleCubic(m_pixels->source(), walk, count, to);
        if (format().hasAlpha() && format().componentType == ComponentType::UInt8)
            limitToAlpha(to, count, static_cast<std::size_t>(format().channels()));
    }

    std::uint8_t* bandRow(std::int32_t y)
    {
        return m_pixelsOfBand.data() + static_cast<std::size_t>(y - m_band.begin) * rowBytes();
    }

    RowSourcePointer m_rows;
    Geometry m_geometry;
    Bytes m_fillRow;
    std::optional<PaddedPixels> m_pixels;
    Span m_band;
    Bytes m_pixelsOfBand;
    WorkCrew m_crew;
};

} // namespace

RowSourcePointer affineRows(RowSourcePointer rows, AffineTransform const& transform, Size size, Bytes fill)
{
    assert(rows->nextRow() == 0);
    assert(rows->format().componentType != ComponentType::UInt16 && rows->format().alpha != Alpha::Straight);
    return std::make_unique<AffineRows>(std::move(rows), transform, size, fill);
}

} // namespace velk::graphics
