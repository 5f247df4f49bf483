#include "platform/codec/BmpHeader.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::uint32_t kOs2HeaderSize = 64;
constexpr std::uint32_t kLargestHeader = 4096;
constexpr std::uint32_t kLargestProfile = 64 * 1024 * 1024;

// Values of biCompression. OS/2 gives 3 and 4 meanings of its own.
enum : std::uint32_t {
    kRgb = 0,
    kRle8 = 1,
    kRle4 = 2,
    kBitFields = 3,
    kJpeg = 4,
    kPng = 5,
    kAlphaBitFields = 6,
};
enum : std::uint32_t { kOs2Huffman = 3, kOs2Rle24 = 4 };

// The information header, zero where the file's own is shorter, with the masks that may follow it.
struct RawHeader {
    std::array<std::uint8_t, kBmpV5HeaderSize> bytes = {};
    std::uint64_t start = 0;
    std::uint32_t size = 0;

    std::uint16_t word(std::size_t at) const { return loadLE16(bytes.data() + at); }
    std::uint32_t dword(std::size_t at) const { return loadLE32(bytes.data() + at); }
    std::int32_t number(std::size_t at) const { return static_cast<std::int32_t>(dword(at)); }

    bool isCore() const { return size == kBmpCoreHeaderSize; }
    // Only OS/2 cuts its header after any field, or has the long one.
    bool isOs2() const { return size < kBmpInfoHeaderSize || size == kOs2HeaderSize; }
    bool isAtLeast(std::uint32_t wanted) const { return !isOs2() && size >= wanted; }
    bool hasFields() const { return !isOs2() && (dword(16) == kBitFields || dword(16) == kAlphaBitFields); }
    // With the plain header of 40 bytes the masks come after it, with longer ones they belong to it.
    std::uint32_t trailingMaskBytes() const
    {
        if (size != kBmpInfoHeaderSize || !hasFields())
            return 0;
        return dword(16) == kAlphaBitFields ? 16 : 12;
    }
    std::uint64_t paletteOffset() const { return start + size + trailingMaskBytes(); }
};

Result<RawHeader> readRawHeader(InputFile const& file, std::uint64_t start)
{
    RawHeader header {.start = start};
    TRY(file.readExactlyAt(start, std::span(header.bytes).first(4)));
    header.size = header.dword(0);
    bool const isKnown = header.size == kBmpCoreHeaderSize
        || (header.size >= 16 && header.size <= kLargestHeader && header.size % 2 == 0);
    if (!isKnown)
        return fail("not a bitmap header of a known kind ({} bytes)", header.size);
    auto const held = std::min<std::size_t>(header.size, header.bytes.size());
    TRY(file.readExactlyAt(start, std::span(header.bytes).first(held)));
    if (auto const masks = header.trailingMaskBytes())
        TRY(file.readExactlyAt(
            start + kBmpInfoHeaderSize, std::span(header.bytes).subspan(kBmpInfoHeaderSize, masks)));
    return header;
}

Result<void> readSize(RawHeader const& raw, BmpHeader& header)
{
    if (raw.isCore()) {
        header.size = {raw.word(4), raw.word(6)};
        header.bitsPerPixel = raw.word(10);
    } else {
        auto const height = raw.number(8);
        if (height == std::numeric_limits<std::int32_t>::min())
            return fail("the height of the bitmap makes no sense");
        header.topDown = height < 0;
        header.size = {raw.number(4), height < 0 ? -height : height};
        header.bitsPerPixel = raw.word(14);
    }
    if (!isPossible(header.size))
        return fail("a bitmap of {} x {} pixels is not possible", header.size.width, header.size.height);
    return {};
}

struct Coding {
    std::uint32_t value;
    int bitsPerPixel;
    BmpCompression compression;
};

constexpr Coding kWindowsCodings[] = {
    {kRgb, 1, BmpCompression::None},
    {kRgb, 2, BmpCompression::None},
    {kRgb, 4, BmpCompression::None},
    {kRgb, 8, BmpCompression::None},
    {kRgb, 16, BmpCompression::None},
    {kRgb, 24, BmpCompression::None},
    {kRgb, 32, BmpCompression::None},
    {kRle8, 8, BmpCompression::Rle8},
    {kRle4, 4, BmpCompression::Rle4},
    {kBitFields, 16, BmpCompression::None},
    {kBitFields, 32, BmpCompression::None},
    {kAlphaBitFields, 16, BmpCompression::None},
    {kAlphaBitFields, 32, BmpCompression::None},
};
constexpr Coding kOs2Codings[] = {
    {kRgb, 1, BmpCompression::None},
    {kRgb, 4, BmpCompression::None},
    {kRgb, 8, BmpCompression::None},
    {kRgb, 24, BmpCompression::None},
    {kRle8, 8, BmpCompression::Rle8},
    {kRle4, 4, BmpCompression::Rle4},
    {kOs2Rle24, 24, BmpCompression::Rle24},
};

Result<void> readCoding(RawHeader const& raw, BmpHeader& header)
{
    auto const value = raw.isCore() ? kRgb : raw.dword(16);
    if (raw.isOs2() && value == kOs2Huffman)
        return fail("OS/2 bitmaps with Huffman coding are not supported");
    if (!raw.isOs2() && (value == kJpeg || value == kPng))
        return fail("this bitmap is a wrapper around a {} image, which is not supported",
            value == kJpeg ? "JPEG" : "PNG");
    auto const codings =
        raw.isOs2() ? std::span<Coding const>(kOs2Codings) : std::span<Coding const>(kWindowsCodings);
    auto const found = std::ranges::find_if(codings, [&](Coding const& coding) {
        return coding.value == value && coding.bitsPerPixel == header.bitsPerPixel;
    });
    if (found == codings.end())
        return fail("bitmaps of {} bits with compression {} do not exist", header.bitsPerPixel, value);
    header.compression = found->compression;
    return {};
}

