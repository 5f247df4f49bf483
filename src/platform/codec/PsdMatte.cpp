#include "platform/codec/PsdMatte.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <type_traits>

namespace velk::codec {

using namespace graphics;

namespace {

template <typename Component>
using Wide = std::conditional_t<std::is_integral_v<Component>, std::int64_t, double>;

template <typename Component> constexpr Wide<Component> fullRange()
{
    if constexpr (std::is_integral_v<Component>)
        return std::numeric_limits<Component>::max();
    else
        return 1;
}

// a * b / full, rounded where components are integers.
template <typename Component> Wide<Component> product(Wide<Component> a, Wide<Component> b)
{
    constexpr auto full = fullRange<Component>();
    if constexpr (std::is_integral_v<Component>)
        return (a * b + full / 2) / full;
    else
        return a * b;
}

template <typename Component> std::array<Wide<Component>, 4> whiteOf(ColorModel model)
{
    constexpr auto full = fullRange<Component>();
    if (model == ColorModel::CMYK)
        return {};
    if (model == ColorModel::Lab)
        return {full, 128 * full / 255, 128 * full / 255};
    return {full, full, full};
}

// Calls `change(component, white, alpha)` for every colour component.
template <typename Component, typename Change>
void forEachComponent(std::uint8_t* row, std::size_t width, PixelFormat format, Change change)
{
    auto const white = whiteOf<Component>(format.model);
    auto const colors = static_cast<std::size_t>(format.colorChannels());
    std::array<Component, 5> pixel;
    auto const bytes = (colors + 1) * sizeof(Component);
    for (std::size_t x = 0; x < width; ++x, row += bytes) {
        std::memcpy(pixel.data(), row, bytes);
        Wide<Component> const alpha = pixel[colors];
        for (std::size_t i = 0; i < colors; ++i)
            pixel[i] = static_cast<Component>(change(Wide<Component> {pixel[i]}, white[i], alpha));
        std::memcpy(row, pixel.data(), bytes);
    }
}

template <typename Component> void addMatte(std::uint8_t* row, std::size_t width, PixelFormat format)
{
    using W = Wide<Component>;
    forEachComponent<Component>(row, width, format, [](W color, W white, W alpha) {
        return product<Component>(color, alpha) + product<Component>(white, fullRange<Component>() - alpha);
    });
}

template <typename Component> void removeMatte(std::uint8_t* row, std::size_t width, PixelFormat format)
{
    using W = Wide<Component>;
    forEachComponent<Component>(row, width, format, [](W color, W white, W alpha) {
        auto const own = color - product<Component>(white, fullRange<Component>() - alpha);
        // Floating-point colours may well be brighter than white.
        return std::max<W>(0, std::is_integral_v<Component> ? std::min(own, alpha) : own);
    });
}

template <typename Component> constexpr bool isOf(PixelFormat format)
{
    return componentSize(format.componentType) == sizeof(Component);
}

} // namespace

void addWhiteMatte(std::uint8_t* row, std::size_t width, PixelFormat format)
{
    if (isOf<std::uint8_t>(format))
        addMatte<std::uint8_t>(row, width, format);
    else if (isOf<std::uint16_t>(format))
        addMatte<std::uint16_t>(row, width, format);
    else
        addMatte<float>(row, width, format);
}

void removeWhiteMatte(std::uint8_t* row, std::size_t width, PixelFormat format)
{
    if (isOf<std::uint8_t>(format))
        removeMatte<std::uint8_t>(row, width, format);
    else if (isOf<std::uint16_t>(format))
        removeMatte<std::uint16_t>(row, width, format);
    else
        removeMatte<float>(row, width, format);
}

} // namespace velk::codec
