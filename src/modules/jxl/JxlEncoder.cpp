#include "modules/jxl/JxlEncoder.h"

#include "modules/jxl/JxlFileWriter.h"
#include "modules/jxl/JxlSource.h"
#include "modules/jxl/JxlTranscoder.h"
#include "platform/codec/EncoderAbilities.h"
#include "platform/graphics/PixelBuffer.h"

#include <algorithm>
#include <cmath>

namespace velk::codec::jxl {

using namespace graphics;

namespace {

// Butteraugli distance 1, where differences begin to show.
constexpr float kDefaultQuality = 0.9f;
// libjxl's compromise between speed and size, 1 to 9.
constexpr std::int64_t kLossyEffort = 6, kLosslessEffort = 4;

constexpr ColorModel kModels[] = {ColorModel::Gray, ColorModel::RGB};
constexpr int kGrayDepths[] = {1, 2, 4, 8};
constexpr EncoderAbilities kAbilities = {.models = kModels,
    .modelsWithAlpha = kModels,
    .grayDepths = kGrayDepths,
    .sixteenBits = true,
    .floatingPoint = true};

bool isLossless(EncodeJob const& job)
{
    if (job.options.quality)
        return *job.options.quality >= 1;
    auto const* source = dynamic_cast<Source const*>(job.source);
    return source && source->isLossless();
}

// The distance that gives files about as good as a JPEG of the same quality.
float distanceFor(float quality)
{
    auto const q = std::clamp(quality, 0.0f, 1.0f) * 100;
    return q >= 30 ? 0.1f + (100 - q) * 0.09f : 6.4f + std::pow(2.5f, (30 - q) / 5) / 6.25f;
}

JxlBasicInfo headerFor(EncodeJob const& job)
{
    auto const format = job.rows.format();
    bool const isFloat = format.componentType == ComponentType::Float32;
    JxlBasicInfo header;
    JxlEncoderInitBasicInfo(&header);
    header.xsize = static_cast<std::uint32_t>(job.rows.size().width);
    header.ysize = static_cast<std::uint32_t>(job.rows.size().height);
    header.bits_per_sample = static_cast<std::uint32_t>(job.bitsPerComponent);
    header.exponent_bits_per_sample = isFloat ? 8 : 0;
    header.num_color_channels = static_cast<std::uint32_t>(format.colorChannels());
    if (format.hasAlpha()) {
        header.num_extra_channels = 1;
        header.alpha_bits = header.bits_per_sample;
        header.alpha_exponent_bits = header.exponent_bits_per_sample;
    }
    header.orientation = static_cast<JxlOrientation>(job.metadata.orientation());
    header.uses_original_profile = isLossless(job);
    return header;
}

Result<void> setColors(FileWriter const& writer, EncodeJob const& job)
{
    // A profile that the library cannot work with is left out.
    if (job.profile
        && JxlEncoderSetICCProfile(writer.get(), job.profile->data(), job.profile->size()) == JXL_ENC_SUCCESS)
        return {};
    JxlColorEncoding encoding;
    JxlColorEncodingSetToSRGB(&encoding, job.rows.format().model == ColorModel::Gray);
    return writer.check(JxlEncoderSetColorEncoding(writer.get(), &encoding));
}

Result<JxlEncoderFrameSettings*> frameSettings(FileWriter const& writer, EncodeJob const& job)
{
    auto* const settings = JxlEncoderFrameSettingsCreate(writer.get(), nullptr);
    if (!settings)
        return fail("out of memory");
    bool const lossless = isLossless(job);
    TRY(writer.check(JxlEncoderFrameSettingsSetOption(
        settings, JXL_ENC_FRAME_SETTING_EFFORT, lossless ? kLosslessEffort : kLossyEffort)));
    if (lossless)
        TRY(writer.check(JxlEncoderSetFrameLossless(settings, JXL_TRUE)));
    else
        TRY(writer.check(JxlEncoderSetFrameDistance(
            settings, distanceFor(job.options.quality.value_or(kDefaultQuality)))));
    return settings;
}

// The codestream says how the picture is turned, and readers follow it; one that follows Exif too must not
// turn it again.
Metadata uprightMetadata(EncodeJob const& job)
{
    auto metadata = job.metadata;
    if (metadata.orientation() != 1)
        metadata.setOrientation(1);
    return metadata;
}

Result<void> encodePixels(EncodeJob const& job, AtomicFile& output)
{
    auto writer = TRY(FileWriter::create());
    auto const metadata = uprightMetadata(job);
    auto const header = headerFor(job);
    TRY(writer.check(JxlEncoderSetBasicInfo(writer.get(), &header)));
    TRY(setColors(writer, job));
    TRY(writer.addMetadata(metadata));
    TRY(writer.useRequiredLevel());

    auto* const settings = TRY(frameSettings(writer, job));
    auto const pixels = TRY(PixelBuffer::collect(job.rows));
    TRY(writer.addFrame(settings, pixels));
    return writer.finish(output);
}

} // namespace

EncodeTarget negotiate(ImageInfo const& info, EncodeOptions const&)
{
    auto target = nearestTarget(info, kAbilities);
    auto const bits = info.bitsPerComponent;
    if (target.format.componentType == ComponentType::UInt16 && bits > 8 && bits < 16)
        target.bitsPerComponent = bits;
    return target;
}

Result<void> encode(EncodeJob const& job, AtomicFile& output)
{
    if (TRY(recompressJpeg(job, output)))
        return {};
    return encodePixels(job, output);
}

} // namespace velk::codec::jxl
