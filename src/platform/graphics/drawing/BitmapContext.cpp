#include "platform/graphics/drawing/BitmapContext.h"

#include "platform/graphics/drawing/Blur.h"
#include "platform/graphics/drawing/DisplayP3.h"
#include "platform/graphics/drawing/DrawingState.h"
#include "platform/graphics/drawing/UserSpace.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace velk::graphics {

namespace {

// A wider blur spreads a shadow so thin that more makes no difference, but its masks would grow with it.
constexpr double kWidestDeviation = 512;

IntRect wholeOf(Size size)
{
    return {0, 0, size.width, size.height};
}

/// The image's pixels as a surface has them.
Result<PixelBuffer> surfacePixels(Image const& image)
{
    auto const size = image.size();
    auto buffer = TRY(PixelBuffer::create(BitmapContext::layout(size)));
    auto const drawn = TRY(imageSource(
        image, {0, 0, double(size.width), double(size.height)}, AffineTransform {}, wholeOf(size)));
    for (std::int32_t y = 0; y < size.height; ++y)
        drawn.source->span(0, y, size.width, buffer.row(y));
    return buffer;
}

} // namespace

class BitmapContext::Implementation {
public:
    Implementation(Surface const& surface, std::optional<PixelBuffer> owned)
        : m_owned(std::move(owned))
        , m_surface(surface)
        , m_compositor(surface)
        , m_toDevice {.d = -1, .ty = static_cast<double>(surface.size.height)}
        , m_states(DrawingState {.clip = {wholeOf(surface.size), nullptr}})
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

    void fill(Path const& path);
    void stroke(Path const& path, StrokeStyle const& style);
    void clip(Path const& path);
    void clear(Path const& path);
    void fillMask(CoverageMask const& mask, std::int32_t dx, std::int32_t dy);
    void drawGradient(Gradient const& gradient);
    void fillWithPattern(Path const& path, Image const& tile, Point phase, double alpha);
    void drawImage(Image const& image, FloatRect const& part, AffineTransform const& partToDevice);

private:
    struct Opacity {
        double value = 1; ///< of the paint, without the state's alpha
    };

    template <typename Body> void withShapeOf(Path const& path, Body const& body);
    Paint colorPaint(Color const& color) const { return {premultiplied(color, state().alpha)}; }
    void draw(Shape const& shape, Paint const& paint, Opacity opacity);
    void drawShadow(Shape const& shape, Paint const& paint, Opacity opacity);
    void drawShadowOf(Box const& box, double deviation, Point shift, PremultipliedColor color);
    IntRect shadowReach(double deviation) const;
    void multiplyBySource(CoverageMask& mask, SpanSource& source, Point shift) const;

    std::optional<PixelBuffer> m_owned;
    Surface m_surface;
    Compositor m_compositor;
    Rasterizer m_rasterizer;
    AffineTransform m_toDevice; // from base space
    StateStack m_states;
    Path m_path;
    Path m_takenPath; // keeps its memory for the next path
};

// ---- Drawing

/// Calls `body` with the inside of the path, as a rectangle when it is one.
template <typename Body> void BitmapContext::Implementation::withShapeOf(Path const& path, Body const& body)
{
    if (auto const box = uprightRectangle(path, m_toDevice))
        body(RectangleShape(*box));
    else
        body(FilledShape(path, m_toDevice, m_rasterizer));
}

void BitmapContext::Implementation::draw(Shape const& shape, Paint const& paint, Opacity opacity)
{
    drawShadow(shape, paint, opacity);
    m_compositor.draw(shape, paint, state().mode, state().clip);
}

void BitmapContext::Implementation::fill(Path const& path)
{
    auto const& color = state().fillColor;
    withShapeOf(path, [&](auto const& shape) { draw(shape, colorPaint(color), {color.alpha}); });
}

void BitmapContext::Implementation::stroke(Path const& path, StrokeStyle const& style)
{
    auto const& color = state().strokeColor;
    draw(StrokedShape(path, m_toDevice, style, userToDevice(), m_rasterizer), colorPaint(color),
        {color.alpha});
}

void BitmapContext::Implementation::clip(Path const& path)
{
    withShapeOf(path, [&](auto const& shape) { edit().clip.intersect(shape); });
}

void BitmapContext::Implementation::clear(Path const& path)
{
    // Taking away the whole of what is there, as far as the shape covers it.
    Paint const opaque {{0, 0, 0, 255}};
    withShapeOf(path, [&](auto const& shape) {
        m_compositor.draw(shape, opaque, BlendMode::DestinationOut, state().clip);
    });
}

void BitmapContext::Implementation::fillMask(CoverageMask const& mask, std::int32_t dx, std::int32_t dy)
{
    auto const& color = state().fillColor;
    draw(MaskShape(mask, dx, dy), colorPaint(color), {color.alpha});
}

