#include "platform/codec/JpegReader.h"

#include "platform/codec/JpegStreams.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace velk::codec::jpeg {

using namespace graphics;

namespace {

constexpr unsigned divideUp(unsigned value, unsigned by)
{
    return (value + by - 1) / by;
}

// The reductions for which libjpeg has fast code.
int denominatorFor(Size full, double scale)
{
    constexpr double kTolerance = 1e-6;
    for (auto const denominator : {8u, 4u, 2u}) {
        auto const width = divideUp(static_cast<unsigned>(full.width), denominator);
        auto const height = divideUp(static_cast<unsigned>(full.height), denominator);
        if (width >= scale * full.width - kTolerance && height >= scale * full.height - kTolerance)
            return static_cast<int>(denominator);
    }
    return 1;
}

// The part of the reduced image that holds a region of the full one.
IntRect reducedRegion(IntRect region, Size full, int denominator)
{
    auto const side = [&](std::int32_t start, std::int32_t length, std::int32_t end) {
        auto const first = std::clamp(start, 0, end - 1);
        auto const last = static_cast<std::int32_t>(
            std::clamp<std::int64_t>(std::int64_t {start} + length, first + 1, end));
        return std::pair(first / denominator, (last - 1) / denominator + 1);
    };
    if (region.isEmpty())
        region = {0, 0, full.width, full.height};
    auto const [left, right] = side(region.x, region.width, full.width);
    auto const [top, bottom] = side(region.y, region.height, full.height);
    return {left, top, right - left, bottom - top};
}

J_COLOR_SPACE outputSpace(ColorModel model)
{
    switch (model) {
    case ColorModel::Gray:
        return JCS_GRAYSCALE;
    case ColorModel::CMYK:
        return JCS_CMYK;
    default:
        return JCS_RGB;
    }
}

void invert(std::uint8_t* bytes, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<std::uint8_t>(255 - bytes[i]);
}

// Reads the headers up to the entropy-coded data, and sees whether there is any.
Result<void> prepare(Decompressor& decompressor, ColorModel model, unsigned denominator)
{
    auto& info = decompressor.info;
    TRY(decompressor.readHeader());
    std::array<std::uint8_t, 2> data;
    auto const available = TRY(decompressor.input.file.readAt(decompressor.input.position(), data));
    if (available == 0 || (available == 2 && data[0] == 0xFF && data[1] == JPEG_EOI))
        return fail("holds no image data");
    if (jpeg_has_multiple_scans(&info))
        TRY(decompressor.checkCoefficientMemory());
    info.out_color_space = outputSpace(model);
    info.scale_num = 1;
    info.scale_denom = denominator;
    info.dct_method = JDCT_ISLOW;
    info.do_fancy_upsampling = TRUE;
    return {};
}

class JpegRows final : public RowSource {
public:
    JpegRows(PixelLayout layout, std::shared_ptr<JpegSource const> source,
        std::unique_ptr<Decompressor> decompressor, IntRect part)
        : RowSource(std::move(layout))
        , m_source(std::move(source))
        , m_decompressor(std::move(decompressor))
        , m_part(part)
        , m_isInverted(format().model == ColorModel::CMYK && m_source->header().adobeTransform)
    {
    }

private:
    static constexpr std::int32_t kRowsAtOnce = 16;

    jpeg_decompress_struct& info() { return m_decompressor->info; }
    ErrorManager& errors() { return m_decompressor->errors; }

    Result<void> readRows(RowView rows) override;
    Result<void> start();
    Result<void> startDecoder();
    Result<void> salvageScans();
    Result<void> skipRows(unsigned count);
    Result<void> readBlock(RowView rows);
    Result<void> decode(std::int32_t count);
    void decodeOrRepeat(std::int32_t count);
    bool isPastData();
    Result<void> finish(Result<void> result, RowView rows);
    void cropColumns(unsigned margin);

    std::shared_ptr<JpegSource const> m_source;
    std::unique_ptr<Decompressor> m_decompressor;
    IntRect m_part; ///< what is delivered of the (reduced) image
    bool m_isInverted;
    bool m_isStarted = false;

