#include "platform/graphics/drawing/ImagePart.h"

#include "platform/color/ColorConversion.h"
#include "platform/graphics/Pipeline.h"

#include <algorithm>
#include <cmath>

namespace velk::graphics {

namespace {

FloatRect wholeArea(Size size)
{
    return {0, 0, static_cast<double>(size.width), static_cast<double>(size.height)};
}

// One axis of a cut through decoded pixels.
struct Cut {
    std::int32_t begin, length;
};

// Where [begin, end) of the full size lies in `pixels` that show `areaLength` from `areaBegin` on: the pixels
// that lie inside entirely, or, when there are none, all that touch it.
Cut cutOf(std::int32_t begin, std::int32_t end, double areaBegin, double areaLength, std::int32_t pixels)
{
    constexpr double kRounding = 1e-6;
    auto const scale = pixels / areaLength;
    auto const limit = static_cast<double>(pixels);
    auto const low = std::clamp((begin - areaBegin) * scale, 0.0, limit - 1);
    auto const high = std::clamp((end - areaBegin) * scale, low, limit);
    auto first = std::ceil(low - kRounding);
    auto last = std::floor(high + kRounding);
    if (first >= last) {
        first = std::floor(low);
        last = std::max(std::ceil(high), first + 1);
    }
    return {static_cast<std::int32_t>(first), static_cast<std::int32_t>(last - first)};
}

class PartPixels final : public PixelProvider {
public:
    PartPixels(Image image, IntRect const& part)
        : m_image(std::move(image))
        , m_part(part)
    {
    }

    Result<DecodedRows> open(DecodeRequest const& request) const override
    {
        auto region = request.region.isEmpty() ? IntRect {0, 0, m_part.width, m_part.height} : request.region;
        region.x += m_part.x;
        region.y += m_part.y;
        auto decoded = TRY(m_image.open({request.scale, region}));
        auto const frame = frameIn(decoded);
        return cut(std::move(decoded), frame);
    }

private:
    IntRect frameIn(DecodedRows const& decoded) const
    {
        auto const& area = decoded.area;
        auto const size = decoded.rows->size();
        auto const x = cutOf(m_part.x, m_part.x + m_part.width, area.x, area.width, size.width);
        auto const y = cutOf(m_part.y, m_part.y + m_part.height, area.y, area.height, size.height);
        return {x.begin, y.begin, x.length, y.length};
    }

    DecodedRows cut(DecodedRows decoded, IntRect const& frame) const
    {
        auto const size = decoded.rows->size();
        auto const scaleX = decoded.area.width / size.width;
        auto const scaleY = decoded.area.height / size.height;
        FloatRect const area = {decoded.area.x + frame.x * scaleX - m_part.x,
            decoded.area.y + frame.y * scaleY - m_part.y, frame.width * scaleX, frame.height * scaleY};
        Bytes const unused(decoded.rows->format().bytesPerPixel());
        return {cropOrPad(std::move(decoded.rows), frame, unused), area};
    }

    Image m_image;
    IntRect m_part;
};

class ResampledPixels final : public PixelProvider {
public:
    ResampledPixels(Image image, FloatRect const& area, Size size)
        : m_image(std::move(image))
        , m_area(area)
        , m_size(size)
    {
    }

    Result<DecodedRows> open(DecodeRequest const&) const override
    {
        auto decoded = TRY(m_image.open({}));
        auto rows = TRY(filterableRows(std::move(decoded.rows), m_image.hasAlpha()));
        return DecodedRows {resample(std::move(rows), m_area, m_size), wholeArea(m_size)};
    }

private:
    Image m_image;
    FloatRect m_area;
    Size m_size;
};

ImageInfo infoWithSize(Image const& image, Size size)
{
    auto info = image.info();
    info.layout.size = size;
    return info;
}

} // namespace

Result<RowSourcePointer> filterableRows(RowSourcePointer rows, bool hasAlpha)
{
    auto const space = rows->layout().space.base();
    auto format = rows->format();
    format.model = space.model();
    format.alpha = hasAlpha ? Alpha::Premultiplied : Alpha::None;
    return color::convertColors(std::move(rows), {.format = format, .space = space});
}

Image partOf(Image const& image, IntRect const& part)
{
    if (part == IntRect {0, 0, image.size().width, image.size().height})
        return image;
    return Image(infoWithSize(image, {part.width, part.height}), std::make_shared<PartPixels>(image, part));
}

Image resampledPart(Image const& image, FloatRect const& area)
{
    Size const size = {std::max(1, static_cast<std::int32_t>(std::ceil(area.width))),
        std::max(1, static_cast<std::int32_t>(std::ceil(area.height)))};
    auto info = infoWithSize(image, size);
    info.layout.format.model = image.space().base().model();
    info.layout.format.alpha = image.hasAlpha() ? Alpha::Premultiplied : Alpha::None;
    if (info.layout.format.componentType == ComponentType::UInt16)
        info.layout.format.componentType = ComponentType::UInt8;
    info.layout.space = image.space().base();
    return Image(std::move(info), std::make_shared<ResampledPixels>(image, area, size));
}

} // namespace velk::graphics
