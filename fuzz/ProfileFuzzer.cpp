// ICC profiles: opening, description, editing, verification and repair.
#include "base/Files.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/ScratchFile.h"
#include "platform/color/IccProfile.h"
#include "platform/color/ProfileText.h"
#include "profile/Profile.h"
#include "profile/ProfileCheck.h"
#include "properties/ProfileProperties.h"

using namespace velk;

namespace {

void describe(std::string const& path, color::IccProfile const& profile)
{
    [[maybe_unused]] auto const properties = profileProperties(path);
    [[maybe_unused]] auto const description = color::profileDescription(profile);
    for (auto const signature : profile.tagSignatures()) {
        auto const element = profile.element(signature);
        fuzz::require(profile.tag(signature) && asText(*profile.tag(signature)) == asText(element),
            "a tag is its element");
        [[maybe_unused]] auto const text = color::elementText(element);
    }
}

// Edits that move every element must not change any but the edited.
void checkLayout(color::IccProfile profile)
{
    auto const original = profile;
    Bytes const element = {'t', 'e', 'x', 't', 0, 0, 0, 0, 'a'};
    profile.setTag(FourCC("zzzz"), element);
    auto const bytes = profile.serialize();
    if (bytes.size() > color::IccProfile::kMaximumSize)
        return;
    auto const again = color::IccProfile::parse(bytes);
    fuzz::require(again.has_value(), "what was laid out can be opened");
    for (auto const signature : original.tagSignatures()) {
        if (signature != FourCC("zzzz"))
            fuzz::require(asText(again->element(signature)) == asText(original.element(signature)),
                "elements keep their bytes");
    }
    fuzz::require(asText(again->element(FourCC("zzzz"))) == asText(element), "the new tag is there");
}

void modify(std::string const& path)
{
    auto const output = fuzz::scratchDirectory() + "/edited.icc";
    modifyProfile(path, output,
        {{"--setProperty", "description", "größer"}, {"--setProperty", "copyright", "Nobody"},
            {"--deleteTag", "desc"}, {"--copyTag", "rXYZ", "abcd"},
            {"--setProperty", "renderingIntent", "1"}});
    modifyProfile(path, output, {{"--copyTag", "wtpt", "rTRC"}});
}

void repair(std::string const& path)
{
    verifyProfile(path);
    repairProfile(path);
    fuzz::require(color::IccProfile::open(path).has_value(), "a repaired profile can be opened");
    // Some repairs leave something to the next one; none is without end.
    constexpr int kMostRepairs = 4;
    for (int i = 1; i < kMostRepairs; ++i)
        repairProfile(path);
    auto const repaired = readFile(path).value();
    repairProfile(path);
    fuzz::require(readFile(path).value() == repaired, "a repair is done when it is done");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    [[maybe_unused]] auto const cut = color::profileElement({data, size}, FourCC("desc"));
    auto const& path = fuzz::scratchFile({data, size});
    auto const profile = color::IccProfile::open(path);
    if (!profile)
        return 0;
    describe(path, *profile);
    checkLayout(*profile);
    modify(path);
    repair(path);
    return 0;
}
