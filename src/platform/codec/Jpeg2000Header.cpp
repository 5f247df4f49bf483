#include "platform/codec/Jpeg2000Header.h"

#include <algorithm>
#include <cmath>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::uint8_t kWaveletCompression = 7;
constexpr std::uint8_t kDepthsVary = 255;
constexpr std::uint8_t kEnumeratedMethod = 1;
constexpr std::uint8_t kRestrictedProfileMethod = 2;
constexpr std::uint8_t kAnyProfileMethod = 3;
constexpr std::uint32_t kD50 = 0x00443530;

std::uint8_t depthCode(Jpeg2000Component const& component)
{
    return static_cast<std::uint8_t>((component.bits - 1) | (component.isSigned ? 0x80 : 0));
}

// Height, width, number and depth of the components, compression, colour space known, no rights (I.5.3.1),
// and the depth of each where they differ (I.5.3.2).
Bytes imageHeaderBoxes(Jp2HeaderFields const& fields)
{
    Bytes depths;
    std::ranges::transform(fields.components, std::back_inserter(depths), depthCode);
    bool const areEqual = std::ranges::count(depths, depths.front()) == std::ssize(depths);
    Bytes payload;
    appendBE32(payload, static_cast<std::uint32_t>(fields.size.height));
    appendBE32(payload, static_cast<std::uint32_t>(fields.size.width));
    appendBE16(payload, static_cast<std::uint16_t>(depths.size()));
    append(payload, Bytes {areEqual ? depths.front() : kDepthsVary, kWaveletCompression, 0, 0});
    auto boxes = jp2Box(jp2::kImageHeader, payload);
    if (!areEqual)
        append(boxes, jp2Box(jp2::kBitsPerComponent, depths));
    return boxes;
}

// The channels as the colours in their order, then alpha for the whole image (I.5.3.6).
Bytes channelDefinitionBox(Jp2HeaderFields const& fields)
{
    auto const colors = static_cast<std::uint16_t>(channelCount(fields.model));
    Bytes payload;
    appendBE16(payload, static_cast<std::uint16_t>(colors + 1));
    for (std::uint16_t i = 0; i <= colors; ++i) {
        bool const isAlpha = i == colors;
        auto const alphaType = fields.alpha == Alpha::Premultiplied
            ? Jp2ChannelDefinition::PremultipliedOpacity
            : Jp2ChannelDefinition::Opacity;
        appendBE16(payload, i);
        appendBE16(payload, isAlpha ? alphaType : Jp2ChannelDefinition::Color);
        appendBE16(payload, static_cast<std::uint16_t>(isAlpha ? 0 : i + 1));
    }
    return jp2Box(jp2::kChannelDefinition, payload);
}

Bytes colorBox(std::uint8_t method, ByteSpan rest)
{
    Bytes payload = {method, 0, 0};
    append(payload, rest);
    return jp2Box(jp2::kColor, payload);
}

// Lab as velk's rows hold it, which is how ICC encodes it: a and b in steps of one (in 8 bits).
void appendLabRanges(Bytes& payload, int bits)
{
    auto const zero = static_cast<std::uint32_t>(std::lround((std::exp2(bits) - 1) / 255 * 128));
    for (auto const value : {100u, 0u, 255u, zero, 255u, zero, kD50})
        appendBE32(payload, value);
}

Bytes enumeratedColorBox(ColorModel model, bool isYcc, int bits)
{
    constexpr struct {
        ColorModel model;
        std::uint32_t space;
    } kSpaces[] = {
        {ColorModel::Gray, jp2::kGrey},
        {ColorModel::RGB, jp2::kSrgb},
        {ColorModel::CMYK, jp2::kCmyk},
        {ColorModel::Lab, jp2::kCieLab},
    };
    auto const* const found = std::ranges::find(kSpaces, model, [](auto const& row) { return row.model; });
    Bytes payload;
    appendBE32(payload, isYcc ? jp2::kSycc : found->space);
    if (model == ColorModel::Lab)
        appendLabRanges(payload, bits);
    return colorBox(kEnumeratedMethod, payload);
}

