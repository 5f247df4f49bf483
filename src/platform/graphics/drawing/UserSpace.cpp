#include "platform/graphics/drawing/UserSpace.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velk::graphics {

namespace {

FloatRect upright(FloatRect rect)
{
    if (rect.width < 0)
        rect = {rect.x + rect.width, rect.y, -rect.width, rect.height};
    if (rect.height < 0)
        rect = {rect.x, rect.y + rect.height, rect.width, -rect.height};
    return rect;
}

bool isFinite(FloatRect const& rect)
{
    return std::isfinite(rect.x) && std::isfinite(rect.y) && std::isfinite(rect.x + rect.width)
        && std::isfinite(rect.y + rect.height);
}

struct Direction {
    double x, y, length;
};

Direction direction(Point from, Point to)
{
    auto const length = std::hypot(to.x - from.x, to.y - from.y);
    return {(to.x - from.x) / length, (to.y - from.y) / length, length};
}

void lineTo(Path& path, Point to, AffineTransform const& map)
{
    path.lineTo(apply(map, to));
}

} // namespace

bool isFinite(AffineTransform const& map)
{
    return std::ranges::all_of(std::initializer_list {map.a, map.b, map.c, map.d, map.tx, map.ty},
        [](double value) { return std::isfinite(value); });
}

std::optional<AffineTransform> inverseOf(AffineTransform const& map)
{
    auto const factor = 1 / (map.a * map.d - map.b * map.c);
    AffineTransform inverse = {
        .a = map.d * factor, .b = -map.b * factor, .c = -map.c * factor, .d = map.a * factor};
    inverse.tx = -(map.tx * inverse.a + map.ty * inverse.c);
    inverse.ty = -(map.tx * inverse.b + map.ty * inverse.d);
    if (!isFinite(inverse))
        return std::nullopt;
    return inverse;
}

//      start . . . . . corner       The arc touches both lines at the same distance from the corner, and its
//            \        /             centre lies on the line that halves the angle between them.
//          touch    touch
//               `--'
//                     end
void addTangentArc(Path& path, Point corner, Point end, double radius, AffineTransform const& map)
{
    auto const inverse = inverseOf(map);
    auto const given = {corner.x, corner.y, end.x, end.y, radius};
    if (!path.hasCurrentPoint() || !inverse || radius < 0
        || !std::ranges::all_of(given, [](double value) { return std::isfinite(value); }))
        return;
    auto const back = direction(corner, apply(*inverse, path.currentPoint()));
    auto const ahead = direction(corner, end);
    auto const cosine = back.x * ahead.x + back.y * ahead.y;
    auto const sine = back.x * ahead.y - back.y * ahead.x;
    if (!(back.length > 0) || !(ahead.length > 0) || radius == 0 || std::abs(sine) < 1e-12)
        return lineTo(path, corner, map);
    auto const distance = radius * (1 + cosine) / std::abs(sine); // radius / tan(half the angle)
    Point const touch = {corner.x + back.x * distance, corner.y + back.y * distance};
    Point const lastTouch = {corner.x + ahead.x * distance, corner.y + ahead.y * distance};
    auto const side = sine > 0 ? 1.0 : -1.0;
    Point const center = {touch.x - back.y * side * radius, touch.y + back.x * side * radius};
    // As one Bezier curve, the arc spans less than half a turn; halving it keeps it exact to 1e-3 of it.
    auto const half = (std::numbers::pi - std::atan2(std::abs(sine), cosine)) / 2;
    auto const reach = 4.0 / 3 * std::tan(half / 4) * radius;
    Point const towards = {corner.x - center.x, corner.y - center.y};
    auto const far = std::hypot(towards.x, towards.y);
    Point const middle = {center.x + towards.x / far * radius, center.y + towards.y / far * radius};
    // Along the arc in its middle, at right angles to the way to the corner.
    Point const along = {towards.y / far * -side, towards.x / far * side};
    auto const mapped = [&](Point from, double x, double y) {
        return apply(map, {from.x + x * reach, from.y + y * reach});
    };
    lineTo(path, touch, map);
    path.cubicTo(mapped(touch, -back.x, -back.y), mapped(middle, along.x, along.y), mapped(middle, 0, 0));
    path.cubicTo(
        mapped(middle, -along.x, -along.y), mapped(lastTouch, -ahead.x, -ahead.y), mapped(lastTouch, 0, 0));
}

std::optional<PlacedImage> placeImage(Size image, FloatRect const& part, FloatRect const& destination)
{
    auto const wanted = upright(part);
    auto const target = upright(destination);
    if (!isFinite(wanted) || !isFinite(target))
        return std::nullopt;
    auto const left = std::max(0.0, wanted.x);
    auto const top = std::max(0.0, wanted.y);
    auto const right = std::min<double>(image.width, wanted.x + wanted.width);
    auto const bottom = std::min<double>(image.height, wanted.y + wanted.height);
    if (!(left < right) || !(top < bottom) || !(target.width > 0) || !(target.height > 0))
        return std::nullopt;
    auto const scaleX = target.width / wanted.width;
    auto const scaleY = target.height / wanted.height;
    return PlacedImage {{left, top, right - left, bottom - top},
        {.a = scaleX,
            .d = -scaleY,
            .tx = target.x + (left - wanted.x) * scaleX,
            .ty = target.y + target.height - (top - wanted.y) * scaleY}};
}

} // namespace velk::graphics
