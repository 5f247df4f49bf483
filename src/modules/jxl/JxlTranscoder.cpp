#include "modules/jxl/JxlTranscoder.h"

#include "modules/jxl/JxlFileWriter.h"
#include "modules/jxl/JxlSource.h"

#include <algorithm>

namespace velk::codec::jxl {

namespace {

constexpr std::string_view kJpegType = "public.jpeg";
constexpr std::uint64_t kLargestJpeg = std::uint64_t {1} << 30;

bool asksForNewCompression(EncodeJob const& job)
{
    return !job.keepsPixels || job.options.quality || job.options.noChromaSubsampling;
}

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

// ---- From JPEG.

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

Result<bool> recompress(EncodeJob const& job, AtomicFile& output)
{
    if (job.source->file().size() > kLargestJpeg)
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

// ---- From JPEG XL.

// The data from which the JPEG file is made again fits only the metadata that it was made with.
bool isKept(Box const& box, bool metadataChanged)
{
    return !metadataChanged || (!isMetadata(box) && box.content != kReconstructionBox);
}

bool isCodestream(Box const& box)
{
    return box.type == kCodestreamBox || box.type == kPartialCodestreamBox;
}

Result<void> wrapCodestream(Source const& source, Metadata const& metadata, AtomicFile& output)
{
    auto const size = source.file().size();
    if (auto const boxes = metadataBoxes(metadata); !boxes.empty()) {
        TRY(output.write(containerStart()));
        TRY(output.write(boxes));
        TRY(output.write(boxHeader(kCodestreamBox, size)));
    }
    return output.copyFrom(source.file(), 0, size);
}

Result<void> copyBoxes(Source const& source, EncodeJob const& job, AtomicFile& output)
{
    bool const isChanged = changesMetadata(job);
    bool isPending = isChanged;
    for (auto const& box : source.container().boxes) {
        if (isPending && isCodestream(box)) {
            TRY(output.write(metadataBoxes(job.metadata)));
            isPending = false;
        }
        if (isKept(box, isChanged))
            TRY(output.copyFrom(source.file(), box.offset, box.size));
    }
    return {};
}

} // namespace

Result<bool> takeOver(EncodeJob const& job, AtomicFile& output)
{
    if (!job.source || asksForNewCompression(job))
        return false;
    if (job.source->type().identifier == kJpegType)
        return recompress(job, output);
    auto const* source = dynamic_cast<Source const*>(job.source);
    // The source's pixels are upright; a picture that is to be turned has to be coded anew.
    if (!source || changesProfile(job) || job.metadata.orientation() != 1)
        return false;
    if (source->container().isBare())
        TRY(wrapCodestream(*source, job.metadata, output));
    else
        TRY(copyBoxes(*source, job, output));
    return true;
}

} // namespace velk::codec::jxl
