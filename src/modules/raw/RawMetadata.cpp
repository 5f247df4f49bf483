#include "modules/raw/RawMetadata.h"

#include "platform/codec/PropertyKeys.h"

#include <cmath>
#include <ctime>

namespace velk::codec::raw {

namespace {

constexpr std::uint64_t kLargestFile = std::uint64_t {1} << 30;

// Two makers write a TIFF structure with a version of their own instead of 42.
void makeClassicTiff(Bytes& bytes)
{
    if (startsWith(bytes, "IIRO") || startsWith(bytes, "IIRS")
        || startsWith(bytes, std::string_view("IIU\0", 4))) {
        bytes[2] = 42;
        bytes[3] = 0;
    }
}

bool isClassicTiff(ByteSpan bytes)
{
    return startsWith(bytes, std::string_view("II*\0", 4)) || startsWith(bytes, std::string_view("MM\0*", 4));
}

std::optional<PropertyValue> text(char const* value)
{
    return *value ? std::optional<PropertyValue>(std::string(value)) : std::nullopt;
}

std::optional<PropertyValue> positive(float value)
{
    bool const isKnown = std::isfinite(value) && value > 0;
    return isKnown ? std::optional<PropertyValue>(static_cast<double>(value)) : std::nullopt;
}

// Exif 2.32, 4.6.4: "YYYY:MM:DD HH:MM:SS".
std::optional<PropertyValue> date(std::time_t time)
{
    std::tm parts = {};
    if (time <= 0 || !::localtime_r(&time, &parts))
        return std::nullopt;
    return PropertyValue(fmt::format("{:04}:{:02}:{:02} {:02}:{:02}:{:02}", parts.tm_year + 1900,
        parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec));
}

PropertyChanges knownEntries(libraw_data_t const& data)
{
    auto const& camera = data.idata;
    auto const& shot = data.other;
    std::string const tiff(key::kTiff), exif(key::kExif);
    PropertyChanges entries = {
        {tiff, "Make", text(camera.make)},
        {tiff, "Model", text(camera.model)},
        {tiff, "Software", text(camera.software)},
        {tiff, "Artist", text(shot.artist)},
        {tiff, "ImageDescription", text(shot.desc)},
        {tiff, "DateTime", date(shot.timestamp)},
        {exif, "DateTimeOriginal", date(shot.timestamp)},
        {exif, "ExposureTime", positive(shot.shutter)},
        {exif, "FNumber", positive(shot.aperture)},
        {exif, "FocalLength", positive(shot.focal_len)},
    };
    std::erase_if(entries, [](PropertyChange const& entry) { return !entry.value; });
    return entries;
}

} // namespace

Metadata metadataOf(InputFile const& file, libraw_data_t const& data)
{
    Metadata metadata;
    if (file.size() <= kLargestFile) {
        if (auto bytes = file.readAll()) {
            makeClassicTiff(*bytes);
            if (isClassicTiff(*bytes))
                metadata.setExifFromTiffFile(*bytes);
        }
    }
    if (metadata.exif().empty())
        metadata.apply(knownEntries(data));
    if (data.idata.xmpdata && data.idata.xmplen > 0)
        metadata.setXmp({data.idata.xmpdata, data.idata.xmplen});
    metadata.setOrientation(1);
    return metadata;
}

} // namespace velk::codec::raw
