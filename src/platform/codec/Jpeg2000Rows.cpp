#include "platform/codec/Jpeg2000Rows.h"

#include "platform/codec/Jpeg2000Decoder.h"
#include "platform/codec/Jpeg2000Sandbox.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace velk::codec {

using namespace graphics;

namespace {

// OpenJPEG holds every sample in 32 bits. Up to the first limit an image is decoded at once, which is
// fastest; a larger one in strips of about the second.
constexpr std::int64_t kLargestDecode = 256 << 20;
constexpr std::int64_t kStripBytes = 64 << 20;
// Code blocks are seldom higher.
constexpr std::int64_t kStripAlignment = 64;
constexpr int kMaximumRestarts = 16;

// A grid coordinate in samples that lie `step` grid points apart, halved `reduction` times.
std::int64_t reduced(std::int64_t grid, int step, int reduction)
{
    return ceilDivide(ceilDivide(grid, step), std::int64_t {1} << reduction);
}

int reductionFor(double scale, int levels)
{
    int reduction = 0;
    while (reduction < levels && scale > 0 && scale * std::exp2(reduction + 1) <= 1)
        ++reduction;
    return reduction;
}

/// What is decoded, and in which portions.
struct DecodePlan {
    int reduction = 0;
    GridRect window;
    /// Tile by tile; else strips of so many grid rows.
    bool isTiled = false;
    std::int64_t stripHeight = 0;
};

// Full-size pixels [first, end) of one axis as grid coordinates within [low, high).
void toGrid(std::int64_t first, std::int64_t end, int step, std::int64_t& low, std::int64_t& high)
{
    auto const origin = ceilDivide(low, step);
    auto const imageEnd = high;
    low = std::max(low, std::min((origin + first) * step, imageEnd - 1));
    high = std::clamp((origin + end - 1) * step + 1, low + 1, imageEnd);
}

GridRect windowFor(Jpeg2000Codestream const& codestream, IntRect const& region, int reduction)
{
    auto window = codestream.image;
    if (region.isEmpty())
        return window;
    // A reduced pixel reaches so far around its centre.
    auto const margin = reduction > 0 ? std::int64_t {1} << reduction : 0;
    auto const x = std::int64_t {region.x}, y = std::int64_t {region.y};
    toGrid(std::max<std::int64_t>(0, x - margin), x + region.width + margin, codestream.pixelStepX(),
        window.x0, window.x1);
    toGrid(std::max<std::int64_t>(0, y - margin), y + region.height + margin, codestream.pixelStepY(),
        window.y0, window.y1);
    return window;
}

void widenToTiles(Jpeg2000Codestream const& codestream, GridRect& window)
{
    auto const& first = codestream.firstTile;
    auto const down = [](std::int64_t value, std::int64_t origin, std::int64_t step) {
        return origin + (value - origin) / step * step;
    };
    auto const up = [](std::int64_t value, std::int64_t origin, std::int64_t step) {
        return origin + ceilDivide(value - origin, step) * step;
    };
    auto const& image = codestream.image;
    window = {std::max(image.x0, down(window.x0, first.x0, first.width())),
        std::max(image.y0, down(window.y0, first.y0, first.height())),
        std::min(image.x1, up(window.x1, first.x0, first.width())),
        std::min(image.y1, up(window.y1, first.y0, first.height()))};
}

DecodePlan planFor(Jpeg2000Codestream const& codestream, DecodeRequest const& request)
{
    DecodePlan plan;
    plan.reduction = reductionFor(request.scale, codestream.levels);
    plan.window = windowFor(codestream, request.region, plan.reduction);
    auto const sampleBytes = static_cast<std::int64_t>(codestream.components.size()) * 4;
    auto const rowBytes = std::max<std::int64_t>(1, (plan.window.width() >> plan.reduction) * sampleBytes);
    auto const rows = plan.window.height() >> plan.reduction;

    // A row of tiles is held as rows; one tile at a time as samples.
    auto const tileRows =
        std::min(codestream.firstTile.height(), codestream.image.height()) >> plan.reduction;
    if (codestream.tileColumns() * codestream.tileRows() > 1 && tileRows <= kLargestDecode / rowBytes) {
        plan.isTiled = true;
        widenToTiles(codestream, plan.window);
    } else if (rows <= kLargestDecode / rowBytes) {
        plan.stripHeight = plan.window.height();
    } else {
        auto const stripRows = std::max<std::int64_t>(1, kStripBytes / rowBytes / kStripAlignment);
        plan.stripHeight = stripRows * kStripAlignment << plan.reduction;
    }
    return plan;
}

// Y, Cb, Cr with all the range of the component type to R, G, B (ITU-R BT.601).
template <typename Component> void convertYcc(std::uint8_t* row, std::size_t pixels, std::size_t channels)
{
    static constexpr float kLargest = sizeof(Component) == 1 ? 255 : 65535;
    static constexpr float kMiddle = sizeof(Component) == 1 ? 128 : 32768;
    auto const stored = [](float value) {
        return static_cast<Component>(std::clamp(value, 0.0f, kLargest) + 0.5f);
    };
    auto* pixel = reinterpret_cast<Component*>(row);
    for (std::size_t i = 0; i < pixels; ++i, pixel += channels) {
        float const y = pixel[0], cb = pixel[1] - kMiddle, cr = pixel[2] - kMiddle;
        pixel[0] = stored(y + 1.402f * cr);
        pixel[1] = stored(y - 0.344136f * cb - 0.714136f * cr);
        pixel[2] = stored(y + 1.772f * cb);
    }
}

/// One channel of a decoded rectangle, and where it goes in the band.
struct Placement {
    opj_image_comp_t const& samples;
    Jpeg2000Plane const& plane;
    std::vector<std::size_t> const& columns; ///< sample of each pixel
    std::size_t channels;
};

template <typename Component>
void placeRow(Placement const& placement, std::size_t sampleRow, std::size_t channel, std::uint8_t* to)
{
    auto const* samples = placement.samples.data + sampleRow * placement.samples.w;
    auto const& values = placement.plane.values;
    auto const largest = static_cast<int>(values.size()) - 1;
    auto* out = reinterpret_cast<Component*>(to) + channel;
    for (auto const column : placement.columns) {
        // Damaged data may overflow what they are to hold.
        auto const value = std::clamp(std::int64_t {samples[column]} + placement.plane.offset,
            std::int64_t {0}, std::int64_t {largest});
        *out = static_cast<Component>(values[static_cast<std::size_t>(value)]);
        out += placement.channels;
    }
}

class Jpeg2000Rows final : public RowSource {
public:
    Jpeg2000Rows(std::shared_ptr<Jpeg2000Source const> source, PixelLayout layout, DecodePlan const& plan)
        : RowSource(std::move(layout))
        , m_source(std::move(source))
        , m_codestream(m_source->contents().codestream)
        , m_plan(plan)
        , m_nextGridRow(plan.window.y0)
    {
    }

