#include "modules/jxl/JxlRewriter.h"

#include "modules/jxl/JxlSource.h"

namespace velk::codec::jxl {

namespace {

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

Result<void> copyBoxes(Source const& source, RewriteJob const& job, AtomicFile& output)
{
    bool const isChanged = job.metadataChanged;
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

bool canRewrite(RewriteJob const& job)
{
    // The codestream says how the picture is turned and what its colours are.
    return job.turn == graphics::Turn::None && !job.profileChanged && job.metadata.orientation() == 1
        && !job.options.quality && !job.options.noChromaSubsampling;
}

Result<void> rewrite(RewriteJob const& job, AtomicFile& output)
{
    auto const& source = dynamic_cast<Source const&>(job.source);
    return source.container().isBare() ? wrapCodestream(source, job.metadata, output)
                                       : copyBoxes(source, job, output);
}

} // namespace velk::codec::jxl
