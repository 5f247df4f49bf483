#include "platform/codec/WebpEncoder.h"

#include "platform/codec/WebpRewriter.h"
#include "platform/codec/WebpSource.h"

#include <webp/encode.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr float kDefaultQuality = 0.8f;
// libwebp's compromise between speed and size, 0 to 6 for lossy pictures and 0 to 9 for lossless ones.
constexpr int kLossyMethod = 4;
constexpr int kLosslessLevel = 3;
// Even, because a chroma sample stands for two rows.
constexpr int kStripHeight = 64;

class Picture {
public:
    Picture() { m_isReady = WebPPictureInit(&m_picture) != 0; }
    Picture(Picture const&) = delete;
    ~Picture() { WebPPictureFree(&m_picture); }

    bool isReady() const { return m_isReady; }
    WebPPicture* get() { return &m_picture; }
    WebPPicture* operator->() { return &m_picture; }

private:
    WebPPicture m_picture;
    bool m_isReady;
};

bool isLossless(EncodeJob const& job)
{
    if (job.options.quality)
        return *job.options.quality >= 1;
    auto const* source = dynamic_cast<WebpSource const*>(job.source);
    return source && source->contents().picture.isLossless;
}

Result<WebPConfig> configFor(EncodeJob const& job)
{
    WebPConfig config;
    if (!WebPConfigInit(&config))
        return fail("the WebP library does not fit");
    if (isLossless(job)) {
        WebPConfigLosslessPreset(&config, kLosslessLevel);
        // Colours under transparent pixels count as well.
        config.exact = 1;
    } else {
        config.quality = std::clamp(job.options.quality.value_or(kDefaultQuality), 0.0f, 1.0f) * 100;
        config.method = kLossyMethod;
        // Lossy WebP always halves the chroma planes; the sharp conversion makes the best of it.
        config.use_sharp_yuv = job.options.noChromaSubsampling;
    }
    config.thread_level = 1;
    return config;
}

// One pixel in libwebp's order: alpha in the highest byte, then red, green, blue.
std::uint32_t packed(std::uint8_t const* pixel, bool hasAlpha)
{
    std::uint32_t const alpha = hasAlpha ? pixel[3] : 255;
    return alpha << 24 | std::uint32_t {pixel[0]} << 16 | std::uint32_t {pixel[1]} << 8 | pixel[2];
}

Result<void> fillArgb(RowSource& rows, WebPPicture& picture)
{
    Bytes row(rows.rowBytes());
    bool const hasAlpha = rows.format().hasAlpha();
    auto const step = rows.format().bytesPerPixel();
    for (int y = 0; y < picture.height; ++y) {
        TRY(rows.read({row.data(), row.size(), 1}));
        auto* to = picture.argb + std::ptrdiff_t {y} * picture.argb_stride;
        for (std::size_t x = 0; x < static_cast<std::size_t>(picture.width); ++x)
            to[x] = packed(&row[x * step], hasAlpha);
    }
    return {};
}

void copyPlane(
    std::uint8_t const* from, int fromStride, std::uint8_t* to, int toStride, int width, int height)
{
    for (int y = 0; y < height; ++y)
        std::memcpy(to + std::ptrdiff_t {y} * toStride, from + std::ptrdiff_t {y} * fromStride,
            static_cast<std::size_t>(width));
}

// Puts a converted strip into the rows from `top` on.
void insertStrip(WebPPicture const& strip, WebPPicture& picture, int top)
{
    auto const width = (picture.width + 1) / 2, height = (strip.height + 1) / 2;
    auto const chroma = std::ptrdiff_t {top / 2} * picture.uv_stride;
    copyPlane(strip.y, strip.y_stride, picture.y + std::ptrdiff_t {top} * picture.y_stride, picture.y_stride,
        picture.width, strip.height);
    copyPlane(strip.u, strip.uv_stride, picture.u + chroma, picture.uv_stride, width, height);
    copyPlane(strip.v, strip.uv_stride, picture.v + chroma, picture.uv_stride, width, height);
    if (!picture.a)
        return;
    auto* const alpha = picture.a + std::ptrdiff_t {top} * picture.a_stride;
    if (strip.a)
        copyPlane(strip.a, strip.a_stride, alpha, picture.a_stride, picture.width, strip.height);
    else
        std::memset(alpha, 255, static_cast<std::size_t>(picture.a_stride) * strip.height);
}

