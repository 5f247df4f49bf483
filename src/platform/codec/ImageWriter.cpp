#include "platform/codec/ImageWriter.h"

#include "base/Reporting.h"
#include "platform/codec/JpegPreview.h"
#include "platform/codec/PropertyKeys.h"
#include "platform/codec/Sharing.h"
#include "platform/color/ColorConversion.h"
#include "platform/color/LinearLight.h"
#include "platform/graphics/Pipeline.h"

#include <algorithm>
#include <cmath>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr int kPreviewQuality = 80;
// Exif 2.32, tag 0xA001.
constexpr int kExifSrgb = 1;

bool isMetadata(PropertyChange const& change)
{
    return change.dictionary == key::kTiff || change.dictionary == key::kExif
        || change.dictionary == key::kGps || change.dictionary == key::kIptc;
}

// Compression is how pixels are coded, not what is said about them.
bool isEncoderOption(PropertyChange const& change)
{
    return change.dictionary == key::kTiff && change.key == "Compression";
}

std::optional<double> positiveNumber(PropertyDictionary const& properties, std::string_view key)
{
    auto const* value = find(properties, key);
    if (!value || !std::isfinite(value->number()) || value->number() <= 0)
        return std::nullopt;
    return value->number();
}

std::optional<Resolution> resolutionIn(PropertyDictionary const& properties)
{
    auto const x = positiveNumber(properties, key::kDpiWidth);
    auto const y = positiveNumber(properties, key::kDpiHeight);
    if (!x && !y)
        return std::nullopt;
    return Resolution {x.value_or(Resolution {}.x), y.value_or(Resolution {}.y)};
}

// What a picture's file is to hold beside its pixels.
struct Contents {
    EncodeOptions options;
    PropertyChanges changes;
    Metadata metadata;
    bool metadataChanged = false;
    std::optional<Resolution> resolution;
    bool resolutionChanged = false;
    SharedBytes profile;
    bool profileChanged = false;
};

Contents contentsOf(Picture const& picture)
{
    Contents contents;
    contents.options = EncodeOptions::from(picture.properties);
    contents.profile = contents.options.excludeProfile ? nullptr : picture.image.space().profile();
    contents.resolution = resolutionIn(picture.properties);

    auto const original = picture.source ? picture.source->properties() : PropertyDictionary {};
    contents.changes = changesBetween(original, picture.properties);
    std::erase_if(contents.changes, isEncoderOption);
    if (picture.source) {
        contents.metadata = picture.source->metadata();
        if (contents.options.optimizeColorForSharing && !contents.metadata.exif().empty())
            contents.changes.push_back({std::string(key::kExif), "ColorSpace", PropertyValue(kExifSrgb)});
        contents.profileChanged = contents.options.excludeProfile
            || !equalBytes(contents.profile, picture.source->description().info.layout.space.profile());
    }
    contents.metadataChanged = contents.metadata.apply(contents.changes);
    contents.resolutionChanged = contents.resolution != resolutionIn(original);
    if (contents.resolutionChanged && contents.resolution && contents.metadata.resolution()) {
        contents.metadata.setResolution(*contents.resolution);
        contents.metadataChanged = true;
    }
    return contents;
}

Result<Bytes> encodePreview(Image const& image)
{
    color::ConversionTarget target {
        .format = {.model = ColorModel::RGB}, .space = ColorSpace::device(ColorModel::RGB)};
    auto rows = TRY(color::convertColors(TRY(image.rows()), target));
    return encodeSmallJpeg(TRY(PixelBuffer::collect(*rows)), kPreviewQuality);
}

// Pixel dimensions and the embedded preview follow the new pixels.
Result<void> followPixels(Contents& contents, Picture const& picture)
{
    if (!picture.source || picture.image.origin().get() != picture.source
        || picture.image.turn() != Turn::None) {
        contents.metadata.setPixelSize(picture.image.size());
        contents.metadataChanged = true;
    }
    if (picture.preview && !contents.metadata.preview().empty()) {
        contents.metadata.setPreview(TRY(encodePreview(*picture.preview)));
        contents.metadataChanged = true;
    }
    return {};
}

bool pixelsComeFromSource(Codec const& codec, Picture const& picture)
{
    return picture.source && picture.image.origin().get() == picture.source
        && picture.source->type().identifier == codec.type && codec.rewrite;
}

