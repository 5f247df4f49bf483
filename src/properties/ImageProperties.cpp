#include "properties/ImageProperties.h"

#include "base/Reporting.h"
#include "platform/codec/Codec.h"
#include "platform/codec/PropertyKeys.h"
#include "properties/FormatTable.h"

#include <algorithm>
#include <span>

namespace velk {

namespace {

namespace key = codec::key;

constexpr float kDefaultDpi = 72;

struct CopiedEntry {
    std::string_view from;
    std::string_view to;
};

constexpr CopiedEntry kTopLevelEntries[] = {
    {key::kPixelWidth, "pixelWidth"},
    {key::kPixelHeight, "pixelHeight"},
    {key::kDepth, "bitsPerSample"},
    {key::kHasAlpha, "hasAlpha"},
    {key::kDpiWidth, "dpiWidth"},
    {key::kDpiHeight, "dpiHeight"},
    {key::kColorModel, "space"},
};

constexpr CopiedEntry kTiffEntries[] = {
    {"DateTime", "creation"},
    {"Make", "make"},
    {"Model", "model"},
    {"Software", "software"},
    {"ImageDescription", "description"},
    {"Copyright", "copyright"},
    {"Artist", "artist"},
    {"WhitePoint", "TIFFWhitePoint"},
    {"PrimaryChromaticities", "TIFFPrimaryChromaticities"},
};

constexpr CopiedEntry kExifEntries[] = {
    {"ColorSpace", "ExifColorSpace"},
    {"Gamma", "ExifGamma"},
};

constexpr CopiedEntry kPngEntries[] = {
    {key::kPngGamma, "PNGGamma"},
    {key::kPngSrgbIntent, "PNGsRGBIntent"},
    {key::kPngChromaticities, "PNGChromaticities"},
};

struct CompressionName {
    int compression; ///< TIFF 6.0, tag 259
    std::string_view name;
};

constexpr CompressionName kCompressionNames[] = {
    {5, "lzw"},
    {32773, "pacbits"},
};

struct ModelSamples {
    std::string_view model;
    int samples;
};

constexpr ModelSamples kModelSamples[] = {
    {"RGB", 3},
    {"Gray", 1},
    {"CMYK", 4},
    {"Lab", 3},
};

void copyEntries(PropertyDictionary const& from, std::span<CopiedEntry const> entries, PropertyDictionary& to)
{
    for (auto const& entry : entries) {
        if (auto const* value = find(from, entry.from))
            set(to, entry.to, *value);
    }
}

void copySubDictionary(PropertyDictionary const& from, std::string_view name,
    std::span<CopiedEntry const> entries, PropertyDictionary& to)
{
    if (auto const* dictionary = findDictionary(from, name))
        copyEntries(*dictionary, entries, to);
}

std::string_view formatKeyword(std::string_view typeIdentifier)
{
    auto const row = std::ranges::find(formatTable(), typeIdentifier, &FormatRow::typeIdentifier);
    return row == formatTable().end() ? typeIdentifier : row->keyword;
}

bool isTrue(PropertyDictionary const& dictionary, std::string_view key)
{
    auto const* value = find(dictionary, key);
    return value && value->asBoolean() && *value->asBoolean();
}

void setSamplesPerPixel(PropertyDictionary const& source, PropertyDictionary& properties)
{
    auto const* space = find(source, key::kColorModel);
    if (!space || !space->asString())
        return;
    auto const model = std::ranges::find(kModelSamples, *space->asString(), &ModelSamples::model);
    auto const colorSamples = model == std::end(kModelSamples) ? 0 : model->samples;
    if (auto const samples = colorSamples + (isTrue(source, key::kHasAlpha) ? 1 : 0); samples != 0)
        set(properties, "samplesPerPixel", samples);
}

void setFormatOptions(PropertyDictionary const& source, PropertyDictionary& properties)
{
    auto const* tiff = findDictionary(source, key::kTiff);
    auto const* compression = tiff ? find(*tiff, "Compression") : nullptr;
    if (!compression || !compression->isNumber())
        return;
    for (auto const& row : kCompressionNames) {
        if (row.compression == compression->number())
            set(properties, "formatOptions", row.name);
    }
}

void setProfile(
    PropertyDictionary const& source, graphics::Image const& image, PropertyDictionary& properties)
{
    if (auto const& profile = image.space().profile(); profile && find(source, key::kProfileName))
        set(properties, "profile", profile);
}

} // namespace

std::optional<PropertyDictionary> imageProperties(std::string const& path)
{
    auto const source = codec::openImage(path);
    if (!source) {
        reportMissing("source", "ImageProcessing", __LINE__);
        return std::nullopt;
    }
    auto const identifier = (*source)->type().identifier;
    auto const described = (*source)->properties();

    PropertyDictionary properties {
        {"typeIdentifier", identifier},
        {"format", formatKeyword(identifier)},
        {"formatOptions", "default"},
        {"path", path},
        {"hasAlpha", false},
        {"dpiWidth", kDefaultDpi},
        {"dpiHeight", kDefaultDpi},
    };
    copyEntries(described, kTopLevelEntries, properties);
    setSamplesPerPixel(described, properties);
    copySubDictionary(described, key::kTiff, kTiffEntries, properties);
    setFormatOptions(described, properties);
    copySubDictionary(described, key::kExif, kExifEntries, properties);
    copySubDictionary(described, key::kPng, kPngEntries, properties);
    setProfile(described, (*source)->image(), properties);
    return properties;
}

void warnWhyNotAnImage(std::string const& path)
{
    auto const codec = InputFile::open(path).and_then(codec::codecForFile);
    bool const isOfUnknownKind = codec && !*codec;
    if (isOfUnknownKind)
        return;
    if (auto const source = codec::openImage(path); !source)
        reportWarning("{}: {}\n", path, source.error().message);
}

} // namespace velk
