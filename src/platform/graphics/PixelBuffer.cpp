#include "platform/graphics/PixelBuffer.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace velk::graphics {

namespace {

constexpr std::size_t kAlignment = 64;

// Memory for a photo costs more time to map in small pages than to fill, and a walk down its columns needs a
// page a row, so large buffers ask for huge pages.
constexpr std::size_t kHugePage = std::size_t {2} << 20;

std::uint8_t* allocate(std::size_t bytes)
{
    if (bytes < 2 * kHugePage)
        return static_cast<std::uint8_t*>(std::aligned_alloc(kAlignment, bytes));
    auto const whole = (bytes + kHugePage - 1) / kHugePage * kHugePage;
    auto* const memory = std::aligned_alloc(kHugePage, whole);
    if (memory)
        ::madvise(memory, whole, MADV_HUGEPAGE); // only a wish: failure changes nothing
    return static_cast<std::uint8_t*>(memory);
}

class BufferRows final : public RowSource {
public:
    explicit BufferRows(std::shared_ptr<PixelBuffer const> buffer)
        : RowSource(buffer->layout())
        , m_buffer(std::move(buffer))
    {
    }

private:
    Result<void> readRows(RowView rows) override
    {
        for (std::int32_t i = 0; i < rows.count; ++i)
            std::memcpy(rows.row(i), m_buffer->row(nextRow() + i), rowBytes());
        return {};
    }

    std::shared_ptr<PixelBuffer const> m_buffer;
};

} // namespace

void PixelBuffer::Release::operator()(std::uint8_t* pixels) const
{
    std::free(pixels);
}

Result<PixelBuffer> PixelBuffer::create(PixelLayout layout)
{
    if (!isPossible(layout.size))
        return fail("an image of {} x {} pixels is not possible", layout.size.width, layout.size.height);
    PixelBuffer buffer;
    buffer.m_stride = (layout.rowBytes() + kAlignment - 1) / kAlignment * kAlignment;
    buffer.m_layout = std::move(layout);
    auto const bytes = buffer.m_stride * static_cast<std::size_t>(buffer.m_layout.size.height) + kAlignment;
    auto* const pixels = allocate(bytes);
    if (!pixels)
        return fail("out of memory");
    buffer.m_pixels.reset(pixels);
    std::memset(pixels, 0, bytes);
    return buffer;
}

Result<PixelBuffer> PixelBuffer::collect(RowSource& rows)
{
    auto layout = rows.layout();
    layout.size.height = rows.rowsLeft();
    auto buffer = TRY(create(std::move(layout)));
    constexpr std::int32_t kBlock = 64;
    for (std::int32_t y = 0; rows.rowsLeft() > 0; y += kBlock)
        TRY(rows.read(buffer.rows(y, std::min(kBlock, rows.rowsLeft()))));
    return buffer;
}

RowSourcePointer rowsOf(std::shared_ptr<PixelBuffer const> buffer)
{
    return std::make_unique<BufferRows>(std::move(buffer));
}

} // namespace velk::graphics
