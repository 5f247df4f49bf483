#include "platform/graphics/drawing/DisplayP3.h"

#include "DisplayP3Data.h"
#include "platform/color/IccProfile.h"
#include "platform/color/Srgb.h"

#include <algorithm>
#include <cstdlib>

namespace velk::graphics {

namespace {

// Whether both elements are of one type and the s15Fixed16 numbers in them differ by no more than rounding.
// What stands before `numbers` is equal.
bool areClose(ByteSpan a, ByteSpan b, std::size_t numbers)
{
    constexpr std::int64_t kRounding = 0x20;
    if (a.size() != b.size() || a.size() < numbers || !std::equal(a.begin(), a.begin() + numbers, b.begin()))
        return false;
    for (auto at = numbers; at + 4 <= a.size(); at += 4) {
        auto const number = [at](ByteSpan element) {
            return static_cast<std::int64_t>(static_cast<std::int32_t>(loadBE32(element.data() + at)));
        };
        if (std::abs(number(a) - number(b)) > kRounding)
            return false;
    }
    return true;
}

ColorSpace meaningOnCanvas(ColorSpace const& base)
{
    if (!base.profile())
        return color::srgbSpace();
    return isDisplayP3(base) ? displayP3() : base;
}

} // namespace

ColorSpace const& displayP3()
{
    static auto const space = ColorSpace::withProfile(ColorModel::RGB, shareBytes(ByteSpan(kDisplayP3Data)));
    return space;
}

bool isDisplayP3(ColorSpace const& space)
{
    auto const& profile = space.profile();
    if (space.model() != ColorModel::RGB || !profile)
        return false;
    if (equalBytes(profile, displayP3().profile()))
        return true;
    struct {
        char const (&signature)[5];
        std::size_t numbers; ///< where the numbers of its element begin
    } constexpr kTags[] = {{"rXYZ", 8}, {"gXYZ", 8}, {"bXYZ", 8}, {"rTRC", 12}, {"gTRC", 12}, {"bTRC", 12}};
    return color::profileElement(*profile, FourCC("A2B0")).empty()
        && std::all_of(std::begin(kTags), std::end(kTags), [&](auto const& tag) {
               FourCC const signature(tag.signature);
               return areClose(color::profileElement(*profile, signature),
                   color::profileElement(ByteSpan(kDisplayP3Data), signature), tag.numbers);
           });
}

Image forCanvas(Image const& image)
{
    auto const base = image.space().base();
    if (base.model() != ColorModel::RGB)
        return image;
    return image.withColorSpace(image.space().replacingProfile(meaningOnCanvas(base).profile()));
}

} // namespace velk::graphics
