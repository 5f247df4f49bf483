#include "platform/graphics/Placement.h"

#include "platform/graphics/Turn.h"

#include <algorithm>
#include <cmath>

namespace velk::graphics {

namespace {

// Distances below this many pixels, over the whole of an image, are rounding errors of the caller's
// arithmetic.
constexpr double kNegligible = 1.0 / 1024;

AffineTransform downwards(AffineTransform const& up, Size image, Size bitmap)
{
    return {
        .a = up.a,
        .b = -up.b,
        .c = -up.c,
        .d = up.d,
        .tx = up.c * image.height + up.tx,
        .ty = bitmap.height - up.d * image.height - up.ty,
    };
}

struct Axes {
    bool areStraight;
    bool areSwapped;
};

Axes axesOf(AffineTransform const& map, Size image)
{
    auto const negligible = [](double slope, std::int32_t length) {
        return std::abs(slope) * length < kNegligible;
    };
    auto const noDiagonal = negligible(map.a, image.width) || negligible(map.d, image.height);
    auto const noCross = negligible(map.b, image.width) || negligible(map.c, image.height);
    return {
        .areStraight = negligible(map.b, image.width) && negligible(map.c, image.height) && !noDiagonal,
        .areSwapped = negligible(map.a, image.width) && negligible(map.d, image.height) && !noCross,
    };
}

// One axis of the rectangle that an image fills in the bitmap.
struct Interval {
    double begin;
    double length;

    double end() const { return begin + length; }
};

struct IntInterval {
    std::int32_t begin;
    std::int32_t length;
};

Interval intervalOf(double slope, std::int32_t length, double offset)
{
    return {std::min(offset, offset + slope * length), std::abs(slope) * length};
}

double roundHalfUp(double value)
{
    return std::floor(value + 0.5);
}

// What would be rounded away altogether fills the pixel that its middle lies in.
Interval atLeastOnePixel(Interval interval)
{
    if (roundHalfUp(interval.begin) < roundHalfUp(interval.end()))
        return interval;
    return {std::floor(interval.begin + interval.length / 2), 1};
}

IntInterval visiblePart(Interval interval, std::int32_t bitmapLength)
{
    auto const limit = static_cast<double>(bitmapLength);
    auto const begin = std::clamp(roundHalfUp(interval.begin), 0.0, limit);
    auto const end = std::clamp(roundHalfUp(interval.end()), begin, limit);
    return {static_cast<std::int32_t>(begin), static_cast<std::int32_t>(end - begin)};
}

bool isWhole(Interval interval, std::int32_t length)
{
    return std::abs(interval.length - length) < kNegligible
        && std::abs(interval.begin - roundHalfUp(interval.begin)) < kNegligible;
}

Turn inverseOf(Turn turn)
{
    if (turn == Turn::RotateClockwise)
        return Turn::RotateCounterclockwise;
    return turn == Turn::RotateCounterclockwise ? Turn::RotateClockwise : turn;
}

Placement placeUpright(AffineTransform const& map, bool swapsAxes, Size image, Size bitmap)
{
    auto const slopeX = swapsAxes ? map.c : map.a;
    auto const slopeY = swapsAxes ? map.b : map.d;
    Placement placement;
    placement.turn = turnOf({swapsAxes, slopeX < 0, slopeY < 0});
    auto const upright = turnedSize(image, placement.turn);
    auto x = atLeastOnePixel(intervalOf(slopeX, upright.width, map.tx));
    auto y = atLeastOnePixel(intervalOf(slopeY, upright.height, map.ty));
    auto const isMoved = isWhole(x, upright.width) && isWhole(y, upright.height);
    if (isMoved) {
        x = {roundHalfUp(x.begin), static_cast<double>(upright.width)};
        y = {roundHalfUp(y.begin), static_cast<double>(upright.height)};
    }
    auto const visibleX = visiblePart(x, bitmap.width);
    auto const visibleY = visiblePart(y, bitmap.height);
    if (visibleX.length == 0 || visibleY.length == 0)
        return {};
    placement.kind = isMoved ? Placement::Kind::Moved : Placement::Kind::Scaled;
    placement.visible = {visibleX.begin, visibleY.begin, visibleX.length, visibleY.length};
    auto const scaleX = upright.width / x.length;
    auto const scaleY = upright.height / y.length;
    FloatRect const shown = {(visibleX.begin - x.begin) * scaleX, (visibleY.begin - y.begin) * scaleY,
        visibleX.length * scaleX, visibleY.length * scaleY};
    placement.source = turnedRect(shown, upright, inverseOf(placement.turn));
    return placement;
}

// The smallest rectangle around the bitmap's corners, seen from the image, and a margin for the filter; cut
// to the image.
FloatRect sourceWithin(AffineTransform const& map, double determinant, Size image, Size bitmap)
{
    double left = image.width;
    double top = image.height;
    double right = 0;
    double bottom = 0;
    for (auto const x : {0.0, static_cast<double>(bitmap.width)}) {
        for (auto const y : {0.0, static_cast<double>(bitmap.height)}) {
            auto const u = (map.d * (x - map.tx) - map.c * (y - map.ty)) / determinant;
            auto const v = (map.a * (y - map.ty) - map.b * (x - map.tx)) / determinant;
            left = std::min(left, u);
            right = std::max(right, u);
            top = std::min(top, v);
            bottom = std::max(bottom, v);
        }
    }
    auto const marginX = 4 * std::max(1.0, 1 / std::hypot(map.a, map.b));
    auto const marginY = 4 * std::max(1.0, 1 / std::hypot(map.c, map.d));
    left = std::clamp(std::floor(left - marginX), 0.0, static_cast<double>(image.width));
    top = std::clamp(std::floor(top - marginY), 0.0, static_cast<double>(image.height));
    right = std::clamp(std::ceil(right + marginX), left, static_cast<double>(image.width));
    bottom = std::clamp(std::ceil(bottom + marginY), top, static_cast<double>(image.height));
    return {left, top, right - left, bottom - top};
}

Placement placeFreely(AffineTransform const& map, Size image, Size bitmap)
{
    auto const determinant = map.a * map.d - map.b * map.c;
    auto const drawnArea = std::abs(determinant) * image.width * image.height;
    if (drawnArea < kNegligible * kNegligible)
        return {};
    Placement placement;
    placement.source = sourceWithin(map, determinant, image, bitmap);
    if (placement.source.width > 0 && placement.source.height > 0)
        placement.kind = Placement::Kind::Sampled;
    placement.transform = map;
    return placement;
}

} // namespace

Placement placeImage(AffineTransform const& transform, Size image, Size bitmap)
{
    auto const map = downwards(transform, image, bitmap);
    auto const axes = axesOf(map, image);
    if (axes.areStraight || axes.areSwapped)
        return placeUpright(map, axes.areSwapped, image, bitmap);
    return placeFreely(map, image, bitmap);
}

} // namespace velk::graphics
