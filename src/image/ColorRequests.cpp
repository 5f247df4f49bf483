#include "image/ColorRequests.h"

#include "base/Reporting.h"
#include "platform/codec/PropertyKeys.h"
#include "platform/color/IccProfile.h"
#include "platform/color/ProfileTransform.h"

#include <algorithm>

namespace velk {

using namespace graphics;

namespace {

struct IntentWord {
    std::string_view word;
    RenderingIntent intent;
};

constexpr IntentWord kIntentWords[] = {
    {"perceptual", RenderingIntent::Perceptual},
    {"relative", RenderingIntent::Relative},
    {"saturation", RenderingIntent::Saturation},
    {"satuation", RenderingIntent::Saturation},
    {"absolute", RenderingIntent::Absolute},
};

// The value of Exif's ColorSpace (Exif 2.32, tag 0xA001) that stands for "uncalibrated".
constexpr int kUncalibrated = 65535;

// Profile classes (ICC.1:2022, 7.2.5) of devices and device-like spaces; links, abstract and named-colour
// profiles describe no space that pixels can be in.
bool describesSpace(FourCC profileClass)
{
    constexpr FourCC kClasses[] = {FourCC("scnr"), FourCC("mntr"), FourCC("prtr"), FourCC("spac")};
    return std::ranges::find(kClasses, profileClass) != std::end(kClasses);
}

std::optional<ColorSpace> colorSpaceFromProfilePath(std::string const& path)
{
    auto const profile = color::IccProfile::open(path);
    if (!profile) {
        reportError("Profile at {} cannot be opened\n", path);
        return std::nullopt;
    }
    auto bytes = profile->serialize();
    auto const model = color::profileColorModel(bytes);
    if (!model || !describesSpace(profile->header().profileClass))
        return std::nullopt;
    return ColorSpace::withProfile(*model, std::make_shared<Bytes const>(std::move(bytes)));
}

// Works on the base of an indexed space; nothing when the models differ or the model has no device space.
std::optional<Image> replaceColorSpace(Image const& image, std::optional<ColorSpace> const& space)
{
    auto const model = image.space().base().model();
    if (space ? space->model() != model : model == ColorModel::Lab)
        return std::nullopt;
    return image.withColorSpace(image.space().replacingProfile(space ? space->profile() : nullptr));
}

Result<void> embedProfile(ImageEditState& state, std::string const& path)
{
    auto const space = colorSpaceFromProfilePath(path);
    if (!space) {
        noteMissing("cs");
        return fail("Invalid replacement profile");
    }
    auto image = replaceColorSpace(state.image, space);
    if (!image) {
        noteMissing("newing");
        return fail("Invalid replacement profile");
    }
    state.image = std::move(*image);
    state.modified = true;
    return {};
}

} // namespace

Result<void> requestMatching(ImageEditState& state, FunctionRequest const& request)
{
    auto const space = colorSpaceFromProfilePath(request.at(1));
    if (!space || !color::canConvertTo(*space->profile())) {
        noteMissing("cs");
        return fail("Invalid profile");
    }
    auto intent = RenderingIntent::Default;
    if (request.at(0) == "--matchToWithIntent") {
        auto const& word = request.at(2);
        auto const found = std::ranges::find(kIntentWords, word, &IntentWord::word);
        if (found != std::end(kIntentWords))
            intent = found->intent;
        else
            reportError("Not a valid intent value: {}\n", word);
    }
    state.matches.push_back({*space, intent});
    return {};
}

std::vector<ColorLink> matchingLinks(ImageEditState const& state)
{
    // The image's own link has the intent of the last request, each further one that of the request before.
    std::vector<ColorLink> links;
    auto const& matches = state.matches;
    for (std::size_t i = 0; i < matches.size(); ++i)
        links.push_back({matches[i].space, (i == 0 ? matches.back() : matches[i - 1]).intent});
    return links;
}

Result<void> requestEmbedding(ImageEditState& state, FunctionRequest const& request)
{
    if (!state.matches.empty()) {
        noteMissing("match_colorspace==nil");
        return fail("Cannot do {} after --matchTo.", request.at(0));
    }
    if (request.at(0) == "--embedProfileIfNone" && state.image.space().profile())
        return {};
    return embedProfile(state, request.at(1));
}

Result<void> requestProfileReplacement(ImageEditState& state, FunctionRequest const& request)
{
    if (!state.matches.empty()) {
        noteMissing("match_colorspace==nil");
        return fail("Cannot do {} {} after --matchTo.", request.at(0), request.at(1));
    }
    return embedProfile(state, request.at(2));
}

Result<void> requestProfileDeletion(ImageEditState& state)
{
    auto image = replaceColorSpace(state.image, std::nullopt);
    if (!image) {
        noteMissing("newing");
        return fail("Cannot delete profile from file");
    }
    state.image = std::move(*image);
    set(state.properties, codec::key::kExcludeProfile, true);
    state.properties.erase(std::string(codec::key::kProfileName));
    state.modified = true;
    return {};
}

Result<void> requestColorPropertiesDeletion(ImageEditState& state, FunctionRequest const&)
{
    auto& exif = subDictionary(state.properties, codec::key::kExif);
    set(exif, "ColorSpace", kUncalibrated);
    exif.erase("Gamma");
    auto& tiff = subDictionary(state.properties, codec::key::kTiff);
    tiff.erase("WhitePoint");
    tiff.erase("PrimaryChromaticities");
    auto& png = subDictionary(state.properties, codec::key::kPng);
    for (auto const entry :
        {codec::key::kPngGamma, codec::key::kPngSrgbIntent, codec::key::kPngChromaticities})
        png.erase(std::string(entry));
    state.modified = true;
    return {};
}

Result<void> requestSharing(ImageEditState& state, FunctionRequest const&)
{
    set(state.properties, codec::key::kOptimizeColorForSharing, true);
    set(state.properties, codec::key::kMaximumPixelSize, std::max(state.sourceWidth, state.sourceHeight));
    state.modified = true;
    return {};
}

} // namespace velk