bool holdsSourcePixels(Picture const& picture)
{
    return picture.source && picture.image.origin().get() == picture.source
        && picture.image.turn() == Turn::None;
}

RewriteJob rewriteJob(Picture const& picture, Contents const& contents)
{
    return {
        .source = *picture.source,
        .turn = picture.image.turn(),
        .metadata = contents.metadata,
        .metadataChanged = contents.metadataChanged,
        .profile = contents.profile,
        .profileChanged = contents.profileChanged,
        .resolution = contents.resolutionChanged ? contents.resolution : std::nullopt,
        .changes = contents.changes,
        .options = contents.options,
    };
}

void warnOfLosses(Codec const& codec, Picture const& picture, Contents const& contents)
{
    if (!picture.source)
        return;
    auto const& path = picture.source->path();
    if (auto const count = picture.source->imageCount(); count > 1)
        reportWarning("{} holds {} images; {} not carried over\n", path, count,
            count == 2 ? "the second is" : fmt::format("{} of them are", count - 1));
    auto const isLost = [&](PropertyChange const& change) {
        return isMetadata(change) && change.value && !codec.carries.exif
            && std::ranges::find(codec.carries.tags, change.key) == codec.carries.tags.end();
    };
    auto const edited = std::ranges::find_if(contents.changes, isLost);
    if (edited != contents.changes.end())
        reportWarning("{} files cannot carry metadata such as {}\n",
            types::fileTypeWithIdentifier(codec.type)->keyword(), edited->key);
}

// An ICC profile of the image's own model goes along; only a model that the format lacks is converted, and
// floating-point light that is to become integers: those are too few for it without a curve.
ColorSpace spaceToStore(PixelLayout const& image, PixelFormat stored)
{
    auto const& space = image.space;
    bool const losesFloats = image.format.componentType == ComponentType::Float32
        && stored.componentType != ComponentType::Float32;
    if (stored.model == space.model())
        return losesFloats && color::isLinear(space) ? color::withSrgbCurve(space) : space;
    return stored.model == space.base().model() ? space.base() : ColorSpace::device(stored.model);
}

Result<void> encodePixels(
    Codec const& codec, Picture const& picture, Contents const& contents, AtomicFile& output)
{
    auto const target = codec.negotiate(picture.image.info(), contents.options);
    auto rows = TRY(picture.image.rows());
    auto const targetSpace = spaceToStore(picture.image.layout(), target.format);
    auto const profile = contents.options.excludeProfile ? nullptr : targetSpace.profile();
    if (rows->format() != target.format || rows->layout().space != targetSpace)
        rows = TRY(color::convertColors(
            std::move(rows), {.format = target.format, .space = targetSpace, .readsDevice = true}));
    rows = readAhead(std::move(rows));
    return codec.encode({.rows = *rows,
                            .bitsPerComponent = target.bitsPerComponent,
                            .profile = codec.carries.profile ? profile : nullptr,
                            .metadata = contents.metadata,
                            .resolution = contents.resolution,
                            .options = contents.options,
                            .properties = picture.properties,
                            .source = picture.source,
                            .keepsPixels = holdsSourcePixels(picture)},
        output);
}

// `picture` with the pixels and the profile that its options ask for.
Result<Picture> prepared(Picture const& picture)
{
    auto result = picture;
    auto const options = EncodeOptions::from(picture.properties);
    if (options.optimizeColorForSharing)
        result.image = TRY(forSharing(picture.image, options.maximumPixelSize));
    return result;
}

Result<void> writePrepared(Codec const& codec, Picture const& picture, AtomicFile& output)
{
    auto contents = contentsOf(picture);
    TRY(followPixels(contents, picture));
    if (pixelsComeFromSource(codec, picture)) {
        auto const job = rewriteJob(picture, contents);
        if (codec.canRewrite(job))
            return codec.rewrite(job, output);
    }
    warnOfLosses(codec, picture, contents);
    return encodePixels(codec, picture, contents, output);
}

} // namespace

Result<void> writeImage(Codec const& codec, Picture const& picture, AtomicFile& output)
{
    TRY(writePrepared(codec, TRY(prepared(picture)), output));
    // Decoders make do with what they get, which serves damaged files and would damage sound ones.
    return picture.source ? picture.source->file().checkReads() : Result<void>();
}

} // namespace velk::codec
