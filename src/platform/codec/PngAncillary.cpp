#include "platform/codec/PngAncillary.h"

#include "platform/codec/PngChunks.h"
#include "platform/codec/PngText.h"
#include "platform/codec/PropertyKeys.h"
#include "platform/color/ProfileText.h"

#include <algorithm>
#include <cmath>

namespace velk::codec {

namespace {

constexpr double kFixedPoint = 100000;
constexpr double kLargestInteger = 0x7FFFFFFF;

// A number in units of 1/100000; PNG's integers have 31 bits.
std::optional<std::uint32_t> fixedPoint(PropertyValue const& value)
{
    auto const scaled = std::round(value.number() * kFixedPoint);
    if (!value.isNumber() || !(scaled >= 0 && scaled <= kLargestInteger))
        return std::nullopt;
    return static_cast<std::uint32_t>(scaled);
}

void appendGamma(Bytes& to, PropertyValue const& value)
{
    auto const gamma = fixedPoint(value);
    if (!gamma || *gamma == 0)
        return;
    Bytes data;
    appendBE32(data, *gamma);
    appendPngChunk(to, pngType::kGamma, data);
}

void appendChromaticities(Bytes& to, PropertyValue const& value)
{
    auto const* array = value.asArray();
    if (!array || array->size() != 8)
        return;
    Bytes data;
    for (auto const& entry : *array) {
        auto const coordinate = fixedPoint(entry);
        if (!coordinate)
            return;
        appendBE32(data, *coordinate);
    }
    appendPngChunk(to, pngType::kChromaticities, data);
}

void appendSrgbIntent(Bytes& to, PropertyValue const& value)
{
    auto const intent = value.number();
    if (!value.isNumber() || !(intent >= 0 && intent <= 3))
        return;
    std::array<std::uint8_t, 1> const data = {static_cast<std::uint8_t>(intent)};
    appendPngChunk(to, pngType::kSrgb, data);
}

std::uint32_t perMetre(double perInch)
{
    return static_cast<std::uint32_t>(std::clamp(std::round(perInch / kMetresPerInch), 1.0, kLargestInteger));
}

} // namespace

void appendPngProfile(Bytes& to, ByteSpan profile)
{
    auto name = latin1Keyword(color::profileDescription(profile).value_or(std::string()));
    if (name.empty())
        name = "ICC profile";
    Bytes data;
    append(data, name);
    data.insert(data.end(), 2, 0); // name's end, compression method
    append(data, ByteSpan(deflateZlib(profile)));
    appendPngChunk(to, pngType::kProfile, data);
}

void appendPngResolution(Bytes& to, Resolution resolution)
{
    Bytes data;
    appendBE32(data, perMetre(resolution.x));
    appendBE32(data, perMetre(resolution.y));
    data.push_back(1); // unit: metre
    appendPngChunk(to, pngType::kResolution, data);
}

void appendPngExif(Bytes& to, ByteSpan exif)
{
    if (!exif.empty())
        appendPngChunk(to, pngType::kExif, exif);
}

void appendPngKeyword(Bytes& to, std::string_view keyword, PropertyValue const& value)
{
    if (auto const* text = value.asString())
        appendPngText(to, {std::string(keyword), *text});
    else if (auto const* integer = value.asInteger())
        appendPngText(to, {std::string(keyword), fmt::format("{}", *integer)});
    else if (value.isNumber())
        appendPngText(to, {std::string(keyword), fmt::format("{}", value.number())});
}

std::array<PngColorProperty, 3> const kPngColorProperties = {{
    {key::kPngChromaticities, pngType::kChromaticities, appendChromaticities},
    {key::kPngGamma, pngType::kGamma, appendGamma},
    {key::kPngSrgbIntent, pngType::kSrgb, appendSrgbIntent},
}};

bool isPngKeyword(std::string_view key)
{
    return key != key::kPngInterlaceType
        && std::ranges::find(kPngColorProperties, key, &PngColorProperty::key) == kPngColorProperties.end();
}

} // namespace velk::codec
