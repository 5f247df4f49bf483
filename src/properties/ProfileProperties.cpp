#include "properties/ProfileProperties.h"

#include "base/Files.h"
#include "base/Reporting.h"
#include "base/TextEncoding.h"
#include "platform/color/IccProfile.h"
#include "platform/color/ProfileText.h"
#include "properties/TextConversions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>

namespace velk {

using color::IccProfile;
using color::ProfileHeader;

namespace {

constexpr std::array<std::string_view, 3> kQualityNames = {"normal", "draft", "best"};
constexpr std::array<std::string_view, 4> kIntentNames = {"perceptual", "relative", "saturation", "absolute"};
constexpr int kQualityShift = 16;

constexpr struct {
    std::string_view key;
    FourCC ProfileHeader::*field;
} kSignatureFields[] = {
    {"cmm", &ProfileHeader::cmm},
    {"class", &ProfileHeader::profileClass},
    {"space", &ProfileHeader::space},
    {"pcs", &ProfileHeader::pcs},
    {"platform", &ProfileHeader::platform},
    {"deviceManufacturer", &ProfileHeader::deviceManufacturer},
    {"creator", &ProfileHeader::creator},
};

// Header integers show as signed 32-bit numbers.
PropertyValue signedNumber(std::uint32_t field)
{
    return PropertyValue(static_cast<int>(field));
}

// Each part is one character, counted on from '0', whatever that gives.
std::string versionText(std::uint32_t version)
{
    std::string text;
    auto const addPart = [&](std::uint32_t value) { appendUtf8(text, U'0' + value); };
    addPart(version >> 24);
    text += '.';
    addPart(version >> 20 & 15);
    text += '.';
    addPart(version >> 16 & 15);
    return text;
}

std::string dateText(color::ProfileDate const& date)
{
    return fmt::format("{:04}:{:02}:{:02} {:02}:{:02}:{:02}", date.year, date.month, date.day, date.hours,
        date.minutes, date.seconds);
}

std::string digestText(color::ProfileDigest const& digest)
{
    return fmt::format("{:02X}", fmt::join(digest, ""));
}

void addHeader(ProfileHeader const& header, PropertyDictionary& properties)
{
    set(properties, "size", signedNumber(header.size));
    for (auto const& [key, field] : kSignatureFields)
        set(properties, key, formatSignature(header.*field));
    set(properties, "deviceModel", signedNumber(header.deviceModel));
    set(properties, "deviceAttributes0", signedNumber(header.deviceAttributes[0]));
    set(properties, "deviceAttributes1", signedNumber(header.deviceAttributes[1]));
    set(properties, "version", versionText(header.version));
    set(properties, "creation", dateText(header.creation));
    // The fourth value of the quality bits has no name.
    if (auto const quality = header.flags >> kQualityShift & 3; quality < kQualityNames.size())
        set(properties, "quality", kQualityNames[quality]);
    set(properties, "renderingIntent", kIntentNames[header.renderingIntent & 3]);
}

// A textType copyright counts up to its first zero byte, and only when it is ASCII. Types that cannot be
// taken for it show as they read.
std::optional<std::string> copyrightText(ByteSpan element)
{
    constexpr std::size_t kTypeHeaderSize = 8;
    if (element.size() < kTypeHeaderSize)
        return std::nullopt;
    if (startsWith(element, "mluc") || startsWith(element, "desc"))
        return color::elementText(element);
    auto const text = asText(element.subspan(kTypeHeaderSize));
    auto const end = std::min(text.find('\0'), text.size());
    return isAscii(text.substr(0, end)) ? std::optional(std::string(text.substr(0, end))) : std::nullopt;
}

void addTexts(IccProfile const& profile, PropertyDictionary& properties)
{
    if (auto const description = color::profileDescription(profile))
        set(properties, "description", *description);
    auto const element = profile.tag(FourCC("cprt"));
    if (auto const copyright = element ? copyrightText(*element) : std::nullopt)
        set(properties, "copyright", *copyright);
}

} // namespace

std::optional<PropertyDictionary> profileProperties(std::string const& path)
{
    auto const profile = IccProfile::open(path);
    if (!profile)
        return std::nullopt;
    PropertyDictionary properties;
    set(properties, "path", path);
    addHeader(profile->header(), properties);
    set(properties, "md5", digestText(profile->digest()));
    addTexts(*profile, properties);
    return properties;
}

void warnWhyNotAProfile(std::string const& path)
{
    std::array<std::uint8_t, color::kProfileHeaderSize> header;
    auto const file = InputFile::open(path);
    if (!file || !file->readExactlyAt(0, header) || !color::isProfile(header))
        return;
    if (auto const profile = IccProfile::open(path); !profile)
        reportWarning("{}: {}\n", path, profile.error().message);
}

std::span<std::string_view const> profileQualityNames()
{
    return kQualityNames;
}

std::span<std::string_view const> renderingIntentNames()
{
    return kIntentNames;
}

} // namespace velk
