#include "platform/graphics/drawing/BitmapContext.h"

#include "platform/graphics/drawing/DisplayP3.h"
#include "platform/graphics/drawing/Painter.h"
#include "platform/graphics/drawing/UserSpace.h"

#include <cmath>
#include <cstring>

namespace velk::graphics {

BitmapContext::BitmapContext(std::unique_ptr<Painter> painter)
    : m_painter(std::move(painter))
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
        new BitmapContext(std::make_unique<Painter>(surface, std::move(pixels))));
}

std::unique_ptr<BitmapContext> BitmapContext::over(std::uint8_t* pixels, Size size, std::size_t stride)
{
    return std::unique_ptr<BitmapContext>(
        new BitmapContext(std::make_unique<Painter>(Surface {pixels, size, stride}, std::nullopt)));
}

Size BitmapContext::size() const
{
    return m_painter->surface().size;
}

std::uint8_t const* BitmapContext::row(std::int32_t y) const
{
    return m_painter->surface().at(0, y);
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
    m_painter->states().save();
}

void BitmapContext::restore()
{
    m_painter->states().restore();
}

AffineTransform const& BitmapContext::transform() const
{
    return m_painter->state().transform;
}

void BitmapContext::concatenate(AffineTransform const& map)
{
    if (isFinite(map))
        m_painter->edit().transform = map * transform();
}

void BitmapContext::resetTransform()
{
    m_painter->edit().transform = {};
}

void BitmapContext::setFillColor(Color const& color)
{
    m_painter->edit().fillColor = color;
}

void BitmapContext::setStrokeColor(Color const& color)
{
    m_painter->edit().strokeColor = color;
}

void BitmapContext::setLineWidth(double width)
{
    m_painter->edit().stroke.width = width;
}

void BitmapContext::setLineCap(LineCap cap)
{
    m_painter->edit().stroke.cap = cap;
}

void BitmapContext::setLineJoin(LineJoin join)
{
    m_painter->edit().stroke.join = join;
}

void BitmapContext::setMiterLimit(double limit)
{
    m_painter->edit().stroke.miterLimit = limit;
}

void BitmapContext::setLineDash(double phase, std::vector<double> lengths)
{
    m_painter->edit().stroke.dashPhase = phase;
    m_painter->edit().stroke.dash = std::move(lengths);
}

void BitmapContext::setAlpha(double alpha)
{
    if (std::isfinite(alpha))
        m_painter->edit().alpha = alpha;
}

void BitmapContext::setBlendMode(BlendMode mode)
{
    m_painter->edit().mode = mode;
}

void BitmapContext::setShadow(Shadow const& shadow)
{
    m_painter->edit().shadow = shadow;
}

BlendMode BitmapContext::blendMode() const
{
    return m_painter->state().mode;
}

bool BitmapContext::castsShadow() const
{
    auto const& shadow = m_painter->state().shadow;
    return shadow.color.alpha > 0 && (shadow.blur > 0 || shadow.offsetX != 0 || shadow.offsetY != 0);
}

// ---- The current path

Path const& BitmapContext::path() const
{
    return m_painter->path();
}

void BitmapContext::beginPath()
{
    m_painter->path().clear();
}

void BitmapContext::setPath(Path path)
{
    m_painter->path() = std::move(path);
}

void BitmapContext::moveTo(double x, double y)
{
    m_painter->path().moveTo(apply(transform(), {x, y}));
}

void BitmapContext::lineTo(double x, double y)
{
    m_painter->path().lineTo(apply(transform(), {x, y}));
}

void BitmapContext::quadTo(double cx, double cy, double x, double y)
{
    m_painter->path().quadTo(apply(transform(), {cx, cy}), apply(transform(), {x, y}));
}

void BitmapContext::cubicTo(double c1x, double c1y, double c2x, double c2y, double x, double y)
{
    m_painter->path().cubicTo(
        apply(transform(), {c1x, c1y}), apply(transform(), {c2x, c2y}), apply(transform(), {x, y}));
}

void BitmapContext::closePath()
{
    m_painter->path().close();
}

void BitmapContext::addRect(FloatRect const& rect)
{
    m_painter->path().addRect(rect, transform());
}

void BitmapContext::addArc(double x, double y, double radius, double startAngle, double endAngle)
{
    m_painter->path().addArc({x, y}, radius, startAngle, endAngle, transform());
}

void BitmapContext::addArcTo(double x1, double y1, double x2, double y2, double radius)
{
    addTangentArc(m_painter->path(), {x1, y1}, {x2, y2}, radius, transform());
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
    auto const& path = m_painter->takePath();
    m_painter->fill(path);
}

void BitmapContext::strokePath()
{
    auto const& path = m_painter->takePath();
    m_painter->stroke(path, m_painter->state().stroke);
}

void BitmapContext::clipToPath()
{
    auto const& path = m_painter->takePath();
    m_painter->clip(path);
}

void BitmapContext::fillRect(FloatRect const& rect)
{
    Path path;
    path.addRect(rect, transform());
    m_painter->fill(path);
}

void BitmapContext::strokeRect(FloatRect const& rect)
{
    Path path;
    path.addRect(rect, transform());
    m_painter->stroke(path, m_painter->state().stroke);
}

void BitmapContext::clearRect(FloatRect const& rect)
{
    Path path;
    path.addRect(rect, transform());
    m_painter->clear(path);
}

void BitmapContext::fillOutline(Path const& outline)
{
    Path path;
    path.append(outline, transform());
    m_painter->fill(path);
}

void BitmapContext::strokeOutline(Path const& outline, double width)
{
    Path path;
    path.append(outline, transform());
    auto style = m_painter->state().stroke;
    style.width = width;
    m_painter->stroke(path, style);
}

void BitmapContext::fillMask(CoverageMask const& mask, std::int32_t dx, std::int32_t dy)
{
    m_painter->fillMask(mask, dx, dy);
}

void BitmapContext::drawGradient(Gradient const& gradient)
{
    m_painter->drawGradient(gradient);
}

void BitmapContext::fillPathWithPattern(Image const& tile, Point phase, double alpha)
{
    auto const& path = m_painter->takePath();
    m_painter->fillWithPattern(path, tile, phase, alpha);
}

void BitmapContext::drawImage(Image const& image, FloatRect const& part, FloatRect const& destination)
{
    auto const placed = placeImage(image.size(), part, destination);
    if (placed)
        m_painter->drawImage(image, placed->part, placed->partToUser * m_painter->userToDevice());
}

} // namespace velk::graphics
