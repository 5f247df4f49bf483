#include "platform/graphics/Render.h"

#include "platform/color/ColorConversion.h"
#include "platform/graphics/AffineRows.h"
#include "platform/graphics/Composite.h"
#include "platform/graphics/DecodeExtent.h"
#include "platform/graphics/Pipeline.h"
#include "platform/graphics/Placement.h"
#include "platform/graphics/Turn.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>

namespace velk::graphics {

namespace {

// ---- Colours and formats.

Result<RowSourcePointer> converted(RowSourcePointer rows, color::ConversionTarget const& target)
{
    if (rows->format() == target.format && !color::changesColors(rows->layout().space, target))
        return rows;
    return color::convertColors(std::move(rows), target);
}

Result<RowSourcePointer> converted(
    RowSourcePointer rows, PixelFormat format, ColorSpace const& space, RenderingIntent intent)
{
    return converted(std::move(rows), {.format = format, .space = space, .intent = intent});
}

color::ConversionTarget drawingTarget(RenderRequest const& request, PixelFormat format)
{
    return {.format = format,
        .space = request.drawingSpace,
        .intent = request.intent,
        .through = request.through,
        .readsDevice = request.readsDevice};
}

// Rows that can be filtered: real colours instead of indices, and no straight alpha.
Result<RowSourcePointer> filterable(RowSourcePointer rows, bool hasAlpha)
{
    auto format = rows->format();
    auto const space = rows->layout().space.base();
    format.model = space.model();
    format.alpha = hasAlpha ? Alpha::Premultiplied : Alpha::None;
    return converted(std::move(rows), format, space, RenderingIntent::Default);
}

PixelFormat resultFormat(RenderRequest const& request)
{
    return {request.componentType, request.drawingSpace.model(),
        request.alpha ? Alpha::Premultiplied : Alpha::None};
}

// What drawing takes place in: as the result, but with the image's alpha until that has been used.
PixelFormat drawingFormat(RenderRequest const& request, bool hasAlpha)
{
    auto format = resultFormat(request);
    if (hasAlpha)
        format.alpha = Alpha::Premultiplied;
    return format;
}

Result<RowSourcePointer> onePixel(std::array<std::uint8_t, 3> const& color)
{
    PixelFormat const format = {ComponentType::UInt8, ColorModel::RGB, Alpha::None};
    auto pixel = TRY(PixelBuffer::create({{1, 1}, format, ColorSpace::device(ColorModel::RGB)}));
    std::memcpy(pixel.row(0), color.data(), color.size());
    return rowsOf(std::make_shared<PixelBuffer>(std::move(pixel)));
}

// The background's pixel in the result's format; all zero where there is none.
Result<Bytes> backgroundPixel(RenderRequest const& request)
{
    auto const format = resultFormat(request);
    Bytes pixel(format.bytesPerPixel());
    if (!request.background)
        return pixel;
    auto rows = TRY(onePixel(*request.background));
    // A device space stands for sRGB, but is not converted to another space of its model: Lab lies between.
    if (request.drawingSpace.model() == ColorModel::RGB && request.drawingSpace.profile()) {
        PixelFormat const lab = {ComponentType::Float32, ColorModel::Lab, Alpha::None};
        rows = TRY(
            converted(std::move(rows), lab, ColorSpace::device(ColorModel::Lab), RenderingIntent::Relative));
    }
    rows = TRY(converted(std::move(rows), format, request.drawingSpace, RenderingIntent::Relative));
    TRY(rows->read({pixel.data(), pixel.size(), 1}));
    return pixel;
}

// ---- The stages of a drawing, from the image's pixels to the result's rows.
class Drawing {
public:
    Drawing(Image const& image, RenderRequest const& request, Placement const& placement)
        : m_image(image)
        , m_request(request)
        , m_placement(placement)
        , m_drawingFormat(drawingFormat(request, image.hasAlpha()))
    {
    }

