#include "platform/graphics/drawing/StrokeOutline.h"

#include "platform/graphics/drawing/Dash.h"
#include "platform/graphics/drawing/Pen.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velk::graphics {

namespace {

class PathSink final : public PolygonSink {
public:
    Path path;

private:
    void polygon(std::span<Point const> points) override
    {
        path.moveTo(points.front());
        for (auto const point : points.subspan(1))
            path.lineTo(point);
        path.close();
    }
};

bool coincide(Point a, Point b)
{
    return std::abs(a.x - b.x) < kShortestLine && std::abs(a.y - b.y) < kShortestLine;
}

/// A polyline without its lines of no length.
class DistinctPoints {
public:
    Polyline of(Polyline const& line)
    {
        m_points.clear();
        m_isSmooth.clear();
        for (std::size_t i = 0; i < line.points.size(); ++i) {
            if (m_points.empty() || !coincide(m_points.back(), line.points[i])) {
                m_points.push_back(line.points[i]);
                m_isSmooth.push_back(line.isSmooth[i]);
            } else if (line.isSmooth[i] == 0) {
                m_isSmooth.back() = 0;
            }
        }
        while (line.isClosed && m_points.size() > 1 && coincide(m_points.back(), m_points.front())) {
            m_points.pop_back();
            m_isSmooth.pop_back();
        }
        return {m_points, m_isSmooth, line.isClosed};
    }

private:
    std::vector<Point> m_points;
    std::vector<std::uint8_t> m_isSmooth;
};

// The longer radius of the ellipse that a unit circle is mapped to.
double largestStretch(AffineTransform const& map)
{
    auto const squares = map.a * map.a + map.b * map.b + map.c * map.c + map.d * map.d;
    auto const determinant = map.a * map.d - map.b * map.c;
    auto const root = std::sqrt(std::max(0.0, squares * squares - 4 * determinant * determinant));
    return std::sqrt((squares + root) / 2);
}

} // namespace

double strokeReach(StrokeStyle const& style, AffineTransform const& userToDevice)
{
    auto const cap = style.cap == LineCap::Square ? std::numbers::sqrt2 : 1.0;
    auto const join = style.join == LineJoin::Miter && style.miterLimit > 1 ? style.miterLimit : 1.0;
    return style.width / 2 * largestStretch(userToDevice) * std::max(cap, join);
}

void outlineStroke(StrokedPath const& stroked, StrokeStyle const& style, PolygonSink& sink)
{
    auto pen = Pen::create(style, stroked.userToDevice, sink);
    auto const reach = strokeReach(style, stroked.userToDevice);
    if (!pen || !std::isfinite(reach))
        return;
    auto visible = stroked.visible;
    if (visible)
        visible = Box {
            visible->left - reach, visible->top - reach, visible->right + reach, visible->bottom + reach};
    auto dasher = Dasher::create(style, visible);
    Flattener lines(stroked.path, stroked.pathToDevice, visible, pen->longestTurn());
    DistinctPoints distinct;
    while (lines.next()) {
        auto const line = distinct.of(lines.line());
        if (line.points.size() < 2)
            continue;
        if (dasher)
            dasher->draw(line, *pen);
        else
            pen->draw(line);
    }
}

Path strokeOutline(Path const& path, StrokeStyle const& style, AffineTransform const& userToDevice)
{
    PathSink sink;
    outlineStroke({path, {}, userToDevice, std::nullopt}, style, sink);
    return std::move(sink.path);
}

} // namespace velk::graphics
