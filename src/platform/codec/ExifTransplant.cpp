#include "platform/codec/ExifTransplant.h"

#include "platform/codec/ExifEditor.h"

#include <exiv2/exiv2.hpp>

#include <algorithm>
#include <mutex>

namespace velk::codec {

namespace {

constexpr std::size_t kMaximumValue = 4 * 1024 * 1024;
constexpr std::size_t kMaximumBlock = 16 * 1024 * 1024;

struct TagRange {
    std::uint16_t first, last;
};

// Tags of IFD0 that are about this file's pixels and not about the picture: TIFF 6.0, TIFF/EP, DNG 1.6 and
// the private tags of image editors.
constexpr TagRange kStructuralTags[] = {
    {0x00FE, 0x0109}, // NewSubfileType to CellLength
    {0x010A, 0x010A}, // FillOrder
    {0x0111, 0x0111}, // StripOffsets
    {0x0115, 0x0119}, // SamplesPerPixel to MaxSampleValue
    {0x011C, 0x011C}, // PlanarConfiguration
    {0x0120, 0x0125}, // FreeOffsets to T6Options
    {0x0129, 0x0129}, // PageNumber
    {0x012C, 0x012D}, // ColorResponseUnit, TransferFunction
    {0x013D, 0x013D}, // Predictor
    {0x0140, 0x015B}, // ColorMap to JPEGTables
    {0x0190, 0x01B5}, // GlobalParametersIFD to JPEGTables of other makers
    {0x0200, 0x0209}, // JPEGProc to JPEGACTables
    {0x0211, 0x022F}, // YCbCrCoefficients to StripRowCounts
    {0x02BC, 0x02BC}, // XMP
    {0x80A4, 0x80BB}, // WangAnnotation to the SGI tags
    {0x80E3, 0x80E6}, // Matteing to ImageDepth
    {0x828D, 0x828E}, // CFARepeatPatternDim, CFAPattern
    {0x83BB, 0x83BB}, // IPTC
    {0x8649, 0x8649}, // Photoshop resources
    {0x8769, 0x8769}, // Exif pointer
    {0x8773, 0x8773}, // ICC profile
    {0x8825, 0x8825}, // GPS pointer
    {0x9216, 0x9217}, // TIFF/EP standard, sensing method
    {0x935C, 0x935C}, // Photoshop layers
    {0xC612, 0xC7FF}, // DNG
    {0xCD2D, 0xCD4B}, // DNG 1.6 and later
};

bool isStructural(std::uint16_t tag)
{
    return std::any_of(std::begin(kStructuralTags), std::end(kStructuralTags),
        [&](TagRange range) { return tag >= range.first && tag <= range.last; });
}

using TagFilter = bool (*)(ExifDirectory directory, std::uint16_t tag);

bool isPointer(ExifDirectory directory, std::uint16_t tag)
{
    return (directory == ExifDirectory::Image && (tag == tag::kExifPointer || tag == tag::kGpsPointer))
        || (directory == ExifDirectory::Photo && tag == tag::kInteropPointer)
        || (directory == ExifDirectory::Preview
            && (tag == tag::kPreviewOffset || tag == tag::kPreviewLength));
}

bool leavesOutOfTiffFile(ExifDirectory directory, std::uint16_t tag)
{
    return isPointer(directory, tag) || (directory == ExifDirectory::Image && isStructural(tag));
}

std::size_t swapUnit(ExifType type)
{
    bool const isRational = type == ExifType::Rational || type == ExifType::SignedRational;
    return isRational ? 4 : exifTypeSize(type);
}

Bytes swapped(ExifValue const& value)
{
    Bytes bytes(value.bytes.begin(), value.bytes.end());
    auto const unit = static_cast<std::ptrdiff_t>(swapUnit(value.type));
    for (auto at = bytes.begin(); at != bytes.end(); at += unit)
        std::reverse(at, at + unit);
    return bytes;
}

// Copies fields into a new block; maker notes come out with the offsets that they had.
class FieldCopier {
public:
    FieldCopier(ExifBlock const& from, ByteOrder order)
        : m_from(from)
        , m_editor({}, order)
    {
    }

