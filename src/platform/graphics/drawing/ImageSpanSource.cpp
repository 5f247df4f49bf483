#include "platform/color/ColorConversion.h"
#include "platform/graphics/DecodeExtent.h"
#include "platform/graphics/Pipeline.h"
#include "platform/graphics/Render.h"
#include "platform/graphics/Turn.h"
#include "platform/graphics/drawing/DecodedImages.h"
#include "platform/graphics/drawing/DisplayP3.h"
#include "platform/graphics/drawing/ImageAxis.h"
#include "platform/graphics/drawing/ImagePart.h"
#include "platform/graphics/drawing/SpanSource.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>

namespace velk::graphics {

namespace {

constexpr PixelFormat kCanvasFormat {ComponentType::UInt8, ColorModel::RGB, Alpha::Premultiplied};

class BufferSource final : public SpanSource {
public:
    BufferSource(PixelBuffer pixels, std::int32_t x, std::int32_t y, bool isOpaque)
        : m_pixels(std::move(pixels))
        , m_x(x)
        , m_y(y)
        , m_isOpaque(isOpaque)
    {
    }

    bool isOpaque() const override { return m_isOpaque; }

    void span(std::int32_t x, std::int32_t y, std::int32_t count, std::uint8_t* pixels) override
    {
        assert(x >= m_x && y >= m_y && x + count <= m_x + m_pixels.size().width);
        std::memcpy(pixels, m_pixels.row(y - m_y) + 4 * static_cast<std::size_t>(x - m_x),
            4 * static_cast<std::size_t>(count));
    }

private:
    PixelBuffer m_pixels;
    std::int32_t m_x, m_y;
    bool m_isOpaque;
};

DrawnImage drawnImage(PixelBuffer pixels, IntRect const& bounds, bool isOpaque)
{
    return {std::make_unique<BufferSource>(std::move(pixels), bounds.x, bounds.y, isOpaque), bounds};
}

Result<RowSourcePointer> canvasRows(RowSourcePointer rows)
{
    return color::convertColors(std::move(rows), {.format = kCanvasFormat, .space = displayP3()});
}

// ---- Images along the axes of the device

class UprightImage {
public:
    // `x` and `y` are the device's axes.
    UprightImage(Image const& image, ImageAxis const& x, ImageAxis const& y, bool swapsAxes, WorkCrew& crew)
        : m_image(image)
        , m_x(x)
        , m_y(y)
        , m_crew(crew)
        , m_turn(turnOf({swapsAxes, x.isMirrored, y.isMirrored}))
    {
    }

    Result<DrawnImage> draw() const
    {
        auto const isMoved = m_x.isWhole() && m_y.isWhole();
        auto pixels = isMoved ? TRY(turned(TRY(movedRows()))) : TRY(scaledPixels());
        auto isOpaque = !m_image.hasAlpha();
        if (pixels.size() != Size {m_x.count, m_y.count})
            pixels = TRY(spread(pixels));
        if (!isMoved)
            isOpaque = fadeEdges(pixels) && isOpaque;
        return drawnImage(std::move(pixels), {m_x.first, m_y.first, m_x.count, m_y.count}, isOpaque);
    }

private:
    // The axes of the source.
    ImageAxis const& across() const { return swapsAxes(m_turn) ? m_y : m_x; }
    ImageAxis const& down() const { return swapsAxes(m_turn) ? m_x : m_y; }
    FloatRect shownArea() const
    {
        return {across().shownBegin(), down().shownBegin(), across().shownLength(), down().shownLength()};
    }

    Result<RowSourcePointer> movedRows() const
    {
        auto const area = shownArea();
        auto const whole = [](double value) { return static_cast<std::int32_t>(std::lround(value)); };
        IntRect part = {whole(area.x), whole(area.y), whole(area.width), whole(area.height)};
        auto decoded = TRY(m_image.open({.scale = 1, .region = part}));
        part.x -= whole(decoded.area.x);
        part.y -= whole(decoded.area.y);
        Bytes const unused(decoded.rows->format().bytesPerPixel());
        return canvasRows(ahead(cropOrPad(std::move(decoded.rows), part, unused)));
    }

    Result<PixelBuffer> turned(RowSourcePointer rows) const
    {
        return PixelBuffer::collect(*turnedRows(std::move(rows), m_turn));
    }

    // Of a large picture that lies in memory, several threads make a band each.
    Result<PixelBuffer> scaledPixels() const
    {
        Size const target = {across().targetLength(), down().targetLength()};
        auto const shown = shownArea();
        if (m_turn != Turn::None || target.pixelCount() < kLargeTarget || !DecodedImages::isKept(m_image))
            return turned(TRY(scaledRows(shown, target)));
        auto pixels = TRY(PixelBuffer::create(BitmapContext::layout(target)));
        auto const bands = std::min(kMostBands, static_cast<std::size_t>(target.height));
        std::vector<Result<void>> results(bands);
        m_crew.run(bands, [&](std::size_t band) {
            auto const firstRow = [&](std::size_t number) {
                return static_cast<std::int32_t>(number * static_cast<std::size_t>(target.height) / bands);
            };
            auto const top = firstRow(band);
            results[band] = makeBand(shown, pixels, top, firstRow(band + 1) - top);
        });
        for (auto const& result : results)
            TRY(result);
        return pixels;
    }

