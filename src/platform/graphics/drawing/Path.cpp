#include "platform/graphics/drawing/Path.h"

#include "platform/graphics/drawing/Flatten.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <numbers>

namespace velk::graphics {

namespace {

bool areFinite(std::initializer_list<double> values)
{
    return std::ranges::all_of(values, [](double value) { return std::isfinite(value); });
}

bool isFinite(Point point)
{
    return areFinite({point.x, point.y});
}

// A curve in place of an eighth of a circle strays from it by 4 millionths of the radius, in place of a
// quarter by 300.
constexpr double kLongestPiece = std::numbers::pi / 4;

// From 0 to a full turn.
double sweepOf(double startAngle, double endAngle)
{
    constexpr double kFullTurn = 2 * std::numbers::pi;
    auto const sweep = endAngle - startAngle;
    if (sweep >= kFullTurn)
        return kFullTurn;
    auto const rest = std::fmod(sweep, kFullTurn);
    return rest < 0 ? rest + kFullTurn : rest;
}

// Twice the area of the triangle, above 0 where `point` lies to the left of the line, y upwards.
double sideOf(Point from, Point to, Point point)
{
    return (to.x - from.x) * (point.y - from.y) - (point.x - from.x) * (to.y - from.y);
}

bool liesOn(Point from, Point to, Point point)
{
    return sideOf(from, to, point) == 0 && point.x >= std::min(from.x, to.x)
        && point.x <= std::max(from.x, to.x) && point.y >= std::min(from.y, to.y)
        && point.y <= std::max(from.y, to.y);
}

// What a line adds to the winding number: whether it crosses the ray to the right of `point`, and which way.
int crossing(Point from, Point to, Point point)
{
    if (from.y <= point.y)
        return to.y > point.y && sideOf(from, to, point) > 0 ? 1 : 0;
    return to.y <= point.y && sideOf(from, to, point) < 0 ? -1 : 0;
}

} // namespace

void Path::clear()
{
    m_verbs.clear();
    m_points.clear();
}

void Path::moveTo(Point to)
{
    if (!isFinite(to))
        return;
    m_verbs.push_back(Verb::Move);
    m_points.push_back(to);
    m_start = m_current = to;
}

void Path::lineTo(Point to)
{
    if (isEmpty() || !isFinite(to))
        return;
    m_verbs.push_back(Verb::Line);
    m_points.push_back(to);
    m_current = to;
}

void Path::quadTo(Point control, Point to)
{
    if (isEmpty() || !isFinite(control) || !isFinite(to))
        return;
    m_verbs.push_back(Verb::Quad);
    m_points.insert(m_points.end(), {control, to});
    m_current = to;
}

void Path::cubicTo(Point control1, Point control2, Point to)
{
    if (isEmpty() || !isFinite(control1) || !isFinite(control2) || !isFinite(to))
        return;
    m_verbs.push_back(Verb::Cubic);
    m_points.insert(m_points.end(), {control1, control2, to});
    m_current = to;
}

void Path::close()
{
    if (isEmpty() || m_verbs.back() == Verb::Close)
        return;
    m_verbs.push_back(Verb::Close);
    m_current = m_start;
}

void Path::addRect(FloatRect const& rect, AffineTransform const& map)
{
    Point const corners[] = {
        apply(map, {rect.x, rect.y}),
        apply(map, {rect.x + rect.width, rect.y}),
        apply(map, {rect.x + rect.width, rect.y + rect.height}),
        apply(map, {rect.x, rect.y + rect.height}),
    };
    if (!std::ranges::all_of(corners, isFinite))
        return;
    moveTo(corners[0]);
    for (auto const corner : {corners[1], corners[2], corners[3]})
        lineTo(corner);
    close();
}

void Path::append(Path const& path, AffineTransform const& map)
{
    auto const* point = path.m_points.data();
    auto const take = [&] { return apply(map, *point++); };
    for (auto const verb : path.m_verbs) {
        switch (verb) {
        case Verb::Move:
            moveTo(take());
            break;
        case Verb::Line:
            lineTo(take());
            break;
        case Verb::Quad: {
            auto const control = take();
            quadTo(control, take());
            break;
        }
        case Verb::Cubic: {
            auto const control1 = take();
            auto const control2 = take();
            cubicTo(control1, control2, take());
            break;
        }
        case Verb::Close:
            close();
            break;
        }
    }
}

void Path::addArc(Point center, double radius, double startAngle, double endAngle, AffineTransform const& map)
{
    if (!areFinite({center.x, center.y, radius, startAngle, endAngle}) || radius < 0)
        return;
    auto const sweep = sweepOf(startAngle, endAngle);
    auto const pieces = std::max(1, static_cast<int>(std::ceil(sweep / kLongestPiece - 1e-9)));
    auto const step = sweep / pieces;
    auto const reach = 4.0 / 3 * std::tan(step / 4);
    auto const place = [&](Point direction, double along) {
        return apply(map,
            {center.x + (direction.x - direction.y * along) * radius,
                center.y + (direction.y + direction.x * along) * radius});
    };
    Point direction = {std::cos(startAngle), std::sin(startAngle)};
    Point const turn = {std::cos(step), std::sin(step)};
    auto const first = place(direction, 0);
    if (isEmpty())
        moveTo(first);
    else
        lineTo(first);
    for (int i = 0; sweep > 0 && i < pieces; ++i) {
        Point const next = {
            direction.x * turn.x - direction.y * turn.y, direction.x * turn.y + direction.y * turn.x};
        auto const isFullCircle = i + 1 == pieces && sweep == 2 * std::numbers::pi;
        cubicTo(place(direction, reach), place(next, -reach), isFullCircle ? first : place(next, 0));
        direction = next;
    }
}

FloatRect Path::controlBounds() const
{
    if (m_points.empty())
        return {};
    auto const [left, right] = std::ranges::minmax(m_points, {}, &Point::x);
    auto const [bottom, top] = std::ranges::minmax(m_points, {}, &Point::y);
    return {left.x, bottom.y, right.x - left.x, top.y - bottom.y};
}

bool Path::contains(Point point) const
{
    if (!isFinite(point))
        return false;
    // Only curves near the point have to be exact.
    Flattener lines(*this, {}, Box {point.x - 1, point.y - 1, point.x + 1, point.y + 1});
    int winding = 0;
    while (lines.next()) {
        auto const points = lines.line().points;
        auto from = points.back();
        for (auto const to : points) {
            if (points.size() > 1 && liesOn(from, to, point))
                return true;
            winding += crossing(from, to, point);
            from = to;
        }
    }
    return winding != 0;
}

} // namespace velk::graphics
