#include "platform/color/StandardProfiles.h"

#include <lcms2.h>

#include <cassert>

namespace velk::color {

namespace {

SharedBytes makeSrgbProfile()
{
    auto* const profile = cmsCreate_sRGBProfile();
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    Bytes bytes(size);
    [[maybe_unused]] auto const saved = cmsSaveProfileToMem(profile, bytes.data(), &size);
    assert(saved);
    cmsCloseProfile(profile);
    return std::make_shared<Bytes const>(std::move(bytes));
}

} // namespace

SharedBytes srgbProfile()
{
    static auto const profile = makeSrgbProfile();
    return profile;
}

} // namespace velk::color
