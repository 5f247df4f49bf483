#include "properties/PropertyKeys.h"

namespace velk {

namespace {

using enum PropertyType;

constexpr bool kWritable = true;
constexpr bool kReadOnly = false;

constexpr PropertyDescriptor kImageProperties[] = {
    {"dpiHeight", Float, kWritable},
    {"dpiWidth", Float, kWritable},
    {"pixelHeight", Integer, kReadOnly},
    {"pixelWidth", Integer, kReadOnly},
    {"typeIdentifier", String, kReadOnly},
    {"format", String, kWritable, "jpeg | tiff | png | gif | jp2 | lumb | bmp | zorn | psd | sgi | tga"},
    {"formatOptions", String, kWritable, "default | [low|normal|high|best|<percent>] | [lzw|packbits]"},
    {"space", String, kReadOnly},
    {"samplesPerPixel", Integer, kReadOnly},
    {"bitsPerSample", Integer, kReadOnly},
    {"creation", String, kReadOnly},
    {"make", String, kWritable},
    {"model", String, kWritable},
    {"software", String, kReadOnly},
    {"description", String, kWritable},
    {"copyright", String, kWritable},
    {"artist", String, kWritable},
    {"profile", Data, kWritable},
    {"hasAlpha", Boolean, kReadOnly},
};

constexpr PropertyDescriptor kProfileProperties[] = {
    {"description", Utf8String, kWritable},
    {"size", Integer, kReadOnly},
    {"cmm", String, kWritable},
    {"version", String, kWritable},
    {"class", String, kReadOnly},
    {"space", String, kReadOnly},
    {"pcs", String, kReadOnly},
    {"creation", String, kWritable},
    {"platform", String, kWritable},
    {"quality", String, kWritable, "normal | draft | best"},
    {"deviceManufacturer", String, kWritable},
    {"deviceModel", Integer, kWritable},
    {"deviceAttributes0", Integer, kWritable},
    {"deviceAttributes1", Integer, kWritable},
    {"renderingIntent", String, kWritable, "perceptual | relative | saturation | absolute"},
    {"creator", String, kWritable},
    {"copyright", String, kWritable},
    {"md5", String, kReadOnly},
};

// Not the order of the tables: what people look for first comes first.
constexpr std::string_view kImageKeyOrder[] = {
    "pixelWidth",
    "pixelHeight",
    "typeIdentifier",
    "format",
    "formatOptions",
    "dpiWidth",
    "dpiHeight",
    "samplesPerPixel",
    "bitsPerSample",
    "hasAlpha",
    "space",
    "profile",
    "creation",
    "make",
    "model",
    "software",
    "description",
    "copyright",
    "artist",
};

constexpr std::string_view kProfileKeyOrder[] = {
    "size",
    "cmm",
    "version",
    "class",
    "space",
    "pcs",
    "creation",
    "platform",
    "quality",
    "deviceManufacturer",
    "deviceModel",
    "deviceAttributes0",
    "deviceAttributes1",
    "renderingIntent",
    "creator",
    "md5",
    "description",
    "copyright",
};

struct TypeName {
    PropertyType type;
    std::string_view name;
};

constexpr TypeName kTypeNames[] = {
    {String, "string"},
    {Utf8String, "utf8 string"},
    {Integer, "integer"},
    {Float, "float"},
    {Data, "binary data"},
    {Boolean, "boolean"},
};

} // namespace

std::string_view propertyTypeName(PropertyType type)
{
    for (auto const& row : kTypeNames) {
        if (row.type == type)
            return row.name;
    }
    return {};
}

std::span<PropertyDescriptor const> imagePropertyTable()
{
    return kImageProperties;
}
std::span<PropertyDescriptor const> profilePropertyTable()
{
    return kProfileProperties;
}
std::span<std::string_view const> imageKeyOrder()
{
    return kImageKeyOrder;
}
std::span<std::string_view const> profileKeyOrder()
{
    return kProfileKeyOrder;
}

} // namespace velk
