#pragma once

#include "platform/graphics/drawing/BitmapContext.h"
#include "platform/graphics/drawing/DrawingState.h"

#include <optional>

namespace velk::graphics {

/// Draws on a surface with a state that can be saved. Paths are in base space, masks and images in device
/// space (y downwards from the top-left corner).
class Painter {
public:
    /// On `surface`, whose pixels are in `owned` or live at least as long.
    Painter(Surface const& surface, std::optional<PixelBuffer> owned)
        : m_owned(std::move(owned))
        , m_surface(surface)
        , m_compositor(surface, m_crew)
        , m_toDevice {.d = -1, .ty = static_cast<double>(surface.size.height)}
        , m_states(DrawingState {.clip = {{0, 0, surface.size.width, surface.size.height}, nullptr}})
    {
    }

    DrawingState const& state() const { return m_states.current(); }
    DrawingState& edit() { return m_states.edit(); }
    StateStack& states() { return m_states; }
    Surface const& surface() const { return m_surface; }
    Path& path() { return m_path; }
    /// The current path, which starts anew; good until the next call.
    Path const& takePath()
    {
        std::swap(m_path, m_takenPath);
        m_path.clear();
        return m_takenPath;
    }
    AffineTransform userToDevice() const { return state().transform * m_toDevice; }

    /// Each with the state's colours, alpha, operator, shadow and clip.
    void fill(Path const& path);
    void stroke(Path const& path, StrokeStyle const& style);
    void clip(Path const& path);
    void clear(Path const& path);
    void fillMask(CoverageMask const& mask, std::int32_t dx, std::int32_t dy);
    /// Fills the whole clip.
    void drawGradient(Gradient const& gradient);
    /// Repeats the tile from `phase` (base space) on; `alpha` is the pattern's own.
    void fillWithPattern(Path const& path, Image const& tile, Point phase, double alpha);
    /// The part of the image, mapped onto the surface.
    void drawImage(Image const& image, FloatRect const& part, AffineTransform const& partToDevice);

private:
    struct Opacity {
        double value = 1; ///< of the paint, without the state's alpha
    };

    template <typename Body> void withShapeOf(Path const& path, Body const& body);
    Paint colorPaint(Color const& color) const { return {premultiplied(color, state().alpha)}; }
    template <typename Drawn> void draw(Drawn const& shape, Paint const& paint, Opacity opacity);
    void drawShadow(Shape const& shape, Paint const& paint, Opacity opacity);
    void drawShadowOf(Box const& box, double deviation, Point shift, PremultipliedColor color);
    IntRect shadowReach(double deviation) const;
    void multiplyBySource(CoverageMask& mask, SpanSource& source, Point shift) const;

    std::optional<PixelBuffer> m_owned;
    Surface m_surface;
    WorkCrew m_crew;
    Compositor m_compositor;
    Rasterizer m_rasterizer;
    AffineTransform m_toDevice; // from base space
    StateStack m_states;
    Path m_path;
    Path m_takenPath; // keeps its memory for the next path
};

} // namespace velk::graphics
