#include "cli/FunctionTable.h"

#include "base/Files.h"
#include "base/Utf8.h"
#include "cli/PathArguments.h"

namespace velk {

namespace {

constexpr std::uint64_t kMaximumScriptSize = std::uint64_t {256} << 20;
constexpr std::string_view kKeyParameter = "key";

template <typename T> T& created(std::optional<T>& list)
{
    return list ? *list : list.emplace();
}

bool isKeyTooLong(FunctionEntry const& function, std::string_view key)
{
    if (key.size() <= kMaximumTextLength)
        return false;
    reportError("{}: the key is longer than {} bytes\n", function.longName, kMaximumTextLength);
    return true;
}

FunctionRequest makeRequest(FunctionEntry const& function, Arguments parameters)
{
    FunctionRequest request {std::string(function.longName)};
    request.insert(request.end(), parameters.begin(), parameters.end());
    return request;
}

void switchDebug(RunSettings&, FunctionEntry const&, Arguments)
{
    setDebug();
}

template <RunMode mode> void chooseMode(RunSettings& settings, FunctionEntry const&, Arguments)
{
    settings.mode = mode;
}

void switchVerify(RunSettings& settings, FunctionEntry const&, Arguments)
{
    settings.verify = true;
}

void switchOneLine(RunSettings& settings, FunctionEntry const&, Arguments)
{
    settings.oneLine = true;
}

void addQueryKey(RunSettings& settings, FunctionEntry const& function, Arguments parameters)
{
    if (isKeyTooLong(function, parameters[0]))
        return;
    auto& keys = created(settings.queryKeys);
    if (std::ranges::find(keys, parameters[0]) == keys.end())
        keys.emplace_back(parameters[0]);
}

void addModification(RunSettings& settings, FunctionEntry const& function, Arguments parameters)
{
    if (function.names[0] == kKeyParameter && isKeyTooLong(function, parameters[0]))
        return;
    created(settings.modifications).push_back(makeRequest(function, parameters));
}

void addExtraction(RunSettings& settings, FunctionEntry const& function, Arguments parameters)
{
    created(settings.extractions).push_back(makeRequest(function, parameters));
}

void setOutput(RunSettings& settings, FunctionEntry const&, Arguments parameters)
{
    recordOutputPath(settings, parameters[0]);
}

// A script that is empty or no text is as good as none; the run then asks for files and functions.
void setScript(RunSettings& settings, FunctionEntry const&, Arguments parameters)
{
    auto const source = readFile(parameters[0], kMaximumScriptSize);
    if (!source || source->empty() || !isUtf8(asText(*source)))
        return;
    settings.scriptSource = asText(*source);
    settings.fileRequired = false;
}

constexpr auto kOther = category::kQuery;
constexpr auto kQueryBoth = category::kAll;
constexpr auto kQueryImage = category::kImage | category::kQuery;
constexpr auto kQueryProfile = category::kProfile | category::kQuery;
constexpr auto kModifyBoth = category::kImage | category::kProfile;
constexpr auto kModifyImage = category::kImage;
constexpr auto kModifyProfile = category::kProfile;

// clang-format off
constexpr FunctionEntry kFunctions[] = {
    {kOther, 0, "--debug", {}, switchDebug,
        "Enable debugging output"},
    {kOther, 'h', "--help", {}, chooseMode<RunMode::Help>,
        "Show help"},
    {kOther, 'H', "--helpProperties", {}, chooseMode<RunMode::HelpProperties>,
        "Show help for properties"},
    {kOther, 0, "--man", {}, chooseMode<RunMode::Manual>,
        "Generate man pages"},
    {kOther, 'v', "--version", {}, chooseMode<RunMode::Version>,
        "Show the version"},
    {kOther, 0, "--formats", {}, chooseMode<RunMode::Formats>,
        "Show the read/write formats"},
    {kQueryBoth, 'g', "--getProperty", {kKeyParameter}, addQueryKey,
        "Output the property value for key to stdout."},
    {kModifyBoth, 's', "--setProperty", {kKeyParameter, "value"}, addModification,
        "Set a property value for key to value."},
    {kModifyBoth, 'd', "--deleteProperty", {kKeyParameter}, addModification,
        "Remove a property value for key."},
    {kQueryImage, 'x', "--extractProfile", {"profile"}, addExtraction,
        "Get the embedded profile from image and write it to profile."},
    {kModifyImage, 'e', "--embedProfile", {"profile"}, addModification,
        "Embed profile in image."},
    {kModifyImage, 'E', "--embedProfileIfNone", {"profile"}, addModification,
        "Embed profile in image only if image doen't have a profile."},
    {kModifyImage, 'm', "--matchTo", {"profile"}, addModification,
        "Color match image to profile."},
    {kModifyImage, 'M', "--matchToWithIntent", {"profile", "intent"}, addModification,
        "Color match image to profile with rendering intent "
        "perceptual | relative | saturation | absolute."},
    {kModifyImage, 0, "--deleteColorManagementProperties", {}, addModification,
        "Delete color management properties in TIFF, PNG, and EXIF dictionaries."},
    {kModifyImage, 'r', "--rotate", {"degreesCW"}, addModification,
        {}},
    {kModifyImage, 'f', "--flip", {"horizontal|vertical"}, addModification,
        {}},
    {kModifyImage, 'c', "--cropToHeightWidth", {"pixelsH", "pixelsW"}, addModification,
        "Crop image to fit specified size."},
    {kModifyImage, 0, "--cropOffset", {"offsetY", "offsetH"}, addModification,
        "Crop offset from top left corner."},
    {kModifyImage, 'p', "--padToHeightWidth", {"pixelsH", "pixelsW"}, addModification,
        "Pad image with pixels to fit specified size."},
    {kModifyImage, 0, "--padColor", {"hexcolor"}, addModification,
        "Use this color when padding. White=FFFFFF, Red=FF0000, Default=Black=000000"},
    {kModifyImage, 'z', "--resampleHeightWidth", {"pixelsH", "pixelsW"}, addModification,
        "Resample image at specified size. Image apsect ratio may be altered."},
    {kModifyImage, 0, "--resampleWidth", {"pixelsW"}, addModification,
        "Resample image to specified width."},
    {kModifyImage, 0, "--resampleHeight", {"pixelsH"}, addModification,
        "Resample image to specified height."},
    {kModifyImage, 'Z', "--resampleHeightWidthMax", {"pixelsWH"}, addModification,
        "Resample image so height and width aren't greater than specified size."},
    {kModifyImage, 'i', "--addIcon", {}, addModification,
        "Add a Burrow icon to image file."},
    {kModifyImage, 0, "--optimizeColorForSharing", {}, addModification,
        "Optimize color for sharing."},
    {kQueryProfile, 'X', "--extractTag", {"tag", "tagFile"}, addExtraction,
        "Write a profile tag element to tagFile."},
    {kQueryProfile, 0, "--verify", {}, switchVerify,
        "Verify any profile problems and log output to stdout."},
    {kModifyProfile, 0, "--deleteTag", {"tag"}, addModification,
        "Remove the tag element from a profile."},
    {kModifyProfile, 0, "--copyTag", {"srcTag", "dstTag"}, addModification,
        "Copy the srcTag element of a profile to dstTag."},
    {kModifyProfile, 0, "--loadTag", {"tag", "tagFile"}, addModification,
        "Set the tag element of a profile to the contents of tagFile."},
    {kModifyProfile, 0, "--repair", {}, addModification,
        "Repair any profile problems and log output to stdout."},
    {kModifyBoth, 'o', "--out", {"file-or-directory"}, setOutput,
        {}},
    {kQueryBoth, '1', "--oneLine", {}, switchOneLine,
        "Output for each file on a single line with tab delimiter"},
    {kModifyImage, 'j', "--js", {"file"}, setScript,
        "Execute JavaScript file"},
};
// clang-format on

bool isShortForm(std::string_view argument, char letter)
{
    return letter != 0 && argument.size() == 2 && argument[0] == '-' && argument[1] == letter;
}

} // namespace

std::span<FunctionEntry const> functionTable()
{
    return kFunctions;
}

FunctionEntry const* findFunction(std::string_view argument)
{
    auto const found = std::ranges::find_if(kFunctions, [&](auto const& function) {
        return function.longName == argument || isShortForm(argument, function.shortLetter);
    });
    return found == std::end(kFunctions) ? nullptr : found;
}

} // namespace velk
