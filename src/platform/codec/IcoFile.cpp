#include "platform/codec/IcoFile.h"

#include "platform/codec/PixelPacking.h"
#include "platform/codec/PngChunks.h"

#include <algorithm>
#include <tuple>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::size_t kHeaderSize = 6;
constexpr std::size_t kEntrySize = 16;
constexpr std::uint16_t kIcon = 1, kCursor = 2;
// More pictures than any icon has; the directory of a broken file need not be followed further.
constexpr int kMostEntries = 1024;
constexpr std::uint32_t kBitmapHeaderSize = 40;
constexpr std::uint32_t kLargestBitmapHeader = 4096;

std::optional<IcoPicture> pngPicture(IcoPicture picture, ByteSpan head)
{
    constexpr std::size_t kHeaderData = 16, kHeaderDataSize = 13;
    if (head.size() < kHeaderData + kHeaderDataSize)
        return std::nullopt;
    auto const header = PngHeader::parse(head.subspan(kHeaderData, kHeaderDataSize));
    if (!header)
        return std::nullopt;
    picture.isPng = true;
    picture.pixels = header->size;
    picture.bitsPerPixel = header->bitDepth * header->channels();
    return picture;
}

std::optional<IcoPicture> bitmapPicture(IcoPicture picture, ByteSpan head)
{
    if (head.size() < kBitmapHeaderSize)
        return std::nullopt;
    auto const headerSize = loadLE32(head.data());
    picture.pixels = {static_cast<std::int32_t>(loadLE32(head.data() + 4)),
        static_cast<std::int32_t>(loadLE32(head.data() + 8)) / 2};
    picture.bitsPerPixel = loadLE16(head.data() + 14);
    if (headerSize < kBitmapHeaderSize || headerSize > kLargestBitmapHeader || !isPossible(picture.pixels))
        return std::nullopt;
    return picture;
}

// The size in the directory is a byte that wraps: the picture itself knows better.
std::optional<IcoPicture> readPicture(InputFile const& file, std::uint8_t const* entry)
{
    IcoPicture const picture = {.offset = loadLE32(entry + 12), .size = loadLE32(entry + 8)};
    std::array<std::uint8_t, 64> buffer;
    auto const found = file.readAt(picture.offset, buffer);
    if (!found)
        return std::nullopt;
    auto const head = ByteSpan(buffer).first(*found);
    bool const isPng = head.size() >= kPngSignature.size()
        && std::equal(kPngSignature.begin(), kPngSignature.end(), head.begin());
    return isPng ? pngPicture(picture, head) : bitmapPicture(picture, head);
}

constexpr std::uint64_t paddedBytes(std::uint64_t width, int bits)
{
    return (packedBytes(width, bits) + 3) / 4 * 4;
}

std::uint64_t paletteEntries(int bitsPerPixel, std::uint32_t stated)
{
    if (bitsPerPixel > 8)
        return 0;
    auto const most = std::uint64_t {1} << bitsPerPixel;
    return stated == 0 ? most : std::min<std::uint64_t>(stated, most);
}

class IcoBitmapRows final : public RowSource {
public:
    IcoBitmapRows(
        InputFile const& file, IcoBitmap const& bitmap, bool usesMask, std::function<void()> reportMissing)
        : RowSource({bitmap.size, {.alpha = Alpha::Straight}})
        , m_bitmap(bitmap)
        , m_usesMask(usesMask)
        , m_colorRows(file, {bitmap.colorOffset, bitmap.colorStride(), bitmap.size.height, true})
        , m_maskRows(file, {bitmap.maskOffset(), bitmap.maskStride(), bitmap.size.height, true})
        , m_color(bitmap.colorStride())
        , m_mask(bitmap.maskStride())
        , m_samples(static_cast<std::size_t>(bitmap.size.width))
        , m_reportMissing(std::move(reportMissing))
    {
    }

private:
    Result<void> readRows(RowView rows) override
    {
        for (std::int32_t i = 0; i < rows.count; ++i)
            TRY(readRow(rows.row(i)));
        return {};
    }

    Result<void> readRow(std::uint8_t* row)
    {
        // The last row of a file may lack its padding.
        auto const needed = packedBytes(m_samples.size(), m_bitmap.bitsPerPixel);
        bool const isThere = TRY(m_colorRows.next(m_color)) >= needed;
        if (!isThere) {
            m_reportMissing();
            std::fill_n(row, rowBytes(), std::uint8_t {0});
            return {};
        }
        takeColors(row);
        // A mask that is not there hides nothing.
        if (m_usesMask) {
            TRY(m_maskRows.next(m_mask));
            takeMask(row);
        }
        return {};
    }

    void takeColors(std::uint8_t* row)
    {
        auto const* from = m_color.data();
        auto const width = m_samples.size();
        switch (m_bitmap.bitsPerPixel) {
        case 16:
            for (std::size_t x = 0; x < width; ++x, from += 2, row += 4)
                take555(loadLE16(from), row);
            break;
        case 24:
        case 32:
            for (std::size_t x = 0; x < width; ++x, from += m_bitmap.bitsPerPixel / 8, row += 4) {
                row[0] = from[2];
                row[1] = from[1];
                row[2] = from[0];
                row[3] = m_bitmap.bitsPerPixel == 32 ? from[3] : 255;
            }
            break;
        default:
            takeIndices(row);
        }
    }

    static void take555(std::uint32_t pixel, std::uint8_t* to)
    {
        for (int channel = 0; channel < 3; ++channel)
            to[channel] = static_cast<std::uint8_t>(scaleSample(pixel >> (10 - 5 * channel) & 31, 31, 255));
        to[3] = 255;
    }

