#include "profile/ProfileCheckStages.h"

#include <algorithm>
#include <span>

namespace velk {

namespace {

using Tags = std::span<FourCC const>;

constexpr FourCC kEveryProfile[] = {FourCC("cprt"), FourCC("desc")};
constexpr FourCC kEveryProfileButLinks[] = {FourCC("wtpt")};

constexpr FourCC kMatrixSet[] = {
    FourCC("rXYZ"), FourCC("gXYZ"), FourCC("bXYZ"), FourCC("rTRC"), FourCC("gTRC"), FourCC("bTRC")};
constexpr FourCC kGrayCurve[] = {FourCC("kTRC")};
constexpr FourCC kToPcs[] = {FourCC("A2B0")};
constexpr FourCC kBothWays[] = {FourCC("A2B0"), FourCC("B2A0")};
constexpr FourCC kEveryIntent[] = {FourCC("A2B0"), FourCC("B2A0"), FourCC("A2B1"), FourCC("B2A1"),
    FourCC("A2B2"), FourCC("B2A2"), FourCC("gamt")};
constexpr FourCC kLink[] = {FourCC("A2B0"), FourCC("pseq")};
constexpr FourCC kNamedColors[] = {FourCC("ncl2")};

enum class Spaces : std::uint8_t { RgbToXyz, Gray, Any };

struct Requirement {
    FourCC profileClass;
    Spaces spaces;
    Tags tags;
    /// What version 4 takes in place of an incomplete set of `tags`.
    Tags alternative = {};
};

// The first row that applies counts (ICC.1:2001-04, 6.3; ICC.1:2022, 8).
constexpr Requirement kRequirements[] = {
    {FourCC("link"), Spaces::Any, kLink},
    {FourCC("scnr"), Spaces::RgbToXyz, kMatrixSet, kToPcs},
    {FourCC("scnr"), Spaces::Gray, kGrayCurve},
    {FourCC("scnr"), Spaces::Any, kToPcs},
    {FourCC("mntr"), Spaces::RgbToXyz, kMatrixSet, kBothWays},
    {FourCC("mntr"), Spaces::Gray, kGrayCurve},
    {FourCC("mntr"), Spaces::Any, kBothWays},
    {FourCC("prtr"), Spaces::Gray, kGrayCurve},
    {FourCC("prtr"), Spaces::Any, kEveryIntent},
    {FourCC("abst"), Spaces::Any, kToPcs},
    {FourCC("nmcl"), Spaces::Any, kNamedColors},
    {FourCC("spac"), Spaces::Any, kBothWays},
};

bool hasSpaces(color::ProfileHeader const& header, Spaces spaces)
{
    switch (spaces) {
    case Spaces::RgbToXyz:
        return header.space == FourCC("RGB ") && header.pcs == FourCC("XYZ ");
    case Spaces::Gray:
        return header.space == FourCC("GRAY");
    case Spaces::Any:
        break;
    }
    return true;
}

bool hasAll(ProfileCheckContext const& context, Tags tags)
{
    return std::ranges::all_of(tags, [&](FourCC tag) { return context.profile.contains(tag); });
}

void require(ProfileCheckContext& context, Tags tags)
{
    constexpr int kTagNotFound = -4204;
    for (auto const tag : tags) {
        if (context.profile.contains(tag))
            continue;
        reportProblem(context.mode, tag, kTagNotFound, "Required tag is not present. ", false);
        ++context.problemCount;
    }
}

void requireForClass(ProfileCheckContext& context)
{
    auto const* const found = std::ranges::find_if(kRequirements, [&](Requirement const& row) {
        return row.profileClass == context.header.profileClass && hasSpaces(context.header, row.spaces);
    });
    if (found == std::end(kRequirements))
        return;
    bool const hasChoice = context.majorVersion == 4 && !found->alternative.empty();
    require(context, hasChoice && !hasAll(context, found->tags) ? found->alternative : found->tags);
}

} // namespace

void checkRequiredTags(ProfileCheckContext& context)
{
    require(context, kEveryProfile);
    if (context.header.profileClass != FourCC("link"))
        require(context, kEveryProfileButLinks);
    requireForClass(context);
}

} // namespace velk
