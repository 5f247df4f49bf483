#include "platform/graphics/drawing/Dash.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace velk::graphics {

namespace {

// Finer patterns than this, in pixels, look like an even tone, which a coarser one gives as well.
constexpr double kFinestEntry = 1.0 / 64;

// No line is cut into many more pieces in sight.
constexpr double kMostEntries = 4e6;

struct Range {
    double begin = 0, end = 0; ///< shares of a line

    bool isEmpty() const { return begin >= end; }
};

// Narrows `range` to where from + share · delta lies between `low` and `high`.
Range narrowed(Range range, double from, double delta, double low, double high)
{
    if (delta == 0)
        return from >= low && from <= high ? range : Range {};
    auto const [first, last] = std::minmax({(low - from) / delta, (high - from) / delta});
    return {std::max(range.begin, first), std::min(range.end, last)};
}

// The part of a line that lies in the box.
Range visiblePart(Point from, Point to, std::optional<Box> const& box)
{
    Range const whole {0, 1};
    if (!box)
        return whole;
    auto const byColumn = narrowed(whole, from.x, to.x - from.x, box->left, box->right);
    return narrowed(byColumn, from.y, to.y - from.y, box->top, box->bottom);
}

// The lines of a polyline, that from the last point to the first included when it is closed.
template <typename Body> void forEachLine(Polyline const& line, Body const& body)
{
    for (std::size_t i = 1; i < line.points.size(); ++i)
        body(line.points[i - 1], line.points[i], line.isSmooth[i]);
    if (line.isClosed)
        body(line.points.back(), line.points.front(), line.isSmooth.front());
}

// Dashes of no length at all disappear when dashes and gaps are summed up, so the pattern stays as long as
// its entries are not absurdly small.
std::vector<double> coarsened(std::vector<double> const& lengths, double finest)
{
    auto const period = std::accumulate(lengths.begin(), lengths.end(), 0.0);
    if (period >= finest * static_cast<double>(lengths.size()))
        return lengths;
    double on = 0;
    for (std::size_t i = 0; i < lengths.size(); i += 2)
        on += lengths[i];
    auto const factor = std::max(1.0, 2 * finest / period);
    return {on * factor, (period - on) * factor};
}

} // namespace

std::optional<Dasher> Dasher::create(StrokeStyle const& style, std::optional<Box> visible)
{
    auto const isBad = [](double length) { return !(length >= 0) || !std::isfinite(length); };
    auto lengths = style.dash;
    auto const total = std::accumulate(lengths.begin(), lengths.end(), 0.0);
    if (std::ranges::any_of(lengths, isBad) || !(total > 0) || !std::isfinite(2 * total)
        || !std::isfinite(style.dashPhase))
        return std::nullopt;
    if (lengths.size() % 2 != 0)
        lengths.insert(lengths.end(), style.dash.begin(), style.dash.end());
    return Dasher(std::move(lengths), style.dashPhase, visible);
}

Dasher::Dasher(std::vector<double> lengths, double phase, std::optional<Box> visible)
    : m_lengths(std::move(lengths))
    , m_phase(phase)
    , m_visible(visible)
{
}

void Dasher::Dash::clear()
{
    points.clear();
    isSmooth.clear();
}

void Dasher::Dash::add(Point point, std::uint8_t smooth)
{
    if (!points.empty() && std::hypot(point.x - points.back().x, point.y - points.back().y) < kShortestLine)
        return;
    points.push_back(point);
    isSmooth.push_back(smooth);
}

Point Dasher::Stretch::at(double distance) const
{
    auto const share = std::min(1.0, distance / length);
    return {from.x + (to.x - from.x) * share, from.y + (to.y - from.y) * share};
}

std::vector<double> Dasher::patternFor(Polyline const& line, Pen const& pen) const
{
    double visible = 0; // in user space
    double pixels = 0;
    double length = 0;
    forEachLine(line, [&](Point from, Point to, std::uint8_t) {
        Point const vector = {to.x - from.x, to.y - from.y};
        auto const part = visiblePart(from, to, m_visible);
        length += pen.lengthOf(vector);
        pixels += std::hypot(vector.x, vector.y);
        if (!part.isEmpty())
            visible += pen.lengthOf(vector) * (part.end - part.begin);
    });
    return coarsened(m_lengths, std::max(kFinestEntry * length / pixels, visible / kMostEntries));
}

