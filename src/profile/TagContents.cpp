#include "profile/TagContents.h"

#include "profile/ElementEditor.h"
#include "profile/ProfileCheckStages.h"

#include <algorithm>

namespace velk {

namespace {

constexpr struct {
    FourCC type;
    TagFindings (*check)(ByteSpan element, ContentCheck const& check);
} kTypes[] = {
    {FourCC("desc"), checkDescription},
    {FourCC("text"), checkText},
    {FourCC("mluc"), checkLocalizedText},
    {FourCC("para"), checkParametricCurve},
    {FourCC("mft1"), checkLut},
    {FourCC("mft2"), checkLut},
    {FourCC("mAB "), checkMultiProcessLut},
    {FourCC("mBA "), checkMultiProcessLut},
};

TagFindings checkContent(ByteSpan element, ContentCheck const& check)
{
    auto const type = ElementEditor(element).signature(0);
    auto const* const found = std::ranges::find(kTypes, type, [](auto const& row) { return row.type; });
    return found == std::end(kTypes) ? TagFindings() : found->check(element, check);
}

} // namespace

void checkTagContents(ProfileCheckContext& context)
{
    TagPass pass(context);
    for (auto const signature : context.profile.tagSignatures()) {
        ContentCheck const check {context.header, context.path, lutDirection(signature)};
        pass.examine(signature, static_cast<std::uint32_t>(check.direction),
            [&](ByteSpan element) { return checkContent(element, check); });
    }
}

} // namespace velk
