#include "platform/graphics/drawing/Painter.h"

#include "platform/graphics/drawing/Blur.h"
#include "platform/graphics/drawing/UserSpace.h"

#include <algorithm>
#include <cmath>

namespace velk::graphics {

namespace {

// A wider blur spreads a shadow so thin that more makes no difference, but its masks would grow with it.
constexpr double kWidestDeviation = 512;

/// The image's pixels as a surface has them.
Result<PixelBuffer> surfacePixels(Image const& image, WorkCrew& crew)
{
    auto const size = image.size();
    auto buffer = TRY(PixelBuffer::create(BitmapContext::layout(size)));
    auto const drawn = TRY(imageSource(image, {0, 0, double(size.width), double(size.height)},
        AffineTransform {}, IntRect {0, 0, size.width, size.height}, crew));
    for (std::int32_t y = 0; y < size.height; ++y)
        drawn.source->span(0, y, size.width, buffer.row(y));
    return buffer;
}

} // namespace

/// Calls `body` with the inside of the path, as a rectangle when it is one.
template <typename Body> void Painter::withShapeOf(Path const& path, Body const& body)
{
    if (auto const box = uprightRectangle(path, m_toDevice))
        body(RectangleShape(*box));
    else
        body(FilledShape(path, m_toDevice, m_rasterizer));
}

template <typename Drawn> void Painter::draw(Drawn const& shape, Paint const& paint, Opacity opacity)
{
    drawShadow(shape, paint, opacity);
    m_compositor.draw(shape, paint, state().mode, state().clip);
}

void Painter::fill(Path const& path)
{
    auto const& color = state().fillColor;
    withShapeOf(path, [&](auto const& shape) { draw(shape, colorPaint(color), {color.alpha}); });
}

void Painter::stroke(Path const& path, StrokeStyle const& style)
{
    auto const& color = state().strokeColor;
    draw(StrokedShape(path, m_toDevice, style, userToDevice(), m_rasterizer), colorPaint(color),
        {color.alpha});
}

void Painter::clip(Path const& path)
{
    withShapeOf(path, [&](auto const& shape) { edit().clip.intersect(shape); });
}

void Painter::clear(Path const& path)
{
    // Taking away the whole of what is there, as far as the shape covers it.
    Paint const opaque {{0, 0, 0, 255}};
    withShapeOf(path, [&](auto const& shape) {
        m_compositor.draw(shape, opaque, BlendMode::DestinationOut, state().clip);
    });
}

void Painter::fillMask(CoverageMask const& mask, std::int32_t dx, std::int32_t dy)
{
    auto const& color = state().fillColor;
    draw(MaskShape(mask, dx, dy), colorPaint(color), {color.alpha});
}

void Painter::drawGradient(Gradient const& gradient)
{
    auto const source = gradientSource(gradient, userToDevice());
    if (!source)
        return;
    auto const& bounds = state().clip.bounds;
    RectangleShape const all({double(bounds.x), double(bounds.y), double(bounds.x) + bounds.width,
        double(bounds.y) + bounds.height});
    m_compositor.draw(
        all, {{}, source.get(), premultiplied({}, state().alpha).alpha}, state().mode, state().clip);
}

void Painter::fillWithPattern(Path const& path, Image const& tile, Point phase, double alpha)
{
    auto pixels = surfacePixels(tile, m_crew);
    if (!pixels || !std::isfinite(phase.x) || !std::isfinite(phase.y))
        return;
    auto const size = pixels->size();
    auto const x = std::fmod(std::round(phase.x), size.width);
    auto const y = std::fmod(m_surface.size.height - std::round(phase.y), size.height);
    auto const source = patternSource(std::make_shared<PixelBuffer const>(*std::move(pixels)),
        static_cast<std::int32_t>(x), static_cast<std::int32_t>(y));
    Paint const paint {{}, source.get(), premultiplied({.alpha = alpha}, state().alpha).alpha};
    withShapeOf(path, [&](auto const& shape) { draw(shape, paint, {alpha}); });
}

void Painter::drawImage(Image const& image, FloatRect const& part, AffineTransform const& partToDevice)
{
    auto const drawn = imageSource(image, part, partToDevice, state().clip.bounds, m_crew);
    if (!drawn || !drawn->source)
        return;
    auto const& bounds = drawn->bounds;
    RectangleShape const shape({double(bounds.x), double(bounds.y), double(bounds.x) + bounds.width,
        double(bounds.y) + bounds.height});
    draw(shape, {{}, drawn->source.get(), premultiplied({}, state().alpha).alpha}, {});
}

// ---- Shadows

IntRect Painter::shadowReach(double deviation) const
{
    auto const reach = deviation > 0 ? blurReach(deviation) : 0;
    auto const& clip = state().clip.bounds;
    return {clip.x - reach, clip.y - reach, clip.width + 2 * reach, clip.height + 2 * reach};
}

// The shape's coverage, moved, blurred and coloured; no more of it than the blur brings into the clip.
void Painter::drawShadow(Shape const& shape, Paint const& paint, Opacity opacity)
{
    auto const& shadow = state().shadow;
    auto const color = premultiplied(shadow.color, state().alpha * opacity.value);
    auto const isBlurred = shadow.blur > 0;
    if (color.alpha == 0 || state().clip.bounds.isEmpty() || !std::isfinite(shadow.blur)
        || !std::isfinite(shadow.offsetX) || !std::isfinite(shadow.offsetY)
        || (!isBlurred && shadow.offsetX == 0 && shadow.offsetY == 0))
        return;
    auto const deviation = isBlurred ? std::min(shadow.blur / 2, kWidestDeviation) : 0;
    Point shift = {shadow.offsetX, -shadow.offsetY};
    if (paint.source) // its pixels move by whole pixels only
        shift = {std::round(shift.x), std::round(shift.y)};
    if (auto const box = shape.rectangle(); box && !paint.source && deviation >= 1)
        return drawShadowOf(*box, deviation, shift, color);
    auto mask = maskOf(shape, shadowReach(deviation), shift);
    if (mask.isEmpty())
        return;
    if (paint.source)
        multiplyBySource(mask, *paint.source, shift);
    if (isBlurred)
        mask = blurred(mask, deviation, state().clip.bounds);
    m_compositor.draw(MaskShape(mask, 0, 0), {color}, state().mode, state().clip);
}

void Painter::drawShadowOf(Box const& box, double deviation, Point shift, PremultipliedColor color)
{
    Box const moved = {box.left + shift.x, box.top + shift.y, box.right + shift.x, box.bottom + shift.y};
    m_compositor.draw(BlurredRectangleShape(moved, deviation), {color}, state().mode, state().clip);
}

void Painter::multiplyBySource(CoverageMask& mask, SpanSource& source, Point shift) const
{
    auto const dx = static_cast<std::int32_t>(shift.x);
    auto const dy = static_cast<std::int32_t>(shift.y);
    auto const width = static_cast<std::size_t>(mask.bounds.width);
    std::vector<std::uint8_t> pixels(4 * width);
    std::vector<std::uint8_t> alpha(width);
    for (auto y = mask.bounds.y; y < mask.bounds.y + mask.bounds.height; ++y) {
        source.span(mask.bounds.x - dx, y - dy, mask.bounds.width, pixels.data());
        for (std::size_t x = 0; x < width; ++x)
            alpha[x] = pixels[4 * x + 3];
        multiplyCoverage(mask.row(y), alpha.data(), width);
    }
}

} // namespace velk::graphics
