#include "modules/jxl/JxlTranscoder.h"

#include "modules/jxl/JxlFileWriter.h"

namespace velk::codec::jxl {

namespace {

constexpr std::string_view kJpegType = "public.jpeg";
constexpr std::uint64_t kLargestJpeg = std::uint64_t {1} << 30;

bool changesMetadata(EncodeJob const& job)
{
    auto const& old = job.source->metadata();
    return job.metadata.exif() != old.exif() || job.metadata.xmp() != old.xmp()
        || job.metadata.iptc() != old.iptc();
}

bool changesProfile(EncodeJob const& job)
{
    return !equalBytes(job.profile, job.source->description().info.layout.space.profile());
}

// Properties hold resolutions in single precision.
bool changesResolution(EncodeJob const& job)
{
    auto const old = job.source->resolution();
    if (!job.resolution || !old)
        return job.resolution.has_value() != old.has_value();
    return static_cast<float>(job.resolution->x) != static_cast<float>(old->x)
        || static_cast<float>(job.resolution->y) != static_cast<float>(old->y);
}

RewriteJob editOf(EncodeJob const& job)
{
    auto const resolution = changesResolution(job) ? job.resolution : std::nullopt;
    return {.source = *job.source,
        .metadata = job.metadata,
        .metadataChanged = changesMetadata(job),
        .profile = job.profile,
        .profileChanged = changesProfile(job),
        .resolution = resolution,
        .options = job.options};
}

// The source's file as it would be written as a JPEG; nothing when that takes new compression.
Result<std::optional<Bytes>> editedJpeg(EncodeJob const& job, AtomicFile const& output)
{
    auto const edit = editOf(job);
    if (!edit.metadataChanged && !edit.profileChanged && !edit.resolution)
        return TRY(job.source->file().readAll(kLargestJpeg));
    auto const* codec = codecForType(kJpegType);
    if (!codec->canRewrite(edit))
        return std::nullopt;
    auto file = TRY(AtomicFile::createPrivate(output.temporaryPath()));
    TRY(codec->rewrite(edit, file));
    TRY(file.flush());
    return TRY(readFile(file.temporaryPath(), kLargestJpeg));
}

// Whether the library took the JPEG; arithmetic coding, CMYK and damage it does not take.
Result<bool> addJpeg(FileWriter const& writer, ByteSpan jpeg)
{
    TRY(writer.check(JxlEncoderUseContainer(writer.get(), JXL_TRUE)));
    TRY(writer.check(JxlEncoderStoreJPEGMetadata(writer.get(), JXL_TRUE)));
    auto* const settings = JxlEncoderFrameSettingsCreate(writer.get(), nullptr);
    return settings && JxlEncoderAddJPEGFrame(settings, jpeg.data(), jpeg.size()) == JXL_ENC_SUCCESS;
}

bool isPossible(EncodeJob const& job)
{
    return job.source && job.keepsPixels && job.source->type().identifier == kJpegType
        && job.source->file().size() <= kLargestJpeg && !job.options.quality
        && !job.options.noChromaSubsampling;
}

} // namespace

Result<bool> recompressJpeg(EncodeJob const& job, AtomicFile& output)
{
    if (!isPossible(job))
        return false;
    auto const jpeg = TRY(editedJpeg(job, output));
    if (!jpeg)
        return false;
    auto writer = TRY(FileWriter::create());
    if (!TRY(addJpeg(writer, *jpeg)))
        return false;
    TRY(writer.finish(output));
    return true;
}

} // namespace velk::codec::jxl
