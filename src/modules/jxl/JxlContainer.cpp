#include "modules/jxl/JxlContainer.h"

#include <jxl/decode.h>

#include <algorithm>
#include <limits>
#include <memory>

namespace velk::codec::jxl {

namespace {

constexpr std::string_view kSignature("\0\0\0\x0CJXL \r\n\x87\n", 12);
constexpr std::string_view kFileType("\0\0\0\x14"
                                     "ftypjxl \0\0\0\0jxl ",
    20);
constexpr std::uint64_t kShortHeader = 8, kLongHeader = 16;
constexpr std::size_t kTypeSize = 4, kTiffOffsetSize = 4;
// Metadata beyond this is taken for damage.
constexpr std::uint64_t kLargestBlock = 64 << 20;
constexpr std::size_t kMaximumBoxes = 1 << 16;

struct DestroyDecoder {
    void operator()(JxlDecoder* decoder) const { JxlDecoderDestroy(decoder); }
};

// The box at `offset`; none when too few bytes are left for its header, or the header is impossible.
Result<std::optional<Box>> readBox(InputFile const& file, std::uint64_t offset)
{
    std::array<std::uint8_t, kLongHeader + kTypeSize> head;
    auto const count = TRY(file.readAt(offset, head));
    if (count < kShortHeader)
        return std::nullopt;
    Box box {.type = FourCC(loadBE32(&head[4])), .offset = offset, .headerSize = kShortHeader};
    auto const left = file.size() - offset;
    box.size = loadBE32(&head[0]);
    if (box.size == 1 && count >= kLongHeader) {
        box.size = loadBE64(&head[kShortHeader]);
        box.headerSize = kLongHeader;
    } else if (box.size == 0) {
        box.size = left;
    }
    if (box.size < box.headerSize)
        return std::nullopt;
    box.size = std::min(box.size, left);
    bool const isCompressed = box.type == kCompressedBox && box.size >= box.headerSize + kTypeSize
        && count >= box.headerSize + kTypeSize;
    box.content = isCompressed ? FourCC(loadBE32(&head[box.headerSize])) : box.type;
    return box;
}

// The library decompresses boxes only within a file, so it is given one of nothing else.
Bytes decompressed(Box const& box, ByteSpan stored)
{
    Bytes file = containerStart();
    append(file, boxHeader(box.type, stored.size()));
    append(file, stored);
    std::unique_ptr<JxlDecoder, DestroyDecoder> const decoder(JxlDecoderCreate(nullptr));
    if (!decoder || JxlDecoderSubscribeEvents(decoder.get(), JXL_DEC_BOX) != JXL_DEC_SUCCESS
        || JxlDecoderSetDecompressBoxes(decoder.get(), JXL_TRUE) != JXL_DEC_SUCCESS
        || JxlDecoderSetInput(decoder.get(), file.data(), file.size()) != JXL_DEC_SUCCESS)
        return {};
    Bytes content;
    std::size_t filled = 0;
    bool isInside = false;
    for (;;) {
        auto const status = JxlDecoderProcessInput(decoder.get());
        if (isInside) {
            filled = content.size() - JxlDecoderReleaseBoxBuffer(decoder.get());
            if (status != JXL_DEC_BOX_NEED_MORE_OUTPUT || filled > kLargestBlock)
                break;
            content.resize(content.size() * 2);
        } else if (status == JXL_DEC_BOX) {
            JxlBoxType type;
            if (JxlDecoderGetBoxType(decoder.get(), type, JXL_FALSE) != JXL_DEC_SUCCESS)
                break;
            isInside = FourCC(loadBE32(reinterpret_cast<std::uint8_t const*>(type))) == kCompressedBox;
            if (!isInside)
                continue;
            content.resize(std::max<std::size_t>(stored.size() * 4, 4096));
        } else {
            break;
        }
        if (JxlDecoderSetBoxBuffer(decoder.get(), content.data() + filled, content.size() - filled)
            != JXL_DEC_SUCCESS)
            break;
    }
    content.resize(filled);
    return content;
}

Result<Bytes> contentOf(InputFile const& file, Box const& box)
{
    Bytes bytes;
    auto const size = box.size - box.headerSize;
    if (size > kLargestBlock)
        return bytes;
    bytes.resize(size);
    TRY(file.readExactlyAt(box.offset + box.headerSize, bytes));
    return box.content == box.type ? bytes : decompressed(box, bytes);
}

} // namespace

Box const* Container::find(FourCC content) const
{
    auto const found = std::ranges::find(boxes, content, &Box::content);
    return found == boxes.end() ? nullptr : &*found;
}

bool isMetadata(Box const& box)
{
    return box.content == kExifBox || box.content == kXmpBox;
}

Result<Container> readContainer(InputFile const& file)
{
    Container container;
    std::array<std::uint8_t, kSignature.size()> head;
    auto const count = TRY(file.readAt(0, head));
    if (!startsWith(ByteSpan(head).first(count), kSignature))
        return container;
    for (std::uint64_t offset = 0; container.boxes.size() < kMaximumBoxes;) {
        auto const box = TRY(readBox(file, offset));
        if (!box)
            break;
        container.boxes.push_back(*box);
        offset += box->size;
    }
    return container;
}

Result<Metadata> readMetadata(InputFile const& file, Container const& container)
{
    Metadata metadata;
    if (auto const* box = container.find(kExifBox)) {
        auto const content = TRY(contentOf(file, *box));
        if (content.size() > kTiffOffsetSize) {
            auto const tiff = ByteSpan(content).subspan(kTiffOffsetSize);
            metadata.setExif(tiff.subspan(std::min<std::size_t>(loadBE32(content.data()), tiff.size())));
        }
    }
    if (auto const* box = container.find(kXmpBox)) {
        auto const content = TRY(contentOf(file, *box));
        metadata.setXmp(asText(content));
    }
    return metadata;
}

Bytes containerStart()
{
    Bytes bytes;
    append(bytes, kSignature);
    append(bytes, kFileType);
    return bytes;
}

Bytes boxHeader(FourCC type, std::uint64_t contentSize)
{
    Bytes bytes;
    bool const isLong = contentSize + kShortHeader > std::numeric_limits<std::uint32_t>::max();
    appendBE32(bytes, isLong ? 1 : static_cast<std::uint32_t>(contentSize + kShortHeader));
    appendBE32(bytes, type.code);
    if (isLong)
        append(bytes, contentSize + kLongHeader, ByteOrder::Big);
    return bytes;
}

Bytes metadataBoxes(Metadata const& metadata)
{
    Bytes bytes;
    auto const add = [&](FourCC type, ByteSpan content) {
        append(bytes, boxHeader(type, content.size()));
        append(bytes, content);
    };
    if (auto const exif = metadata.exif(); !exif.empty())
        add(kExifBox, exifContent(exif));
    if (auto const xmp = metadata.xmp(); !xmp.empty())
        add(kXmpBox, asBytes(xmp));
    return bytes;
}

Bytes exifContent(ByteSpan tiff)
{
    Bytes content(kTiffOffsetSize);
    append(content, tiff);
    return content;
}

} // namespace velk::codec::jxl