    Result<RowSourcePointer> rows()
    {
        m_background = TRY(backgroundPixel(m_request));
        switch (m_placement.kind) {
        case Placement::Kind::Nothing:
            return filledRows(
                {m_request.size, resultFormat(m_request), m_request.drawingSpace}, m_background);
        case Placement::Kind::Moved:
            return inPlace(TRY(movedRows()));
        case Placement::Kind::Scaled:
            return inPlace(TRY(scaledRows()));
        case Placement::Kind::Sampled:
            return onBackground(TRY(sampledRows()));
        }
        return nullptr;
    }

private:
    Result<RowSourcePointer> movedRows()
    {
        auto const& source = m_placement.source;
        auto const whole = [](double value) { return static_cast<std::int32_t>(std::lround(value)); };
        IntRect part = {whole(source.x), whole(source.y), whole(source.width), whole(source.height)};
        auto decoded = TRY(m_image.open({.scale = 1, .region = part}));
        part.x -= whole(decoded.area.x);
        part.y -= whole(decoded.area.y);
        Bytes const unused(decoded.rows->format().bytesPerPixel());
        auto rows = cropOrPad(std::move(decoded.rows), part, unused);
        // What is turned lies in memory, so the smaller pixels are turned.
        if (m_drawingFormat.bytesPerPixel() <= rows->format().bytesPerPixel())
            return turnedRows(TRY(inDrawingSpace(std::move(rows))), m_placement.turn);
        return inDrawingSpace(turnedRows(std::move(rows), m_placement.turn));
    }

    Result<RowSourcePointer> scaledRows()
    {
        auto const& visible = m_placement.visible;
        auto const turn = m_placement.turn;
        // Every turn is the inverse of itself as far as sizes go.
        auto const target = turnedSize({visible.width, visible.height}, turn);
        auto const& source = m_placement.source;
        auto const reductionX = source.width / target.width;
        auto const reductionY = source.height / target.height;
        auto decoded = TRY(m_image.open({.scale = decodeScale(1 / reductionX, 1 / reductionY),
            .region = regionAround(source, reductionX, reductionY, m_image.size())}));
        auto const area = inDecodedPixels(source, decoded);
        auto rows = TRY(filterable(std::move(decoded.rows), m_image.hasAlpha()));
        if (area.width * area.height > static_cast<double>(target.pixelCount())) {
            rows = resample(readAhead(std::move(rows)), area, target);
            return inDrawingSpace(turnedRows(std::move(rows), turn));
        }
        auto const size = rows->size();
        rows = turnedRows(TRY(inDrawingSpace(std::move(rows))), turn);
        return resample(readAhead(std::move(rows)), turnedRect(area, size, turn), turnedSize(target, turn));
    }

    Result<RowSourcePointer> sampledRows()
    {
        auto const& map = m_placement.transform;
        auto const scaleX = std::hypot(map.a, map.b);
        auto const scaleY = std::hypot(map.c, map.d);
        auto const& source = m_placement.source;
        auto decoded = TRY(m_image.open({.scale = decodeScale(scaleX, scaleY),
            .region = {static_cast<std::int32_t>(source.x), static_cast<std::int32_t>(source.y),
                static_cast<std::int32_t>(source.width), static_cast<std::int32_t>(source.height)}}));
        auto const area = decoded.area;
        auto rows = TRY(reducedTo(std::move(decoded.rows), {area.width * scaleX, area.height * scaleY}));
        auto const size = rows->size();
        auto const toImage = AffineTransform::scale(area.width / size.width, area.height / size.height)
            * AffineTransform::translation(area.x, area.y);
        rows = readAhead(TRY(inDrawingSpace(std::move(rows))));
        auto const surround =
            rows->format().hasAlpha() ? Bytes(rows->format().bytesPerPixel()) : m_background;
        return affineRows(std::move(rows), toImage * map, m_request.size, surround);
    }

    struct Extent {
        double width;
        double height;
    };

    // Where an image is drawn much smaller than it is, it is filtered down to its drawn size before it is
    // sampled.
    Result<RowSourcePointer> reducedTo(RowSourcePointer rows, Extent extent)
    {
        constexpr double kSlightReduction = 0.9;
        auto const reduced = [](double length, std::int32_t from) {
            return length < from * kSlightReduction
                ? static_cast<std::int32_t>(std::max(1.0, std::ceil(length)))
                : from;
        };
        auto const size = rows->size();
        Size const target = {reduced(extent.width, size.width), reduced(extent.height, size.height)};
        if (target == size)
            return rows;
        rows = TRY(filterable(std::move(rows), m_image.hasAlpha()));
        FloatRect const area = {0, 0, static_cast<double>(size.width), static_cast<double>(size.height)};
        return resample(readAhead(std::move(rows)), area, target);
    }

