#include "platform/codec/WebpRewriter.h"

#include "platform/codec/WebpSource.h"

#include <algorithm>
#include <initializer_list>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::size_t kFileHeaderSize = 12;
constexpr std::size_t kChunkHeaderSize = 8;
constexpr std::size_t kLoopCountOffset = 4;

auto findPiece(std::vector<WebpPiece>& pieces, FourCC id)
{
    return std::ranges::find(pieces, id, &WebpPiece::id);
}

bool hasPiece(std::vector<WebpPiece>& pieces, FourCC id)
{
    return findPiece(pieces, id) != pieces.end();
}

// Behind the last chunk of the given kinds; at the front when there is none.
std::vector<WebpPiece>::iterator after(std::vector<WebpPiece>& pieces, std::initializer_list<FourCC> ids)
{
    auto const last = std::find_if(pieces.rbegin(), pieces.rend(),
        [&](auto const& piece) { return std::ranges::find(ids, piece.id) != ids.end(); });
    return last.base();
}

// Replaces the first chunk of this kind, or inserts one behind those of `predecessors`; no bytes, no chunk.
void setPiece(
    std::vector<WebpPiece>& pieces, FourCC id, Bytes payload, std::initializer_list<FourCC> predecessors)
{
    auto const found = findPiece(pieces, id);
    if (payload.empty()) {
        std::erase_if(pieces, [&](auto const& piece) { return piece.id == id; });
        return;
    }
    if (found != pieces.end())
        found->payload = std::move(payload);
    else
        pieces.insert(after(pieces, predecessors), WebpPiece {id, std::move(payload)});
}

void setFlag(Bytes& header, std::uint8_t flag, bool isSet)
{
    header[0] = static_cast<std::uint8_t>(isSet ? header[0] | flag : header[0] & ~flag);
}

Result<Bytes> load(InputFile const& file, WebpChunk const& chunk)
{
    Bytes bytes(chunk.size);
    TRY(file.readExactlyAt(chunk.offset, bytes));
    return bytes;
}

// Chunks that are edited in place come into memory.
Result<std::vector<WebpPiece>> piecesOf(WebpSource const& source)
{
    std::vector<WebpPiece> pieces;
    for (auto const& chunk : source.contents().chunks) {
        if (chunk.id == webp::kExtended || chunk.id == webp::kAnimation)
            pieces.push_back({chunk.id, TRY(load(source.file(), chunk))});
        else
            pieces.push_back({chunk.id, chunk});
    }
    return pieces;
}

void applyChanges(std::vector<WebpPiece>& pieces, PropertyChanges const& changes)
{
    auto const animation = findPiece(pieces, webp::kAnimation);
    if (animation == pieces.end() || animation->size() < kLoopCountOffset + 2)
        return;
    for (auto const& change : changes) {
        if (change.dictionary != kWebpDictionary || change.key != kWebpLoopCount || !change.value)
            continue;
        auto const count = static_cast<std::uint16_t>(std::clamp(change.value->number(), 0.0, 65535.0));
        auto& payload = std::get<Bytes>(animation->payload);
        storeInteger(&payload[kLoopCountOffset], count, ByteOrder::Little);
    }
}

} // namespace

std::vector<WebpPiece> webpPiecesOf(ByteSpan file)
{
    std::vector<WebpPiece> pieces;
    std::size_t offset = kFileHeaderSize;
    while (offset + kChunkHeaderSize <= file.size()) {
        FourCC const id(loadBE32(&file[offset]));
        std::size_t const size = loadLE32(&file[offset + 4]);
        offset += kChunkHeaderSize;
        auto const payload = file.subspan(offset, std::min(size, file.size() - offset));
        pieces.push_back({id, Bytes(payload.begin(), payload.end())});
        offset += size + (size & 1);
    }
    return pieces;
}

void setWebpProfile(std::vector<WebpPiece>& pieces, SharedBytes const& profile)
{
    setPiece(pieces, webp::kProfile, profile ? *profile : Bytes(), {webp::kExtended});
}

void setWebpMetadata(std::vector<WebpPiece>& pieces, Metadata const& metadata)
{
    auto const xmp = metadata.xmp();
    setPiece(pieces, webp::kExif, metadata.exif(), {webp::kLossy, webp::kLossless, webp::kFrame});
    setPiece(pieces, webp::kXmp, Bytes(xmp.begin(), xmp.end()),
        {webp::kLossy, webp::kLossless, webp::kFrame, webp::kExif});
}

void extendWebp(std::vector<WebpPiece>& pieces, Size canvas, bool hasAlpha)
{
    bool const hasExtras =
        hasPiece(pieces, webp::kProfile) || hasPiece(pieces, webp::kExif) || hasPiece(pieces, webp::kXmp);
    if (hasExtras && !hasPiece(pieces, webp::kExtended)) {
        auto header = webpExtendedHeader(hasAlpha ? webp::kHasAlpha : 0, canvas);
        pieces.insert(pieces.begin(), WebpPiece {webp::kExtended, std::move(header)});
    }
    auto const extended = findPiece(pieces, webp::kExtended);
    if (extended == pieces.end())
        return;
    // A profile that was put in before the header was there stands at its place, right behind it.
    auto& header = std::get<Bytes>(extended->payload);
    setFlag(header, webp::kHasProfile, hasPiece(pieces, webp::kProfile));
    setFlag(header, webp::kHasExif, hasPiece(pieces, webp::kExif));
    setFlag(header, webp::kHasXmp, hasPiece(pieces, webp::kXmp));
}

Result<void> rewriteWebp(RewriteJob const& job, AtomicFile& output)
{
    auto const& source = static_cast<WebpSource const&>(job.source);
    auto const& contents = source.contents();
    auto pieces = TRY(piecesOf(source));
    if (job.profileChanged)
        setWebpProfile(pieces, job.profile);
    if (job.metadataChanged)
        setWebpMetadata(pieces, job.metadata);
    applyChanges(pieces, job.changes);
    extendWebp(pieces, contents.canvas, contents.picture.hasAlpha);
    TRY(writeWebp(pieces, &source.file(), output));
    // Whatever stands behind the container stays there.
    return output.copyFrom(source.file(), contents.end, source.file().size() - contents.end);
}

} // namespace velk::codec