    // Indices that the palette does not know are black.
    void takeIndices(std::uint8_t* row)
    {
        unpackSamples(m_color.data(), m_bitmap.bitsPerPixel, m_samples.size(), m_samples.data());
        constexpr std::array<std::uint8_t, 4> kBlack = {0, 0, 0, 255};
        auto const& entries = m_bitmap.palette.entries;
        for (auto const index : m_samples) {
            auto const& color = index < entries.size() ? entries[index] : kBlack;
            row = std::copy(color.begin(), color.end(), row);
        }
    }

    // A set bit lets what is behind the icon through.
    void takeMask(std::uint8_t* row)
    {
        unpackSamples(m_mask.data(), 1, m_samples.size(), m_samples.data());
        for (std::size_t x = 0; x < m_samples.size(); ++x)
            row[4 * x + 3] = m_samples[x] ? 0 : 255;
    }

    IcoBitmap m_bitmap;
    bool m_usesMask;
    VerbatimRows m_colorRows, m_maskRows;
    Bytes m_color, m_mask, m_samples;
    std::function<void()> m_reportMissing;
};

} // namespace

std::uint64_t IcoBitmap::colorStride() const
{
    return paddedBytes(static_cast<std::uint64_t>(size.width), bitsPerPixel);
}

std::uint64_t IcoBitmap::maskStride() const
{
    return paddedBytes(static_cast<std::uint64_t>(size.width), 1);
}

std::uint64_t IcoBitmap::maskOffset() const
{
    return colorOffset + colorStride() * static_cast<std::uint64_t>(size.height);
}

IcoPicture const* IcoDirectory::largest() const
{
    auto const found = std::ranges::max_element(pictures, {}, [](IcoPicture const& picture) {
        return std::tuple(picture.pixels.pixelCount(), picture.bitsPerPixel);
    });
    return found == pictures.end() ? nullptr : &*found;
}

bool startsLikeIco(ByteSpan head, std::uint64_t fileSize)
{
    if (head.size() < kHeaderSize + kEntrySize || loadLE16(head.data()) != 0)
        return false;
    auto const kind = loadLE16(head.data() + 2);
    auto const count = loadLE16(head.data() + 4);
    auto const size = loadLE32(head.data() + kHeaderSize + 8);
    auto const offset = loadLE32(head.data() + kHeaderSize + 12);
    return (kind == kIcon || kind == kCursor) && count > 0 && size > 0
        && offset >= kHeaderSize + count * kEntrySize && offset < fileSize;
}

Result<IcoDirectory> readIcoDirectory(InputFile const& file)
{
    std::array<std::uint8_t, kHeaderSize> header;
    TRY(file.readExactlyAt(0, header));
    IcoDirectory directory {.isCursor = loadLE16(&header[2]) == kCursor, .count = loadLE16(&header[4])};
    Bytes entries(static_cast<std::size_t>(std::min(directory.count, kMostEntries)) * kEntrySize);
    auto const found = TRY(file.readAt(kHeaderSize, entries));
    for (std::size_t at = 0; at + kEntrySize <= found; at += kEntrySize) {
        if (auto const picture = readPicture(file, entries.data() + at))
            directory.pictures.push_back(*picture);
    }
    return directory;
}

Result<IcoBitmap> readIcoBitmap(InputFile const& file, IcoPicture const& picture)
{
    constexpr int kDepths[] = {1, 4, 8, 16, 24, 32};
    std::array<std::uint8_t, kBitmapHeaderSize> header;
    TRY(file.readExactlyAt(picture.offset, header));
    IcoBitmap bitmap {.size = picture.pixels, .bitsPerPixel = picture.bitsPerPixel};
    auto const compression = loadLE32(&header[16]);
    if (std::ranges::find(kDepths, bitmap.bitsPerPixel) == std::end(kDepths) || compression != 0)
        return fail(
            "icons of {} bits with compression {} are not supported", bitmap.bitsPerPixel, compression);
    auto const paletteOffset = picture.offset + loadLE32(header.data());
    Bytes colors(4 * paletteEntries(bitmap.bitsPerPixel, loadLE32(&header[32])));
    TRY(file.readExactlyAt(paletteOffset, colors));
    for (std::size_t at = 0; at < colors.size(); at += 4)
        bitmap.palette.entries.push_back({colors[at + 2], colors[at + 1], colors[at], 255});
    bitmap.colorOffset = paletteOffset + colors.size();
    TRY(checkPixelData(file, bitmap.size, bitmap.colorOffset,
        {packedBytes(static_cast<std::uint64_t>(bitmap.size.width), bitmap.bitsPerPixel),
            bitmap.colorStride() * static_cast<std::uint64_t>(bitmap.size.height)}));
    return bitmap;
}

RowSourcePointer icoBitmapRows(
    InputFile const& file, IcoBitmap const& bitmap, bool usesMask, std::function<void()> reportMissing)
{
    return std::make_unique<IcoBitmapRows>(file, bitmap, usesMask, std::move(reportMissing));
}

Result<bool> icoBitmapHasAlpha(InputFile const& file, IcoBitmap const& bitmap)
{
    if (bitmap.bitsPerPixel != 32)
        return false;
    VerbatimRows rows(file, {bitmap.colorOffset, bitmap.colorStride(), bitmap.size.height, false});
    Bytes row(bitmap.colorStride());
    for (std::int32_t y = 0; y < bitmap.size.height; ++y) {
        auto const found = TRY(rows.next(row));
        for (std::size_t at = 3; at < found; at += 4) {
            if (row[at] != 0)
                return true;
        }
        if (found < row.size())
            break;
    }
    return false;
}

} // namespace velk::codec
