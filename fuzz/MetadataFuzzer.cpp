// Exif, IPTC and XMP blocks: description and edits. The first byte says which; the edits' values are fixed.
#include "fuzz/FuzzInput.h"
#include "platform/codec/ExifBlock.h"
#include "platform/codec/IptcBlock.h"
#include "platform/codec/Metadata.h"
#include "platform/codec/PropertyKeys.h"
#include "platform/codec/XmpPacket.h"

using namespace velk;

namespace {

codec::PropertyChanges someChanges()
{
    return {
        {"{TIFF}", "Artist", PropertyValue("Somebody with a longer name than before")},
        {"{TIFF}", "Copyright", std::nullopt},
        {"{TIFF}", "Orientation", PropertyValue(6)},
        {"{Exif}", "UserComment", PropertyValue("größer")},
        {"{Exif}", "FNumber", PropertyValue(2.8)},
        {"{Exif}", "ISOSpeedRatings", PropertyValue(PropertyArray {PropertyValue(100)})},
        {"{GPS}", "Latitude", PropertyValue(47.5)},
        {"{GPS}", "LatitudeRef", std::nullopt},
        {"{IPTC}", "Keywords", PropertyValue(PropertyArray {PropertyValue("a"), PropertyValue("b")})},
        {"{IPTC}", "Headline", std::nullopt},
    };
}

void describe(codec::Metadata const& metadata)
{
    PropertyDictionary properties;
    metadata.describe(properties);
    [[maybe_unused]] auto const resolution = metadata.resolution();
}

void editExif(codec::Metadata metadata)
{
    describe(metadata);
    [[maybe_unused]] auto const preview = metadata.preview();
    [[maybe_unused]] auto const reversed = metadata.exifLittleEndian();
    metadata.apply(someChanges());
    PropertyDictionary properties;
    metadata.describe(properties);
    auto const* const tiff = findDictionary(properties, codec::key::kTiff);
    auto const* const artist = tiff ? find(*tiff, "Artist") : nullptr;
    fuzz::require(
        artist && *artist == PropertyValue("Somebody with a longer name than before"), "an edit holds");
    fuzz::require(metadata.orientation() == 6, "the orientation holds");

    metadata.setResolution({72, 300});
    fuzz::require(metadata.resolution() == codec::Resolution {72, 300}, "the resolution holds");
    metadata.setPixelSize({40, 70000});
    // A block too large for a JPEG file loses its preview; one in which directories overlap may grow
    // threefold.
    constexpr std::size_t kSurelySmall = 20'000;
    if (metadata.exif().size() > kSurelySmall)
        return;
    metadata.setPreview(Bytes {0xFF, 0xD8, 0xFF, 0xD9});
    fuzz::require(metadata.preview().size() == 4, "the preview holds");
    metadata.setPreview({});
    fuzz::require(metadata.preview().empty(), "the preview is gone");
    fuzz::require(metadata.orientation() == 6, "other edits leave the orientation alone");
    describe(metadata);
    [[maybe_unused]] auto const again = metadata.exifLittleEndian();
}

void editIptc(ByteSpan iim)
{
    PropertyDictionary before;
    codec::describeIptc(iim, before);
    for (auto const& change : someChanges()) {
        auto const edited = codec::editIptc(iim, change.key, change.value ? &*change.value : nullptr);
        if (!edited)
            continue;
        PropertyDictionary after;
        codec::describeIptc(*edited, after);
        fuzz::require(after.contains(change.key) == change.value.has_value(), "an edit holds");
    }
}

void editXmp(std::string packet)
{
    for (auto const* property : {"tiff:Orientation", "exif:PixelXDimension"})
        codec::setXmpInteger(packet, property, 7);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    fuzz::FuzzInput input(data, size);
    auto const kind = input.byte();
    auto const block = input.rest();
    codec::Metadata metadata;
    switch (kind % 4) {
    case 0:
        metadata.setExif(block);
        editExif(metadata);
        break;
    case 1:
        metadata.setExifFromTiffFile(block);
        editExif(metadata);
        break;
    case 2:
        editIptc(block);
        break;
    case 3:
        editXmp(std::string(asText(block)));
        break;
    }
    return 0;
}
