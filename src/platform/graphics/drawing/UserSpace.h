#pragma once

#include "platform/graphics/drawing/Path.h"

#include <optional>

namespace velk::graphics {

bool isFinite(AffineTransform const& map);

/// Nothing when there is none, or one beyond the range of numbers.
std::optional<AffineTransform> inverseOf(AffineTransform const& map);

/// An arc of `radius` tangent to the lines from the path's current point to `corner` and from there to `end`,
/// after a line to its start (HTML Canvas, arcTo); the points lie in user space, which `map` leads from.
/// Only a line to the corner where the lines have no inner side, nothing without a current point.
void addTangentArc(Path& path, Point corner, Point end, double radius, AffineTransform const& map);

/// The part of an image that is drawn, and where its pixels (y downwards) come to lie.
struct PlacedImage {
    FloatRect part;
    AffineTransform partToUser;
};

/// Both rectangles may have negative sides, without mirroring the image. What lies outside of the image is
/// cut off, in proportion. Nothing when nothing is left.
std::optional<PlacedImage> placeImage(Size image, FloatRect const& part, FloatRect const& destination);

} // namespace velk::graphics
