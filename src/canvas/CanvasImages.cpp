#include "canvas/Canvas.h"
#include "script/PointObject.h"
#include "script/RectObject.h"
#include "script/SizeObject.h"

#include <algorithm>
#include <cmath>

namespace velk {

using graphics::FloatRect;
using graphics::Point;
using graphics::Size;

namespace {

// Positions of `drawImage`'s arguments behind the image, in its three forms.
constexpr std::size_t kLastOfSize = 3; ///< x, y, width, height
constexpr std::size_t kLastOfPart = 7; ///< part of the image, then x, y, width, height

FloatRect floatRect(js::Value const& x, js::Value const& y, js::Value const& width, js::Value const& height)
{
    auto const origin = PointObject::fromValues(x, y)->point();
    auto const size = SizeObject::fromValues(width, height)->size();
    return {origin.x, origin.y, size.width, size.height};
}

// The same rectangle with a width and a height of at least 0.
FloatRect normalized(FloatRect const& rect)
{
    return {std::min(rect.x, rect.x + rect.width), std::min(rect.y, rect.y + rect.height),
        std::abs(rect.width), std::abs(rect.height)};
}

bool isFinite(FloatRect const& rect)
{
    return std::isfinite(rect.x) && std::isfinite(rect.y) && std::isfinite(rect.width)
        && std::isfinite(rect.height);
}

FloatRect intersection(FloatRect const& a, FloatRect const& b)
{
    auto const left = std::max(a.x, b.x), top = std::max(a.y, b.y);
    auto const right = std::min(a.x + a.width, b.x + b.width);
    auto const bottom = std::min(a.y + a.height, b.y + b.height);
    return {left, top, std::max(right - left, 0.0), std::max(bottom - top, 0.0)};
}

struct ImageDrawing {
    FloatRect part; ///< pixels of the image
    FloatRect destination; ///< user space, y downwards
};

ImageDrawing imageDrawing(Size imageSize, Canvas::ImageArguments const& a)
{
    FloatRect const whole {0, 0, static_cast<double>(imageSize.width), static_cast<double>(imageSize.height)};
    if (!a[kLastOfPart].isUndefined()) {
        auto const part = normalized(floatRect(a[0], a[1], a[2], a[3]));
        return {intersection(part, whole), normalized(floatRect(a[4], a[5], a[6], a[7]))};
    }
    if (!a[kLastOfSize].isUndefined())
        return {whole, normalized(floatRect(a[0], a[1], a[2], a[3]))};
    auto const origin = PointObject::fromValues(a[0], a[1])->point();
    return {whole, {origin.x, origin.y, whole.width, whole.height}};
}

} // namespace

void Canvas::drawImage(std::shared_ptr<Image> const& image, ImageArguments const& arguments)
{
    auto const pixels = m_context && image ? image->imageRef() : std::nullopt;
    if (!pixels)
        return;
    auto const [part, destination] = imageDrawing(pixels->size(), arguments);
    if (!isFinite(part) || !isFinite(destination))
        return;
    drawUpright({destination.x, destination.y + destination.height}, [&] {
        m_context->drawImage(*pixels, part, {0, 0, destination.width, destination.height});
    });
}

std::shared_ptr<ImageData> Canvas::createImageData(js::Value const& widthOrData, std::uint32_t height) const
{
    if (auto const original = widthOrData.as<ImageData>())
        return std::make_shared<ImageData>(*original);
    return std::make_shared<ImageData>(widthOrData.toUint32(), height);
}

std::shared_ptr<ImageData> Canvas::getImageData(
    js::Value const& x, js::Value const& y, js::Value const& width, js::Value const& height) const
{
    if (!m_context)
        return std::make_shared<ImageData>(0, 0);
    return std::make_shared<ImageData>(*m_context, RectObject::fromValues(x, y, width, height)->rect());
}

void Canvas::putImageData(std::shared_ptr<ImageData> const& data, double x, double y)
{
    auto const picture = m_context && data ? data->createImage() : std::nullopt;
    if (!picture)
        return;
    auto const width = static_cast<double>(data->width()), height = static_cast<double>(data->height());
    FloatRect const whole {0, 0, width, height};
    drawUpright({x, y + height}, [&] { m_context->drawImage(*picture, whole, whole); });
}

std::shared_ptr<Gradient> Canvas::createLinearGradient(double x0, double y0, double x1, double y1) const
{
    return std::make_shared<Gradient>(Point {x0, y0}, Point {x1, y1});
}

std::shared_ptr<Gradient> Canvas::createRadialGradient(
    double x0, double y0, double r0, double x1, double y1, double r1) const
{
    return std::make_shared<Gradient>(Point {x0, y0}, r0, Point {x1, y1}, r1);
}

std::shared_ptr<PatternObject> Canvas::createPattern(
    std::shared_ptr<Image> const& image, std::string const& style) const
{
    return std::make_shared<PatternObject>(image, style);
}

} // namespace velk