// libwebp converts a whole RGB picture at once; strip by strip, that picture is never in memory.
Result<void> fillYuv(RowSource& rows, WebPPicture& picture)
{
    auto const stride = rows.rowBytes();
    Bytes pixels(stride * kStripHeight);
    for (int top = 0; top < picture.height; top += kStripHeight) {
        auto const height = std::min(kStripHeight, picture.height - top);
        TRY(rows.read({pixels.data(), stride, height}));
        Picture strip;
        if (!strip.isReady())
            return fail("the WebP library does not fit");
        strip->width = picture.width;
        strip->height = height;
        auto const import = rows.format().hasAlpha() ? WebPPictureImportRGBA : WebPPictureImportRGB;
        if (!import(strip.get(), pixels.data(), static_cast<int>(stride)))
            return fail("out of memory");
        insertStrip(*strip.get(), picture, top);
    }
    return {};
}

Result<void> fill(EncodeJob const& job, WebPConfig const& config, WebPPicture& picture)
{
    picture.width = job.rows.size().width;
    picture.height = job.rows.size().height;
    picture.use_argb = config.lossless || config.use_sharp_yuv;
    picture.colorspace = job.rows.format().hasAlpha() ? WEBP_YUV420A : WEBP_YUV420;
    if (!WebPPictureAlloc(&picture))
        return fail("out of memory");
    return picture.use_argb ? fillArgb(job.rows, picture) : fillYuv(job.rows, picture);
}

int appendToBytes(std::uint8_t const* data, std::size_t size, WebPPicture const* picture)
{
    try {
        append(*static_cast<Bytes*>(picture->custom_ptr), ByteSpan(data, size));
        return 1;
    } catch (std::bad_alloc const&) {
        return 0;
    }
}

std::string_view reasonFor(WebPEncodingError error)
{
    switch (error) {
    case VP8_ENC_ERROR_OUT_OF_MEMORY:
    case VP8_ENC_ERROR_BITSTREAM_OUT_OF_MEMORY:
    case VP8_ENC_ERROR_BAD_WRITE:
        return "out of memory";
    case VP8_ENC_ERROR_PARTITION0_OVERFLOW:
    case VP8_ENC_ERROR_PARTITION_OVERFLOW:
    case VP8_ENC_ERROR_FILE_TOO_BIG:
        return "the picture is too large for its quality";
    default:
        return "the picture cannot be encoded as WebP";
    }
}

// The complete file that libwebp makes of the picture.
Result<Bytes> compress(EncodeJob const& job)
{
    auto const config = TRY(configFor(job));
    Picture picture;
    if (!picture.isReady())
        return fail("the WebP library does not fit");
    TRY(fill(job, config, *picture.get()));
    Bytes file;
    picture->writer = appendToBytes;
    picture->custom_ptr = &file;
    if (!WebPEncode(&config, picture.get()))
        return fail("{}", reasonFor(picture->error_code));
    return file;
}

} // namespace

EncodeTarget negotiateWebp(ImageInfo const& info, EncodeOptions const&)
{
    auto const* palette = info.layout.space.palette();
    bool const hasAlpha = info.layout.format.hasAlpha() || (palette && palette->hasAlpha());
    return {{.model = ColorModel::RGB, .alpha = hasAlpha ? Alpha::Straight : Alpha::None}, 8};
}

Result<void> encodeWebp(EncodeJob const& job, AtomicFile& output)
{
    auto const size = job.rows.size();
    if (size.width > webp::kLargestSide || size.height > webp::kLargestSide)
        return fail("WebP images are at most {} pixels wide and high, this one is {} x {}",
            webp::kLargestSide, size.width, size.height);
    auto pieces = webpPiecesOf(TRY(compress(job)));
    setWebpProfile(pieces, job.profile);
    setWebpMetadata(pieces, job.metadata);
    extendWebp(pieces, size, job.rows.format().hasAlpha());
    return writeWebp(pieces, nullptr, output);
}

} // namespace velk::codec
