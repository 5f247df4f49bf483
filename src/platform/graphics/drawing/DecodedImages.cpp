#include "platform/graphics/drawing/DecodedImages.h"

#include "platform/color/ColorConversion.h"
#include "platform/graphics/Pipeline.h"
#include "platform/graphics/drawing/BitmapContext.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace velk::graphics {

namespace {

constexpr std::size_t kMaximumBytes = std::size_t {64} << 20;
constexpr std::size_t kMaximumEntries = 256;
constexpr std::int64_t kSmallImagePixels = std::int64_t {1} << 20;

PixelLayout partLayout(PixelLayout layout, IntRect const& part)
{
    layout.size = {part.width, part.height};
    return layout;
}

class PartRows final : public RowSource {
public:
    PartRows(std::shared_ptr<PixelBuffer const> buffer, IntRect const& part)
        : RowSource(partLayout(buffer->layout(), part))
        , m_buffer(std::move(buffer))
        , m_part(part)
    {
    }

private:
    Result<void> readRows(RowView rows) override
    {
        auto const start = static_cast<std::size_t>(m_part.x) * format().bytesPerPixel();
        for (std::int32_t i = 0; i < rows.count; ++i)
            std::memcpy(rows.row(i), m_buffer->row(m_part.y + nextRow() + i) + start, rowBytes());
        return {};
    }

    std::shared_ptr<PixelBuffer const> m_buffer;
    IntRect m_part;
};

// A picture in memory that shows an image of `size`, maybe in fewer pixels.
class KeptPixels final : public PixelProvider {
public:
    KeptPixels(std::shared_ptr<PixelBuffer const> buffer, Size size)
        : m_buffer(std::move(buffer))
        , m_scaleX(static_cast<double>(m_buffer->size().width) / size.width)
        , m_scaleY(static_cast<double>(m_buffer->size().height) / size.height)
        , m_size(size)
    {
    }

    // The pixels around the region.
    Result<DecodedRows> open(DecodeRequest const& request) const override
    {
        auto const region =
            request.region.isEmpty() ? IntRect {0, 0, m_size.width, m_size.height} : request.region;
        auto const size = m_buffer->size();
        auto const begin = [](double value, std::int32_t limit) {
            return static_cast<std::int32_t>(std::clamp(std::floor(value + 1e-6), 0.0, limit - 1.0));
        };
        auto const end = [](double value, std::int32_t first, std::int32_t limit) {
            return static_cast<std::int32_t>(
                std::clamp(std::ceil(value - 1e-6), first + 1.0, static_cast<double>(limit)));
        };
        auto const left = begin(region.x * m_scaleX, size.width);
        auto const top = begin(region.y * m_scaleY, size.height);
        auto const right = end((double {1} * region.x + region.width) * m_scaleX, left, size.width);
        auto const bottom = end((double {1} * region.y + region.height) * m_scaleY, top, size.height);
        IntRect const part = {left, top, right - left, bottom - top};
        return DecodedRows {std::make_unique<PartRows>(m_buffer, part),
            {left / m_scaleX, top / m_scaleY, part.width / m_scaleX, part.height / m_scaleY}};
    }

private:
    std::shared_ptr<PixelBuffer const> m_buffer;
    double m_scaleX, m_scaleY;
    Size m_size;
};

PixelFormat keptFormat(bool hasAlpha)
{
    return {ComponentType::UInt8, ColorModel::RGB, hasAlpha ? Alpha::Premultiplied : Alpha::None};
}

Image keptImage(Image const& image, std::shared_ptr<PixelProvider const> pixels)
{
    auto layout = BitmapContext::layout(image.size());
    layout.format = keptFormat(image.hasAlpha());
    return Image({std::move(layout), 8}, std::move(pixels));
}

bool coversAll(DecodedRows const& decoded, Size size)
{
    return decoded.area.x == 0 && decoded.area.y == 0 && std::abs(decoded.area.width - size.width) < 1e-6
        && std::abs(decoded.area.height - size.height) < 1e-6;
}

} // namespace

DecodedImages& DecodedImages::shared()
{
    static DecodedImages images;
    return images;
}

Image DecodedImages::lookUp(Image const& image, double scale)
{
    // What canvases and scripts made lies in memory as it is.
    if (image.format() == BitmapContext::layout({}).format)
        return image;
    std::lock_guard const lock(m_mutex);
    auto& entry = entryOf(image);
    ++entry.draws;
    if (entry.scale < scale)
        decode(entry, image, scale);
    return entry.scale >= scale ? keptImage(image, entry.pixels) : image;
}

bool DecodedImages::isKept(Image const& image)
{
    return dynamic_cast<KeptPixels const*>(image.pixels().get()) != nullptr;
}

DecodedImages::Entry& DecodedImages::entryOf(Image const& image)
{
    m_entries.remove_if([](Entry const& entry) { return entry.original.expired(); });
    auto const found = std::find_if(m_entries.begin(), m_entries.end(), [&](Entry const& entry) {
        return entry.original.lock() == image.pixels() && entry.space == image.space();
    });
    if (found != m_entries.end()) {
        m_entries.splice(m_entries.begin(), m_entries, found);
        return m_entries.front();
    }
    if (m_entries.size() == kMaximumEntries)
        m_entries.pop_back();
    return m_entries.emplace_front(Entry {.original = image.pixels(), .space = image.space()});
}

// What fails here fails again, with a message, where the image itself is read.
void DecodedImages::decode(Entry& entry, Image const& image, double scale)
{
    auto decoded = image.open({.scale = scale});
    if (!decoded || !coversAll(*decoded, image.size()))
        return;
    auto const size = decoded->rows->size();
    auto const format = keptFormat(image.hasAlpha());
    auto const bytes = static_cast<std::size_t>(size.pixelCount()) * format.bytesPerPixel();
    if (bytes > kMaximumBytes || (entry.draws == 1 && size.pixelCount() > kSmallImagePixels))
        return;
    auto rows = color::convertColors(
        readAhead(std::move(decoded->rows)), {.format = format, .space = BitmapContext::layout(size).space});
    if (!rows)
        return;
    auto buffer = PixelBuffer::collect(**rows);
    if (!buffer)
        return;
    entry.pixels.reset();
    entry.bytes = 0;
    makeRoom(bytes);
    entry.pixels =
        std::make_shared<KeptPixels>(std::make_shared<PixelBuffer const>(*std::move(buffer)), image.size());
    entry.bytes = bytes;
    entry.scale = std::min(static_cast<double>(size.width) / image.size().width,
        static_cast<double>(size.height) / image.size().height);
    entry.scale = std::max(entry.scale, scale);
}

void DecodedImages::makeRoom(std::size_t bytes)
{
    for (auto const& entry : m_entries)
        bytes += entry.bytes;
    for (auto entry = m_entries.rbegin(); entry != m_entries.rend() && bytes > kMaximumBytes; ++entry) {
        bytes -= entry->bytes;
        entry->pixels.reset();
        entry->bytes = 0;
        entry->scale = 0;
    }
}

} // namespace velk::graphics