    Result<void> makeBand(
        FloatRect const& shown, PixelBuffer& pixels, std::int32_t top, std::int32_t count) const
    {
        auto const height = shown.height / pixels.size().height;
        FloatRect const part = {shown.x, shown.y + top * height, shown.width, count * height};
        auto const rows = TRY(scaledRows(part, {pixels.size().width, count}));
        return rows->read(pixels.rows(top, count));
    }

    Result<RowSourcePointer> scaledRows(FloatRect const& shown, Size target) const
    {
        auto const reductionX = shown.width / target.width;
        auto const reductionY = shown.height / target.height;
        auto decoded = TRY(m_image.open({.scale = decodeScale(1 / reductionX, 1 / reductionY),
            .region = regionAround(shown, reductionX, reductionY, m_image.size())}));
        auto const size = decoded.rows->size();
        auto const scaleX = size.width / decoded.area.width;
        auto const scaleY = size.height / decoded.area.height;
        FloatRect const area = {(shown.x - decoded.area.x) * scaleX, (shown.y - decoded.area.y) * scaleY,
            shown.width * scaleX, shown.height * scaleY};
        auto rows = TRY(filterableRows(std::move(decoded.rows), m_image.hasAlpha()));
        // Colours are converted where there are fewer of them.
        if (area.width * area.height > static_cast<double>(target.pixelCount()))
            return canvasRows(resample(ahead(std::move(rows)), area, target));
        return resample(ahead(TRY(canvasRows(std::move(rows)))), area, target);
    }

    // What lies in memory is not worth a thread.
    RowSourcePointer ahead(RowSourcePointer rows) const
    {
        return DecodedImages::isKept(m_image) ? std::move(rows) : readAhead(std::move(rows));
    }

    // Gives every device pixel its colour where an image of less than a pixel touches two.
    Result<PixelBuffer> spread(PixelBuffer const& pixels) const
    {
        auto result = TRY(PixelBuffer::create(BitmapContext::layout({m_x.count, m_y.count})));
        for (std::int32_t y = 0; y < m_y.count; ++y) {
            auto const* const from = pixels.row(std::min(y, pixels.size().height - 1));
            for (std::int32_t x = 0; x < m_x.count; ++x)
                std::memcpy(result.row(y) + 4 * static_cast<std::size_t>(x),
                    from + 4 * static_cast<std::size_t>(std::min(x, pixels.size().width - 1)), 4);
        }
        return result;
    }

    // Multiplies the pixels at the edges by how much of them is covered; true when all of all are.
    bool fadeEdges(PixelBuffer& pixels) const
    {
        auto isWhole = true;
        for (std::int32_t y = 0; y < m_y.count; ++y) {
            auto const part = m_y.coverage(y);
            auto const step =
                part < 1 ? 1 : std::max(1, m_x.count - 1); // inside, only the first and the last
            for (std::int32_t x = 0; x < m_x.count; x += step) {
                auto const coverage = part * m_x.coverage(x);
                if (coverage == 1)
                    continue;
                isWhole = false;
                fade(pixels.row(y) + 4 * static_cast<std::size_t>(x), coverage);
            }
        }
        return isWhole;
    }

    static void fade(std::uint8_t* pixel, double coverage)
    {
        for (int i = 0; i < 4; ++i)
            pixel[i] = static_cast<std::uint8_t>(std::lround(pixel[i] * coverage));
    }

    static constexpr std::int64_t kLargeTarget = 128 * 1024;
    static constexpr std::size_t kMostBands = 4; // each works out the weights of all columns

    Image const& m_image;
    ImageAxis const& m_x;
    ImageAxis const& m_y;
    WorkCrew& m_crew;
    Turn m_turn;
};

// ---- Images at any angle

// The transform with y counted upwards from the lower edges of both.
AffineTransform upwards(AffineTransform const& down, Size image, Size bitmap)
{
    AffineTransform const flipImage = {.d = -1, .ty = static_cast<double>(image.height)};
    AffineTransform const flipBitmap = {.d = -1, .ty = static_cast<double>(bitmap.height)};
    return flipImage * down * flipBitmap;
}

IntRect boundsOn(IntRect const& visible, AffineTransform const& map, Size image)
{
    auto const x = std::minmax(
        {0.0, map.a * image.width, map.c * image.height, map.a * image.width + map.c * image.height});
    auto const y = std::minmax(
        {0.0, map.b * image.width, map.d * image.height, map.b * image.width + map.d * image.height});
    auto const cut = [](double value, std::int32_t begin, std::int32_t length) {
        return static_cast<std::int32_t>(
            std::clamp(value, static_cast<double>(begin), static_cast<double>(begin) + length));
    };
    // Antialiasing reaches half a pixel farther.
    auto const left = cut(std::floor(x.first + map.tx - 0.5), visible.x, visible.width);
    auto const right = cut(std::ceil(x.second + map.tx + 0.5), visible.x, visible.width);
    auto const top = cut(std::floor(y.first + map.ty - 0.5), visible.y, visible.height);
    auto const bottom = cut(std::ceil(y.second + map.ty + 0.5), visible.y, visible.height);
    return {left, top, right - left, bottom - top};
}

Result<DrawnImage> drawFreely(Image const& image, AffineTransform const& map, IntRect const& visible)
{
    auto const bounds = boundsOn(visible, map, image.size());
    if (bounds.isEmpty())
        return DrawnImage {};
    Size const size = {bounds.width, bounds.height};
    auto const toBounds = map * AffineTransform::translation(-double {1} * bounds.x, -double {1} * bounds.y);
    auto const drawn = TRY(render(image,
        {.transform = upwards(toBounds, image.size(), size),
            .size = size,
            .alpha = true,
            .drawingSpace = displayP3(),
            .tagSpace = displayP3()}));
    auto const rows = TRY(drawn.rows());
    return drawnImage(TRY(PixelBuffer::collect(*rows)), bounds, false);
}

// ---- Which way to take

// A part cut at its edges: the whole pixels that it touches, and its rectangle in them.
struct CutImage {
    Image pixels;
    FloatRect area;

