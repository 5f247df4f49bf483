#pragma once

#include "base/Result.h"
#include "platform/graphics/Image.h"
#include "platform/graphics/RowSource.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>

namespace velk::codec {

/// Pixels per inch that vector graphics are drawn at.
constexpr double kVectorResolution = 150;

/// Pixels of a picture whose sides are in units of `unitsPerInch`; an error when that is no image.
inline Result<graphics::Size> vectorSize(double width, double height, double unitsPerInch)
{
    // A row is drawn and delivered as a whole.
    constexpr double kLongestSide = 1 << 20;
    auto const pixels = [&](double length) {
        return std::max(1.0, std::round(length * kVectorResolution / unitsPerInch));
    };
    auto const x = pixels(width), y = pixels(height);
    if (!(x <= kLongestSide && y <= kLongestSide
            && x * y <= static_cast<double>(graphics::kMaximumPixelCount)))
        return fail("an image of {:.0f} x {:.0f} pixels is not possible", x, y);
    return graphics::Size {static_cast<std::int32_t>(x), static_cast<std::int32_t>(y)};
}

/// The size in which a decode request is served: what it asks for, drawn at just that size.
inline graphics::Size drawnSize(graphics::Size full, graphics::DecodeRequest const& request)
{
    auto const scaled = [&](std::int32_t length) {
        return std::clamp(static_cast<std::int32_t>(std::ceil(length * request.scale)), 1, length);
    };
    return {scaled(full.width), scaled(full.height)};
}

/// Draws a picture band by band, so that memory stays bounded however large it is. A band is drawn in tiles
/// where it is wider than cairo can draw at once.
class VectorRows final : public graphics::RowSource {
public:
    /// Draws the whole picture into a context whose unit is a pixel of the layout. Called for each tile.
    using Painter = std::function<Result<void>(cairo_t* context)>;

    /// `layout` is 8-bit RGB: without alpha, on white; or with premultiplied alpha.
    VectorRows(graphics::PixelLayout layout, Painter painter)
        : RowSource(std::move(layout))
        , m_painter(std::move(painter))
    {
        auto const rowBytes = static_cast<std::size_t>(size().width) * kCairoPixelBytes;
        m_bandRows = static_cast<std::int32_t>(std::clamp<std::size_t>(
            kBandBytes / rowBytes, 1, static_cast<std::size_t>(std::min(size().height, kLongestSide))));
    }

private:
    static constexpr std::size_t kBandBytes = 64 << 20;
    static constexpr std::size_t kCairoPixelBytes = 4;
    static constexpr std::int32_t kLongestSide = 16384;

    struct Destroy {
        void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
        void operator()(cairo_t* context) const { cairo_destroy(context); }
    };
    using Surface = std::unique_ptr<cairo_surface_t, Destroy>;
    using Context = std::unique_ptr<cairo_t, Destroy>;

    Result<void> readRows(graphics::RowView rows) override
    {
        for (std::int32_t i = 0; i < rows.count; ++i) {
            auto const y = nextRow() + i;
            if (y >= m_bandStart + m_bandCount)
                TRY(drawBand(y));
            std::memcpy(rows.row(i), m_band.data() + static_cast<std::size_t>(y - m_bandStart) * rowBytes(),
                rowBytes());
        }
        return {};
    }

    Result<void> drawBand(std::int32_t y)
    {
        m_bandStart = y;
        m_bandCount = std::min(m_bandRows, size().height - y);
        m_band.resize(static_cast<std::size_t>(m_bandCount) * rowBytes());
        for (std::int32_t x = 0; x < size().width; x += kLongestSide)
            TRY(drawTile({x, y, std::min(kLongestSide, size().width - x), m_bandCount}));
        return {};
    }

    Result<void> drawTile(graphics::IntRect const& tile)
    {
        Surface const surface(cairo_image_surface_create(
            format().hasAlpha() ? CAIRO_FORMAT_ARGB32 : CAIRO_FORMAT_RGB24, tile.width, tile.height));
        Context const context(cairo_create(surface.get()));
        if (!format().hasAlpha()) {
            cairo_set_source_rgb(context.get(), 1, 1, 1);
            cairo_paint(context.get());
        }
        cairo_translate(context.get(), -tile.x, -tile.y);
        TRY(m_painter(context.get()));
        cairo_surface_flush(surface.get());
        for (auto const status : {cairo_status(context.get()), cairo_surface_status(surface.get())}) {
            if (status != CAIRO_STATUS_SUCCESS)
                return fail("it cannot be drawn: {}", cairo_status_to_string(status));
        }
        takeTile(surface.get(), tile);
        return {};
    }

    // cairo's pixels are words of alpha, red, green and blue, the alpha in the highest bits.
    void takeTile(cairo_surface_t* surface, graphics::IntRect const& tile)
    {
        auto const* const pixels = cairo_image_surface_get_data(surface);
        auto const stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface));
        auto const channels = static_cast<std::size_t>(format().channels());
        for (std::int32_t y = 0; y < tile.height; ++y) {
            auto const* from = pixels + static_cast<std::size_t>(y) * stride;
            auto* to = m_band.data() + static_cast<std::size_t>(y) * rowBytes()
                + static_cast<std::size_t>(tile.x) * channels;
            for (std::int32_t x = 0; x < tile.width; ++x, from += kCairoPixelBytes, to += channels) {
                std::uint32_t word = 0;
                std::memcpy(&word, from, sizeof(word));
                to[0] = static_cast<std::uint8_t>(word >> 16);
                to[1] = static_cast<std::uint8_t>(word >> 8);
                to[2] = static_cast<std::uint8_t>(word);
                if (channels == 4)
                    to[3] = static_cast<std::uint8_t>(word >> 24);
            }
        }
    }

    Painter m_painter;
    std::int32_t m_bandRows = 1;
    std::int32_t m_bandStart = 0, m_bandCount = 0;
    Bytes m_band;
};

} // namespace velk::codec
