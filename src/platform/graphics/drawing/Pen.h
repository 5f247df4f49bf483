#pragma once

#include "platform/graphics/drawing/Coverage.h"
#include "platform/graphics/drawing/Flatten.h"

#include <optional>
#include <span>
#include <vector>

namespace velk::graphics {

/// Lines shorter than this, in device pixels, have no direction to speak of.
constexpr double kShortestLine = 1e-7;

/// Outlines lines that lie in device space as a round pen in user space draws them.
class Pen {
public:
    /// Nothing when there is nothing to draw with: no width, or a transform without inverse.
    static std::optional<Pen> create(
        StrokeStyle const& style, AffineTransform const& userToDevice, PolygonSink& sink);

    /// A line of which no two neighbouring points coincide; a closed one has its first point not again at
    /// the end. Nothing below two points.
    void draw(Polyline const& line);
    /// Both caps of a line of no length that points along `direction` (device space).
    void drawDot(Point at, Point direction);
    /// Lines that turn by more are seen as lines.
    double longestTurn() const { return m_arcStep / 2; }
    /// The length in user space of a vector in device space.
    double lengthOf(Point vector) const;

private:
    struct Segment {
        Point from;
        Point direction; // user space, length 1
        Point offset; // device space, from the line to its left edge
        double length = 0; // user space
    };
    /// How the edges go on the inner side of a turn.
    enum class Inner : std::uint8_t {
        Meets, ///< up to where they meet
        Crosses, ///< past each other
        Swept, ///< past each other, on a curve
    };
    using Outline = std::vector<Point>;

    Pen(StrokeStyle const& style, AffineTransform const& userToDevice, PolygonSink& sink);
    Point toDevice(Point vector) const;
    Point toUser(Point vector) const;
    Segment segment(Point from, Point to) const;
    void addJoin(Segment const& in, Segment const& out, bool isSmooth);
    void addInner(Outline& outline, Segment const& in, Segment const& out, double side, Inner inner) const;
    void addOuter(Outline& outline, Segment const& in, Segment const& out, double side, bool isSmooth) const;
    void addArc(Outline& outline, Point center, Point normal, double angle) const;
    void addCap(Outline& outline, Point at, Point direction, Point offset) const;
    void drawOpen(Point end);
    void drawClosed();

    LineCap m_cap;
    LineJoin m_join;
    double m_miterLimit;
    double m_halfWidth;
    AffineTransform m_toDevice, m_toUser; // without translation
    double m_arcStep; // radians
    double m_arcStepCosine;
    PolygonSink* m_sink;
    std::vector<Segment> m_segments;
    Outline m_left, m_right;
};

} // namespace velk::graphics
