#include "platform/codec/Sharing.h"

#include "platform/color/Srgb.h"
#include "platform/graphics/Render.h"

#include <algorithm>

namespace velk::codec {

using namespace graphics;

namespace {

// The sRGB space that the pixels can be labelled with as they are; none when they have to be converted. A
// profile that is as good as sRGB stays.
std::optional<ColorSpace> presentSrgb(Image const& image)
{
    auto const& space = image.space();
    if (image.format().componentType != ComponentType::UInt8 || !color::isSrgb(space.base()))
        return std::nullopt;
    return space.profile() ? space : space.replacingProfile(color::srgbSpace().profile());
}

Size fitting(Size size, int maximumSize)
{
    auto const longest = std::max(size.width, size.height);
    if (maximumSize <= 0 || longest <= maximumSize)
        return size;
    auto const scaled = [&](std::int32_t side) {
        return std::max(
            1, static_cast<std::int32_t>((std::int64_t {side} * maximumSize + longest / 2) / longest));
    };
    return {scaled(size.width), scaled(size.height)};
}

} // namespace

Result<Image> forSharing(Image const& image, int maximumSize)
{
    auto const present = presentSrgb(image);
    auto const size = fitting(image.size(), maximumSize);
    if (present && size == image.size())
        return image.withColorSpace(*present);
    auto const space = present ? present->base() : color::srgbSpace();
    auto const scale = [](std::int32_t to, std::int32_t from) { return static_cast<double>(to) / from; };
    return render(image,
        {.transform = AffineTransform::scale(
             scale(size.width, image.size().width), scale(size.height, image.size().height)),
            .size = size,
            .alpha = image.hasAlpha(),
            .drawingSpace = space,
            .tagSpace = space,
            .readsDevice = true});
}

} // namespace velk::codec
