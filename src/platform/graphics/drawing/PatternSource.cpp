#include "platform/graphics/PixelBuffer.h"
#include "platform/graphics/drawing/SpanSource.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace velk::graphics {

namespace {

// The place of `position` in a tile of `length`; positions left of or above the origin count back from the
// tile's end.
std::int32_t wrapped(std::int64_t position, std::int32_t length)
{
    auto const rest = static_cast<std::int32_t>(position % length);
    return rest < 0 ? rest + length : rest;
}

bool areOpaque(PixelBuffer const& tile)
{
    for (std::int32_t y = 0; y < tile.size().height; ++y) {
        for (std::int32_t x = 0; x < tile.size().width; ++x) {
            if (tile.row(y)[4 * static_cast<std::size_t>(x) + 3] != 255)
                return false;
        }
    }
    return true;
}

class Pattern final : public SpanSource {
public:
    Pattern(std::shared_ptr<PixelBuffer const> tile, std::int32_t originX, std::int32_t originY)
        : m_tile(std::move(tile))
        , m_originX(originX)
        , m_originY(originY)
        , m_isOpaque(areOpaque(*m_tile))
    {
    }

    bool isOpaque() const override { return m_isOpaque; }

    //     tile:  0123456      span:  56 0123456 01234...
    //
    // The first tile's width is copied from the tile, the rest from the span itself, in runs that double.
    void span(std::int32_t x, std::int32_t y, std::int32_t count, std::uint8_t* pixels) override
    {
        auto const [width, height] = m_tile->size();
        auto const* const row = m_tile->row(wrapped(std::int64_t {y} - m_originY, height));
        auto const first = wrapped(std::int64_t {x} - m_originX, width);
        auto const head = std::min(count, width - first);
        copy(pixels, row + bytesOf(first), head);
        auto done = std::min(count, width);
        copy(pixels + bytesOf(head), row, done - head);
        while (done < count) {
            auto const run = std::min(done, count - done);
            copy(pixels + bytesOf(done), pixels, run);
            done += run;
        }
    }

private:
    static std::size_t bytesOf(std::int32_t pixels) { return 4 * static_cast<std::size_t>(pixels); }
    static void copy(std::uint8_t* to, std::uint8_t const* from, std::int32_t pixels)
    {
        std::memcpy(to, from, bytesOf(pixels));
    }

    std::shared_ptr<PixelBuffer const> m_tile;
    std::int32_t m_originX, m_originY;
    bool m_isOpaque;
};

} // namespace

std::unique_ptr<SpanSource> patternSource(
    std::shared_ptr<PixelBuffer const> tile, std::int32_t originX, std::int32_t originY)
{
    assert(tile->format() == (PixelFormat {ComponentType::UInt8, ColorModel::RGB, Alpha::Premultiplied}));
    return std::make_unique<Pattern>(std::move(tile), originX, originY);
}

} // namespace velk::graphics