Result<void> readFields(RawHeader const& raw, BmpHeader& header)
{
    if (header.bitsPerPixel != 16 && header.bitsPerPixel != 32)
        return {};
    std::array<std::uint32_t, 4> masks = {0x7C00, 0x03E0, 0x001F, 0};
    if (header.bitsPerPixel == 32)
        masks = {0x00FF0000, 0x0000FF00, 0x000000FF, 0};
    if (raw.hasFields())
        masks = {raw.dword(40), raw.dword(44), raw.dword(48), 0};
    // An alpha mask stands in headers of 56 bytes and more, or after the three others.
    bool const hasAlphaMask = raw.isAtLeast(56) || (raw.hasFields() && raw.dword(16) == kAlphaBitFields);
    if (hasAlphaMask && (raw.hasFields() || raw.isAtLeast(kBmpV4HeaderSize)))
        masks[3] = raw.dword(52);
    header.alphaIsDoubtful = masks[3] != 0 && !raw.hasFields();
    if ((masks[0] | masks[1] | masks[2]) == 0)
        return fail("the bit masks of the bitmap are empty");
    std::ranges::transform(masks, header.fields.begin(), BmpField::of);
    return {};
}

void readResolution(RawHeader const& raw, BmpHeader& header)
{
    if (raw.size < 32)
        return;
    auto const x = raw.number(24);
    auto const y = raw.number(28);
    if (x > 0 && y > 0)
        header.resolution = Resolution {x * kMetresPerInch, y * kMetresPerInch};
}

// A place for the pixels that leaves room for the palette is believed; else they follow the palette.
void placePixels(RawHeader const& raw, std::uint64_t fileSize, std::uint32_t statedOffset, BmpHeader& header)
{
    auto const entrySize = raw.isCore() ? 3u : 4u;
    std::uint64_t const most = header.isIndexed() ? std::uint64_t {1} << header.bitsPerPixel : 0;
    std::uint64_t const stated = raw.size >= 36 ? raw.dword(32) : 0;
    std::uint64_t const used = stated == 0 ? most : stated;
    header.pixelOffset = raw.paletteOffset() + used * entrySize;
    if (statedOffset >= raw.paletteOffset() && statedOffset < fileSize)
        header.pixelOffset = statedOffset;
    auto const room = (header.pixelOffset - raw.paletteOffset()) / entrySize;
    header.palette.entries.resize(static_cast<std::size_t>(std::min({most, used, room})));
}

Result<void> readPalette(InputFile const& file, RawHeader const& raw, BmpHeader& header)
{
    auto const entrySize = raw.isCore() ? std::size_t {3} : std::size_t {4};
    Bytes bytes(header.palette.entries.size() * entrySize);
    TRY(file.readExactlyAt(raw.paletteOffset(), bytes));
    auto const* at = bytes.data();
    for (auto& entry : header.palette.entries) {
        entry = {at[2], at[1], at[0], 255};
        at += entrySize;
    }
    // Without any palette the indices can only be meant as levels of grey.
    if (header.isIndexed() && header.palette.entries.empty()) {
        auto const last = (1u << header.bitsPerPixel) - 1;
        for (unsigned i = 0; i <= last; ++i) {
            auto const level = static_cast<std::uint8_t>(i * 255 / last);
            header.palette.entries.push_back({level, level, level, 255});
        }
    }
    return {};
}

void readColorSpace(InputFile const& file, RawHeader const& raw, BmpHeader& header)
{
    if (!raw.isAtLeast(kBmpV4HeaderSize))
        return;
    header.isLabelledSrgb = raw.dword(56) == kBmpSrgb;
    if (!raw.isAtLeast(kBmpV5HeaderSize) || raw.dword(56) != kBmpProfileEmbedded)
        return;
    auto const offset = raw.start + raw.dword(112);
    auto const size = raw.dword(116);
    if (size == 0 || size > kLargestProfile || offset + size > file.size())
        return;
    Bytes profile(size);
    if (file.readExactlyAt(offset, profile))
        header.profile = std::make_shared<Bytes const>(std::move(profile));
}

} // namespace

BmpField BmpField::of(std::uint32_t mask)
{
    if (mask == 0)
        return {};
    auto const shift = std::countr_zero(mask);
    return {mask, shift, 32 - std::countl_zero(mask) - shift};
}

Result<BmpHeader> readBmpHeader(InputFile const& file)
{
    std::array<std::uint8_t, 2 * kBmpFileHeaderSize> fileHeader = {};
    TRY(file.readExactlyAt(0, fileHeader));
    // A bitmap array starts with a header of its own; its first picture is the one that counts.
    std::uint32_t const base = startsWith(fileHeader, "BA") ? kBmpFileHeaderSize : 0;
    auto const raw = TRY(readRawHeader(file, base + kBmpFileHeaderSize));
    BmpHeader header {.headerSize = raw.size};
    TRY(readSize(raw, header));
    TRY(readCoding(raw, header));
    TRY(readFields(raw, header));
    readResolution(raw, header);
    placePixels(raw, file.size(), loadLE32(fileHeader.data() + base + 10), header);
    TRY(readPalette(file, raw, header));
    readColorSpace(file, raw, header);
    return header;
}

} // namespace velk::codec
