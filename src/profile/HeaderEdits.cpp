#include "profile/HeaderEdits.h"

#include "profile/ProfileAssertions.h"
#include "properties/ProfileProperties.h"
#include "properties/TextConversions.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <optional>

namespace velk {

using color::ProfileHeader;

namespace {

constexpr std::uint32_t kQualityShift = 16;
constexpr std::uint32_t kQualityMask = 3u << kQualityShift;

// Each of these sets one field from a text, or leaves the header alone and returns false.

template <FourCC ProfileHeader::*Field> bool setSignature(ProfileHeader& header, std::string const& value)
{
    auto const code = parseSignature(value);
    if (code == kNoFourCC)
        return false;
    header.*Field = code;
    return true;
}

bool setInteger(std::uint32_t& field, std::string const& value)
{
    auto const number = parseInteger(value);
    if (number == -1)
        return false;
    field = static_cast<std::uint32_t>(number);
    return true;
}

bool setDeviceModel(ProfileHeader& header, std::string const& value)
{
    return setInteger(header.deviceModel, value);
}

template <std::size_t Word> bool setDeviceAttributes(ProfileHeader& header, std::string const& value)
{
    return setInteger(header.deviceAttributes[Word], value);
}

std::optional<std::uint32_t> indexOf(std::span<std::string_view const> names, std::string_view name)
{
    auto const found = std::ranges::find(names, name);
    if (found == names.end())
        return std::nullopt;
    return static_cast<std::uint32_t>(found - names.begin());
}

bool setQuality(ProfileHeader& header, std::string const& value)
{
    auto const quality = indexOf(profileQualityNames(), value);
    if (quality)
        header.flags = (header.flags & ~kQualityMask) | *quality << kQualityShift;
    return quality.has_value();
}

bool setRenderingIntent(ProfileHeader& header, std::string const& value)
{
    // A misspelling that has always been understood.
    auto const intent = indexOf(renderingIntentNames(), value == "satuation" ? "saturation" : value);
    header.renderingIntent = intent.value_or(header.renderingIntent);
    return intent.has_value();
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// D.d or D.d.d with a major version of 2 or 4.
bool setVersion(ProfileHeader& header, std::string const& value)
{
    bool const hasBugFix = value.size() == 5;
    bool const isVersion = (value.size() == 3 || hasBugFix) && (value[0] == '2' || value[0] == '4')
        && value[1] == '.' && isDigit(value[2]) && (!hasBugFix || (value[3] == '.' && isDigit(value[4])));
    if (!isVersion)
        return false;
    auto const digit = [&](std::size_t at) { return static_cast<std::uint32_t>(value[at] - '0'); };
    header.version = digit(0) << 24 | digit(2) << 20 | (hasBugFix ? digit(4) << 16 : 0);
    return true;
}

bool isIn(int value, int low, int high)
{
    return value >= low && value <= high;
}

// YYYY:MM:DD, with or without hh:mm:ss behind it.
bool setCreation(ProfileHeader& header, std::string const& value)
{
    int year = 0, month = 0, day = 0, hours = 0, minutes = 0, seconds = 0;
    auto const count = std::sscanf(
        value.c_str(), "%04d:%02d:%02d %02d:%02d:%02d", &year, &month, &day, &hours, &minutes, &seconds);
    bool const isDate = isIn(year, 1981, 2999) && isIn(month, 1, 12) && isIn(day, 1, 31);
    bool const isTime = isIn(hours, 0, 23) && isIn(minutes, 0, 59) && isIn(seconds, 0, 59);
    if ((count != 3 && count != 6) || !isDate || !isTime)
        return false;
    auto const field = [](int number) { return static_cast<std::uint16_t>(number); };
    header.creation = {field(year), field(month), field(day), field(hours), field(minutes), field(seconds)};
    return true;
}

// Whether the debug flag names the failed step before the message or after it.
enum class Noted { Before, After };

struct HeaderKey {
    std::string_view key;
    bool (*set)(ProfileHeader&, std::string const& value);
    std::string_view message;
    ProfileStep step;
    Noted noted;
};

constexpr HeaderKey kHeaderKeys[] = {
    {"cmm", setSignature<&ProfileHeader::cmm>, "Not a valid cmm signature", {"t!=-1", 248}, Noted::Before},
    {"creator", setSignature<&ProfileHeader::creator>, "Not a valid creator signature", {"t!=-1", 255},
        Noted::Before},
    {"platform", setSignature<&ProfileHeader::platform>, "Not a valid platform signature", {"t!=-1", 262},
        Noted::Before},
    {"deviceManufacturer", setSignature<&ProfileHeader::deviceManufacturer>,
        "Not a valid deviceManufacturer signature", {"t!=-1", 269}, Noted::Before},
    {"quality", setQuality, "Not a valid quality value", {"v!=-1", 276}, Noted::After},
    {"renderingIntent", setRenderingIntent, "Not a valid intent value", {"v!=-1", 283}, Noted::After},
    {"version", setVersion, "Not a valid version value", {"v!=-1", 290}, Noted::After},
    {"deviceModel", setDeviceModel, "Not a valid deviceModel value", {"v!=-1", 297}, Noted::Before},
    {"deviceAttributes0", setDeviceAttributes<0>, "Not a valid deviceAttributes0 value", {"v!=-1", 304},
        Noted::Before},
    {"deviceAttributes1", setDeviceAttributes<1>, "Not a valid deviceAttributes1 value", {"v!=-1", 311},
        Noted::Before},
    {"creation", setCreation, "Not a valid creation value", {"dt.year", 318}, Noted::After},
};

HeaderKey const* findKey(std::string_view key)
{
    auto const found = std::ranges::find(kHeaderKeys, key, &HeaderKey::key);
    return found == std::end(kHeaderKeys) ? nullptr : found;
}

} // namespace

bool isHeaderKey(std::string_view key)
{
    return findKey(key) != nullptr;
}

bool editHeader(ProfileHeader& header, std::string_view key, std::string const& value)
{
    auto const* const row = findKey(key);
    assert(row);
    if (row->set(header, value))
        return true;
    if (row->noted == Noted::Before)
        noteMissing(row->step);
    reportError("{}\n", row->message);
    if (row->noted == Noted::After)
        noteMissing(row->step);
    return false;
}

} // namespace velk