void BitmapContext::Implementation::drawGradient(Gradient const& gradient)
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

void BitmapContext::Implementation::fillWithPattern(
    Path const& path, Image const& tile, Point phase, double alpha)
{
    auto pixels = surfacePixels(tile);
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

void BitmapContext::Implementation::drawImage(
    Image const& image, FloatRect const& part, AffineTransform const& partToDevice)
{
    auto const drawn = imageSource(image, part, partToDevice, state().clip.bounds);
    if (!drawn || !drawn->source)
        return;
    auto const& bounds = drawn->bounds;
    RectangleShape const shape({double(bounds.x), double(bounds.y), double(bounds.x) + bounds.width,
        double(bounds.y) + bounds.height});
    draw(shape, {{}, drawn->source.get(), premultiplied({}, state().alpha).alpha}, {});
}

// ---- Shadows

IntRect BitmapContext::Implementation::shadowReach(double deviation) const
{
    auto const reach = deviation > 0 ? blurReach(deviation) : 0;
    auto const& clip = state().clip.bounds;
    return {clip.x - reach, clip.y - reach, clip.width + 2 * reach, clip.height + 2 * reach};
}

// The shape's coverage, moved, blurred and coloured; no more of it than the blur brings into the clip.
void BitmapContext::Implementation::drawShadow(Shape const& shape, Paint const& paint, Opacity opacity)
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

void BitmapContext::Implementation::drawShadowOf(
    Box const& box, double deviation, Point shift, PremultipliedColor color)
{
    Box const moved = {box.left + shift.x, box.top + shift.y, box.right + shift.x, box.bottom + shift.y};
    m_compositor.draw(BlurredRectangleShape(moved, deviation), {color}, state().mode, state().clip);
}

void BitmapContext::Implementation::multiplyBySource(
    CoverageMask& mask, SpanSource& source, Point shift) const
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

// ---- The surface

BitmapContext::BitmapContext(std::unique_ptr<Implementation> implementation)
    : m_implementation(std::move(implementation))
{
}

BitmapContext::~BitmapContext() = default;

PixelLayout BitmapContext::layout(Size size)
{
    return {size, {.alpha = Alpha::Premultiplied}, displayP3()};
}

Result<std::unique_ptr<BitmapContext>> BitmapContext::create(Size size)
{
    auto pixels = TRY(PixelBuffer::create(layout(size)));
    Surface const surface {pixels.row(0), size, pixels.stride()};
    return std::unique_ptr<BitmapContext>(
        new BitmapContext(std::make_unique<Implementation>(surface, std::move(pixels))));
}

std::unique_ptr<BitmapContext> BitmapContext::over(std::uint8_t* pixels, Size size, std::size_t stride)
{
    return std::unique_ptr<BitmapContext>(
        new BitmapContext(std::make_unique<Implementation>(Surface {pixels, size, stride}, std::nullopt)));
}

Size BitmapContext::size() const
{
    return m_implementation->surface().size;
}

std::uint8_t const* BitmapContext::row(std::int32_t y) const
{
    return m_implementation->surface().at(0, y);
}

Result<Image> BitmapContext::snapshot() const
{
    auto copy = TRY(PixelBuffer::create(layout(size())));
    for (std::int32_t y = 0; y < size().height; ++y)
        std::memcpy(copy.row(y), row(y), copy.layout().rowBytes());
    return Image(std::make_shared<PixelBuffer const>(std::move(copy)));
}

// ---- State

void BitmapContext::save()
{
    m_implementation->states().save();
}

void BitmapContext::restore()
{
    m_implementation->states().restore();
}

AffineTransform const& BitmapContext::transform() const
{
    return m_implementation->state().transform;
}

void BitmapContext::concatenate(AffineTransform const& map)
{
    if (isFinite(map))
        m_implementation->edit().transform = map * transform();
}

void BitmapContext::resetTransform()
{
    m_implementation->edit().transform = {};
}

void BitmapContext::setFillColor(Color const& color)
{
    m_implementation->edit().fillColor = color;
}

void BitmapContext::setStrokeColor(Color const& color)
{
    m_implementation->edit().strokeColor = color;
}

void BitmapContext::setLineWidth(double width)
{
    m_implementation->edit().stroke.width = width;
}

void BitmapContext::setLineCap(LineCap cap)
{
    m_implementation->edit().stroke.cap = cap;
}

void BitmapContext::setLineJoin(LineJoin join)
{
    m_implementation->edit().stroke.join = join;
}

void BitmapContext::setMiterLimit(double limit)
{
    m_implementation->edit().stroke.miterLimit = limit;
}

void BitmapContext::setLineDash(double phase, std::vector<double> lengths)
{
    m_implementation->edit().stroke.dashPhase = phase;
    m_implementation->edit().stroke.dash = std::move(lengths);
}

void BitmapContext::setAlpha(double alpha)
{
    if (std::isfinite(alpha))
        m_implementation->edit().alpha = alpha;
}

void BitmapContext::setBlendMode(BlendMode mode)
{
    m_implementation->edit().mode = mode;
}

void BitmapContext::setShadow(Shadow const& shadow)
{
    m_implementation->edit().shadow = shadow;
}

BlendMode BitmapContext::blendMode() const
{
    return m_implementation->state().mode;
}

bool BitmapContext::castsShadow() const
{
    auto const& shadow = m_implementation->state().shadow;
    return shadow.color.alpha > 0 && (shadow.blur > 0 || shadow.offsetX != 0 || shadow.offsetY != 0);
}

// ---- The current path

Path const& BitmapContext::path() const
{
    return m_implementation->path();
}

void BitmapContext::beginPath()
{
    m_implementation->path().clear();
}

void BitmapContext::setPath(Path path)
{
    m_implementation->path() = std::move(path);
}

void BitmapContext::moveTo(double x, double y)
{
    m_implementation->path().moveTo(apply(transform(), {x, y}));
}

void BitmapContext::lineTo(double x, double y)
{
    m_implementation->path().lineTo(apply(transform(), {x, y}));
}

void BitmapContext::quadTo(double cx, double cy, double x, double y)
{
    m_implementation->path().quadTo(apply(transform(), {cx, cy}), apply(transform(), {x, y}));
}

void BitmapContext::cubicTo(double c1x, double c1y, double c2x, double c2y, double x, double y)
{
    m_implementation->path().cubicTo(
        apply(transform(), {c1x, c1y}), apply(transform(), {c2x, c2y}), apply(transform(), {x, y}));
}

void BitmapContext::closePath()
{
    m_implementation->path().close();
}

void BitmapContext::addRect(FloatRect const& rect)
{
    m_implementation->path().addRect(rect, transform());
}

void BitmapContext::addArc(double x, double y, double radius, double startAngle, double endAngle)
{
    m_implementation->path().addArc({x, y}, radius, startAngle, endAngle, transform());
}

void BitmapContext::addArcTo(double x1, double y1, double x2, double y2, double radius)
{
    addTangentArc(m_implementation->path(), {x1, y1}, {x2, y2}, radius, transform());
}

bool BitmapContext::pathContains(double x, double y) const
{
    return path().contains(apply(transform(), {x, y}));
}

FloatRect BitmapContext::pathBounds() const
{
    auto const inverse = inverseOf(transform());
    if (!inverse)
        return {};
    Path inUserSpace;
    inUserSpace.append(path(), *inverse);
    return inUserSpace.controlBounds();
}

// ---- Drawing operations

void BitmapContext::fillPath()
{
    auto const& path = m_implementation->takePath();
    m_implementation->fill(path);
}

void BitmapContext::strokePath()
{
    auto const& path = m_implementation->takePath();
    m_implementation->stroke(path, m_implementation->state().stroke);
}

void BitmapContext::clipToPath()
{
    auto const& path = m_implementation->takePath();
    m_implementation->clip(path);
}

void BitmapContext::fillRect(FloatRect const& rect)
{
    Path path;
    path.addRect(rect, transform());
    m_implementation->fill(path);
}

void BitmapContext::strokeRect(FloatRect const& rect)
{
    Path path;
    path.addRect(rect, transform());
    m_implementation->stroke(path, m_implementation->state().stroke);
}

void BitmapContext::clearRect(FloatRect const& rect)
{
    Path path;
    path.addRect(rect, transform());
    m_implementation->clear(path);
}

void BitmapContext::fillOutline(Path const& outline)
{
    Path path;
    path.append(outline, transform());
    m_implementation->fill(path);
}

void BitmapContext::strokeOutline(Path const& outline, double width)
{
    Path path;
    path.append(outline, transform());
    auto style = m_implementation->state().stroke;
    style.width = width;
    m_implementation->stroke(path, style);
}

void BitmapContext::fillMask(CoverageMask const& mask, std::int32_t dx, std::int32_t dy)
{
    m_implementation->fillMask(mask, dx, dy);
}

void BitmapContext::drawGradient(Gradient const& gradient)
{
    m_implementation->drawGradient(gradient);
}

void BitmapContext::fillPathWithPattern(Image const& tile, Point phase, double alpha)
{
    auto const& path = m_implementation->takePath();
    m_implementation->fillWithPattern(path, tile, phase, alpha);
}

void BitmapContext::drawImage(Image const& image, FloatRect const& part, FloatRect const& destination)
{
    auto const placed = placeImage(image.size(), part, destination);
    if (placed)
        m_implementation->drawImage(
            image, placed->part, placed->partToUser * m_implementation->userToDevice());
}

} // namespace velk::graphics