    static FloatRect inDecodedPixels(FloatRect const& source, DecodedRows const& decoded)
    {
        auto const& area = decoded.area;
        auto const scaleX = decoded.rows->size().width / area.width;
        auto const scaleY = decoded.rows->size().height / area.height;
        return {(source.x - area.x) * scaleX, (source.y - area.y) * scaleY, source.width * scaleX,
            source.height * scaleY};
    }

    Result<RowSourcePointer> inDrawingSpace(RowSourcePointer rows) const
    {
        return converted(std::move(rows), drawingTarget(m_request, m_drawingFormat));
    }

    // The drawn pixels with the background under them.
    RowSourcePointer onBackground(RowSourcePointer rows) const
    {
        if (!rows->format().hasAlpha() || (m_request.alpha && !m_request.background))
            return rows;
        auto const color = rows->format().bytesPerPixel() - componentSize(rows->format().componentType);
        return onColor(std::move(rows),
            Bytes(m_background.begin(), m_background.begin() + static_cast<std::ptrdiff_t>(color)),
            m_request.alpha);
    }

    // The drawn pixels with the background under and around them.
    RowSourcePointer inPlace(RowSourcePointer rows) const
    {
        auto const& visible = m_placement.visible;
        IntRect const frame = {-visible.x, -visible.y, m_request.size.width, m_request.size.height};
        return cropOrPad(onBackground(std::move(rows)), frame, m_background);
    }

    Image const& m_image;
    RenderRequest const& m_request;
    Placement const& m_placement;
    PixelFormat m_drawingFormat;
    Bytes m_background;
};

class DrawnPixels final : public PixelProvider {
public:
    DrawnPixels(Image image, RenderRequest request, Placement placement)
        : m_image(std::move(image))
        , m_request(std::move(request))
        , m_placement(placement)
    {
    }

    Result<DecodedRows> open(DecodeRequest const&) const override
    {
        auto const size = m_request.size;
        FloatRect const all = {0, 0, static_cast<double>(size.width), static_cast<double>(size.height)};
        return DecodedRows {TRY(Drawing(m_image, m_request, m_placement).rows()), all};
    }

private:
    Image m_image;
    RenderRequest m_request;
    Placement m_placement;
};

bool isFinite(AffineTransform const& map)
{
    double const parts[] = {map.a, map.b, map.c, map.d, map.tx, map.ty};
    return std::all_of(std::begin(parts), std::end(parts), [](double part) { return std::isfinite(part); });
}

// Whether the result is the whole image, turned, and nothing else.
bool isTurnOnly(Image const& image, RenderRequest const& request, Placement const& placement)
{
    auto const size = turnedSize(image.size(), placement.turn);
    if (image.hasAlpha() && request.background)
        return false;
    return placement.kind == Placement::Kind::Moved && request.size == size
        && placement.visible == IntRect {0, 0, size.width, size.height}
    && image.format() == resultFormat(request)
        && !color::changesColors(image.space(), drawingTarget(request, resultFormat(request)));
}

} // namespace

Result<Image> render(Image const& image, RenderRequest const& request)
{
    assert(request.drawingSpace.model() == request.tagSpace.model() && !request.drawingSpace.isIndexed());
    assert(request.componentType != ComponentType::UInt16);
    if (!isPossible(request.size))
        return fail("an image of {} x {} pixels is not possible", request.size.width, request.size.height);
    if (!isFinite(request.transform))
        return fail("the image cannot be drawn at an infinite size or place");
    auto const placement = placeImage(request.transform, image.size(), request.size);
    auto const turnOnly = isTurnOnly(image, request, placement);
    if (turnOnly && placement.turn == Turn::None)
        return image.withColorSpace(request.tagSpace);
    ImageInfo info = {{request.size, resultFormat(request), request.tagSpace},
        static_cast<int>(componentSize(request.componentType)) * 8};
    if (turnOnly)
        info.bitsPerComponent = image.info().bitsPerComponent;
    Image const drawn(std::move(info), std::make_shared<DrawnPixels>(image, request, placement));
    return turnOnly ? drawn.withOrigin(image.origin(), composed(image.turn(), placement.turn)) : drawn;
}

} // namespace velk::graphics
