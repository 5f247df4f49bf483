#include "platform/codec/PngChunks.h"

#include <libdeflate.h>

#include <algorithm>

namespace velk::codec {

namespace {

constexpr std::uint64_t kFrameSize = 12;
constexpr std::uint32_t kMaximumLength = 0x7FFFFFFF;
// A profile of 64 MiB that does not compress fits; nothing else comes near it.
constexpr std::uint64_t kMaximumChunkSize = 65 * 1024 * 1024;
// Far more than any writer makes (runs of IDAT count once), little enough for memory.
constexpr std::size_t kMaximumChunkCount = 1'000'000;
// Most chunks between runs of pixel data fit in one such read; pixel data is skipped, not read.
constexpr std::size_t kWalkBufferSize = 1024;

bool isLetter(std::uint8_t byte)
{
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
}

// Joins a chunk of pixel data to the run that it continues.
void addChunk(std::vector<PngChunk>& chunks, PngChunk chunk)
{
    if (chunk.type == pngType::kData && !chunks.empty() && chunks.back().type == pngType::kData)
        chunks.back().size += chunk.size;
    else
        chunks.push_back(std::move(chunk));
}

std::uint32_t checksum(FourCC type, ByteSpan data)
{
    std::array<std::uint8_t, 4> name;
    storeInteger(name.data(), type.code, ByteOrder::Big);
    auto const crc = libdeflate_crc32(0, name.data(), name.size());
    // For a null pointer the library starts anew.
    return data.empty() ? crc : libdeflate_crc32(crc, data.data(), data.size());
}

// Bit depths that a colour type allows, as a set of bits (PNG, third edition, 11.2.1, table 12).
struct DepthRule {
    PngColorType type;
    int channels;
    std::uint32_t depths;
};
constexpr std::uint32_t kDepths8And16 = 1u << 8 | 1u << 16;
constexpr std::uint32_t kDepths1To8 = 1u << 1 | 1u << 2 | 1u << 4 | 1u << 8;
constexpr std::array<DepthRule, 5> kDepthRules = {{
    {PngColorType::Gray, 1, kDepths1To8 | 1u << 16},
    {PngColorType::Rgb, 3, kDepths8And16},
    {PngColorType::Indexed, 1, kDepths1To8},
    {PngColorType::GrayAlpha, 2, kDepths8And16},
    {PngColorType::Rgba, 4, kDepths8And16},
}};

DepthRule const* depthRule(std::uint8_t colorType)
{
    auto const found = std::ranges::find(kDepthRules, PngColorType {colorType}, &DepthRule::type);
    return found == kDepthRules.end() ? nullptr : &*found;
}

} // namespace

PngChunk const* PngChunkList::first(FourCC type) const
{
    auto const found = std::ranges::find(chunks, type, &PngChunk::type);
    return found == chunks.end() ? nullptr : &*found;
}

Result<PngChunkList> listPngChunks(InputFile const& file)
{
    BufferedReader reader(file, 0, kWalkBufferSize);
    std::array<std::uint8_t, kPngSignature.size()> signature;
    TRY(reader.readExactly(signature));
    if (signature != kPngSignature)
        return fail("not a PNG file");

    PngChunkList list {.end = reader.position()};
    while (true) {
        std::array<std::uint8_t, 8> head;
        if (!reader.readExactly(head) || !std::all_of(head.begin() + 4, head.end(), isLetter))
            break;
        auto const length = loadBE32(head.data());
        PngChunk chunk {.type = FourCC(loadBE32(head.data() + 4)), .offset = list.end};
        auto const left = file.size() - std::min(file.size(), list.end);
        bool const isWhole = length <= kMaximumLength && length + kFrameSize <= left;
        // Half of the pixel data is better than none; other chunks are whole or nothing.
        if (!isWhole && chunk.type != pngType::kData)
            break;
        chunk.size = isWhole ? length + kFrameSize : left;
        list.end += chunk.size;
        auto const type = chunk.type;
        addChunk(list.chunks, std::move(chunk));
        if (list.chunks.size() > kMaximumChunkCount)
            return fail("it has too many chunks");
        if (!isWhole || type == pngType::kEnd)
            break;
        reader.seek(list.end);
    }
    return list;
}

Result<PngChunkData> readPngChunk(InputFile const& file, PngChunk const& chunk)
{
    if (chunk.size < kFrameSize || chunk.size > kMaximumChunkSize)
        return fail("a chunk is too large");
    PngChunkData data {.bytes = Bytes(chunk.size - 8)};
    TRY(file.readExactlyAt(chunk.offset + 8, data.bytes));
    auto const stored = loadBE32(data.bytes.data() + data.bytes.size() - 4);
    data.bytes.resize(data.bytes.size() - 4);
    data.isIntact = stored == checksum(chunk.type, data.bytes);
    return data;
}

void appendPngChunk(Bytes& to, FourCC type, ByteSpan data)
{
    to.reserve(to.size() + data.size() + kFrameSize);
    appendBE32(to, static_cast<std::uint32_t>(data.size()));
    appendBE32(to, type.code);
    append(to, data);
    appendBE32(to, checksum(type, data));
}

Result<void> writePngChunk(AtomicFile& output, FourCC type, ByteSpan data)
{
    std::array<std::uint8_t, 8> head;
    storeInteger(head.data(), static_cast<std::uint32_t>(data.size()), ByteOrder::Big);
    storeInteger(head.data() + 4, type.code, ByteOrder::Big);
    std::array<std::uint8_t, 4> tail;
    storeInteger(tail.data(), checksum(type, data), ByteOrder::Big);
    TRY(output.write(head));
    TRY(output.write(data));
    return output.write(tail);
}

int PngHeader::channels() const
{
    auto const* rule = depthRule(static_cast<std::uint8_t>(colorType));
    return rule ? rule->channels : 0;
}

std::uint64_t PngHeader::packedRowBytes() const
{
    auto const bits = static_cast<std::uint64_t>(channels()) * static_cast<std::uint64_t>(bitDepth);
    return (static_cast<std::uint64_t>(size.width) * bits + 7) / 8;
}

std::array<std::uint8_t, 13> PngHeader::bytes() const
{
    std::array<std::uint8_t, 13> data = {};
    storeInteger(data.data(), size.width, ByteOrder::Big);
    storeInteger(data.data() + 4, size.height, ByteOrder::Big);
    data[8] = static_cast<std::uint8_t>(bitDepth);
    data[9] = static_cast<std::uint8_t>(colorType);
    data[12] = isInterlaced ? 1 : 0;
    return data;
}

Result<PngHeader> PngHeader::parse(ByteSpan data)
{
    if (data.size() != 13)
        return fail("the PNG header is damaged");
    auto const width = loadBE32(data.data());
    auto const height = loadBE32(data.data() + 4);
    if (width > kMaximumLength || height > kMaximumLength)
        return fail("the PNG header is damaged");
    auto const* rule = depthRule(data[9]);
    if (!rule || data[8] > 16 || !(rule->depths >> data[8] & 1))
        return fail("unknown PNG colour type {} with {} bits", data[9], data[8]);
    if (data[10] != 0 || data[11] != 0 || data[12] > 1)
        return fail("unknown PNG compression, filter or interlace method");
    PngHeader const header {
        .size = {static_cast<std::int32_t>(width), static_cast<std::int32_t>(height)},
        .bitDepth = data[8],
        .colorType = rule->type,
        .isInterlaced = data[12] == 1,
    };
    if (!graphics::isPossible(header.size))
        return fail("impossible image size {} x {}", width, height);
    return header;
}

} // namespace velk::codec