    Result<void> start(Jpeg2000Care care = Jpeg2000Care::Strict)
    {
        m_decoder = TRY(Jpeg2000Decoder::open(m_source->file(), m_codestream, m_plan.reduction, care));
        return {};
    }

private:
    std::int64_t pixelX(std::int64_t gridX) const
    {
        return reduced(gridX, m_codestream.pixelStepX(), m_plan.reduction);
    }
    std::int64_t pixelY(std::int64_t gridY) const
    {
        return reduced(gridY, m_codestream.pixelStepY(), m_plan.reduction);
    }

    Result<void> readRows(RowView rows) override
    {
        auto const origin = pixelY(m_plan.window.y0);
        for (int i = 0; i < rows.count; ++i) {
            auto const y = origin + nextRow() + i;
            while (y >= pixelY(m_band.y1))
                TRY(decodeBand());
            std::memcpy(rows.row(i), bandRow(y), rowBytes());
        }
        return {};
    }

    std::uint8_t* bandRow(std::int64_t y)
    {
        return m_pixels.data() + static_cast<std::size_t>(y - pixelY(m_band.y0)) * rowBytes();
    }

    Result<void> decodeBand()
    {
        auto const tileRow = (m_nextGridRow - m_codestream.firstTile.y0) / m_codestream.firstTile.height();
        m_band = m_plan.window;
        m_band.y0 = m_nextGridRow;
        m_band.y1 = std::min(m_plan.window.y1,
            m_plan.isTiled ? m_codestream.tile(0, tileRow).y1 : m_nextGridRow + m_plan.stripHeight);
        m_nextGridRow = m_band.y1;
        m_pixels.assign(static_cast<std::size_t>(pixelY(m_band.y1) - pixelY(m_band.y0)) * rowBytes(), 0);
        TRY(m_plan.isTiled ? decodeTileRow(tileRow) : decodeStrip());
        if (!m_hasPixels && m_nextGridRow == m_plan.window.y1)
            return fail("the JPEG 2000 image data is damaged or missing");
        if (m_isDamaged)
            m_source->warnOfDamage();
        return {};
    }

