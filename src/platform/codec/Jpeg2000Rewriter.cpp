#include "platform/codec/Jpeg2000Rewriter.h"

#include "platform/codec/Jpeg2000Header.h"
#include "platform/codec/Jpeg2000Source.h"

#include <algorithm>
#include <variant>

namespace velk::codec {

using namespace graphics;

namespace {

// Fragment tables and indices hold offsets from the start of the file.
constexpr FourCC kBoxesWithOffsets[] = {FourCC("ftbl"), FourCC("cidx"), FourCC("fidx"), FourCC("iptr")};

/// Bytes in memory, or a box that is copied from the source.
using Piece = std::variant<Bytes, Jp2Box>;
using Pieces = std::vector<Piece>;

bool isBox(Piece const& piece, FourCC type)
{
    auto const* box = std::get_if<Jp2Box>(&piece);
    return box && box->type == type;
}

Jp2HeaderFields headerFields(Jpeg2000Source const& source, SharedBytes profile)
{
    auto const& layout = source.layout();
    return {.size = source.contents().codestream.pixelSize(),
        .model = layout.format.model,
        .isYcc = layout.isYcc,
        .alpha = layout.format.alpha,
        .components = source.contents().codestream.components,
        .profile = std::move(profile)};
}

// Puts `replacement` where the first box of this type stands, or at the end; takes all others of it out.
void replaceBoxes(Pieces& pieces, FourCC type, Bytes replacement)
{
    auto const first = std::ranges::find_if(pieces, [=](auto const& piece) { return isBox(piece, type); });
    if (first == pieces.end())
        pieces.emplace_back(std::move(replacement));
    else
        *first = std::move(replacement);
    std::erase_if(pieces, [=](auto const& piece) { return isBox(piece, type); });
}

Result<Bytes> join(InputFile const& file, Pieces const& pieces)
{
    Bytes bytes;
    for (auto const& piece : pieces) {
        if (auto const* made = std::get_if<Bytes>(&piece)) {
            append(bytes, *made);
            continue;
        }
        auto const& box = std::get<Jp2Box>(piece);
        Bytes copied(box.length);
        TRY(file.readExactlyAt(box.offset, copied));
        append(bytes, copied);
    }
    return bytes;
}

// The header box with new colour and resolution boxes and everything else as it was.
Result<Bytes> newHeader(RewriteJob const& job, Jpeg2000Source const& source)
{
    auto const& contents = source.contents();
    Pieces pieces(contents.headerBoxes.begin(), contents.headerBoxes.end());
    if (job.profileChanged)
        replaceBoxes(pieces, jp2::kColor,
            jp2ColorBoxes(source.layout().format.model, source.layout().isYcc,
                contents.codestream.components.front().bits, job.profile));
    if (job.resolution)
        replaceBoxes(pieces, jp2::kResolution, jp2ResolutionBox(*job.resolution));
    return jp2Box(jp2::kHeader, TRY(join(source.file(), pieces)));
}

void setMetadata(Pieces& pieces, Metadata const& metadata)
{
    for (auto& [uuid, made] : jp2MetadataBoxes(metadata)) {
        auto const isOld = [&](Piece const& piece) {
            return isBox(piece, jp2::kUuid) && std::get<Jp2Box>(piece).uuid == uuid;
        };
        auto place = std::ranges::find_if(pieces, isOld);
        // Before the codestream, so that readers find it early.
        if (place == pieces.end())
            place = std::ranges::find_if(
                pieces, [](auto const& piece) { return isBox(piece, jp2::kCodestream); });
        if (!made.empty())
            pieces.insert(place, std::move(made));
        std::erase_if(pieces, isOld);
    }
}

Result<void> write(InputFile const& source, Pieces const& pieces, AtomicFile& output)
{
    for (auto const& piece : pieces) {
        if (auto const* made = std::get_if<Bytes>(&piece)) {
            TRY(output.write(*made));
        } else {
            auto const& box = std::get<Jp2Box>(piece);
            TRY(output.copyFrom(source, box.offset, box.length));
        }
    }
    return {};
}

Result<void> rewriteBoxes(RewriteJob const& job, Jpeg2000Source const& source, AtomicFile& output)
{
    auto const& boxes = source.contents().boxes;
    Pieces pieces(boxes.begin(), boxes.end());
    if (job.profileChanged || job.resolution)
        replaceBoxes(pieces, jp2::kHeader, TRY(newHeader(job, source)));
    if (job.metadataChanged)
        setMetadata(pieces, job.metadata);
    TRY(write(source.file(), pieces, output));
    // Whatever stands behind the last box stays there.
    auto const end = boxes.back().offset + boxes.back().length;
    return output.copyFrom(source.file(), end, source.file().size() - end);
}

Result<void> wrapCodestream(RewriteJob const& job, Jpeg2000Source const& source, AtomicFile& output)
{
    auto const size = source.file().size();
    bool const hasNothingToSay = job.metadata.isEmpty() && !job.profile && !job.resolution;
    if (hasNothingToSay)
        return output.copyFrom(source.file(), 0, size);
    auto fields = headerFields(source, job.profile);
    fields.resolution = job.resolution;
    TRY(output.write(jp2FileStart()));
    TRY(output.write(jp2Header(fields)));
    for (auto const& metadata : jp2MetadataBoxes(job.metadata))
        TRY(output.write(metadata.box));
    auto header = jp2Box(jp2::kCodestream, {});
    auto const length = size + header.size();
    // 0 says that the box reaches to the end of the file.
    storeInteger(
        header.data(), static_cast<std::uint32_t>(length > 0xFFFFFFFFu ? 0 : length), ByteOrder::Big);
    TRY(output.write(header));
    return output.copyFrom(source.file(), 0, size);
}

} // namespace

bool canRewriteJpeg2000(RewriteJob const& job)
{
    auto const& source = static_cast<Jpeg2000Source const&>(job.source);
    auto const& contents = source.contents();
    bool const hasOffsets = std::ranges::any_of(contents.boxes, [](auto const& box) {
        return std::ranges::find(kBoxesWithOffsets, box.type) != std::end(kBoxesWithOffsets);
    });
    bool const hasHeader = contents.isRaw || contents.find(jp2::kHeader);
    bool const takesProfile = !source.layout().isYcc || !job.profileChanged;
    return job.turn == Turn::None && !hasOffsets && hasHeader && takesProfile;
}

Result<void> rewriteJpeg2000(RewriteJob const& job, AtomicFile& output)
{
    auto const& source = static_cast<Jpeg2000Source const&>(job.source);
    return source.contents().isRaw ? wrapCodestream(job, source, output) : rewriteBoxes(job, source, output);
}

} // namespace velk::codec
