#include "profile/Profile.h"

#include "base/Reporting.h"
#include "base/RunResults.h"
#include "platform/color/IccProfile.h"
#include "profile/HeaderEdits.h"
#include "profile/ProfileAssertions.h"
#include "profile/ProfileCheck.h"
#include "profile/TagFiles.h"
#include "profile/TextTags.h"
#include "properties/TextConversions.h"

#include <algorithm>
#include <array>

namespace velk {

using color::IccProfile;

namespace {

struct ProfileEditState {
    /// As read; stays as it is.
    IccProfile original;
    IccProfile working;
};

// Each of these applies one request; false, after a report, abandons the file.

bool refuse(FunctionRequest const& request)
{
    reportError("Cannot do {} on file\n", request.at(0));
    return false;
}

bool refuseKey(FunctionRequest const& request)
{
    reportError("Cannot do {} {} on file\n", request.at(0), request.at(1));
    return false;
}

bool refusePropertyRemoval(ProfileEditState&, FunctionRequest const& request)
{
    return refuseKey(request);
}

bool setProperty(ProfileEditState& state, FunctionRequest const& request)
{
    auto const& key = request.at(1);
    auto const& value = request.at(2);
    if (isHeaderKey(key)) {
        auto header = state.working.header();
        if (!editHeader(header, key, value))
            return false;
        state.working.setHeader(header);
    } else if (key == "description") {
        state.working.setTag(FourCC("dscm"), descriptionElement(value));
    } else if (key == "copyright") {
        state.working.setTag(FourCC("cprt"), copyrightElement(value));
    } else {
        return refuseKey(request);
    }
    return true;
}

bool deleteTag(ProfileEditState& state, FunctionRequest const& request)
{
    if (auto const signature = parseSignature(request.at(1)); signature != kNoFourCC)
        state.working.removeTag(signature);
    return true;
}

// From the profile as read, so that what was loaded or copied just before is not seen.
bool copyTag(ProfileEditState& state, FunctionRequest const& request)
{
    if (auto const element = state.original.tag(parseSignature(request.at(1))))
        state.working.setTag(parseSignature(request.at(2)), *element);
    return true;
}

bool loadTag(ProfileEditState& state, FunctionRequest const& request)
{
    auto element = readTagFile(request.at(2));
    if (!element)
        return false;
    state.working.setTag(parseSignature(request.at(1)), *std::move(element));
    return true;
}

struct RequestKind {
    std::string_view name;
    bool (*apply)(ProfileEditState&, FunctionRequest const&);
};

constexpr RequestKind kRequestKinds[] = {
    {"--setProperty", setProperty},
    {"--deleteProperty", refusePropertyRemoval},
    {"--deleteTag", deleteTag},
    {"--copyTag", copyTag},
    {"--loadTag", loadTag},
};

bool apply(ProfileEditState& state, FunctionRequest const& request)
{
    auto const kind = std::ranges::find(kRequestKinds, request.at(0), &RequestKind::name);
    return kind == std::end(kRequestKinds) ? refuse(request) : kind->apply(state, request);
}

void writeProfile(IccProfile const& profile, std::string const& inputPath, std::string const& outputPath)
{
    auto const written = profile.write(outputPath);
    if (written)
        return noteResult(outputPath, inputPath);
    noteFailure({"err", 409});
    reportWarning("{}: {}\n", inputPath, written.error().message);
    reportError("Failed to write profile\n");
}

// The four characters of a signature, up to a zero.
std::string signatureCharacters(FourCC signature)
{
    std::array<std::uint8_t, 4> characters;
    storeInteger(characters.data(), signature.code, ByteOrder::Big);
    auto const text = asText(characters);
    return std::string(text.substr(0, text.find('\0')));
}

bool extractTag(IccProfile const& profile, std::string const& path, FunctionRequest const& request)
{
    if (request.at(0) != "--extractTag")
        return refuse(request);
    auto const signature = parseSignature(request.at(1));
    auto const element = profile.tag(signature);
    if (!element) {
        noteFailure({"err", 480});
        reportError("Tag {} not found\n", signatureCharacters(signature));
        return false;
    }
    return writeTagFile(request.at(2), *element, path);
}

} // namespace

int modifyProfile(
    std::string const& inputPath, std::string const& outputPath, std::vector<FunctionRequest> const& requests)
{
    auto profile = IccProfile::open(inputPath);
    if (!profile) {
        noteMissing({"profile", 161});
        return kNotAProfile;
    }
    ProfileEditState state {.original = *profile, .working = *profile};
    for (auto const& request : requests) {
        if (request.at(0) == "--repair") {
            repairProfile(inputPath);
            return 0;
        }
        if (!apply(state, request))
            return 0;
    }
    writeProfile(state.working, inputPath, outputPath);
    return 0;
}

int extractProfileTags(std::string const& path, std::vector<FunctionRequest> const& requests)
{
    auto const profile = IccProfile::open(path);
    if (!profile)
        return kNotAProfile;
    for (auto const& request : requests) {
        if (!extractTag(*profile, path, request))
            break;
    }
    return 0;
}

} // namespace velk
