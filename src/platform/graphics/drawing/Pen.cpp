#include "platform/graphics/drawing/Pen.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velk::graphics {

namespace {

// An arc of a pen as large as the world is drawn with no more lines.
constexpr double kShortestArcStep = 1e-3;

constexpr Point operator+(Point a, Point b)
{
    return {a.x + b.x, a.y + b.y};
}

constexpr Point operator-(Point a, Point b)
{
    return {a.x - b.x, a.y - b.y};
}

constexpr Point operator*(Point a, double factor)
{
    return {a.x * factor, a.y * factor};
}

// A quarter turn to the left, y upwards.
constexpr Point turnedLeft(Point a)
{
    return {-a.y, a.x};
}

constexpr double dot(Point a, Point b)
{
    return a.x * b.x + a.y * b.y;
}

constexpr double cross(Point a, Point b)
{
    return a.x * b.y - a.y * b.x;
}

// The angle of an arc around `radius` that strays from its chord by the flatness.
double arcStep(double radius)
{
    return std::max(kShortestArcStep, 2 * std::acos(std::max(0.0, 1 - kFlatness / radius)));
}

// Where the edges of two lines meet, from the point where the lines meet.
Point meeting(Point offset, Point nextOffset, double cosine)
{
    return (offset + nextOffset) * (1 / (1 + cosine));
}

} // namespace

std::optional<Pen> Pen::create(
    StrokeStyle const& style, AffineTransform const& userToDevice, PolygonSink& sink)
{
    auto const inverse = 1 / (userToDevice.a * userToDevice.d - userToDevice.b * userToDevice.c);
    if (!std::isfinite(inverse) || inverse == 0 || !(style.width > 0) || !std::isfinite(style.width))
        return std::nullopt;
    return Pen(style, userToDevice, sink);
}

Pen::Pen(StrokeStyle const& style, AffineTransform const& userToDevice, PolygonSink& sink)
    : m_cap(style.cap)
    , m_join(style.join)
    , m_miterLimit(style.miterLimit)
    , m_halfWidth(style.width / 2)
    , m_toDevice(userToDevice)
    , m_sink(&sink)
{
    auto const& map = m_toDevice;
    auto const inverse = 1 / (map.a * map.d - map.b * map.c);
    m_toUser = {.a = map.d * inverse, .b = -map.b * inverse, .c = -map.c * inverse, .d = map.a * inverse};
    m_arcStep = arcStep(m_halfWidth * std::max(std::hypot(map.a, map.b), std::hypot(map.c, map.d)));
    m_arcStepCosine = std::cos(m_arcStep);
}

Point Pen::toDevice(Point vector) const
{
    return {
        vector.x * m_toDevice.a + vector.y * m_toDevice.c, vector.x * m_toDevice.b + vector.y * m_toDevice.d};
}

Point Pen::toUser(Point vector) const
{
    return {vector.x * m_toUser.a + vector.y * m_toUser.c, vector.x * m_toUser.b + vector.y * m_toUser.d};
}

double Pen::lengthOf(Point vector) const
{
    auto const mapped = toUser(vector);
    return std::sqrt(dot(mapped, mapped));
}

Pen::Segment Pen::segment(Point from, Point to) const
{
    auto const vector = toUser(to - from);
    auto const length = std::sqrt(dot(vector, vector));
    auto const direction = vector * (1 / length);
    return {from, direction, toDevice(turnedLeft(direction) * m_halfWidth), length};
}

void Pen::draw(Polyline const& line)
{
    auto const points = line.points;
    if (points.size() < 2)
        return;
    m_segments.clear();
    m_left.clear();
    m_right.clear();
    for (std::size_t i = 0; i + 1 < points.size(); ++i)
        m_segments.push_back(segment(points[i], points[i + 1]));
    if (line.isClosed)
        m_segments.push_back(segment(points.back(), points.front()));
    if (!line.isClosed) {
        m_left.push_back(points.front() + m_segments.front().offset);
        m_right.push_back(points.front() - m_segments.front().offset);
    }
    for (std::size_t i = 1; i < m_segments.size(); ++i)
        addJoin(m_segments[i - 1], m_segments[i], line.isSmooth[i] != 0);
    if (line.isClosed) {
        addJoin(m_segments.back(), m_segments.front(), line.isSmooth[0] != 0);
        drawClosed();
    } else {
        drawOpen(points.back());
    }
}

