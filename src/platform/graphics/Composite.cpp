#include "platform/graphics/Composite.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace velk::graphics {

namespace {

// color * (1 - alpha), rounded for bytes.
std::uint8_t under(std::uint8_t color, std::uint8_t alpha)
{
    auto const product = color * (255 - alpha) + 128;
    return static_cast<std::uint8_t>((product + (product >> 8)) >> 8);
}

float under(float color, float alpha)
{
    return color * (1 - alpha);
}

std::uint8_t sum(std::uint8_t a, std::uint8_t b)
{
    return static_cast<std::uint8_t>(std::min(a + b, 255));
}

float sum(float a, float b)
{
    return a + b;
}

template <typename Component> constexpr Component kOpaque = std::is_floating_point_v<Component> ? 1 : 255;

PixelLayout compositeLayout(PixelLayout layout, bool keepsAlpha)
{
    if (!keepsAlpha)
        layout.format.alpha = Alpha::None;
    return layout;
}

template <typename Component> class OnColorRows final : public RowSource {
public:
    OnColorRows(RowSourcePointer rows, Bytes const& color, bool keepsAlpha)
        : RowSource(compositeLayout(rows->layout(), keepsAlpha))
        , m_rows(std::move(rows))
        , m_keepsAlpha(keepsAlpha)
        , m_color(color.size() / sizeof(Component))
        , m_row(m_rows->rowBytes() / sizeof(Component))
    {
        std::memcpy(m_color.data(), color.data(), color.size());
    }

private:
    Result<void> readRows(RowView rows) override
    {
        for (std::int32_t y = 0; y < rows.count; ++y) {
            TRY(m_rows->read({reinterpret_cast<std::uint8_t*>(m_row.data()), m_rows->rowBytes(), 1}));
            compositeRow(reinterpret_cast<Component*>(rows.row(y)));
        }
        return {};
    }

    void compositeRow(Component* to) const
    {
        auto const colors = m_color.size();
        auto const* from = m_row.data();
        for (std::int32_t x = 0; x < size().width; ++x, from += colors + 1) {
            auto const alpha = from[colors];
            for (std::size_t i = 0; i < colors; ++i)
                *to++ = sum(from[i], under(m_color[i], alpha));
            if (m_keepsAlpha)
                *to++ = kOpaque<Component>;
        }
    }

    RowSourcePointer m_rows;
    bool m_keepsAlpha;
    std::vector<Component> m_color;
    std::vector<Component> m_row;
};

class FilledRows final : public RowSource {
public:
    FilledRows(PixelLayout layout, Bytes pixel)
        : RowSource(std::move(layout))
        , m_pixel(std::move(pixel))
    {
    }

private:
    Result<void> readRows(RowView rows) override
    {
        for (std::int32_t y = 0; y < rows.count; ++y) {
            for (std::size_t at = 0; at < rowBytes(); at += m_pixel.size())
                std::memcpy(rows.row(y) + at, m_pixel.data(), m_pixel.size());
        }
        return {};
    }

    Bytes m_pixel;
};

} // namespace

RowSourcePointer onColor(RowSourcePointer rows, Bytes color, bool keepsAlpha)
{
    assert(rows->format().alpha == Alpha::Premultiplied);
    if (rows->format().componentType == ComponentType::Float32)
        return std::make_unique<OnColorRows<float>>(std::move(rows), color, keepsAlpha);
    assert(rows->format().componentType == ComponentType::UInt8);
    return std::make_unique<OnColorRows<std::uint8_t>>(std::move(rows), color, keepsAlpha);
}

RowSourcePointer filledRows(PixelLayout layout, Bytes pixel)
{
    assert(pixel.size() == layout.format.bytesPerPixel());
    return std::make_unique<FilledRows>(std::move(layout), std::move(pixel));
}

} // namespace velk::graphics