    Result<void> decodeTileRow(std::int64_t tileRow)
    {
        for (std::int64_t column = 0; column < m_codestream.tileColumns(); ++column) {
            auto const area = m_codestream.tile(column, tileRow);
            if (area.x1 <= m_plan.window.x0 || area.x0 >= m_plan.window.x1)
                continue;
            if (m_needsRestart)
                TRY(restart());
            if (m_decoder)
                decode(area, tileRow * m_codestream.tileColumns() + column);
        }
        return {};
    }

    // OpenJPEG is not to be used any more once a tile has failed. As a new decoder has to find its tile from
    // the start of the codestream, there is an end to that.
    Result<void> restart()
    {
        m_needsRestart = false;
        m_decoder.reset();
        return m_restarts++ < kMaximumRestarts ? start() : Result<void> {};
    }

    Result<void> decodeStrip()
    {
        bool const isFirst = m_band.y0 == m_plan.window.y0;
        // The decoder takes up another area only in an image of one tile.
        bool const isSpent = !isFirst && m_codestream.tileColumns() * m_codestream.tileRows() > 1;
        if (m_needsRestart)
            TRY(restart());
        else if (isSpent && m_decoder)
            TRY(start());
        if (m_decoder)
            decode(m_band, std::nullopt);
        return {};
    }

    // Decodes a tile, or just an area, into the band. What cannot be decoded stays blank.
    void decode(GridRect const& area, std::optional<std::int64_t> tile)
    {
        auto isDecoded = decodeAndPlace(area, tile);
        m_needsRestart = !isDecoded || m_decoder->hasDamage();
        m_isDamaged = m_isDamaged || m_needsRestart;
        if (!isDecoded) {
            // A process is best copied without the decoder's threads.
            m_decoder.reset();
            isDecoded = runInSandbox(
                m_pixels, [&] { return start(Jpeg2000Care::Daring) && decodeAndPlace(area, tile); });
        }
        m_hasPixels = m_hasPixels || isDecoded;
    }

    bool decodeAndPlace(GridRect const& area, std::optional<std::int64_t> tile)
    {
        bool const isDecoded = tile ? m_decoder->decodeTile(*tile) : m_decoder->decodeArea(area);
        if (isDecoded)
            place(area);
        return isDecoded;
    }

    void place(GridRect const& area)
    {
        bool const isDeep = format().componentType == ComponentType::UInt16;
        auto const& planes = m_source->layout().planes;
        for (std::size_t channel = 0; channel < planes.size(); ++channel) {
            if (isDeep)
                placeChannel<std::uint16_t>(area, channel);
            else
                placeChannel<std::uint8_t>(area, channel);
        }
        if (!m_source->layout().isYcc)
            return;
        auto const convert = isDeep ? convertYcc<std::uint16_t> : convertYcc<std::uint8_t>;
        for (auto y = pixelY(area.y0); y < pixelY(area.y1); ++y)
            convert(at(area, y), static_cast<std::size_t>(pixelX(area.x1) - pixelX(area.x0)), planes.size());
    }