/// value = numerator / denominator * 10^exponent
struct DecimalFraction {
    std::uint16_t numerator = 0, denominator = 1;
    std::int8_t exponent = 0;
};

// Pixels per inch as pixels per metre. 300 becomes 300 / 254 * 10^4, which is exact.
DecimalFraction pixelsPerMetre(double pixelsPerInch)
{
    int exponent = 4;
    auto numerator = pixelsPerInch;
    for (; numerator > 65535; numerator /= 10)
        ++exponent;
    for (; exponent > 0 && numerator * 10 <= 65535 && numerator != std::round(numerator); numerator *= 10)
        --exponent;
    return {static_cast<std::uint16_t>(std::max(1l, std::lround(numerator))), 254,
        static_cast<std::int8_t>(exponent)};
}

} // namespace

Bytes jp2Box(FourCC type, ByteSpan payload)
{
    Bytes box;
    appendBE32(box, static_cast<std::uint32_t>(payload.size() + 8));
    appendBE32(box, type.code);
    append(box, payload);
    return box;
}

Bytes jp2FileStart()
{
    constexpr std::uint8_t kSignaturePayload[] = {0x0D, 0x0A, 0x87, 0x0A};
    auto start = jp2Box(jp2::kSignature, kSignaturePayload);
    // Brand, minor version 0, and the brands that it is compatible with.
    append(start, jp2Box(jp2::kFileType, asBytes(std::string_view("jp2 \0\0\0\0jp2 ", 12))));
    return start;
}

Bytes jp2Header(Jp2HeaderFields const& fields)
{
    auto payload = imageHeaderBoxes(fields);
    append(
        payload, jp2ColorBoxes(fields.model, fields.isYcc, fields.components.front().bits, fields.profile));
    if (fields.alpha != Alpha::None)
        append(payload, channelDefinitionBox(fields));
    if (fields.resolution)
        append(payload, jp2ResolutionBox(*fields.resolution));
    return jp2Box(jp2::kHeader, payload);
}

Bytes jp2ColorBoxes(ColorModel model, bool isYcc, int bits, SharedBytes const& profile)
{
    if (!profile)
        return enumeratedColorBox(model, isYcc, bits);
    if (model == ColorModel::Gray || model == ColorModel::RGB)
        return colorBox(kRestrictedProfileMethod, *profile);
    // Readers that know no such profiles fall back on the model.
    auto boxes = colorBox(kAnyProfileMethod, *profile);
    append(boxes, enumeratedColorBox(model, isYcc, bits));
    return boxes;
}

Bytes jp2ResolutionBox(Resolution resolution)
{
    auto const x = pixelsPerMetre(resolution.x), y = pixelsPerMetre(resolution.y);
    Bytes payload;
    for (auto const value : {y.numerator, y.denominator, x.numerator, x.denominator})
        appendBE16(payload, value);
    append(payload, y.exponent, ByteOrder::Big);
    append(payload, x.exponent, ByteOrder::Big);
    auto boxes = jp2Box(jp2::kCaptureResolution, payload);
    append(boxes, jp2Box(jp2::kDisplayResolution, payload));
    return jp2Box(jp2::kResolution, boxes);
}

std::array<Jp2MetadataBox, 3> jp2MetadataBoxes(Metadata const& metadata)
{
    auto const uuidBox = [](jp2::Uuid const& uuid, ByteSpan block) -> Jp2MetadataBox {
        if (block.empty())
            return {uuid, {}};
        Bytes payload(uuid.begin(), uuid.end());
        append(payload, block);
        return {uuid, jp2Box(jp2::kUuid, payload)};
    };
    return {uuidBox(jp2::kExifUuid, metadata.exif()), uuidBox(jp2::kIptcUuid, metadata.iptc()),
        uuidBox(jp2::kXmpUuid, asBytes(metadata.xmp()))};
}

} // namespace velk::codec
