#include "platform/graphics/drawing/DisplayP3.h"

#include "DisplayP3Data.h"
#include "platform/color/IccProfile.h"
#include "platform/graphics/drawing/BitmapContext.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace velk::graphics {

namespace {

struct Colorant {
    char const (&signature)[5];
    std::array<std::int32_t, 3> xyz; ///< s15Fixed16
};

// Those of sRGB (IEC 61966-2-1) adapted to D50 as Bradford does; its curve is that of Display P3.
constexpr Colorant kSrgbColorants[] = {
    {"rXYZ", {0x6FA0, 0x38F2, 0x038F}},
    {"gXYZ", {0x6296, 0xB78A, 0x18DA}},
    {"bXYZ", {0x24A0, 0x0F84, 0xB6C4}},
};

// XYZType (ICC.1:2022, 10.31).
Bytes xyzElement(std::array<std::int32_t, 3> const& xyz)
{
    constexpr std::size_t kNumbers = 8;
    Bytes element(kNumbers + 4 * xyz.size());
    std::memcpy(element.data(), "XYZ ", 4);
    for (std::size_t i = 0; i < xyz.size(); ++i)
        storeInteger(element.data() + kNumbers + 4 * i, xyz[i], ByteOrder::Big);
    return element;
}

ColorSpace const& srgb()
{
    static auto const space = [] {
        auto profile = color::IccProfile::parse(ByteSpan(kDisplayP3Data)).value();
        for (auto const& [signature, xyz] : kSrgbColorants)
            profile.setTag(FourCC(signature), xyzElement(xyz));
        return ColorSpace::withProfile(ColorModel::RGB, shareBytes(profile.serialize()));
    }();
    return space;
}

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

ColorSpace const& meaningOnCanvas(ColorSpace const& base)
{
    if (!base.profile())
        return srgb();
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

PixelLayout BitmapContext::layout(Size size)
{
    return {size, {ComponentType::UInt8, ColorModel::RGB, Alpha::Premultiplied}, displayP3()};
}

} // namespace velk::graphics
