#pragma once

#include "platform/graphics/AffineSampling.h"
#include "platform/graphics/AffineTransform.h"
#include "platform/graphics/Geometry.h"

#include <algorithm>
#include <cstdint>

namespace velk::graphics {

/// Neighbouring pixels of a row, or neighbouring rows.
struct Span {
    std::int32_t begin = 0;
    std::int32_t end = 0;

    bool isEmpty() const { return begin >= end; }
    /// The part within `other`; an empty one lies within it too.
    Span within(Span other) const
    {
        auto const first = std::clamp(begin, other.begin, other.end);
        return {first, std::clamp(end, first, other.end)};
    }
};

/// One coordinate of the source along a row of the bitmap.
struct AffineCoordinate {
    double start = 0; ///< at the centre of the row's first pixel
    double step = 0; ///< from one pixel to the next
    double length = 0; ///< of the source along this axis
    double slope = 1; ///< source pixels for a bitmap pixel, straight across the source's edges

    double at(std::int32_t x) const { return start + x * step; }
    /// Pixels of a row of `width` that lie inside the source, `margin` bitmap pixels and more from its edges;
    /// a negative margin counts from outside.
    Span where(double margin, std::int32_t width) const;
    /// How much of the pixel lies between the source's edges on this axis, 0 to 1.
    double coverage(std::int32_t x) const;
};

/// What a row of the bitmap sees of the source.
struct AffineRow {
    AffineCoordinate u;
    AffineCoordinate v;
    Span touched; ///< pixels that are covered at all
    Span inside; ///< pixels that are covered completely

    double coverage(std::int32_t x) const { return u.coverage(x) * v.coverage(x); }
    /// The way of samples through the source, from bitmap pixel `x` on.
    SampleWalk walkFrom(std::int32_t x) const;
};

/// Where an image lies in a bitmap that it is drawn into through a transform.
class AffineGeometry {
public:
    /// `transform` has an inverse, and maps from source to bitmap with y growing downwards in both.
    AffineGeometry(AffineTransform const& transform, Size source, Size bitmap);

    AffineRow row(std::int32_t y) const;
    /// How many rows of the source, from the top, these rows of the bitmap need.
    std::int32_t sourceRowsFor(Span rows) const;

private:
    AffineTransform m_inverse;
    Size m_source;
    Size m_bitmap;
};

} // namespace velk::graphics