    // Where libjpeg must decode more columns than are wanted, rows go through `m_wideRows`.
    std::size_t m_skippedBytes = 0;
    std::size_t m_wideRowBytes = 0;
    Bytes m_wideRows;

    std::array<JSAMPROW, kRowsAtOnce> m_targets = {};
    std::int32_t m_done = 0; ///< of the rows that `m_targets` stands for
    bool m_deliveredAny = false;
    bool m_gaveUp = false;
    std::optional<JDIMENSION> m_dataEnd; ///< row at which the data was seen to have ended
    Bytes m_repeatedRow; ///< stands for all rows to come, once the data has ended
};

// Upsampling looks at neighbouring chroma samples, and libjpeg takes the edges of what it decodes for those
// of the image: a margin of one unit on every side keeps that off the wanted pixels.
//
// A progressive image is decoded as a whole in here, so this waits until the first row is wanted.
Result<void> JpegRows::start()
{
    m_isStarted = true;
    TRY(startDecoder());
    auto& state = info();
    auto const unitHeight = static_cast<unsigned>(state.max_v_samp_factor * state.min_DCT_scaled_size);
    auto const unitWidth = static_cast<unsigned>(state.max_h_samp_factor * state.min_DCT_scaled_size);
    auto const top = static_cast<unsigned>(m_part.y);
    auto const skipped = top / unitHeight > 1 ? (top / unitHeight - 1) * unitHeight : 0;
    TRY(attempt(errors(), [&] {
        cropColumns(unitWidth);
        if (skipped > 0)
            jpeg_skip_scanlines(&state, skipped);
    }));
    m_wideRowBytes = std::size_t {state.output_width} * static_cast<std::size_t>(state.output_components);
    if (m_wideRowBytes != rowBytes() || skipped < top)
        m_wideRows.resize(m_wideRowBytes * kRowsAtOnce);
    return skipRows(top - skipped);
}

Result<void> JpegRows::startDecoder()
{
    auto started = attempt(errors(), [this] { jpeg_start_decompress(&info()); });
    // Between two scans, a file that ends or goes wrong stops libjpeg altogether.
    if (!started && jpeg_has_multiple_scans(&info()) && !errors().cause && salvageScans())
        return {};
    return started;
}

// Starts again in the mode in which scans can be shown one by one, and stops with the last whole one.
Result<void> JpegRows::salvageScans()
{
    auto const denominator = info().scale_denom;
    m_decompressor = TRY(Decompressor::create(m_source->file()));
    TRY(prepare(*m_decompressor, format().model, denominator));
    auto& state = info();
    auto read = attempt(errors(), [&] {
        state.buffered_image = TRUE;
        jpeg_start_decompress(&state);
        while (jpeg_consume_input(&state) != JPEG_REACHED_EOI) { }
    });
    bool const isWhole = read || state.input_iMCU_row == state.total_iMCU_rows;
    auto const scans = state.input_scan_number - (isWhole ? 0 : 1);
    if (scans < 1)
        return read;
    errors().damage.incomplete = true;
    return attempt(errors(), [&] { jpeg_start_output(&state, scans); });
}

Result<void> JpegRows::skipRows(unsigned count)
{
    for (auto left = static_cast<std::int32_t>(count); left > 0; left -= kRowsAtOnce) {
        auto const block = std::min(left, kRowsAtOnce);
        for (std::int32_t i = 0; i < block; ++i)
            m_targets[static_cast<std::size_t>(i)] =
                &m_wideRows[static_cast<std::size_t>(i) * m_wideRowBytes];
        TRY(decode(block));
    }
    return {};
}

void JpegRows::cropColumns(unsigned margin)
{
    auto& state = info();
    auto const left = static_cast<unsigned>(m_part.x);
    auto const right = left + static_cast<unsigned>(m_part.width);
    JDIMENSION start = left > margin ? left - margin : 0;
    JDIMENSION width = std::min(right + margin, state.output_width) - start;
    if (width < state.output_width)
        jpeg_crop_scanline(&state, &start, &width);
    m_skippedBytes = (left - start) * static_cast<std::size_t>(state.output_components);
}

Result<void> JpegRows::readRows(RowView rows)
{
    if (!m_isStarted)
        TRY(start());
    while (rows.count > 0) {
        auto block = rows;
        block.count = std::min(rows.count, kRowsAtOnce);
        TRY(readBlock(block));
        rows.data += static_cast<std::size_t>(block.count) * rows.stride;
        rows.count -= block.count;
    }
    m_source->reportDamage(errors().damage);
    return {};
}

Result<void> JpegRows::readBlock(RowView rows)
{
    bool const isDirect = m_wideRowBytes == rowBytes();
    for (std::int32_t i = 0; i < rows.count; ++i)
        m_targets[static_cast<std::size_t>(i)] =
            isDirect ? rows.row(i) : &m_wideRows[static_cast<std::size_t>(i) * m_wideRowBytes];
    auto const result = decode(rows.count);
    for (std::int32_t i = 0; i < m_done; ++i) {
        if (!isDirect)
            std::memcpy(rows.row(i), m_targets[static_cast<std::size_t>(i)] + m_skippedBytes, rowBytes());
        if (m_isInverted)
            invert(rows.row(i), rowBytes());
    }
    return finish(result, rows);
}

Result<void> JpegRows::decode(std::int32_t count)
{
    m_done = 0;
    if (m_gaveUp)
        return fail("the image data is damaged");
    return attempt(errors(), [&] { decodeOrRepeat(count); });
}

void JpegRows::decodeOrRepeat(std::int32_t count)
{
    while (m_done < count) {
        auto* const target = &m_targets[static_cast<std::size_t>(m_done)];
        if (!m_repeatedRow.empty()) {
            std::memcpy(*target, m_repeatedRow.data(), m_wideRowBytes);
            ++m_done;
            continue;
        }
        m_done += static_cast<std::int32_t>(
            jpeg_read_scanlines(&info(), target, static_cast<JDIMENSION>(count - m_done)));
        if (isPastData())
            m_repeatedRow.assign(*target, *target + m_wideRowBytes);
    }
}

// Behind the end of the data all rows are equal, and a small file may claim a great many of them. The decoder
// sees the end up to 64 bits before it has used them up, and a row of units takes some bits each.
bool JpegRows::isPastData()
{
    constexpr JDIMENSION kUnitsInFlight = 72;
    auto const& state = info();
    if (jpeg_has_multiple_scans(&info()) || state.unread_marker != JPEG_EOI)
        return false;
    if (!m_dataEnd)
        m_dataEnd = state.output_scanline;
    auto const unitHeight = static_cast<JDIMENSION>(state.max_v_samp_factor * state.min_DCT_scaled_size);
    return state.output_scanline - *m_dataEnd > kUnitsInFlight * unitHeight;
}

// What cannot be decoded behind rows that could be stays blank.
Result<void> JpegRows::finish(Result<void> result, RowView rows)
{
    m_deliveredAny |= m_done > 0;
    if (result)
        return {};
    if (!m_deliveredAny)
        return result;
    m_gaveUp = true;
    errors().damage.corrupt = true;
    auto const blank = format().model == ColorModel::CMYK ? 0 : 128;
    for (auto i = m_done; i < rows.count; ++i)
        std::memset(rows.row(i), blank, rowBytes());
    return {};
}

} // namespace

Result<DecodedRows> openRows(std::shared_ptr<JpegSource const> source, DecodeRequest const& request)
{
    auto layout = source->description().info.layout;
    auto const full = layout.size;
    auto const denominator = denominatorFor(full, request.scale);
    auto const part = reducedRegion(request.region, full, denominator);
    auto decompressor = TRY(Decompressor::create(source->file()));
    TRY(prepare(*decompressor, layout.format.model, static_cast<unsigned>(denominator)));

    layout.size = {part.width, part.height};
    auto rows =
        std::make_unique<JpegRows>(std::move(layout), std::move(source), std::move(decompressor), part);
    return DecodedRows {std::move(rows),
        {static_cast<double>(part.x) * denominator, static_cast<double>(part.y) * denominator,
            static_cast<double>(part.width) * denominator, static_cast<double>(part.height) * denominator}};
}

} // namespace velk::codec::jpeg
