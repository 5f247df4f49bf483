#pragma once

#include "platform/graphics/RowSource.h"

#include <memory>

namespace velk::graphics {

/// A whole image in memory, for the operations that need every pixel at hand. Rows are 64-byte aligned.
class PixelBuffer {
public:
    /// Zeroed pixels; an error when the memory for them cannot be had.
    static Result<PixelBuffer> create(PixelLayout layout);
    /// Everything that `rows` delivers from its next row on.
    static Result<PixelBuffer> collect(RowSource& rows);

    PixelLayout const& layout() const { return m_layout; }
    Size size() const { return m_layout.size; }
    PixelFormat format() const { return m_layout.format; }
    std::size_t stride() const { return m_stride; }
    std::uint8_t* row(std::int32_t y) { return m_pixels.get() + static_cast<std::size_t>(y) * m_stride; }
    std::uint8_t const* row(std::int32_t y) const
    {
        return m_pixels.get() + static_cast<std::size_t>(y) * m_stride;
    }
    RowView rows(std::int32_t y, std::int32_t count) { return {row(y), m_stride, count}; }

private:
    struct Release {
        void operator()(std::uint8_t* pixels) const;
    };

    PixelLayout m_layout;
    std::size_t m_stride = 0;
    std::unique_ptr<std::uint8_t[], Release> m_pixels;
};

/// The rows of a buffer that somebody else keeps alive through the shared pointer.
RowSourcePointer rowsOf(std::shared_ptr<PixelBuffer const> buffer);

} // namespace velk::graphics