// One polygon: the left edge, the cap at the end, the right edge backwards, the cap at the start.
void Pen::drawOpen(Point end)
{
    auto const& first = m_segments.front();
    auto const& last = m_segments.back();
    m_left.push_back(end + last.offset);
    m_right.push_back(end - last.offset);
    addCap(m_left, end, last.direction, last.offset);
    m_left.insert(m_left.end(), m_right.rbegin(), m_right.rend());
    addCap(m_left, first.from, first.direction * -1, first.offset * -1);
    m_sink->polygon(m_left);
}

void Pen::drawClosed()
{
    std::ranges::reverse(m_right);
    m_sink->polygon(m_left);
    m_sink->polygon(m_right);
}

void Pen::drawDot(Point at, Point direction)
{
    auto const along = segment({}, direction);
    m_left.clear();
    m_left.push_back(at + along.offset);
    addCap(m_left, at, along.direction, along.offset);
    m_left.push_back(at - along.offset);
    addCap(m_left, at, along.direction * -1, along.offset * -1);
    m_sink->polygon(m_left);
}

// What lies between the two ends of a line's end, from its left to its right seen along `direction`.
void Pen::addCap(Outline& outline, Point at, Point direction, Point offset) const
{
    if (m_cap == LineCap::Round) {
        addArc(outline, at, turnedLeft(direction) * m_halfWidth, -std::numbers::pi);
    } else if (m_cap == LineCap::Square) {
        auto const ahead = toDevice(direction * m_halfWidth);
        outline.insert(outline.end(), {at + offset + ahead, at - offset + ahead});
    }
}

// The points between the arc's ends; `normal` points from the centre to its start, in user space.
void Pen::addArc(Outline& outline, Point center, Point normal, double angle) const
{
    auto const count = static_cast<int>(std::ceil(std::abs(angle) / m_arcStep));
    auto const cosine = std::cos(angle / count);
    auto const sine = std::sin(angle / count);
    for (int i = 1; i < count; ++i) {
        normal = {normal.x * cosine - normal.y * sine, normal.x * sine + normal.y * cosine};
        outline.push_back(center + toDevice(normal));
    }
}

void Pen::addJoin(Segment const& in, Segment const& out, bool isSmooth)
{
    auto const cosine = dot(in.direction, out.direction);
    auto const sine = cross(in.direction, out.direction);
    // Of lines that are long enough, the inner edges meet before they end.
    auto const meets =
        cosine > -0.99 && std::abs(sine) * m_halfWidth <= (1 + cosine) * std::min(in.length, out.length);
    auto const inner = meets ? Inner::Meets : isSmooth ? Inner::Swept : Inner::Crosses;
    auto const turnsLeft = sine > 0;
    addInner(turnsLeft ? m_left : m_right, in, out, turnsLeft ? 1 : -1, inner);
    addOuter(turnsLeft ? m_right : m_left, in, out, turnsLeft ? -1 : 1, isSmooth);
}

// Going through the point between the lines keeps every part of the outline turning the same way. Where a
// curve is tighter than the pen, its normals sweep over what lies behind the point: a wedge that turns like
// the rest, before the outline goes on.
//
//     in ----.  .---- out          in, at, out, in, at, out
//             \/
//             at
void Pen::addInner(Outline& outline, Segment const& in, Segment const& out, double side, Inner inner) const
{
    auto const at = out.from;
    if (inner == Inner::Meets) {
        auto const cosine = dot(in.direction, out.direction);
        outline.push_back(at + meeting(in.offset, out.offset, cosine) * side);
        return;
    }
    for (int i = 0; i < (inner == Inner::Swept ? 2 : 1); ++i)
        outline.insert(outline.end(), {at + in.offset * side, at, at + out.offset * side});
}

void Pen::addOuter(Outline& outline, Segment const& in, Segment const& out, double side, bool isSmooth) const
{
    auto const at = out.from;
    auto const join = isSmooth ? LineJoin::Round : m_join;
    auto const cosine = dot(in.direction, out.direction);
    auto const isPointed = join == LineJoin::Round
        ? cosine >= m_arcStepCosine
        : join == LineJoin::Miter && (1 + cosine) / 2 * m_miterLimit * m_miterLimit >= 1;
    if (isPointed && cosine > -1 + 1e-9) {
        outline.push_back(at + meeting(in.offset, out.offset, cosine) * side);
        return;
    }
    outline.push_back(at + in.offset * side);
    if (join == LineJoin::Round) {
        auto const angle = std::atan2(std::abs(cross(in.direction, out.direction)), cosine);
        addArc(outline, at, turnedLeft(in.direction) * (side * m_halfWidth), -side * angle);
    }
    outline.push_back(at + out.offset * side);
}

} // namespace velk::graphics
