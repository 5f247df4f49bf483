#pragma once

#include "platform/graphics/drawing/Path.h"

#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace velk::graphics {

/// The farthest that lines in place of a curve stray from it, in pixels.
constexpr double kFlatness = 0.015;

/// Corners of a rectangle in the plane.
struct Box {
    double left = 0, top = 0, right = 0, bottom = 0;
};

/// A subpath as lines; the first point stays alone when there is nothing but a `moveTo`.
struct Polyline {
    std::span<Point const> points;
    /// Of every point: 1 where a curve goes on through it.
    std::span<std::uint8_t const> isSmooth;
    bool isClosed = false;
};

/// Takes the outlines of a shape in device space.
class PolygonSink {
public:
    virtual ~PolygonSink() = default;
    /// The last point is joined to the first.
    virtual void polygon(std::span<Point const> points) = 0;
};

/// Turns the subpaths of a path into lines one after the other. Curves out of sight of `visible` become
/// single lines that lie on the same side of it, so that the work is bounded however large the curves are.
class Flattener {
public:
    /// Where a curve turns, no line of it turns by more than `longestTurn` (radians), as far as is
    /// reasonable.
    Flattener(
        Path const& path, AffineTransform const& map, std::optional<Box> visible, double longestTurn = 4);

    /// Whether there is another subpath; it is then in `line()`.
    bool next();
    /// Good until the next `next`.
    Polyline line() const;

private:
    struct Cubic {
        Point from, control1, control2, to;
    };

    Point takePoint();
    void addElement(Path::Verb verb);
    void add(Point to, bool smooth);
    void addCubic(Cubic const& curve, int halvings);
    void addPieces(Cubic const& curve, int count);
    bool isOutOfSight(Cubic const& curve) const;
    static double turnOf(Cubic const& curve);
    static std::pair<Cubic, Cubic> halved(Cubic const& curve);

    Path const& m_path;
    AffineTransform m_map;
    std::optional<Box> m_visible;
    double m_longestTurn;
    std::size_t m_verb = 0;
    std::size_t m_point = 0;
    Point m_start; // of the last subpath; one without `moveTo` begins there too
    std::vector<Point> m_points;
    std::vector<std::uint8_t> m_isSmooth;
    bool m_isClosed = false;
};

} // namespace velk::graphics
