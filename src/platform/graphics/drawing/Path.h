#pragma once

#include "platform/graphics/AffineTransform.h"
#include "platform/graphics/Geometry.h"

#include <cstdint>
#include <span>
#include <vector>

namespace velk::graphics {

/// A place in a plane whose meaning the user of it says.
struct Point {
    double x = 0, y = 0;

    bool operator==(Point const&) const = default;
};

constexpr Point apply(AffineTransform const& map, Point point)
{
    return {point.x * map.a + point.y * map.c + map.tx, point.x * map.b + point.y * map.d + map.ty};
}

/// Subpaths of lines and Bezier curves. An element with a coordinate that is not finite is left out, as is
/// every drawing element before the first `moveTo`.
class Path {
public:
    enum class Verb : std::uint8_t {
        Move, ///< one point
        Line, ///< one point
        Quad, ///< control point, end
        Cubic, ///< two control points, end
        Close, ///< no point; the current point goes back to the subpath's start
    };

    bool isEmpty() const { return m_verbs.empty(); }
    bool hasCurrentPoint() const { return !m_verbs.empty(); }
    /// Where the next element starts; only with a current point.
    Point currentPoint() const { return m_current; }
    std::span<Verb const> verbs() const { return m_verbs; }
    /// The points of all verbs, one after the other.
    std::span<Point const> points() const { return m_points; }

    void clear();
    void moveTo(Point to);
    void lineTo(Point to);
    void quadTo(Point control, Point to);
    void cubicTo(Point control1, Point control2, Point to);
    void close();
    void addRect(FloatRect const& rect, AffineTransform const& map = {});
    /// The elements of `path`, mapped.
    void append(Path const& path, AffineTransform const& map = {});
    /// An arc of the circle from `startAngle` to `endAngle` (radians) in the direction of growing angles,
    /// mapped, after a line from the current point, if any, to its start; otherwise it starts a subpath. A
    /// sweep of a full turn or more is one full turn.
    void addArc(
        Point center, double radius, double startAngle, double endAngle, AffineTransform const& map = {});

    /// The smallest upright rectangle around all points, control points included; empty when there are none.
    FloatRect controlBounds() const;
    /// Whether the point lies inside by the non-zero winding rule, open subpaths taken as closed.
    bool contains(Point point) const;

private:
    std::vector<Verb> m_verbs;
    std::vector<Point> m_points;
    Point m_start, m_current;
};

} // namespace velk::graphics