    std::uint8_t* at(GridRect const& area, std::int64_t y)
    {
        auto const x = static_cast<std::size_t>(pixelX(area.x0) - pixelX(m_plan.window.x0));
        return bandRow(y) + x * format().bytesPerPixel();
    }

    template <typename Component> void placeChannel(GridRect const& area, std::size_t channel)
    {
        auto const& plane = m_source->layout().planes[channel];
        auto const& samples = m_decoder->component(plane.component);
        if (!samples.data || samples.w == 0 || samples.h == 0)
            return;
        auto const& component = m_codestream.components[static_cast<std::size_t>(plane.component)];
        auto const columns = samplesOf(pixelX(area.x0), pixelX(area.x1), m_codestream.pixelStepX(),
            component.stepX, reduced(area.x0, component.stepX, m_plan.reduction), samples.w);
        auto const rows = samplesOf(pixelY(area.y0), pixelY(area.y1), m_codestream.pixelStepY(),
            component.stepY, reduced(area.y0, component.stepY, m_plan.reduction), samples.h);
        Placement const placement {samples, plane, columns, m_source->layout().planes.size()};
        for (std::size_t i = 0; i < rows.size(); ++i)
            placeRow<Component>(
                placement, rows[i], channel, at(area, pixelY(area.y0) + static_cast<std::int64_t>(i)));
    }

    // The sample, counted from the first in the rectangle, that stands for each of the pixels [first, end).
    static std::vector<std::size_t> samplesOf(std::int64_t first, std::int64_t end, int pixelStep,
        int sampleStep, std::int64_t firstSample, std::int64_t count)
    {
        std::vector<std::size_t> samples;
        samples.reserve(static_cast<std::size_t>(end - first));
        for (auto pixel = first; pixel < end; ++pixel) {
            auto const sample = pixel * pixelStep / sampleStep - firstSample;
            samples.push_back(static_cast<std::size_t>(std::clamp(sample, std::int64_t {0}, count - 1)));
        }
        return samples;
    }

    std::shared_ptr<Jpeg2000Source const> m_source;
    Jpeg2000Codestream const& m_codestream;
    DecodePlan m_plan;
    std::unique_ptr<Jpeg2000Decoder> m_decoder;
    /// Rows that are decoded, full width of the window.
    GridRect m_band;
    Bytes m_pixels;
    std::int64_t m_nextGridRow;
    bool m_hasPixels = false;
    bool m_isDamaged = false;
    bool m_needsRestart = false;
    int m_restarts = 0;
};

FloatRect areaOf(Jpeg2000Codestream const& codestream, DecodePlan const& plan, Size size)
{
    auto const factor = std::exp2(plan.reduction);
    auto const shift = (1 - factor) / 2;
    auto const start = [&](std::int64_t grid, std::int64_t origin, int step) {
        return static_cast<double>(reduced(grid, step, plan.reduction)) * factor + shift
            - static_cast<double>(ceilDivide(origin, step));
    };
    return {start(plan.window.x0, codestream.image.x0, codestream.pixelStepX()),
        start(plan.window.y0, codestream.image.y0, codestream.pixelStepY()), size.width * factor,
        size.height * factor};
}

} // namespace

Result<DecodedRows> openJpeg2000Rows(
    std::shared_ptr<Jpeg2000Source const> source, DecodeRequest const& request)
{
    auto const& codestream = source->contents().codestream;
    auto const plan = planFor(codestream, request);
    auto const side = [&](std::int64_t low, std::int64_t high, int step) {
        return static_cast<int>(reduced(high, step, plan.reduction) - reduced(low, step, plan.reduction));
    };
    auto layout = source->description().info.layout;
    layout.size = {side(plan.window.x0, plan.window.x1, codestream.pixelStepX()),
        side(plan.window.y0, plan.window.y1, codestream.pixelStepY())};
    if (layout.size.isEmpty())
        return openJpeg2000Rows(std::move(source), {});
    auto const area = areaOf(codestream, plan, layout.size);
    auto rows = std::make_unique<Jpeg2000Rows>(std::move(source), std::move(layout), plan);
    TRY(rows->start());
    return DecodedRows {std::move(rows), area};
}

} // namespace velk::codec
