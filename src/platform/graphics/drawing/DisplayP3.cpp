#include "platform/graphics/drawing/DisplayP3.h"

#include "base/FourCC.h"
#include "platform/color/IccProfile.h"
#include "platform/color/ProfileText.h"

#include <initializer_list>

namespace velk::graphics {

namespace {

using color::IccProfile;

struct NumbersTag {
    FourCC signature;
    FourCC type;
    std::initializer_list<std::int32_t> numbers; // s15Fixed16
};

// D50, the primaries adapted to it (Bradford), and the adaptation.
NumbersTag const kNumbers[] = {
    {FourCC("wtpt"), FourCC("XYZ "), {0xF6D6, 0x10000, 0xD32D}},
    {FourCC("rXYZ"), FourCC("XYZ "), {0x83DF, 0x3DBF, -0x45}},
    {FourCC("gXYZ"), FourCC("XYZ "), {0x4ABF, 0xB137, 0x0AB9}},
    {FourCC("bXYZ"), FourCC("XYZ "), {0x2838, 0x110B, 0xC8B9}},
    {FourCC("chad"), FourCC("sf32"), {0x10C42, 0x5DE, -0xCDB, 0x793, 0xFD90, -0x45F, -0x25E, 0x3DC, 0xC06E}},
};

// The curve of sRGB: ((X + 0.055) / 1.055) ^ 2.4 from 0.04045 on, X / 12.92 below.
constexpr std::int32_t kCurve[] = {0x26666, 0xF2A7, 0x0D59, 0x13D0, 0x0A5B};

Bytes element(FourCC type, std::span<std::int32_t const> numbers)
{
    Bytes bytes;
    appendBE32(bytes, type.code);
    appendBE32(bytes, 0);
    for (auto const number : numbers)
        appendBE32(bytes, static_cast<std::uint32_t>(number));
    return bytes;
}

SharedBytes curveElement()
{
    auto bytes = element(FourCC("para"), {});
    appendBE16(bytes, 3); // the function type with a linear start (ICC.1:2022, 10.18)
    appendBE16(bytes, 0);
    for (auto const number : kCurve)
        appendBE32(bytes, static_cast<std::uint32_t>(number));
    return std::make_shared<Bytes const>(std::move(bytes));
}

Bytes text(char const* words)
{
    color::LocalizedText const texts[] = {{{"en", "US"}, words}};
    return color::localizedElement(texts);
}

color::ProfileHeader header()
{
    return {
        .version = 0x04400000,
        .profileClass = FourCC("mntr"),
        .space = FourCC("RGB "),
        .pcs = FourCC("XYZ "),
        .creation = {.year = 2022, .month = 1, .day = 1},
        .signature = FourCC("acsp"),
        .illuminant = {0xF6D6, 0x10000, 0xD32D},
    };
}

SharedBytes profile()
{
    auto const start = header().serialize();
    Bytes empty(start.begin(), start.end());
    appendBE32(empty, 0); // no tags yet
    auto profile = IccProfile::parse(empty).value();
    profile.setTag(FourCC("desc"), text("Display P3"));
    profile.setTag(FourCC("cprt"), text("No copyright, use freely"));
    for (auto const& [signature, type, numbers] : kNumbers)
        profile.setTag(signature, element(type, numbers));
    auto const curve = curveElement();
    for (auto const signature : {FourCC("rTRC"), FourCC("gTRC"), FourCC("bTRC")})
        profile.setTag(signature, curve);
    return std::make_shared<Bytes const>(profile.serialize());
}

} // namespace

ColorSpace const& displayP3()
{
    static auto const space = ColorSpace::withProfile(ColorModel::RGB, profile());
    return space;
}

} // namespace velk::graphics
