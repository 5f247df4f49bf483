#include "canvas/ImageData.h"

#include <sys/mman.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace velk {

namespace {

constexpr double kMaximumBytes = std::numeric_limits<std::uint32_t>::max();

/// Smaller blocks come from the heap.
constexpr std::size_t kMinimumMappedBytes = std::size_t {1} << 20;
/// Larger blocks are mostly empty, and huge pages would fill them.
constexpr std::size_t kMaximumHugePageBytes = std::size_t {256} << 20;

// Zeroed pages exist only once they are touched, so a block far larger than what it is filled from costs
// little; those of a photo are mapped faster in large pieces.
std::shared_ptr<std::uint8_t> mappedBlock(std::size_t length)
{
    auto* const memory = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        return nullptr;
    if (length <= kMaximumHugePageBytes)
        ::madvise(memory, length, MADV_HUGEPAGE); // only a wish
    return {static_cast<std::uint8_t*>(memory), [length](void* block) { ::munmap(block, length); }};
}

std::shared_ptr<std::uint8_t> heapBlock(std::size_t length)
{
    auto const bytes = std::make_shared<std::vector<std::uint8_t>>(length);
    return {bytes, bytes->data()};
}

// The rows of a block from its last to its first: the picture from top to bottom.
class TopDownRows final : public graphics::RowSource {
public:
    TopDownRows(std::shared_ptr<std::uint8_t const> block, graphics::Size size)
        : RowSource(graphics::BitmapContext::layout(size))
        , m_block(std::move(block))
    {
    }

private:
    Result<void> readRows(graphics::RowView rows) override
    {
        for (std::int32_t i = 0; i < rows.count; ++i) {
            auto const rowInBlock = static_cast<std::size_t>(rowsLeft() - 1 - i);
            std::copy_n(m_block.get() + rowInBlock * rowBytes(), rowBytes(), rows.row(i));
        }
        return {};
    }

    std::shared_ptr<std::uint8_t const> m_block;
};

class BlockPixels final : public graphics::PixelProvider {
public:
    BlockPixels(std::shared_ptr<std::uint8_t const> block, graphics::Size size)
        : m_block(std::move(block))
        , m_size(size)
    {
    }

    Result<graphics::DecodedRows> open(graphics::DecodeRequest const&) const override
    {
        return graphics::DecodedRows {std::make_unique<TopDownRows>(m_block, m_size),
            {0, 0, static_cast<double>(m_size.width), static_cast<double>(m_size.height)}};
    }

private:
    std::shared_ptr<std::uint8_t const> m_block;
    graphics::Size m_size;
};

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

void ImageData::allocateBuffer() const
{
    if (length() > 0)
        m_buffer = length() < kMinimumMappedBytes ? heapBlock(length()) : mappedBlock(length());
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
    return pixels ? graphics::BitmapContext::over(pixels, size(), m_width * kBytesPerPixel) : nullptr;
}

std::optional<graphics::Image> ImageData::createImage() const
{
    if (!buffer())
        return std::nullopt;
    return graphics::Image({.layout = graphics::BitmapContext::layout(size()), .bitsPerComponent = 8},
        std::make_shared<BlockPixels>(m_buffer, size()));
}

} // namespace velk
