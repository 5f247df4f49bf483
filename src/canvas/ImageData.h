#pragma once

#include "platform/graphics/drawing/BitmapContext.h"
#include "script/ExportedObject.h"
#include "script/GeometryValues.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace velk {

/// `ImageData` of scripts: a block of premultiplied RGBA pixels in Display P3, 8 bits each, rows packed. The
/// first row is the *bottom* one of the picture:
///
///     data[0]  R G B A  R G B A ...      bottom row
///              ...
///              R G B A  R G B A ...      top row
///
/// A block of more than 2^32 - 1 bytes, or one for which there is no memory, is empty: 0 by 0 pixels.
class ImageData final : public ExportedObject {
public:
    static js::ClassDescription const kClass;

    /// Transparent black; the memory is taken when it is first looked at.
    ImageData(std::uint32_t width, std::uint32_t height);
    /// A copy of the pixels.
    ImageData(ImageData const& other);
    ImageData& operator=(ImageData const&) = delete;
    /// A copy of the part of `surface` under `clip` (y downwards from the top-left corner), which an empty
    /// one means all of; whole pixels are counted downwards. What lies outside of the surface is transparent.
    ImageData(graphics::BitmapContext const& surface, RectValue clip);

    js::ClassDescription const& classDescription() const override { return kClass; }
    std::size_t memorySize() const override { return length(); }

    std::uint32_t width() const { return m_width; }
    std::uint32_t height() const { return m_height; }
    /// Bytes of all pixels.
    std::size_t length() const { return std::size_t {m_width} * m_height * kBytesPerPixel; }
    /// The pixels, to be written by others too; null when there are none.
    std::uint8_t* buffer() const;
    /// The pixels as a typed array of signed bytes, always the same one.
    js::Value data() const;

    double widthForScript() const { return m_width; }
    double heightForScript() const { return m_height; }

    /// A surface that draws into the pixels, its top row the first one; null when there are none.
    std::unique_ptr<graphics::BitmapContext> createBitmapContext() const;
    /// The picture, upright, as the pixels are when it is looked at; nothing when there are none.
    std::optional<graphics::Image> createImage() const;

private:
    static constexpr std::size_t kBytesPerPixel = 4;

    graphics::Size size() const
    {
        return {static_cast<std::int32_t>(m_width), static_cast<std::int32_t>(m_height)};
    }
    void setSize(double width, double height);
    void allocateBuffer() const;
    void copyPixels(graphics::BitmapContext const& surface, std::int64_t left, std::int64_t top);
    void drawPixels(graphics::BitmapContext const& surface, double left, double top);

    std::uint32_t m_width = 0, m_height = 0;
    mutable std::shared_ptr<std::uint8_t> m_buffer;
    mutable js::Value m_managedData;
};

} // namespace velk
