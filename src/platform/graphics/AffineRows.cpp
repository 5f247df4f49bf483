#include "platform/graphics/AffineRows.h"

#include "platform/graphics/AffineGeometry.h"
#include "platform/graphics/AffineSampling.h"
#include "platform/graphics/PixelBuffer.h"
#include "platform/graphics/Premultiplied.h"
#include "platform/graphics/WorkCrew.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstring>
#include <optional>

namespace velk::graphics {

namespace {

PixelLayout sizedLayout(PixelLayout layout, Size size)
{
    layout.size = size;
    return layout;
}

// The source in memory, with its edge pixels repeated around it, as far as it has been read.
class PaddedPixels {
public:
    static Result<PaddedPixels> create(PixelLayout const& layout)
    {
        auto padded = layout;
        if (std::max(padded.size.width, padded.size.height) > kMaximumPixelCount / 2)
            return fail("an image of this size cannot be rotated");
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

// Pixels at the edge: a sample over the fill, by coverage.

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

// The bitmap's rows, made in bands whose tiles are shared among threads. Tiles keep the part of the
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
        m_band = {y, y + std::min(kBandRows, size().height - y)};
        if (!m_pixels) {
            m_pixels = TRY(PaddedPixels::create(m_rows->layout()));
            m_pixelsOfBand.resize(rowBytes() * kBandRows);
        }
        TRY(m_pixels->readUntil(*m_rows, m_geometry.sourceRowsFor(m_band)));
        auto const tiles = static_cast<std::size_t>((size().width - 1) / kTileColumns + 1);
        m_crew.run(tiles, [this](std::size_t tile) { makeTile(static_cast<std::int32_t>(tile)); });
        return {};
    }

    void makeTile(std::int32_t tile)
    {
        auto const first = tile * kTileColumns;
        Span const columns = {first, first + std::min(kTileColumns, size().width - first)};
        for (auto y = m_band.begin; y < m_band.end; ++y)
            makeTileRow(m_geometry.row(y), columns, bandRow(y));
    }

    //     columns:    | fill | edge | inside | edge | fill |
    void makeTileRow(AffineRow const& geometry, Span columns, std::uint8_t* row)
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

    void sampleInside(AffineRow const& geometry, Span span, std::uint8_t* row)
    {
        if (span.isEmpty())
            return;
        auto* const to = row + static_cast<std::size_t>(span.begin) * format().bytesPerPixel();
        sample(geometry.walkFrom(span.begin), static_cast<std::size_t>(span.end - span.begin), to);
    }

    void sampleEdge(AffineRow const& geometry, Span span, std::uint8_t* row)
    {
        alignas(16) std::array<std::uint8_t, 32> pixel;
        auto const bytes = format().bytesPerPixel();
        for (auto x = span.begin; x < span.end; ++x) {
            sample(geometry.walkFrom(x), 1, pixel.data());
            blendPixel(format(), pixel.data(), m_fillRow.data(), geometry.coverage(x),
                row + static_cast<std::size_t>(x) * bytes);
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
    AffineGeometry m_geometry;
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
