#include "platform/graphics/AffineGeometry.h"

#include <cassert>
#include <cmath>

namespace velk::graphics {

namespace {

// A step that leaves the source at once may be any.
constexpr double kLongestStep = 1 << 24;

// Counted from pixel centres, where samples of covered pixels may lie.
std::int64_t fixedPosition(AffineCoordinate const& coordinate, std::int32_t x)
{
    return std::llround(std::clamp(coordinate.at(x) - 0.5, -1.0, coordinate.length) * kSampleOne);
}

std::int64_t fixedStep(AffineCoordinate const& coordinate)
{
    return std::llround(std::clamp(coordinate.step, -kLongestStep, kLongestStep) * kSampleOne);
}

AffineTransform inverseOf(AffineTransform const& map)
{
    auto const determinant = map.a * map.d - map.b * map.c;
    assert(determinant != 0);
    AffineTransform inverse = {
        .a = map.d / determinant,
        .b = -map.b / determinant,
        .c = -map.c / determinant,
        .d = map.a / determinant,
    };
    inverse.tx = -(map.tx * inverse.a + map.ty * inverse.c);
    inverse.ty = -(map.tx * inverse.b + map.ty * inverse.d);
    return inverse;
}

} // namespace

Span AffineCoordinate::where(double margin, std::int32_t width) const
{
    auto low = margin * slope;
    auto high = length - margin * slope;
    if (high < low)
        return {};
    if (std::abs(step) < 1e-12)
        return start >= low && start <= high ? Span {0, width} : Span {};
    low = (low - start) / step;
    high = (high - start) / step;
    if (step < 0)
        std::swap(low, high);
    auto const limit = static_cast<double>(width);
    return {static_cast<std::int32_t>(std::ceil(std::clamp(low, 0.0, limit))),
        static_cast<std::int32_t>(std::floor(std::clamp(high, -1.0, limit - 1))) + 1};
}

double AffineCoordinate::coverage(std::int32_t x) const
{
    auto const here = at(x);
    auto const fromStart = std::clamp(here / slope + 0.5, 0.0, 1.0);
    auto const fromEnd = std::clamp((length - here) / slope + 0.5, 0.0, 1.0);
    return std::max(0.0, fromStart + fromEnd - 1);
}

SampleWalk AffineRow::walkFrom(std::int32_t x) const
{
    return {fixedPosition(u, x), fixedPosition(v, x), fixedStep(u), fixedStep(v)};
}

AffineGeometry::AffineGeometry(AffineTransform const& transform, Size source, Size bitmap)
    : m_inverse(inverseOf(transform))
    , m_source(source)
    , m_bitmap(bitmap)
{
}

AffineRow AffineGeometry::row(std::int32_t y) const
{
    auto const centre = y + 0.5;
    auto const& map = m_inverse;
    AffineRow row;
    row.u = {map.a * 0.5 + map.c * centre + map.tx, map.a, static_cast<double>(m_source.width),
        std::hypot(map.a, map.c)};
    row.v = {map.b * 0.5 + map.d * centre + map.ty, map.b, static_cast<double>(m_source.height),
        std::hypot(map.b, map.d)};
    row.touched = row.u.where(-0.5, m_bitmap.width).within(row.v.where(-0.5, m_bitmap.width));
    row.inside = row.u.where(0.5, m_bitmap.width).within(row.v.where(0.5, m_bitmap.width));
    row.inside = row.inside.within(row.touched);
    return row;
}

std::int32_t AffineGeometry::sourceRowsFor(Span rows) const
{
    double last = -1;
    for (auto y = rows.begin; y < rows.end; ++y) {
        auto const seen = row(y);
        if (!seen.touched.isEmpty())
            last = std::max({last, 0.0, seen.v.at(seen.touched.begin), seen.v.at(seen.touched.end - 1)});
    }
    if (last < 0)
        return 0;
    return static_cast<std::int32_t>(
        std::min(last + kSampleMargin + 1, static_cast<double>(m_source.height)));
}

} // namespace velk::graphics
