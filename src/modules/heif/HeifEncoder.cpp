#include "modules/heif/HeifEncoder.h"

#include "modules/heif/HeifPlaneWriter.h"
#include "platform/codec/EncoderAbilities.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace velk::codec::heif {

using namespace graphics;

namespace {

constexpr float kDefaultQuality = 0.85f;
constexpr char const* kFailed = "the picture cannot be encoded";

constexpr ColorModel kModels[] = {ColorModel::Gray, ColorModel::RGB};
constexpr int kGrayDepths[] = {8};
constexpr EncoderAbilities kAbilities = {
    .models = kModels, .modelsWithAlpha = kModels, .grayDepths = kGrayDepths, .sixteenBits = true};

/// A quality, and what the library calls one as good.
struct QualityPoint {
    float quality, libraryQuality;
};

/// What differs between the two ways to code the pixels.
struct Coding {
    heif_compression_format format;
    char const* name;
    int largestSide;
    /// Encoder parameters: a compromise between speed and size.
    char const* speedParameter;
    char const* speed;
    std::span<QualityPoint const> qualities;
};

// Measured on photos: the signal-to-noise ratio of JPEG files of the same quality, or a little more.
constexpr QualityPoint kHevcQualities[] = {
    {0, 10}, {0.25f, 28}, {0.5f, 36}, {0.75f, 44}, {0.85f, 52}, {0.95f, 68}, {1, 100}};
constexpr QualityPoint kAv1Qualities[] = {
    {0, 10}, {0.25f, 32}, {0.5f, 42}, {0.75f, 54}, {0.85f, 64}, {0.95f, 84}, {1, 100}};

constexpr Coding kHevc = {heif_compression_HEVC, "HEIC", 16384, "preset", "medium", kHevcQualities};
constexpr Coding kAv1 = {heif_compression_AV1, "AVIF", 65536, "speed", "6", kAv1Qualities};

bool isLossless(EncodeOptions const& options)
{
    return options.quality && *options.quality >= 1;
}

// Few devices decode HEVC of more than 10 bits; where nothing may be lost that has to do.
int hevcDepth(ImageInfo const& info, EncodeOptions const& options)
{
    auto const bits = info.bitsPerComponent;
    return bits == 10 || bits == 12 ? bits : isLossless(options) ? 12 : 10;
}

// libheif 1.15 asks libaom for a profile that has no 4:2:0 and 4:4:4 of 10 bits, and libaom may abort at
// that.
int av1Depth(ImageInfo const&, EncodeOptions const&)
{
    return 12;
}

EncodeTarget negotiate(ImageInfo const& info, EncodeOptions const& options,
    int (*deepBits)(ImageInfo const& info, EncodeOptions const& options))
{
    auto target = nearestTarget(info, kAbilities);
    if (info.layout.format.alpha == Alpha::Premultiplied)
        target.format.alpha = Alpha::Premultiplied;
    bool const isDeep = target.format.componentType == ComponentType::UInt16;
    target.bitsPerComponent = isDeep ? deepBits(info, options) : 8;
    return target;
}

Result<Pointer<heif_encoder>> encoderFor(heif_context* context, Coding const& coding)
{
    heif_encoder* found = nullptr;
    auto const error = heif_context_get_encoder_for_format(context, coding.format, &found);
    Pointer<heif_encoder> encoder(found);
    if (error.code != heif_error_Ok || !encoder)
        return fail("the installed libheif has no encoder for {}", coding.name);
    return encoder;
}

int libraryQuality(Coding const& coding, float quality)
{
    auto const asked = std::clamp(quality, 0.0f, 1.0f);
    auto const& points = coding.qualities;
    std::size_t i = 1;
    while (i + 1 < points.size() && points[i].quality < asked)
        ++i;
    auto const &below = points[i - 1], &above = points[i];
    auto const part = (asked - below.quality) / (above.quality - below.quality);
    return static_cast<int>(std::lround(std::lerp(below.libraryQuality, above.libraryQuality, part)));
}

Result<void> configure(heif_encoder* encoder, Coding const& coding, EncodeJob const& job)
{
    auto const& options = job.options;
    bool const lossless = isLossless(options);
    TRY(check(heif_encoder_set_lossless(encoder, lossless), kFailed));
    if (!lossless)
        TRY(check(heif_encoder_set_lossy_quality(
                      encoder, libraryQuality(coding, options.quality.value_or(kDefaultQuality))),
            kFailed));
    // Parameters are wishes: another encoder may not know them.
    heif_encoder_set_parameter(encoder, coding.speedParameter, coding.speed);
    heif_encoder_set_parameter(encoder, "chroma", lossless || options.noChromaSubsampling ? "444" : "420");
    heif_encoder_set_parameter(encoder, "threads", std::to_string(threadCount()).c_str());
    if (lossless)
        heif_encoder_set_parameter(encoder, "lossless-alpha", "true");
    return {};
}

PlaneLayout planesFor(EncodeJob const& job)
{
    bool const lossless = isLossless(job.options);
    return {.bits = job.bitsPerComponent,
        .meaning = {.kind = lossless ? LumaChroma::Kind::Identity : LumaChroma::Kind::Weighted},
        .halvesChroma = !lossless && !job.options.noChromaSubsampling};
}

// What the samples mean: sRGB, or the profile's colours, in BT.601's luma and chroma.
Result<void> setColors(heif_image* image, EncodeJob const& job)
{
    Pointer<heif_color_profile_nclx> const nclx(heif_nclx_color_profile_alloc());
    if (!nclx)
        return fail("out of memory");
    bool const hasProfile = job.profile != nullptr;
    nclx->color_primaries =
        hasProfile ? heif_color_primaries_unspecified : heif_color_primaries_ITU_R_BT_709_5;
    nclx->transfer_characteristics =
        hasProfile ? heif_transfer_characteristic_unspecified : heif_transfer_characteristic_IEC_61966_2_1;
    bool const isIdentity = isLossless(job.options) && job.rows.format().model == ColorModel::RGB;
    nclx->matrix_coefficients =
        isIdentity ? heif_matrix_coefficients_RGB_GBR : heif_matrix_coefficients_ITU_R_BT_601_6;
    nclx->full_range_flag = 1;
    TRY(check(heif_image_set_nclx_color_profile(image, nclx.get()), kFailed));
    if (hasProfile)
        TRY(check(heif_image_set_raw_color_profile(image, "prof", job.profile->data(), job.profile->size()),
            kFailed));
    return {};
}

// The file says how the picture is turned, and readers follow it; one that follows Exif too must not turn it
// again.
Result<void> addMetadata(heif_context* context, heif_image_handle const* image, Metadata metadata)
{
    if (metadata.orientation() != 1)
        metadata.setOrientation(1);
    if (auto const exif = metadata.exif(); !exif.empty())
        TRY(check(heif_context_add_exif_metadata(context, image, exif.data(), static_cast<int>(exif.size())),
            kFailed));
    if (auto const xmp = metadata.xmp(); !xmp.empty())
        TRY(check(heif_context_add_XMP_metadata(context, image, xmp.data(), static_cast<int>(xmp.size())),
            kFailed));
    return {};
}

Result<void> addPicture(heif_context* context, Coding const& coding, EncodeJob const& job)
{
    auto const encoder = TRY(encoderFor(context, coding));
    TRY(configure(encoder.get(), coding, job));
    auto const image = TRY(collectPlanes(job.rows, planesFor(job)));
    TRY(setColors(image.get(), job));
    Pointer<heif_encoding_options> const options(heif_encoding_options_alloc());
    if (!options)
        return fail("out of memory");
    options->save_two_colr_boxes_when_ICC_and_nclx_available = 1;
    options->macOS_compatibility_workaround_no_nclx_profile = 0;
    options->image_orientation = static_cast<heif_orientation>(job.metadata.orientation());
    heif_image_handle* added = nullptr;
    auto const error = heif_context_encode_image(context, image.get(), encoder.get(), options.get(), &added);
    Pointer<heif_image_handle> const handle(added);
    TRY(check(error, kFailed));
    return addMetadata(context, handle.get(), job.metadata);
}

struct Output {
    AtomicFile& file;
    Result<void> result;
};

heif_error writeTo(heif_context*, void const* data, std::size_t size, void* userData)
{
    auto& output = *static_cast<Output*>(userData);
    output.result = output.file.write({static_cast<std::uint8_t const*>(data), size});
    return output.result
        ? heif_error {heif_error_Ok, heif_suberror_Unspecified, "Success"}
        : heif_error {heif_error_Encoding_error, heif_suberror_Cannot_write_output_data, "Cannot write"};
}

Result<void> encode(EncodeJob const& job, AtomicFile& file, Coding const& coding)
{
    auto const size = job.rows.size();
    if (size.width > coding.largestSide || size.height > coding.largestSide)
        return fail("{} images are at most {} pixels wide and high, this one is {} x {}", coding.name,
            coding.largestSide, size.width, size.height);
    Pointer<heif_context> const context(heif_context_alloc());
    if (!context)
        return fail("out of memory");
    TRY(addPicture(context.get(), coding, job));
    heif_writer writer {.writer_api_version = 1, .write = writeTo};
    Output output {file, {}};
    auto const error = heif_context_write(context.get(), &writer, &output);
    TRY(output.result);
    return check(error, kFailed);
}

} // namespace

EncodeTarget negotiateHeic(ImageInfo const& info, EncodeOptions const& options)
{
    return negotiate(info, options, hevcDepth);
}

EncodeTarget negotiateAvif(ImageInfo const& info, EncodeOptions const& options)
{
    return negotiate(info, options, av1Depth);
}

Result<void> encodeHeic(EncodeJob const& job, AtomicFile& output)
{
    return encode(job, output, kHevc);
}

Result<void> encodeAvif(EncodeJob const& job, AtomicFile& output)
{
    return encode(job, output, kAv1);
}

} // namespace velk::codec::heif
