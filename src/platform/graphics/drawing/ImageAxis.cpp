#include "platform/graphics/drawing/ImageAxis.h"

#include <algorithm>
#include <cmath>

namespace velk::graphics {

namespace {

// Distances below this are rounding errors of transforms.
constexpr double kNegligible = 1.0 / 1024;
// What covers less of a pixel is not seen.
constexpr double kFaint = 1.0 / 512;

double snapped(double position)
{
    auto const whole = std::round(position);
    return std::abs(position - whole) < kNegligible ? whole : position;
}

} // namespace

double ImageAxis::shownBegin() const
{
    if (isThin())
        return sourceBegin;
    return isMirrored ? sourceEnd - (first + count - low) * sourcePerPixel()
                      : sourceBegin + (first - low) * sourcePerPixel();
}

double ImageAxis::shownLength() const
{
    return isThin() ? sourceEnd - sourceBegin : count * sourcePerPixel();
}

double ImageAxis::coverage(std::int32_t index) const
{
    auto const pixel = static_cast<double>(first) + index;
    return std::clamp(std::min(high, pixel + 1) - std::max(low, pixel), 0.0, 1.0);
}

bool ImageAxis::isWhole() const
{
    auto const isInteger = [](double value) { return value == std::round(value); };
    return isInteger(low) && isInteger(high) && isInteger(sourceBegin)
        && high - low == sourceEnd - sourceBegin;
}

std::optional<ImageAxis> placeAxis(
    double begin, double end, double slope, double offset, VisibleAxis const& visible)
{
    ImageAxis axis;
    axis.sourceBegin = begin;
    axis.sourceEnd = end;
    axis.isMirrored = slope < 0;
    axis.low = snapped(std::min(begin * slope, end * slope) + offset);
    axis.high = snapped(std::max(begin * slope, end * slope) + offset);
    auto const low = static_cast<double>(visible.begin);
    auto const high = low + visible.length;
    auto const first = std::clamp(std::floor(axis.low), low, high);
    auto const last = std::clamp(std::ceil(axis.high), first, high);
    axis.first = static_cast<std::int32_t>(first);
    axis.count = static_cast<std::int32_t>(last - first);
    if (axis.count == 0 || !(axis.high - axis.low >= kFaint))
        return std::nullopt;
    return axis;
}

} // namespace velk::graphics
