#include "platform/graphics/drawing/Flatten.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velk::graphics {

namespace {

// Sums and products of a few coordinates stay finite below this, and no one sees what lies beyond.
constexpr double kFarthest = 1e30;

// A curve that needs more lines is halved first, so that its invisible parts cost nothing.
constexpr int kMostPieces = 64;
constexpr int kHalvingsInSight = 64;
constexpr int kHalvingsWithoutSight = 5;

Point limited(Point point)
{
    return {std::clamp(point.x, -kFarthest, kFarthest), std::clamp(point.y, -kFarthest, kFarthest)};
}

Point between(Point a, Point b, double share)
{
    return {a.x + (b.x - a.x) * share, a.y + (b.y - a.y) * share};
}

double secondDifference(Point a, Point b, Point c)
{
    auto const x = a.x - 2 * b.x + c.x;
    auto const y = a.y - 2 * b.y + c.y;
    return std::sqrt(x * x + y * y);
}

// The angle between two vectors; 0 where one has no length.
double angleBetween(Point a, Point b)
{
    return std::abs(std::atan2(a.x * b.y - a.y * b.x, a.x * b.x + a.y * b.y));
}

} // namespace

Flattener::Flattener(
    Path const& path, AffineTransform const& map, std::optional<Box> visible, double longestTurn)
    : m_path(path)
    , m_map(map)
    , m_visible(visible)
    , m_longestTurn(longestTurn)
{
    constexpr std::size_t kUsualPoints = 64;
    m_points.reserve(kUsualPoints);
    m_isSmooth.reserve(kUsualPoints);
}

bool Flattener::next()
{
    auto const verbs = m_path.verbs();
    if (m_verb == verbs.size())
        return false;
    m_points.clear();
    m_isSmooth.clear();
    m_isClosed = false;
    if (verbs[m_verb] == Path::Verb::Move) {
        ++m_verb;
        m_start = takePoint();
    }
    add(m_start, false);
    while (m_verb < verbs.size() && verbs[m_verb] != Path::Verb::Move) {
        auto const verb = verbs[m_verb++];
        if (verb == Path::Verb::Close) {
            m_isClosed = true;
            break;
        }
        addElement(verb);
    }
    return true;
}

Polyline Flattener::line() const
{
    return {m_points, m_isSmooth, m_isClosed};
}

Point Flattener::takePoint()
{
    return limited(apply(m_map, m_path.points()[m_point++]));
}

void Flattener::addElement(Path::Verb verb)
{
    auto const from = m_points.back();
    if (verb == Path::Verb::Line) {
        add(takePoint(), false);
    } else if (verb == Path::Verb::Quad) {
        auto const control = takePoint();
        auto const to = takePoint();
        addCubic({from, between(from, control, 2.0 / 3), between(to, control, 2.0 / 3), to},
            m_visible ? kHalvingsInSight : kHalvingsWithoutSight);
        m_isSmooth.back() = 0;
    } else {
        auto const control1 = takePoint();
        auto const control2 = takePoint();
        addCubic(
            {from, control1, control2, takePoint()}, m_visible ? kHalvingsInSight : kHalvingsWithoutSight);
        m_isSmooth.back() = 0;
    }
}

void Flattener::add(Point to, bool smooth)
{
    m_points.push_back(to);
    m_isSmooth.push_back(smooth ? 1 : 0);
}

bool Flattener::isOutOfSight(Cubic const& curve) const
{
    if (!m_visible)
        return false;
    auto const [left, right] = std::minmax({curve.from.x, curve.control1.x, curve.control2.x, curve.to.x});
    auto const [top, bottom] = std::minmax({curve.from.y, curve.control1.y, curve.control2.y, curve.to.y});
    return right <= m_visible->left || left >= m_visible->right || bottom <= m_visible->top
        || top >= m_visible->bottom;
}

// By how much the direction changes from start to end, at most.
double Flattener::turnOf(Cubic const& curve)
{
    auto const vector = [](Point from, Point to) { return Point {to.x - from.x, to.y - from.y}; };
    auto const first = vector(curve.from, curve.control1);
    auto const second = vector(curve.control1, curve.control2);
    auto const third = vector(curve.control2, curve.to);
    return angleBetween(first, second) + angleBetween(second, third);
}

// The number of equal steps of the parameter that keep the lines within the flatness, by the largest second
// derivative (Wang's bound).
void Flattener::addCubic(Cubic const& curve, int halvings)
{
    auto const bend = std::max(secondDifference(curve.from, curve.control1, curve.control2),
        secondDifference(curve.control1, curve.control2, curve.to));
    auto pieces = std::sqrt(bend * (0.75 / kFlatness));
    if (m_longestTurn < std::numbers::pi && bend > 0)
        pieces = std::max(pieces, std::min<double>(kMostPieces, turnOf(curve) / m_longestTurn));
    if (!(pieces > 1) || isOutOfSight(curve)) {
        add(curve.to, true);
    } else if (pieces <= kMostPieces || halvings == 0) {
        addPieces(curve, static_cast<int>(std::ceil(std::min<double>(pieces, kMostPieces))));
    } else {
        auto const [first, second] = halved(curve);
        addCubic(first, halvings - 1);
        addCubic(second, halvings - 1);
    }
}

std::pair<Flattener::Cubic, Flattener::Cubic> Flattener::halved(Cubic const& curve)
{
    auto const a = between(curve.from, curve.control1, 0.5);
    auto const b = between(curve.control1, curve.control2, 0.5);
    auto const c = between(curve.control2, curve.to, 0.5);
    auto const ab = between(a, b, 0.5);
    auto const bc = between(b, c, 0.5);
    auto const middle = between(ab, bc, 0.5);
    return {{curve.from, a, ab, middle}, {middle, bc, c, curve.to}};
}

void Flattener::addPieces(Cubic const& curve, int count)
{
    auto const& [p, c1, c2, q] = curve;
    Point const linear = {3 * (c1.x - p.x), 3 * (c1.y - p.y)};
    Point const square = {3 * (p.x - 2 * c1.x + c2.x), 3 * (p.y - 2 * c1.y + c2.y)};
    Point const cube = {q.x - p.x + 3 * (c1.x - c2.x), q.y - p.y + 3 * (c1.y - c2.y)};
    auto const step = 1.0 / count;
    for (int i = 1; i < count; ++i) {
        auto const t = i * step;
        add({((cube.x * t + square.x) * t + linear.x) * t + p.x,
                ((cube.y * t + square.y) * t + linear.y) * t + p.y},
            true);
    }
    add(q, true);
}

} // namespace velk::graphics