    bool isWhole() const
    {
        return area.x == 0 && area.y == 0 && area.width == pixels.size().width
            && area.height == pixels.size().height;
    }
};

std::optional<CutImage> cutImage(Image const& image, FloatRect const& part)
{
    auto const left = std::max(0.0, part.x);
    auto const top = std::max(0.0, part.y);
    auto const right = std::min(static_cast<double>(image.size().width), part.x + part.width);
    auto const bottom = std::min(static_cast<double>(image.size().height), part.y + part.height);
    if (!(left < right && top < bottom))
        return std::nullopt;
    IntRect const touched = {static_cast<std::int32_t>(left), static_cast<std::int32_t>(top),
        static_cast<std::int32_t>(std::ceil(right)) - static_cast<std::int32_t>(left),
        static_cast<std::int32_t>(std::ceil(bottom)) - static_cast<std::int32_t>(top)};
    return CutImage {partOf(image, touched), {left - touched.x, top - touched.y, right - left, bottom - top}};
}

bool isFinite(AffineTransform const& map)
{
    double const parts[] = {map.a, map.b, map.c, map.d, map.tx, map.ty};
    return std::all_of(std::begin(parts), std::end(parts), [](double part) { return std::isfinite(part); });
}

// Whether the slope, over all of a length, is less than rounding makes.
bool isFlat(double slope, double length)
{
    return std::abs(slope) * length < 1.0 / 1024;
}

Result<DrawnImage> drawUpright(
    CutImage const& cut, AffineTransform const& map, IntRect const& visible, bool swapsAxes, WorkCrew& crew)
{
    auto const& area = cut.area;
    VisibleAxis const columns = {visible.x, visible.width};
    VisibleAxis const rows = {visible.y, visible.height};
    auto const x = swapsAxes ? placeAxis(area.y, area.y + area.height, map.c, map.tx, columns)
                             : placeAxis(area.x, area.x + area.width, map.a, map.tx, columns);
    auto const y = swapsAxes ? placeAxis(area.x, area.x + area.width, map.b, map.ty, rows)
                             : placeAxis(area.y, area.y + area.height, map.d, map.ty, rows);
    if (!x || !y)
        return DrawnImage {};
    return UprightImage(cut.pixels, *x, *y, swapsAxes, crew).draw();
}

} // namespace

Result<DrawnImage> imageSource(Image const& image, FloatRect const& part, AffineTransform const& partToDevice,
    IntRect const& visible, WorkCrew& crew)
{
    if (visible.isEmpty() || !isFinite(partToDevice))
        return DrawnImage {};
    auto const scale =
        decodeScale(std::hypot(partToDevice.a, partToDevice.b), std::hypot(partToDevice.c, partToDevice.d));
    if (!(scale > 0))
        return DrawnImage {};
    auto const cut = cutImage(DecodedImages::shared().lookUp(forCanvas(image), scale), part);
    if (!cut)
        return DrawnImage {};
    auto const& area = cut->area;
    // From the whole pixels that the part touches.
    auto const toPart =
        AffineTransform::translation(std::max(0.0, -part.x) - area.x, std::max(0.0, -part.y) - area.y);
    auto const map = toPart * partToDevice;
    if (isFlat(map.b, area.width) && isFlat(map.c, area.height))
        return drawUpright(*cut, map, visible, false, crew);
    if (isFlat(map.a, area.width) && isFlat(map.d, area.height))
        return drawUpright(*cut, map, visible, true, crew);
    if (cut->isWhole())
        return drawFreely(cut->pixels, map, visible);
    auto const resampled = resampledPart(cut->pixels, area);
    auto const toArea =
        AffineTransform::scale(area.width / resampled.size().width, area.height / resampled.size().height)
        * AffineTransform::translation(area.x, area.y);
    return drawFreely(resampled, toArea * map, visible);
}

} // namespace velk::graphics
