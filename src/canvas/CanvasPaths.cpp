#include "canvas/Canvas.h"

#include <algorithm>
#include <cmath>

namespace velk {

using graphics::AffineTransform;

namespace {

bool allFinite(std::initializer_list<double> numbers)
{
    return std::ranges::all_of(numbers, [](double number) { return std::isfinite(number); });
}

bool isInvertible(AffineTransform const& map)
{
    auto const determinant = map.a * map.d - map.b * map.c;
    return std::isfinite(determinant) && determinant != 0;
}

// Whether the width, rounded down, is an odd number.
bool isOdd(double width)
{
    return std::fmod(std::floor(width), 2) != 0 && std::isfinite(width);
}

} // namespace

void Canvas::applyOriginTransform()
{
    concatenate(AffineTransform::translation(0, m_height));
    concatenate(AffineTransform::scale(1, -1));
}

void Canvas::concatenate(AffineTransform const& map)
{
    if (m_context && allFinite({map.a, map.b, map.c, map.d, map.tx, map.ty}))
        m_context->concatenate(map);
}

void Canvas::scale(double x, double y)
{
    concatenate(AffineTransform::scale(x, y));
}

void Canvas::rotate(double angle)
{
    auto const cosine = std::cos(angle), sine = std::sin(angle);
    concatenate({.a = cosine, .b = sine, .c = -sine, .d = cosine});
}

void Canvas::translate(double x, double y)
{
    concatenate(AffineTransform::translation(x, y));
}

void Canvas::transform(double a, double b, double c, double d, double e, double f)
{
    concatenate({.a = a, .b = b, .c = c, .d = d, .tx = e, .ty = f});
}

void Canvas::setTransform(double a, double b, double c, double d, double e, double f)
{
    if (!m_context || !allFinite({a, b, c, d, e, f}))
        return;
    auto const current = m_context->transform();
    // What has no inverse stands in for it, and stays degenerate.
    if (isInvertible(current))
        m_context->resetTransform();
    else
        m_context->concatenate(current);
    applyOriginTransform();
    transform(a, b, c, d, e, f);
}

void Canvas::beginPath()
{
    if (m_context)
        m_context->beginPath();
}

void Canvas::closePath()
{
    if (m_context)
        m_context->closePath();
}

void Canvas::moveTo(double x, double y)
{
    if (m_context)
        m_context->moveTo(x, y);
}

void Canvas::lineTo(double x, double y)
{
    if (m_context)
        m_context->lineTo(x, y);
}

void Canvas::quadraticCurveTo(double cpx, double cpy, double x, double y)
{
    if (m_context)
        m_context->quadTo(cpx, cpy, x, y);
}

void Canvas::bezierCurveTo(double cp1x, double cp1y, double cp2x, double cp2y, double x, double y)
{
    if (m_context)
        m_context->cubicTo(cp1x, cp1y, cp2x, cp2y, x, y);
}

void Canvas::arc(double x, double y, double radius, double startAngle, double endAngle)
{
    if (m_context)
        m_context->addArc(x, y, radius, startAngle, endAngle);
}

void Canvas::arcTo(double x1, double y1, double x2, double y2, double radius)
{
    if (m_context)
        m_context->addArcTo(x1, y1, x2, y2, radius);
}

void Canvas::rect(double x, double y, double width, double height)
{
    if (m_context)
        m_context->addRect({x, y, width, height});
}

bool Canvas::isPointInPath(double x, double y) const
{
    return m_context && m_context->pathContains(x, y);
}

void Canvas::fill()
{
    if (!m_context)
        return;
    if (m_fillColor)
        m_context->fillPath();
    else if (auto const gradient = m_fillStyle.as<Gradient>())
        fillWithGradient(*gradient);
    else if (auto const pattern = m_fillStyle.as<PatternObject>())
        fillWithPattern(*pattern);
}

void Canvas::fillWithGradient(Gradient const& gradient)
{
    auto const* colors = gradient.gradientRef();
    if (!colors || m_context->path().isEmpty())
        return;
    m_context->save();
    m_context->clipToPath();
    m_context->drawGradient(*colors);
    m_context->restore();
}

// The tiles start at the top-left corner of the path's box. A tile's phase is where its lower edge lies, and
// the one above the box has its lower edge there.
void Canvas::fillWithPattern(PatternObject const& pattern)
{
    auto const& tile = pattern.patternRef();
    if (!tile)
        return m_context->beginPath();
    auto const box = m_context->pathBounds();
    m_context->fillPathWithPattern(*tile, {box.x, m_height - box.y}, m_globalAlpha);
}

void Canvas::stroke()
{
    if (!m_context)
        return;
    m_lastPath = m_context->path();
    m_context->strokePath();
}

void Canvas::clip()
{
    if (!m_context)
        return;
    if (m_context->path().isEmpty())
        m_context->setPath(m_lastPath);
    if (!m_context->path().isEmpty())
        m_context->clipToPath();
}

void Canvas::fillRect(double x, double y, double width, double height)
{
    if (!m_context)
        return;
    if (m_fillColor)
        return m_context->fillRect({x, y, width, height});
    if (!m_fillStyle.as<Gradient>())
        return;
    m_context->save();
    m_context->beginPath();
    m_context->addRect({x, y, width, height});
    fill();
    m_context->restore();
}

void Canvas::strokeRect(double x, double y, double width, double height)
{
    if (!m_context)
        return;
    auto const shift = isOdd(m_lineWidth) ? m_lineWidth / 2 : 0;
    m_context->strokeRect({x + shift, y + shift, width, height});
}

void Canvas::clearRect(double x, double y, double width, double height)
{
    if (m_context)
        m_context->clearRect({x, y, width, height});
}

} // namespace velk
