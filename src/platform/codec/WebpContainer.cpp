#include "platform/codec/WebpContainer.h"

#include <algorithm>
#include <array>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::size_t kFileHeaderSize = 12;
constexpr std::size_t kChunkHeaderSize = 8;
constexpr std::size_t kExtendedSize = 10;
constexpr std::size_t kFrameHeaderSize = 16;
constexpr std::size_t kAnimationSize = 6;
constexpr std::size_t kMaximumChunks = 1'000'000;
// A bitstream's own header: enough of it to tell the size.
constexpr std::size_t kBitstreamHeaderSize = 10;
constexpr std::uint64_t kLargestContainer = 0xFFFFFFFEu;

std::uint32_t loadLE24(std::uint8_t const* from)
{
    return from[0] | from[1] << 8 | from[2] << 16;
}

void storeLE24(std::uint8_t* to, std::uint32_t value)
{
    for (int i = 0; i < 3; ++i)
        to[i] = static_cast<std::uint8_t>(value >> 8 * i);
}

std::uint64_t padded(std::uint64_t size)
{
    return size + (size & 1);
}

Result<std::vector<WebpChunk>> readChunks(InputFile const& file, std::uint64_t offset, std::uint64_t end)
{
    std::vector<WebpChunk> chunks;
    while (offset + kChunkHeaderSize <= end) {
        std::array<std::uint8_t, kChunkHeaderSize> header;
        TRY(file.readExactlyAt(offset, header));
        offset += kChunkHeaderSize;
        auto const declared = loadLE32(header.data() + 4);
        auto const size = static_cast<std::uint32_t>(std::min<std::uint64_t>(declared, end - offset));
        chunks.push_back({FourCC(loadBE32(header.data())), offset, size});
        if (chunks.size() > kMaximumChunks)
            return fail("the WebP file has too many chunks");
        offset += padded(declared);
    }
    return chunks;
}

// Frame tag, start code, 14 bits of width and 2 of scale, and the same for the height (RFC 6386, 9.1).
std::optional<Size> lossySize(ByteSpan header)
{
    bool const isKeyFrame = (header[0] & 1) == 0;
    if (!isKeyFrame || header[3] != 0x9D || header[4] != 0x01 || header[5] != 0x2A)
        return std::nullopt;
    return Size {loadLE16(&header[6]) & 0x3FFF, loadLE16(&header[8]) & 0x3FFF};
}

// Signature, 14 bits each of width and height less one, the alpha flag (RFC 9649, 3.4).
std::optional<Size> losslessSize(ByteSpan header)
{
    if (header[0] != 0x2F)
        return std::nullopt;
    auto const bits = loadLE32(&header[1]);
    return Size {static_cast<int>(bits & 0x3FFF) + 1, static_cast<int>(bits >> 14 & 0x3FFF) + 1};
}

bool losslessHasAlpha(ByteSpan header)
{
    return (header[4] & 0x10) != 0;
}

Result<WebpBitstream> readBitstream(InputFile const& file, std::span<WebpChunk const> chunks)
{
    auto const coded = std::ranges::find_if(
        chunks, [](auto const& chunk) { return chunk.id == webp::kLossy || chunk.id == webp::kLossless; });
    if (coded == chunks.end())
        return fail("the WebP file holds no image");

    std::array<std::uint8_t, kBitstreamHeaderSize> header = {};
    TRY(file.readExactlyAt(
        coded->offset, std::span(header).first(std::min<std::size_t>(coded->size, header.size()))));

    WebpBitstream picture;
    picture.isLossless = coded->id == webp::kLossless;
    auto const size = picture.isLossless ? losslessSize(header) : lossySize(header);
    if (!size || size->isEmpty())
        return fail("the WebP image data is damaged");
    picture.size = *size;

    auto const* first = &*coded;
    if (picture.isLossless) {
        picture.hasAlpha = losslessHasAlpha(header);
    } else {
        auto const alpha = std::ranges::find(chunks.begin(), coded, webp::kAlpha, &WebpChunk::id);
        picture.hasAlpha = alpha != coded;
        first = &*alpha;
    }
    picture.offset = first->offset - kChunkHeaderSize;
    picture.length = coded->offset + coded->size - picture.offset;
    return picture;
}

// Frame position in units of two pixels, size less one, duration, flags (RFC 9649, 2.7.1.1).
Result<void> readFirstFrame(InputFile const& file, WebpContents& contents)
{
    auto const* frame = contents.find(webp::kFrame);
    if (!frame || frame->size < kFrameHeaderSize)
        return fail("the WebP animation has no frame");
    std::array<std::uint8_t, kFrameHeaderSize> header;
    TRY(file.readExactlyAt(frame->offset, header));
    auto const chunks = TRY(readChunks(file, frame->offset + kFrameHeaderSize, frame->offset + frame->size));
    contents.picture = TRY(readBitstream(file, chunks));
    contents.pictureArea = {static_cast<int>(loadLE24(&header[0]) * 2),
        static_cast<int>(loadLE24(&header[3]) * 2), contents.picture.size.width,
        contents.picture.size.height};
    if (contents.pictureArea.x + contents.pictureArea.width > contents.canvas.width
        || contents.pictureArea.y + contents.pictureArea.height > contents.canvas.height)
        return fail("the first frame of the WebP animation lies outside its canvas");
    return {};
}

