#include "platform/graphics/DecodeExtent.h"

#include <algorithm>
#include <cmath>

namespace velk::graphics {

double decodeScale(double scaleX, double scaleY)
{
    constexpr double kRoomForTheFilter = 1.5;
    return std::min(1.0, kRoomForTheFilter * std::max(scaleX, scaleY));
}

IntRect regionAround(FloatRect const& source, double reductionX, double reductionY, Size size)
{
    auto const marginX = 4 * std::max(1.0, reductionX) + 4;
    auto const marginY = 4 * std::max(1.0, reductionY) + 4;
    auto const cut = [](double value, double low, std::int32_t high) {
        return static_cast<std::int32_t>(std::clamp(value, low, std::max(low, static_cast<double>(high))));
    };
    auto const left = cut(std::floor(source.x - marginX), 0, size.width - 1);
    auto const top = cut(std::floor(source.y - marginY), 0, size.height - 1);
    auto const right = cut(std::ceil(source.x + source.width + marginX), left + 1.0, size.width);
    auto const bottom = cut(std::ceil(source.y + source.height + marginY), top + 1.0, size.height);
    return {left, top, right - left, bottom - top};
}

} // namespace velk::graphics