    void copy(ExifDirectory directory, TagFilter leavesOut)
    {
        for (auto const& entry : m_from.directory(directory).entries) {
            auto const value = m_from.value(directory, entry.tag);
            if (!value || leavesOut(directory, entry.tag) || value->bytes.size() > kMaximumValue
                || m_total + value->bytes.size() > kMaximumBlock)
                continue;
            m_total += value->bytes.size();
            bool const isSameOrder = m_from.order() == m_editor.order();
            auto const bytes = isSameOrder ? Bytes() : swapped(*value);
            m_editor.set(directory, entry.tag,
                {value->type, value->count, isSameOrder ? value->bytes : ByteSpan(bytes)});
        }
    }
    void copyPreview(TagFilter leavesOut)
    {
        if (m_from.preview().empty())
            return;
        copy(ExifDirectory::Preview, leavesOut);
        m_editor.setPreview(m_from.preview());
    }
    Bytes finish()
    {
        removeIfAdded(ExifDirectory::Photo, tag::kExifVersion);
        removeIfAdded(ExifDirectory::Gps, tag::kGpsVersion);
        return m_editor.finish();
    }

private:
    // The editor completes a directory that begins; a copy shall not say more than the original.
    void removeIfAdded(ExifDirectory directory, std::uint16_t tag)
    {
        if (!m_from.value(directory, tag))
            m_editor.remove(directory, tag);
    }

    ExifBlock const& m_from;
    ExifEditor m_editor;
    std::size_t m_total = 0;
};

constexpr ExifDirectory kCopiedDirectories[] = {
    ExifDirectory::Image, ExifDirectory::Photo, ExifDirectory::Gps, ExifDirectory::Interop};

// Exiv2 initialises its XMP toolkit when a file has a packet, and that is not thread safe.
std::mutex& exiv2Mutex()
{
    static std::mutex mutex;
    return mutex;
}

bool isWanted(Exiv2::Exifdatum const& datum)
{
    auto const group = datum.groupName();
    for (auto const* const unwanted :
        {"Thumbnail", "Image2", "Image3", "SubImage", "SubThumb", "PanasonicRaw"}) {
        if (group.starts_with(unwanted))
            return false;
    }
    return group != "Image" || !isStructural(datum.tag()) || datum.tag() == tag::kExifPointer
        || datum.tag() == tag::kGpsPointer;
}

Exiv2::ExifData decodeWithMakerNotes(ByteSpan tiff)
{
    Exiv2::ExifData exif;
    Exiv2::IptcData iptc;
    Exiv2::XmpData xmp;
    Exiv2::TiffParser::decode(exif, iptc, xmp, tiff.data(), static_cast<std::uint32_t>(tiff.size()));
    return exif;
}

Bytes encodeWithMakerNotes(Exiv2::ExifData const& exif, ByteOrder order)
{
    Exiv2::MemIo io;
    auto const exiv2Order = order == ByteOrder::Little ? Exiv2::littleEndian : Exiv2::bigEndian;
    Exiv2::TiffParser::encode(io, nullptr, 0, exiv2Order, exif, {}, {});
    auto const* const data = io.mmap();
    return Bytes(data, data + io.size());
}

// Exiv2 knows where the formats of the makers keep offsets, and writes them anew. Empty when it fails.
Bytes rewriteWithMakerNotes(ByteSpan tiff, ByteOrder order, bool isWholeFile)
{
    std::lock_guard const lock(exiv2Mutex());
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    try {
        auto exif = decodeWithMakerNotes(tiff);
        for (auto datum = exif.begin(); isWholeFile && datum != exif.end();)
            datum = isWanted(*datum) ? std::next(datum) : exif.erase(datum);
        auto block = encodeWithMakerNotes(exif, order);
        auto const parsed = ExifBlock::parse(block);
        bool const isComplete =
            parsed && block.size() <= kMaximumBlock && parsed->value(ExifDirectory::Photo, tag::kMakerNote);
        return isComplete ? block : Bytes();
    } catch (...) {
        return {};
    }
}

bool hasMakerNote(ExifBlock const& block)
{
    return block.value(ExifDirectory::Photo, tag::kMakerNote).has_value();
}

} // namespace

Bytes exifFromTiffFile(ByteSpan file)
{
    auto const parsed = ExifBlock::parse(file);
    if (!parsed)
        return {};
    if (hasMakerNote(*parsed)) {
        if (auto block = rewriteWithMakerNotes(file, parsed->order(), true); !block.empty())
            return block;
    }
    FieldCopier copier(*parsed, parsed->order());
    for (auto const directory : kCopiedDirectories)
        copier.copy(directory, leavesOutOfTiffFile);
    return copier.finish();
}

Bytes exifInLittleEndian(ByteSpan block)
{
    auto const parsed = ExifBlock::parse(block);
    if (!parsed || parsed->order() == ByteOrder::Little)
        return Bytes(block.begin(), block.end());
    if (hasMakerNote(*parsed)) {
        if (auto rewritten = rewriteWithMakerNotes(block, ByteOrder::Little, false); !rewritten.empty())
            return rewritten;
    }
    FieldCopier copier(*parsed, ByteOrder::Little);
    for (auto const directory : kCopiedDirectories)
        copier.copy(directory, isPointer);
    copier.copyPreview(isPointer);
    return copier.finish();
}

} // namespace velk::codec
