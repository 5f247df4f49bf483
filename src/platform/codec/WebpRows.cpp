#include "platform/codec/WebpRows.h"

#include <webp/decode.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace velk::codec {

using namespace graphics;

namespace {

// The decoder is fed in pieces, so that the first rows flow before the last are decoded.
constexpr std::size_t kFeedSize = 64 * 1024;
constexpr std::uint64_t kLargestBitstream = std::uint64_t {2} << 30;

// Chroma upsampling looks one chroma sample beyond the pixel. A crop is widened by this much, and the border
// thrown away, for pixels identical to those of the whole image.
constexpr int kCropMargin = 4;

struct Release {
    void operator()(std::uint8_t* memory) const { std::free(memory); }
    void operator()(WebPIDecoder* decoder) const { WebPIDelete(decoder); }
};

/// How a request is met.
///
///     rows:     what is delivered          placement: where the decoded picture lies in it; it may be
///     decoded:  size of what libwebp makes            larger than the rows, or leave some of them blank
struct DecodePlan {
    IntRect crop; ///< of the coded picture; empty = none
    Size decoded;
    Size rows;
    int placementX = 0, placementY = 0;
    FloatRect area; ///< of the canvas
};

IntRect clipped(IntRect rect, Size size)
{
    auto const left = std::clamp(rect.x, 0, size.width);
    auto const top = std::clamp(rect.y, 0, size.height);
    auto const right = std::clamp<std::int64_t>(std::int64_t {rect.x} + rect.width, left, size.width);
    auto const bottom = std::clamp<std::int64_t>(std::int64_t {rect.y} + rect.height, top, size.height);
    return {left, top, static_cast<int>(right - left), static_cast<int>(bottom - top)};
}

// The even-aligned rectangle with a margin around `region`.
IntRect cropAround(IntRect region, Size size)
{
    auto const left = std::max(0, region.x - kCropMargin) & ~1;
    auto const top = std::max(0, region.y - kCropMargin) & ~1;
    auto const right = std::min(size.width, region.x + region.width + kCropMargin);
    auto const bottom = std::min(size.height, region.y + region.height + kCropMargin);
    return {left, top, right - left, bottom - top};
}

FloatRect asFloat(IntRect rect)
{
    return {static_cast<double>(rect.x), static_cast<double>(rect.y), static_cast<double>(rect.width),
        static_cast<double>(rect.height)};
}

// libwebp shrinks by averaging areas; whole factors keep that free of uneven weights.
int reductionFor(double scale)
{
    return scale > 0 && scale < 1 ? static_cast<int>(std::min(1 / scale, 1024.0)) : 1;
}

DecodePlan planFor(WebpContents const& contents, DecodeRequest const& request)
{
    DecodePlan plan;
    plan.decoded = contents.picture.size;
    plan.rows = contents.canvas;
    plan.placementX = contents.pictureArea.x;
    plan.placementY = contents.pictureArea.y;
    plan.area = asFloat({0, 0, contents.canvas.width, contents.canvas.height});
    if (contents.isAnimated)
        return plan;

    auto region = clipped(request.region, contents.canvas);
    if (!region.isEmpty() && Size {region.width, region.height} != contents.canvas) {
        plan.crop = cropAround(region, contents.canvas);
        plan.decoded = {plan.crop.width, plan.crop.height};
        plan.rows = {region.width, region.height};
        plan.placementX = plan.crop.x - region.x;
        plan.placementY = plan.crop.y - region.y;
        plan.area = asFloat(region);
    }
    if (auto const reduction = reductionFor(request.scale); reduction > 1) {
        auto const reduced = [&](int side) { return (side + reduction - 1) / reduction; };
        if (!plan.crop.isEmpty())
            plan.area = asFloat(plan.crop);
        plan.decoded = {reduced(plan.decoded.width), reduced(plan.decoded.height)};
        plan.rows = plan.decoded;
        plan.placementX = plan.placementY = 0;
    }
    return plan;
}

class WebpRows final : public RowSource {
public:
    WebpRows(std::shared_ptr<WebpSource const> source, PixelLayout layout, DecodePlan const& plan)
        : RowSource(std::move(layout))
        , m_source(std::move(source))
        , m_plan(plan)
    {
    }

