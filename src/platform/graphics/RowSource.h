#pragma once

#include "base/Bytes.h"
#include "base/Result.h"
#include "platform/graphics/ColorSpace.h"
#include "platform/graphics/Geometry.h"
#include "platform/graphics/PixelFormat.h"

#include <memory>

namespace velk::graphics {

/// Memory for a few consecutive rows, aligned as the allocator gives it.
struct RowView {
    std::uint8_t* data = nullptr;
    std::size_t stride = 0; ///< bytes from one row to the next
    std::int32_t count = 0; ///< rows

    std::uint8_t* row(std::int32_t index) const { return data + static_cast<std::size_t>(index) * stride; }
};

/// What flows: the size, layout and meaning of an image's pixels.
struct PixelLayout {
    Size size;
    PixelFormat format;
    ColorSpace space = ColorSpace::device(ColorModel::RGB);

    std::size_t rowBytes() const { return static_cast<std::size_t>(size.width) * format.bytesPerPixel(); }
};

/// Delivers the rows of an image once, from top to bottom. Every stage of a pipeline is one. An instance is
/// used by one thread at a time.
class RowSource {
public:
    explicit RowSource(PixelLayout layout)
        : m_layout(std::move(layout))
    {
    }
    RowSource(RowSource const&) = delete;
    RowSource& operator=(RowSource const&) = delete;
    virtual ~RowSource() = default;

    PixelLayout const& layout() const { return m_layout; }
    Size size() const { return m_layout.size; }
    PixelFormat format() const { return m_layout.format; }
    std::size_t rowBytes() const { return m_layout.rowBytes(); }
    /// Index of the row that the next `read` delivers first.
    std::int32_t nextRow() const { return m_nextRow; }
    std::int32_t rowsLeft() const { return m_layout.size.height - m_nextRow; }

    /// Fills all of `rows`; the caller asks for no more rows than are left. After a failure the source is
    /// used up.
    Result<void> read(RowView rows)
    {
        TRY(readRows(rows));
        m_nextRow += rows.count;
        return {};
    }

protected:
    virtual Result<void> readRows(RowView rows) = 0;

private:
    PixelLayout m_layout;
    std::int32_t m_nextRow = 0;
};

using RowSourcePointer = std::unique_ptr<RowSource>;

} // namespace velk::graphics
