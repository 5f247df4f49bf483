#pragma once

#include "platform/graphics/WorkCrew.h"
#include "platform/graphics/drawing/Blend.h"
#include "platform/graphics/drawing/Shape.h"
#include "platform/graphics/drawing/SpanSource.h"

#include <memory>
#include <vector>

namespace velk::graphics {

/// The pixels that are drawn on: premultiplied RGBA, rows from top to bottom.
struct Surface {
    std::uint8_t* pixels = nullptr;
    Size size;
    std::size_t stride = 0;

    std::uint8_t* at(std::int32_t x, std::int32_t y) const
    {
        return pixels + static_cast<std::size_t>(y) * stride + 4 * static_cast<std::size_t>(x);
    }
};

/// Where drawing has an effect.
struct Clip {
    IntRect bounds;
    /// Of at least `bounds`; null while the clip is a rectangle of whole pixels. Shared by saved states.
    std::shared_ptr<CoverageMask const> mask;

    /// Null without a mask.
    std::uint8_t const* row(std::int32_t x, std::int32_t y) const
    {
        return mask ? mask->row(y) + (x - mask->bounds.x) : nullptr;
    }
    void intersect(RectangleShape const& rectangle);
    void intersect(Shape const& shape);
};

/// What a shape is coloured with: one colour, or a source with `alpha`.
struct Paint {
    PremultipliedColor color;
    SpanSource* source = nullptr;
    std::uint8_t alpha = 255;
};

/// Joins shapes with the pixels of a surface. Keeps its row buffers from shape to shape.
class Compositor {
public:
    /// `crew` helps with large areas.
    Compositor(Surface const& surface, WorkCrew& crew);

    void draw(Shape const& shape, Paint const& paint, BlendMode mode, Clip const& clip);
    /// The same, on several threads where there is much to do.
    void draw(RectangleShape const& rectangle, Paint const& paint, BlendMode mode, Clip const& clip);

private:
    /// What a row is made in before it meets the surface.
    struct RowBuffers {
        explicit RowBuffers(std::int32_t width);

        std::vector<std::uint8_t> pixels;
        std::vector<std::uint8_t> coverage;
    };
    class SpanPainter;
    void drawEverywhere(Shape const& shape, Paint const& paint, BlendMode mode, Clip const& clip);

    Surface m_surface;
    WorkCrew& m_crew;
    RowBuffers m_row;
    std::vector<std::uint8_t> m_composed; // of a row
};

} // namespace velk::graphics
