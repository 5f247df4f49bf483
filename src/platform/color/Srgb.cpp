#include "platform/color/Srgb.h"

#include "SrgbProfileData.h"
#include "platform/color/ProfileTransform.h"

#include <algorithm>
#include <cstdlib>

namespace velk::color {

using namespace graphics;

namespace {

constexpr PixelFormat kPixels = {ComponentType::UInt8, ColorModel::RGB, Alpha::None};

// Codes from all over the cube, its corners and greys included.
Bytes probes()
{
    constexpr int kStep = 15;
    Bytes pixels;
    for (int red = 0; red <= 255; red += kStep) {
        for (int green = 0; green <= 255; green += kStep) {
            for (int blue = 0; blue <= 255; blue += kStep)
                append(pixels,
                    std::array {static_cast<std::uint8_t>(red), static_cast<std::uint8_t>(green),
                        static_cast<std::uint8_t>(blue)});
        }
    }
    return pixels;
}

} // namespace

ColorSpace srgbSpace()
{
    static auto const profile = shareBytes(kSrgbProfileData);
    return ColorSpace::withProfile(ColorModel::RGB, profile);
}

bool isSrgb(ColorSpace const& space)
{
    if (space.model() != ColorModel::RGB)
        return false;
    if (!space.profile() || equalBytes(space.profile(), srgbSpace().profile()))
        return true;
    ColorLink const link = {srgbSpace(), RenderingIntent::Relative};
    auto const transform = profileTransform({kPixels, space}, {&link, 1}, kPixels);
    if (!transform)
        return false;
    auto const before = probes();
    auto after = before;
    transform->kernel(before.data(), after.data(), before.size() / kPixels.bytesPerPixel());
    return std::ranges::equal(before, after, [](int a, int b) { return std::abs(a - b) <= 1; });
}

} // namespace velk::color
