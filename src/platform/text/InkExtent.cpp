#include "platform/text/InkExtent.h"

#include <cmath>
#include <span>

namespace velk::text {

namespace {

using graphics::Path;
using graphics::Point;

/// Where the curve of these points lies at `t`, by repeated halving of the polygon (de Casteljau).
template <std::size_t Count> Point pointAt(Point const (&points)[Count], double t)
{
    Point work[Count];
    std::copy(std::begin(points), std::end(points), work);
    for (auto left = Count - 1; left > 0; --left) {
        for (std::size_t i = 0; i < left; ++i)
            work[i] = {std::lerp(work[i].x, work[i + 1].x, t), std::lerp(work[i].y, work[i + 1].y, t)};
    }
    return work[0];
}

bool isBetween(double value, double a, double b)
{
    return std::min(a, b) <= value && value <= std::max(a, b);
}

template <std::size_t Count> void includeAt(InkExtent& extent, Point const (&curve)[Count], double t)
{
    if (t > 0 && t < 1)
        extent.include(pointAt(curve, t));
}

/// Where a coordinate of the curve stands still: (p1 - p0)(1 - t) + (p2 - p1) t = 0.
void includeTurns(InkExtent& extent, Point const (&curve)[3], double p0, double p1, double p2)
{
    if (!isBetween(p1, p0, p2))
        includeAt(extent, curve, (p0 - p1) / (p0 - 2 * p1 + p2));
}

/// The same of degree three: a t² + 2 b t + c = 0, solved in the form that loses no digits.
void includeTurns(InkExtent& extent, Point const (&curve)[4], double p0, double p1, double p2, double p3)
{
    if (isBetween(p1, p0, p3) && isBetween(p2, p0, p3))
        return;
    auto const a = p3 - p0 + 3 * (p1 - p2);
    auto const b = p0 - 2 * p1 + p2;
    auto const c = p1 - p0;
    auto const discriminant = b * b - a * c;
    if (!(discriminant >= 0))
        return;
    auto const q = -(b + std::copysign(std::sqrt(discriminant), b));
    if (a != 0)
        includeAt(extent, curve, q / a);
    if (q != 0)
        includeAt(extent, curve, c / q);
}

void includeQuad(InkExtent& extent, Point const (&curve)[3])
{
    includeTurns(extent, curve, curve[0].x, curve[1].x, curve[2].x);
    includeTurns(extent, curve, curve[0].y, curve[1].y, curve[2].y);
    extent.include(curve[2]);
}

void includeCubic(InkExtent& extent, Point const (&curve)[4])
{
    includeTurns(extent, curve, curve[0].x, curve[1].x, curve[2].x, curve[3].x);
    includeTurns(extent, curve, curve[0].y, curve[1].y, curve[2].y, curve[3].y);
    extent.include(curve[3]);
}

} // namespace

InkExtent inkExtent(Path const& path)
{
    InkExtent extent;
    Point current, start;
    auto next = path.points().begin();
    for (auto const verb : path.verbs()) {
        switch (verb) {
        case Path::Verb::Move:
            start = *next;
            [[fallthrough]];
        case Path::Verb::Line:
            extent.include(current = *next++);
            break;
        case Path::Verb::Quad:
            includeQuad(extent, {current, next[0], next[1]});
            current = next[1];
            next += 2;
            break;
        case Path::Verb::Cubic:
            includeCubic(extent, {current, next[0], next[1], next[2]});
            current = next[2];
            next += 3;
            break;
        case Path::Verb::Close:
            current = start;
            break;
        }
    }
    return extent;
}

} // namespace velk::text
