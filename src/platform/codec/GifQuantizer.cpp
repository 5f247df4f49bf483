#include "platform/codec/GifQuantizer.h"

#include "platform/graphics/PixelBuffer.h"

#include <libimagequant.h>

#include <algorithm>
#include <cstring>
#include <unordered_map>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr int kMaximumColors = 256;
constexpr std::uint8_t kLeastOpaque = 128;
// Of libimagequant's 1 (best) to 10 (fastest). On a photo of 12 megapixels the second takes less than half
// the time of the first, for a palette that is 0.2 dB worse.
constexpr int kCarefulSpeed = 4;
constexpr int kLargePictureSpeed = 7;
constexpr std::int64_t kLargePicture = 2 << 20;

struct Release {
    void operator()(liq_attr* attributes) const { liq_attr_destroy(attributes); }
    void operator()(liq_image* image) const { liq_image_destroy(image); }
    void operator()(liq_result* result) const { liq_result_destroy(result); }
};

bool isTransparent(std::uint8_t const* pixel, PixelFormat format)
{
    return format.hasAlpha() && pixel[3] < kLeastOpaque;
}

std::uint32_t packed(std::uint8_t const* pixel)
{
    return std::uint32_t {pixel[0]} << 16 | std::uint32_t {pixel[1]} << 8 | pixel[2];
}

Result<void> fromLibrary(liq_error error)
{
    if (error == LIQ_OK)
        return {};
    return error == LIQ_OUT_OF_MEMORY ? fail("out of memory") : fail("the colours cannot be reduced");
}

/// The picture's own colours, as long as they fit into a palette.
class ExactPalette {
public:
    explicit ExactPalette(PixelFormat format)
        : m_format(format)
    {
    }

    /// Returns false when the row has a colour too many.
    bool add(std::uint8_t const* row, int width)
    {
        auto const step = m_format.bytesPerPixel();
        for (int x = 0; x < width; ++x, row += step) {
            if (isTransparent(row, m_format)) {
                m_hasTransparency = true;
            } else if (auto const color = packed(row); color != m_lastColor) {
                m_lastColor = color;
                m_indices.try_emplace(color, static_cast<std::uint8_t>(m_indices.size()));
            }
            if (m_indices.size() + (m_hasTransparency ? 1 : 0) > kMaximumColors)
                return false;
        }
        return true;
    }

    QuantizedPicture apply(PixelBuffer const& buffer) const
    {
        QuantizedPicture picture {.size = buffer.size()};
        picture.colors.resize(m_indices.size());
        for (auto const& [color, index] : m_indices)
            picture.colors[index] = {static_cast<std::uint8_t>(color >> 16),
                static_cast<std::uint8_t>(color >> 8), static_cast<std::uint8_t>(color)};
        if (m_hasTransparency) {
            picture.transparentIndex = static_cast<std::uint8_t>(picture.colors.size());
            picture.colors.push_back({});
        }
        picture.indices.reserve(static_cast<std::size_t>(buffer.size().pixelCount()));
        for (int y = 0; y < buffer.size().height; ++y) {
            auto const* pixel = buffer.row(y);
            for (int x = 0; x < buffer.size().width; ++x, pixel += m_format.bytesPerPixel())
                picture.indices.push_back(
                    isTransparent(pixel, m_format) ? *picture.transparentIndex : m_indices.at(packed(pixel)));
        }
        return picture;
    }

private:
    PixelFormat m_format;
    std::unordered_map<std::uint32_t, std::uint8_t> m_indices;
    std::uint32_t m_lastColor = ~0u;
    bool m_hasTransparency = false;
};

// Gives libimagequant a row. Transparent pixels repeat the colour to their left: they are to use up no
// colours and to spread no dithering error.
void deliverRow(liq_color* to, int y, int width, void* user)
{
    auto const& buffer = *static_cast<PixelBuffer const*>(user);
    auto const* pixel = buffer.row(y);
    liq_color color = {0, 0, 0, 255};
    for (int x = 0; x < width; ++x, pixel += buffer.format().bytesPerPixel()) {
        if (!isTransparent(pixel, buffer.format()))
            color = {pixel[0], pixel[1], pixel[2], 255};
        to[x] = color;
    }
}

void markTransparent(PixelBuffer const& buffer, QuantizedPicture& picture)
{
    picture.transparentIndex = static_cast<std::uint8_t>(picture.colors.size());
    picture.colors.push_back({});
    auto* index = picture.indices.data();
    for (int y = 0; y < buffer.size().height; ++y) {
        auto const* pixel = buffer.row(y);
        for (int x = 0; x < buffer.size().width; ++x, ++index, pixel += buffer.format().bytesPerPixel()) {
            if (isTransparent(pixel, buffer.format()))
                *index = *picture.transparentIndex;
        }
    }
}

Result<QuantizedPicture> quantize(PixelBuffer& buffer)
{
    auto const size = buffer.size();
    bool const hasAlpha = buffer.format().hasAlpha();
    std::unique_ptr<liq_attr, Release> const attributes(liq_attr_create());
    if (!attributes)
        return fail("out of memory");
    auto const speed = size.pixelCount() > kLargePicture ? kLargePictureSpeed : kCarefulSpeed;
    TRY(fromLibrary(liq_set_speed(attributes.get(), speed)));
    TRY(fromLibrary(liq_set_max_colors(attributes.get(), kMaximumColors - (hasAlpha ? 1 : 0))));
    std::unique_ptr<liq_image, Release> const image(
        liq_image_create_custom(attributes.get(), deliverRow, &buffer, size.width, size.height, 0));
    if (!image)
        return fail("out of memory");
    liq_result* made = nullptr;
    TRY(fromLibrary(liq_image_quantize(image.get(), attributes.get(), &made)));
    std::unique_ptr<liq_result, Release> const result(made);
    TRY(fromLibrary(liq_set_dithering_level(result.get(), 1)));

    QuantizedPicture picture {.size = size};
    picture.indices.resize(static_cast<std::size_t>(size.pixelCount()));
    TRY(fromLibrary(
        liq_write_remapped_image(result.get(), image.get(), picture.indices.data(), picture.indices.size())));
    auto const* palette = liq_get_palette(result.get());
    for (auto const& entry : std::span(palette->entries).first(palette->count))
        picture.colors.push_back({entry.r, entry.g, entry.b});
    if (hasAlpha)
        markTransparent(buffer, picture);
    return picture;
}

} // namespace

Result<QuantizedPicture> quantizeForGif(RowSource& rows)
{
    auto buffer = TRY(PixelBuffer::create(rows.layout()));
    ExactPalette palette(rows.format());
    bool isExact = true;
    for (int y = 0; y < buffer.size().height; ++y) {
        TRY(rows.read(buffer.rows(y, 1)));
        isExact = isExact && palette.add(buffer.row(y), buffer.size().width);
    }
    return isExact ? palette.apply(buffer) : quantize(buffer);
}

} // namespace velk::codec
