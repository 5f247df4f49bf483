// The module velk-exif: the one place that Exiv2 is linked to, so that a run that meets no maker note in a
// foreign byte order or in a TIFF file does not pay for loading it.

#include "base/Bytes.h"
#include "platform/codec/ExifTags.h"
#include "platform/codec/TiffStructuralTags.h"
#include "platform/modules/MakerNoteInterface.h"

#include <exiv2/exiv2.hpp>

#include <mutex>

namespace velk::codec {

namespace {

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

Bytes encodeWithMakerNotes(Exiv2::ExifData const& exif, Exiv2::ByteOrder order)
{
    Exiv2::MemIo io;
    Exiv2::TiffParser::encode(io, nullptr, 0, order, exif, {}, {});
    auto const* const data = io.mmap();
    return Bytes(data, data + io.size());
}

Bytes rewritten(ByteSpan tiff, bool littleEndian, bool isWholeFile)
{
    std::lock_guard const lock(exiv2Mutex());
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    try {
        auto exif = decodeWithMakerNotes(tiff);
        for (auto datum = exif.begin(); isWholeFile && datum != exif.end();)
            datum = isWanted(*datum) ? std::next(datum) : exif.erase(datum);
        return encodeWithMakerNotes(exif, littleEndian ? Exiv2::littleEndian : Exiv2::bigEndian);
    } catch (...) {
        return {};
    }
}

} // namespace

} // namespace velk::codec

extern "C" __attribute__((visibility("default"))) void velkRewriteMakerNotes(std::uint8_t const* tiff,
    std::size_t size, bool littleEndian, bool isWholeFile,
    void (*take)(void* context, std::uint8_t const* bytes, std::size_t size), void* context)
{
    auto const block = velk::codec::rewritten({tiff, size}, littleEndian, isWholeFile);
    if (!block.empty())
        take(context, block.data(), block.size());
}
