#include "canvas/ImageData.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace velk {

namespace {

constexpr double kMaximumBytes = std::numeric_limits<std::uint32_t>::max();

double finite(double value)
{
    return std::isfinite(value) ? value : 0;
}

// The same rectangle with a width and a height of at least 0; what is not finite counts as 0.
RectValue normalized(RectValue const& rect)
{
    auto const x = finite(rect.x), y = finite(rect.y), width = finite(rect.width),
               height = finite(rect.height);
    return {std::min(x, x + width), std::min(y, y + height), std::abs(width), std::abs(height)};
}

bool isWholePixel(double coordinate)
{
    return coordinate == std::floor(coordinate)
        && std::abs(coordinate) <= std::numeric_limits<std::int32_t>::max();
}

} // namespace

ImageData::ImageData(std::uint32_t width, std::uint32_t height)
{
    setSize(width, height);
}

ImageData::ImageData(ImageData const& other)
    : ExportedObject(other)
    , m_width(other.m_width)
    , m_height(other.m_height)
{
    if (other.m_buffer && buffer())
        std::copy_n(other.m_buffer.get(), length(), buffer());
}

ImageData::ImageData(graphics::BitmapContext const& surface, RectValue clip)
{
    auto const all = surface.size();
    auto area = normalized(clip);
    if (area.width == 0 || area.height == 0)
        area = {0, 0, static_cast<double>(all.width), static_cast<double>(all.height)};
    setSize(std::floor(area.width), std::floor(area.height));
    if (isWholePixel(area.x) && isWholePixel(area.y))
        copyPixels(surface, static_cast<std::int64_t>(area.x), static_cast<std::int64_t>(area.y));
    else
        drawPixels(surface, area.x, area.y);
}

void ImageData::setSize(double width, double height)
{
    if (width * height * kBytesPerPixel > kMaximumBytes || std::max(width, height) > kMaximumBytes)
        return;
    m_width = static_cast<std::uint32_t>(width);
    m_height = static_cast<std::uint32_t>(height);
}

// Zeroed pages of a large block exist only once they are written: a block far larger than what it is filled
// from costs nothing.
void ImageData::allocateBuffer() const
{
    if (length() > 0)
        m_buffer.reset(static_cast<std::uint8_t*>(std::calloc(length(), 1)), std::free);
}

std::uint8_t* ImageData::buffer() const
{
    if (!m_buffer)
        allocateBuffer();
    return m_buffer.get();
}

js::Value ImageData::data() const
{
    if (m_managedData.isUndefined()) {
        auto* const pixels = reinterpret_cast<std::int8_t*>(buffer());
        m_managedData = js::ByteView {m_buffer, pixels, pixels ? length() : 0};
    }
    return m_managedData;
}

// The columns and rows that block and surface share, row by row; the block's first row is the lowest.
void ImageData::copyPixels(graphics::BitmapContext const& surface, std::int64_t left, std::int64_t top)
{
    auto const firstColumn = std::max<std::int64_t>(left, 0);
    auto const endColumn = std::min<std::int64_t>(left + m_width, surface.size().width);
    auto const firstRow = std::max<std::int64_t>(top, 0);
    auto const endRow = std::min<std::int64_t>(top + m_height, surface.size().height);
    if (firstColumn >= endColumn || firstRow >= endRow || !buffer())
        return;
    auto const stride = std::size_t {m_width} * kBytesPerPixel;
    for (auto y = firstRow; y < endRow; ++y) {
        auto const* from = surface.row(static_cast<std::int32_t>(y))
            + static_cast<std::size_t>(firstColumn) * kBytesPerPixel;
        auto* to = buffer() + static_cast<std::size_t>(top + m_height - 1 - y) * stride
            + static_cast<std::size_t>(firstColumn - left) * kBytesPerPixel;
        std::copy_n(from, static_cast<std::size_t>(endColumn - firstColumn) * kBytesPerPixel, to);
    }
}

void ImageData::drawPixels(graphics::BitmapContext const& surface, double left, double top)
{
    auto const context = createBitmapContext();
    auto const picture = surface.snapshot();
    if (!context || !picture)
        return;
    auto const width = static_cast<double>(surface.size().width);
    auto const height = static_cast<double>(surface.size().height);
    context->concatenate(graphics::AffineTransform::translation(0, height));
    context->concatenate(graphics::AffineTransform::scale(1, -1));
    context->concatenate(graphics::AffineTransform::translation(-left, top));
    context->drawImage(*picture, {0, 0, width, height}, {0, 0, width, height});
}

std::unique_ptr<graphics::BitmapContext> ImageData::createBitmapContext() const
{
    auto* const pixels = buffer();
    if (!pixels)
        return nullptr;
    graphics::Size const size {static_cast<std::int32_t>(m_width), static_cast<std::int32_t>(m_height)};
    return graphics::BitmapContext::over(pixels, size, m_width * kBytesPerPixel);
}

std::optional<graphics::Image> ImageData::createImage() const
{
    auto const context = createBitmapContext();
    auto image = context ? context->snapshot() : fail("no pixels");
    return image ? std::optional(*std::move(image)) : std::nullopt;
}

} // namespace velk
