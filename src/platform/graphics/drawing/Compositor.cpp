#include "platform/graphics/drawing/Compositor.h"

#include <algorithm>
#include <cstring>

namespace velk::graphics {

namespace {

// From this many pixels on, threads have more to do than to wait for each other.
constexpr std::int64_t kLargeArea = 512 * 1024;
constexpr std::int32_t kBandRows = 64;

} // namespace

// ---- Clip

void Clip::intersect(RectangleShape const& rectangle)
{
    if (!rectangle.isAligned())
        return intersect(static_cast<Shape const&>(rectangle));
    bounds = rectangle.bounds(bounds, {});
}

void Clip::intersect(Shape const& shape)
{
    auto narrowed = std::make_shared<CoverageMask>(maskOf(shape, bounds));
    bounds = narrowed->bounds;
    if (mask) {
        for (auto y = bounds.y; y < bounds.y + bounds.height; ++y)
            multiplyCoverage(narrowed->row(y), row(bounds.x, y), static_cast<std::size_t>(bounds.width));
    }
    mask = std::move(narrowed);
}

// ---- Spans

/// Colours spans as they come, under the clip.
class Compositor::SpanPainter final : public CoverageSink {
public:
    SpanPainter(Surface const& surface, RowBuffers& row, Paint const& paint, BlendMode mode, Clip const& clip)
        : m_surface(surface)
        , m_row(row)
        , m_paint(paint)
        , m_mode(mode)
        , m_clip(clip)
        , m_replaces(paint.source && paint.source->isOpaque() && paint.alpha == 255
              && (mode == BlendMode::Normal || mode == BlendMode::Copy))
    {
    }

    void full(std::int32_t x, std::int32_t y, std::int32_t count) override
    {
        auto const* const clip = m_clip.row(x, y);
        if (m_replaces && !clip)
            m_paint.source->span(x, y, count, m_surface.at(x, y));
        else
            blend(x, y, count, clip);
    }

    void partial(std::int32_t x, std::int32_t y, std::int32_t count, std::uint8_t const* coverage) override
    {
        if (auto const* const clip = m_clip.row(x, y)) {
            auto* const clipped = m_row.coverage.data();
            std::memcpy(clipped, coverage, static_cast<std::size_t>(count));
            multiplyCoverage(clipped, clip, static_cast<std::size_t>(count));
            coverage = clipped;
        }
        blend(x, y, count, coverage);
    }

    void expect(std::int32_t x, std::int32_t y) override { __builtin_prefetch(m_surface.at(x, y), 1); }

private:
    void blend(std::int32_t x, std::int32_t y, std::int32_t count, std::uint8_t const* coverage)
    {
        auto* const target = m_surface.at(x, y);
        auto const length = static_cast<std::size_t>(count);
        if (!m_paint.source)
            return blendColor(m_mode, target, m_paint.color, coverage, length);
        auto* const pixels = m_row.pixels.data();
        m_paint.source->span(x, y, count, pixels);
        blendPixels(m_mode, target, pixels, m_paint.alpha, coverage, length);
    }

    Surface const& m_surface;
    RowBuffers& m_row;
    Paint const& m_paint;
    BlendMode m_mode;
    Clip const& m_clip;
    bool m_replaces;
};

// ---- Compositor

Compositor::RowBuffers::RowBuffers(std::int32_t width)
    : pixels(4 * static_cast<std::size_t>(width))
    , coverage(static_cast<std::size_t>(width))
{
}

Compositor::Compositor(Surface const& surface, WorkCrew& crew)
    : m_surface(surface)
    , m_crew(crew)
    , m_row(surface.size.width)
    , m_composed(m_row.pixels.size())
{
}

void Compositor::draw(Shape const& shape, Paint const& paint, BlendMode mode, Clip const& clip)
{
    if (clip.bounds.isEmpty())
        return;
    if (changesOutside(mode))
        return drawEverywhere(shape, paint, mode, clip);
    auto const area = shape.bounds(clip.bounds, {});
    if (area.isEmpty())
        return;
    SpanPainter painter(m_surface, m_row, paint, mode, clip);
    shape.cover(area, {}, painter);
}

void Compositor::draw(RectangleShape const& rectangle, Paint const& paint, BlendMode mode, Clip const& clip)
{
    auto const area = rectangle.bounds(clip.bounds, {});
    auto const isLarge = std::int64_t {area.width} * area.height >= kLargeArea;
    if (!isLarge || changesOutside(mode))
        return draw(static_cast<Shape const&>(rectangle), paint, mode, clip);
    if (paint.source)
        paint.source->prepare(area);
    auto const bands = (area.height + kBandRows - 1) / kBandRows;
    m_crew.run(static_cast<std::size_t>(bands), [&](std::size_t band) {
        auto const top = static_cast<std::int32_t>(band) * kBandRows;
        RowBuffers row(m_surface.size.width);
        SpanPainter painter(m_surface, row, paint, mode, clip);
        rectangle.cover(
            {area.x, area.y + top, area.width, std::min(kBandRows, area.height - top)}, {}, painter);
    });
}

// Where the shape is not, what is drawn is transparent: each row of the clip is composed on its own first.
void Compositor::drawEverywhere(Shape const& shape, Paint const& paint, BlendMode mode, Clip const& clip)
{
    auto const mask = maskOf(shape, clip.bounds);
    auto const& covered = mask.bounds;
    auto const width = static_cast<std::size_t>(clip.bounds.width);
    for (auto y = clip.bounds.y; y < clip.bounds.y + clip.bounds.height; ++y) {
        auto* const target = m_surface.at(clip.bounds.x, y);
        auto const* const clipRow = clip.row(clip.bounds.x, y);
        if (y < covered.y || y >= covered.y + covered.height) {
            blendColor(mode, target, {}, clipRow, width);
            continue;
        }
        std::ranges::fill(m_composed, std::uint8_t {0});
        auto* const composed = m_composed.data() + 4 * static_cast<std::size_t>(covered.x - clip.bounds.x);
        auto const count = static_cast<std::size_t>(covered.width);
        if (paint.source) {
            paint.source->span(covered.x, y, covered.width, m_row.pixels.data());
            blendPixels(BlendMode::Normal, composed, m_row.pixels.data(), paint.alpha, mask.row(y), count);
        } else {
            blendColor(BlendMode::Normal, composed, paint.color, mask.row(y), count);
        }
        blendPixels(mode, target, m_composed.data(), 255, clipRow, width);
    }
}

} // namespace velk::graphics
