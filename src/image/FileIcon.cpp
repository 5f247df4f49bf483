#include "image/FileIcon.h"

#include "base/Reporting.h"
#include "platform/codec/Codec.h"
#include "platform/color/Srgb.h"
#include "platform/desktop/FileIcon.h"
#include "platform/graphics/Render.h"
#include "platform/graphics/Turn.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

namespace velk {

using namespace graphics;

namespace {

// From pixels of an image to those of its turned version; y grows upwards in both.
AffineTransform transformOf(Turn turn, Size size)
{
    auto const turned = turnedSize(size, turn);
    auto const [swapsAxes, mirrorsX, mirrorsY] = partsOf(turn);
    auto const mirrored = [](double width, double height, bool x, bool y) {
        return AffineTransform {
            .a = x ? -1.0 : 1.0, .d = y ? -1.0 : 1.0, .tx = x ? width : 0, .ty = y ? height : 0};
    };
    constexpr AffineTransform kSwap {.a = 0, .b = 1, .c = 1, .d = 0};
    return mirrored(size.width, size.height, false, true) * (swapsAxes ? kSwap : AffineTransform {})
        * mirrored(turned.width, turned.height, mirrorsX, !mirrorsY);
}

// The image as a viewer shows it, at no more than the size of the largest icon, in sRGB.
Result<Image> iconPicture(Image const& image, Turn turn)
{
    auto const upright = turnedSize(image.size(), turn);
    auto const scale =
        std::min(1.0, static_cast<double>(desktop::kLargestIcon) / std::max(upright.width, upright.height));
    auto const side = [&](std::int32_t length) {
        return std::max(1, static_cast<std::int32_t>(length * scale + 0.5));
    };
    Size const size = {side(upright.width), side(upright.height)};
    auto const fit = AffineTransform::scale(
        static_cast<double>(size.width) / upright.width, static_cast<double>(size.height) / upright.height);
    auto const drawn = TRY(render(image,
        {.transform = transformOf(turn, image.size()) * fit,
            .size = size,
            .alpha = image.hasAlpha(),
            .drawingSpace = color::srgbSpace(),
            .tagSpace = ColorSpace::device(ColorModel::RGB)}));
    // Collected, because every icon is drawn from it.
    auto pixels = TRY(PixelBuffer::collect(*TRY(drawn.rows())));
    return Image(std::make_shared<PixelBuffer const>(std::move(pixels)));
}

Result<desktop::IconSubject> iconSubject(codec::ImageSource const& source)
{
    struct stat status = {};
    if (::fstat(source.file().descriptor(), &status) != 0)
        return fail("{}", systemMessage(errno));
    return desktop::IconSubject {
        .path = canonicalPath(source.path()).value_or(source.path()),
        .size = source.file().size(),
        .modificationTime = status.st_mtim.tv_sec,
        .mimeType = source.type().mimeType,
        .pixelSize = source.image().size(),
    };
}

Result<void> makeIcon(std::string const& path)
{
    // The file itself is asked, not the image that was written into it: decoding a small version of it costs
    // little, and drawing the image once more could cost much.
    auto const source = TRY(codec::openImage(path));
    auto const turn = static_cast<Turn>(source->metadata().orientation());
    return desktop::setFileIcon(TRY(iconPicture(source->image(), turn)), TRY(iconSubject(*source)));
}

} // namespace

void setFileIcon(std::string const& path)
{
    if (auto const made = makeIcon(path); !made) {
        reportWarning("{}: {}\n", path, made.error().message);
        reportError("Unable to set icon");
    }
}

} // namespace velk