Dasher::Place Dasher::placeAt(double distance) const
{
    auto rest = std::fmod(distance, m_period);
    if (rest < 0)
        rest += m_period;
    for (std::size_t entry = 0; entry < m_pattern.size(); ++entry) {
        if (rest < m_pattern[entry] || (rest == 0 && m_pattern[entry] == 0))
            return {entry, m_pattern[entry] - rest};
        rest -= m_pattern[entry];
    }
    return {0, m_pattern[0]};
}

void Dasher::draw(Polyline const& line, Pen& pen)
{
    m_pattern = patternFor(line, pen);
    m_period = std::accumulate(m_pattern.begin(), m_pattern.end(), 0.0);
    m_place = placeAt(m_phase);
    m_dash.clear();
    m_firstDash.clear();
    m_isFirst = line.isClosed && m_place.isOn();
    if (m_place.isOn())
        m_dash.add(line.points.front(), 0);
    forEachLine(line, [&](Point from, Point to, std::uint8_t smooth) {
        Stretch const stretch {from, to, pen.lengthOf({to.x - from.x, to.y - from.y})};
        auto const part = visiblePart(from, to, m_visible);
        auto const isVisible = !part.isEmpty();
        auto const begin = isVisible ? part.begin * stretch.length : stretch.length;
        auto const end = isVisible ? part.end * stretch.length : stretch.length;
        skip(stretch, 0, begin, pen);
        walk(stretch, begin, end, pen);
        skip(stretch, end, stretch.length, pen);
        if (m_place.isOn())
            m_dash.add(to, smooth);
    });
    finishLine(pen);
}

// Dash by dash.
void Dasher::walk(Stretch const& stretch, double from, double to, Pen& pen)
{
    auto at = from;
    while (m_place.rest <= to - at) {
        at += m_place.rest;
        nextEntry(stretch, at, pen);
    }
    m_place.rest -= to - at;
}

// Out of sight, where whole periods make no difference.
void Dasher::skip(Stretch const& stretch, double from, double to, Pen& pen)
{
    auto const periods = std::floor((to - from) / m_period);
    if (periods > 2) {
        if (m_place.isOn())
            finishDash(pen);
        from = std::min(to, from + periods * m_period);
        if (m_place.isOn())
            m_dash.add(stretch.at(from), 0);
    }
    walk(stretch, from, to, pen);
}

// A dash ends or starts on the stretch.
void Dasher::nextEntry(Stretch const& stretch, double at, Pen& pen)
{
    auto const point = stretch.at(at);
    if (m_place.isOn()) {
        m_dash.add(point, 0);
        if (m_dash.points.size() == 1) {
            pen.drawDot(point, {stretch.to.x - stretch.from.x, stretch.to.y - stretch.from.y});
            m_isFirst = false;
        }
        finishDash(pen);
    }
    m_place.entry = (m_place.entry + 1) % m_pattern.size();
    m_place.rest = m_pattern[m_place.entry];
    if (m_place.isOn())
        m_dash.add(point, 0);
}

void Dasher::finishDash(Pen& pen)
{
    if (m_isFirst)
        std::swap(m_firstDash, m_dash);
    else
        pen.draw({m_dash.points, m_dash.isSmooth, false});
    m_isFirst = false;
    m_dash.clear();
}

// The last dash of a closed line goes on in the first one.
void Dasher::finishLine(Pen& pen)
{
    if (m_isFirst) { // one dash all the way round, up to its first point again
        m_dash.points.pop_back();
        m_dash.isSmooth.pop_back();
        pen.draw({m_dash.points, m_dash.isSmooth, true});
    } else if (m_place.isOn()) {
        for (std::size_t i = 1; i < m_firstDash.points.size(); ++i)
            m_dash.add(m_firstDash.points[i], m_firstDash.isSmooth[i]);
        pen.draw({m_dash.points, m_dash.isSmooth, false});
    } else {
        pen.draw({m_firstDash.points, m_firstDash.isSmooth, false});
    }
}

} // namespace velk::graphics