Result<void> readAnimation(InputFile const& file, WebpContents& contents)
{
    contents.frameCount = static_cast<int>(std::ranges::count(contents.chunks, webp::kFrame, &WebpChunk::id));
    if (auto const* animation = contents.find(webp::kAnimation);
        animation && animation->size >= kAnimationSize) {
        std::array<std::uint8_t, kAnimationSize> payload;
        TRY(file.readExactlyAt(animation->offset, payload));
        contents.loopCount = loadLE16(&payload[4]);
    }
    return readFirstFrame(file, contents);
}

Result<void> readStill(InputFile const& file, WebpContents& contents)
{
    contents.picture = TRY(readBitstream(file, contents.chunks));
    // The bitstream knows its size best, whatever the extended header says.
    contents.canvas = contents.picture.size;
    contents.pictureArea = {0, 0, contents.canvas.width, contents.canvas.height};
    return {};
}

Result<void> readExtendedHeader(InputFile const& file, WebpContents& contents)
{
    auto const* extended = contents.find(webp::kExtended);
    if (!extended)
        return {};
    std::array<std::uint8_t, kExtendedSize> payload;
    if (extended->size < payload.size())
        return fail("the WebP header is damaged");
    TRY(file.readExactlyAt(extended->offset, payload));
    contents.isAnimated = (payload[0] & webp::kHasAnimation) != 0 && contents.find(webp::kFrame);
    contents.canvas = {
        static_cast<int>(loadLE24(&payload[4])) + 1, static_cast<int>(loadLE24(&payload[7])) + 1};
    return {};
}

Result<void> writePiece(WebpPiece const& piece, InputFile const* source, AtomicFile& output)
{
    std::array<std::uint8_t, kChunkHeaderSize> header;
    storeInteger(header.data(), piece.id.code, ByteOrder::Big);
    storeInteger(header.data() + 4, static_cast<std::uint32_t>(piece.size()), ByteOrder::Little);
    TRY(output.write(header));
    if (auto const* bytes = std::get_if<Bytes>(&piece.payload)) {
        TRY(output.write(*bytes));
    } else {
        auto const& chunk = std::get<WebpChunk>(piece.payload);
        TRY(output.copyFrom(*source, chunk.offset, chunk.size));
    }
    constexpr std::uint8_t kPadding[1] = {0};
    return piece.size() & 1 ? output.write(kPadding) : Result<void> {};
}

} // namespace

WebpChunk const* WebpContents::find(FourCC id) const
{
    auto const found = std::ranges::find(chunks, id, &WebpChunk::id);
    return found == chunks.end() ? nullptr : &*found;
}

Result<WebpContents> readWebpContents(InputFile const& file)
{
    std::array<std::uint8_t, kFileHeaderSize> header;
    TRY(file.readExactlyAt(0, header));
    WebpContents contents;
    contents.end = std::min<std::uint64_t>(file.size(), padded(loadLE32(&header[4])) + 8);
    contents.chunks = TRY(readChunks(file, kFileHeaderSize, contents.end));
    TRY(readExtendedHeader(file, contents));
    TRY(contents.isAnimated ? readAnimation(file, contents) : readStill(file, contents));
    if (!isPossible(contents.canvas))
        return fail(
            "an image of {} x {} pixels is not possible", contents.canvas.width, contents.canvas.height);
    return contents;
}

std::uint64_t WebpPiece::size() const
{
    auto const* bytes = std::get_if<Bytes>(&payload);
    return bytes ? bytes->size() : std::get<WebpChunk>(payload).size;
}

Bytes webpExtendedHeader(std::uint8_t flags, Size canvas)
{
    Bytes payload(kExtendedSize);
    payload[0] = flags;
    storeLE24(&payload[4], static_cast<std::uint32_t>(canvas.width - 1));
    storeLE24(&payload[7], static_cast<std::uint32_t>(canvas.height - 1));
    return payload;
}

Result<void> writeWebp(std::span<WebpPiece const> pieces, InputFile const* source, AtomicFile& output)
{
    std::uint64_t size = 4;
    for (auto const& piece : pieces)
        size += kChunkHeaderSize + padded(piece.size());
    if (size > kLargestContainer - 8)
        return fail("the image is too large for a WebP file");

    Bytes header;
    append(header, std::string_view("RIFF"));
    appendLE32(header, static_cast<std::uint32_t>(size));
    append(header, std::string_view("WEBP"));
    TRY(output.write(header));
    for (auto const& piece : pieces)
        TRY(writePiece(piece, source, output));
    return {};
}

} // namespace velk::codec