    Result<void> start()
    {
        auto const& picture = m_source->contents().picture;
        if (picture.length > kLargestBitstream)
            return fail("the image data is too large");
        m_data.resize(picture.length);
        TRY(m_source->file().readExactlyAt(picture.offset, m_data));

        m_stride = static_cast<std::size_t>(m_plan.decoded.width) * format().bytesPerPixel();
        // Rows that are never decoded stay the zeros that the system gives without using memory.
        m_pixels.reset(static_cast<std::uint8_t*>(
            std::calloc(static_cast<std::size_t>(m_plan.decoded.height), m_stride)));
        if (!m_pixels || !WebPInitDecoderConfig(&m_config))
            return fail("out of memory");
        configure();
        m_decoder.reset(WebPIDecode(nullptr, 0, &m_config));
        if (!m_decoder)
            return fail("out of memory");
        return {};
    }

private:
    void configure()
    {
        auto& options = m_config.options;
        options.use_threads = 1;
        if (!m_plan.crop.isEmpty()) {
            options.use_cropping = 1;
            options.crop_left = m_plan.crop.x;
            options.crop_top = m_plan.crop.y;
            options.crop_width = m_plan.crop.width;
            options.crop_height = m_plan.crop.height;
        }
        auto const cropped = m_plan.crop.isEmpty() ? m_source->contents().picture.size
                                                   : Size {m_plan.crop.width, m_plan.crop.height};
        if (m_plan.decoded != cropped) {
            options.use_scaling = 1;
            options.scaled_width = m_plan.decoded.width;
            options.scaled_height = m_plan.decoded.height;
        }
        auto& output = m_config.output;
        output.colorspace = format().hasAlpha() ? MODE_RGBA : MODE_RGB;
        output.width = m_plan.decoded.width;
        output.height = m_plan.decoded.height;
        output.is_external_memory = 1;
        output.u.RGBA.rgba = m_pixels.get();
        output.u.RGBA.stride = static_cast<int>(m_stride);
        output.u.RGBA.size = m_stride * static_cast<std::size_t>(m_plan.decoded.height);
    }

    Result<void> readRows(RowView rows) override
    {
        for (int i = 0; i < rows.count; ++i) {
            auto const y = nextRow() + i - m_plan.placementY;
            bool const isPicture = y >= 0 && y < m_plan.decoded.height;
            if (isPicture)
                TRY(decodeThrough(y));
            copyRow(
                isPicture ? m_pixels.get() + static_cast<std::size_t>(y) * m_stride : nullptr, rows.row(i));
        }
        return {};
    }

    Result<void> decodeThrough(int y)
    {
        while (m_decodedRows <= y && m_decoder) {
            m_fed = std::min(m_fed + kFeedSize, m_data.size());
            auto const status = WebPIUpdate(m_decoder.get(), m_data.data(), m_fed);
            int lastRow = 0;
            if (WebPIDecGetRGB(m_decoder.get(), &lastRow, nullptr, nullptr, nullptr))
                m_decodedRows = std::max(m_decodedRows, lastRow);
            if (status == VP8_STATUS_OUT_OF_MEMORY)
                return fail("out of memory");
            if (status == VP8_STATUS_SUSPENDED && m_fed < m_data.size())
                continue;
            m_decoder.reset();
            if (status != VP8_STATUS_OK && m_decodedRows == 0)
                return fail("the WebP image data is damaged");
            if (status != VP8_STATUS_OK)
                m_source->warnOfDamage();
        }
        return {};
    }

    void copyRow(std::uint8_t const* picture, std::uint8_t* to) const
    {
        auto const from = std::max(0, -m_plan.placementX);
        auto const at = std::max(0, m_plan.placementX);
        auto const count = std::min(size().width - at, m_plan.decoded.width - from);
        auto const pixel = format().bytesPerPixel();
        auto const bytes = [&](int pixels) { return static_cast<std::size_t>(pixels) * pixel; };
        if (!picture || count < size().width)
            std::memset(to, 0, rowBytes());
        if (picture && count > 0)
            std::memcpy(to + bytes(at), picture + bytes(from), bytes(count));
    }

    std::shared_ptr<WebpSource const> m_source;
    DecodePlan m_plan;
    Bytes m_data;
    std::size_t m_fed = 0;
    std::size_t m_stride = 0;
    int m_decodedRows = 0;
    std::unique_ptr<std::uint8_t[], Release> m_pixels;
    WebPDecoderConfig m_config;
    // Refers to the configuration and the pixels. Null once everything that can be decoded is.
    std::unique_ptr<WebPIDecoder, Release> m_decoder;
};

} // namespace

Result<DecodedRows> openWebpRows(std::shared_ptr<WebpSource const> source, DecodeRequest const& request)
{
    auto const plan = planFor(source->contents(), request);
    auto layout = source->description().info.layout;
    layout.size = plan.rows;
    auto rows = std::make_unique<WebpRows>(std::move(source), std::move(layout), plan);
    TRY(rows->start());
    return DecodedRows {std::move(rows), plan.area};
}

} // namespace velk::codec
