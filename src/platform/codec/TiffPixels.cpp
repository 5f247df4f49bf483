#include "platform/codec/TiffPixels.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace velk::codec::tiff {

using namespace graphics;

namespace {

constexpr int kLargestTableDepth = 16;

// Colour channels of the photometric interpretations that are delivered as they are stored.
struct ModelRow {
    Photometric photometric;
    ColorModel model;
    std::array<SampleMeaning, 4> meanings;
};
using enum SampleMeaning;
constexpr std::array kModels = {
    ModelRow {Photometric::MinIsWhite, ColorModel::Gray, {Inverted}},
    ModelRow {Photometric::MinIsBlack, ColorModel::Gray, {Plain}},
    ModelRow {Photometric::Mask, ColorModel::Gray, {Plain}},
    ModelRow {Photometric::Rgb, ColorModel::RGB, {Plain, Plain, Plain}},
    ModelRow {Photometric::Palette, ColorModel::Indexed, {Index}},
    ModelRow {Photometric::Separated, ColorModel::CMYK, {Plain, Plain, Plain, Plain}},
    ModelRow {Photometric::YCbCr, ColorModel::RGB, {Plain, Plain, Plain}},
    ModelRow {Photometric::CieLab, ColorModel::Lab, {CieLightness, CieChroma, CieChroma}},
    ModelRow {Photometric::IccLab, ColorModel::Lab, {IccLightness, IccChroma, IccChroma}},
    ModelRow {Photometric::ItuLab, ColorModel::Lab, {ItuLightness, ItuA, ItuB}},
    ModelRow {Photometric::LogL, ColorModel::Gray, {Plain}},
    ModelRow {Photometric::LogLuv, ColorModel::RGB, {Plain, Plain, Plain}},
    ModelRow {Photometric::LinearRaw, ColorModel::RGB, {Plain, Plain, Plain}},
};

Result<ModelRow> modelOf(Structure const& structure)
{
    if (structure.photometric == Photometric::ColorFilterArray)
        return fail("raw sensor data in TIFF is not supported");
    auto const found = std::ranges::find(kModels, structure.photometric, &ModelRow::photometric);
    if (found == kModels.end())
        return fail("TIFF colour type {} is not supported", static_cast<int>(structure.photometric));
    if (structure.photometric == Photometric::LinearRaw && structure.samplesPerPixel < 3)
        return ModelRow {Photometric::LinearRaw, ColorModel::Gray, {Plain}};
    return *found;
}

Result<void> checkInks(Structure const& structure)
{
    if (structure.photometric != Photometric::Separated)
        return {};
    auto const inks = structure.inkCount == 4
        ? structure.samplesPerPixel - static_cast<int>(structure.extraSamples.size())
        : structure.inkCount;
    if (inks != 4)
        return fail("TIFF images of {} inks are not supported", inks);
    return {};
}

struct AlphaSample {
    int sample;
    Alpha layout;
};

std::optional<AlphaSample> findAlpha(Structure const& structure, int colorCount)
{
    auto const count = std::min<std::size_t>(structure.extraSamples.size(),
        static_cast<std::size_t>(std::max(structure.samplesPerPixel - colorCount, 0)));
    for (std::size_t i = 0; i < count; ++i) {
        if (structure.extraSamples[i] == 1 || structure.extraSamples[i] == 2) {
            return AlphaSample {colorCount + static_cast<int>(i),
                structure.extraSamples[i] == 1 ? Alpha::Premultiplied : Alpha::Straight};
        }
    }
    return std::nullopt;
}

Result<ComponentType> componentTypeFor(PixelPlan const& plan)
{
    auto const bits = plan.bitsPerSample;
    if (plan.sampleFormat == SampleFormat::Float) {
        if (bits != 16 && bits != 24 && bits != 32 && bits != 64)
            return fail("{}-bit floating-point samples are not supported", bits);
        return ComponentType::Float32;
    }
    if (bits <= 8)
        return ComponentType::UInt8;
    if (bits <= kLargestTableDepth)
        return ComponentType::UInt16;
    if (bits == 32 && plan.format.model != ColorModel::Lab && plan.format.model != ColorModel::Indexed)
        return ComponentType::Float32;
    return fail("TIFF images with {} bits per sample are not supported", bits);
}

// Colour maps are 16-bit by the standard; some writers store 8-bit values.
void widenNarrowColorMap(std::vector<std::uint16_t>& colorMap)
{
    bool const isNarrow = std::ranges::all_of(colorMap, [](auto value) { return value < 256; });
    for (auto& value : colorMap)
        value = isNarrow ? static_cast<std::uint16_t>(value * 257) : value;
}

Result<void> readColorMap(PixelPlan& plan, DirectoryReader const& reader, Directory const& directory)
{
    if (plan.bitsPerSample > kLargestTableDepth || plan.sampleFormat == SampleFormat::Float)
        return fail("TIFF palette images of this depth are not supported");
    auto const entries = std::size_t {1} << plan.bitsPerSample;
    auto const values = reader.integers(directory.find(tag::kColorMap), 3 * (std::size_t {1} << 16));
    if (values.size() < 3)
        return fail("the palette is missing");
    auto const stored = values.size() / 3;
    plan.colorMap.assign(3 * entries, 0);
    for (std::size_t i = 0; i < 3 * std::min(entries, stored); ++i) {
        auto const channel = i % 3, entry = i / 3;
        plan.colorMap[channel * entries + entry] =
            static_cast<std::uint16_t>(values[channel * stored + entry]);
    }
    widenNarrowColorMap(plan.colorMap);
    return {};
}

Palette paletteOf(PixelPlan const& plan)
{
    Palette palette;
    auto const entries = plan.colorMap.size() / 3;
    auto const byte = [&](std::size_t at) {
        return static_cast<std::uint8_t>((plan.colorMap[at] + 128) / 257);
    };
    for (std::size_t i = 0; i < entries; ++i)
        palette.entries.push_back({byte(i), byte(entries + i), byte(2 * entries + i), 255});
    return palette;
}

// An index of more than 8 bits or beside an alpha sample is looked up here; others are delivered.
void planPalette(PixelPlan& plan, std::optional<AlphaSample> const& alpha)
{
    if (plan.bitsPerSample <= 8 && !alpha) {
        plan.palette = paletteOf(plan);
        return;
    }
    plan.format.model = ColorModel::RGB;
    plan.channels = {{0, PaletteRed}, {0, PaletteGreen}, {0, PaletteBlue}};
}

// Default ranges of ITU-T T.42 for 8 bits.
std::array<double, 6> ituRange(DirectoryReader const& reader, Directory const& directory)
{
    std::array<double, 6> range = {0, 100, -85, 85, -75, 125};
    auto const stored = reader.numbers(directory.find(tag::kDecode), range.size());
    if (stored.size() == range.size())
        std::ranges::copy(stored, range.begin());
    return range;
}

// YCbCr and LogLuv leave the decoder as RGB and as floats.
Result<void> planDecoded(PixelPlan& plan, Structure const& structure)
{
    bool const isLog =
        structure.compression == compression::kSgiLog || structure.compression == compression::kSgiLog24;
    switch (structure.photometric) {
    case Photometric::YCbCr:
        if (structure.bitsPerSample != 8 || structure.samplesPerPixel != 3)
            return fail("YCbCr images of {} samples of {} bits are not supported", structure.samplesPerPixel,
                structure.bitsPerSample);
        if (structure.isPlanar)
            return fail("YCbCr images in separate planes are not supported");
        plan.samplesPerPlane = 3;
        plan.decoded = DecodedSamples::Rgb;
        break;
    case Photometric::LogL:
    case Photometric::LogLuv:
        if (!isLog)
            return fail("LogLuv images with compression {} are not supported", structure.compression);
        plan.decoded =
            structure.photometric == Photometric::LogL ? DecodedSamples::Luminance : DecodedSamples::Xyz;
        plan.bitsPerSample = 32;
        plan.sampleFormat = SampleFormat::Float;
        break;
    default:
        break;
    }
    return {};
}

// --- Integer samples -------------------------------------------------------------------------------------

std::uint32_t scaled(double value, ComponentType type)
{
    double const most = type == ComponentType::UInt8 ? 255 : 65535;
    return static_cast<std::uint32_t>(std::lround(std::clamp(value, 0.0, 1.0) * most));
}

// a or b, -128 to 127, in the encoding of PixelFormat.
std::uint32_t encodedChroma(double value, ComponentType type)
{
    return scaled((value + 128) / 255, type);
}

// The component that a stored code stands for. `bits` is at most 16.
std::uint32_t componentOf(std::uint32_t code, SampleMeaning meaning, PixelPlan const& plan)
{
    auto const type = plan.format.componentType;
    auto const bits = plan.bitsPerSample;
    auto const largest = (1u << bits) - 1;
    auto const signBit = 1u << (bits - 1);
    auto const shifted = plan.sampleFormat == SampleFormat::Signed ? code ^ signBit : code;
    auto const fraction = static_cast<double>(shifted) / largest;
    auto const ranged = [&](std::size_t axis) {
        auto const low = plan.decodeRange[2 * axis], high = plan.decodeRange[2 * axis + 1];
        return low + static_cast<double>(code) / largest * (high - low);
    };
    auto const mapped = [&](std::size_t channel) {
        auto const value = plan.colorMap[(channel << bits) + code];
        return type == ComponentType::UInt8 ? (value + 128u) / 257 : value;
    };
    // Units of a and b: one code at 8 bits, 256 at 16.
    auto const unit = std::ldexp(1.0, bits - 8);
    switch (meaning) {
    case Plain:
        return scaled(fraction, type);
    case Inverted:
        return scaled(1 - fraction, type);
    case Index:
        return code;
    case PaletteRed:
        return mapped(0);
    case PaletteGreen:
        return mapped(1);
    case PaletteBlue:
        return mapped(2);
    case CieLightness:
        return scaled(static_cast<double>(code) / largest, type);
    case CieChroma:
        return encodedChroma((code ^ signBit) / unit - 128, type);
    case IccLightness:
        return scaled(code / (bits > 8 ? 255 * unit : largest), type);
    case IccChroma:
        return encodedChroma(code / unit - 128, type);
    case ItuLightness:
        return scaled(ranged(0) / 100, type);
    case ItuA:
        return encodedChroma(ranged(1), type);
    case ItuB:
        return encodedChroma(ranged(2), type);
    }
    return 0;
}

template <typename Component>
std::shared_ptr<std::vector<Component> const> makeTable(SampleMeaning meaning, PixelPlan const& plan)
{
    std::vector<Component> table(std::size_t {1} << plan.bitsPerSample);
    for (std::uint32_t code = 0; code < table.size(); ++code)
        table[code] = static_cast<Component>(componentOf(code, meaning, plan));
    return std::make_shared<std::vector<Component> const>(std::move(table));
}

template <typename Component>
std::vector<std::shared_ptr<std::vector<Component> const>> makeTables(PixelPlan const& plan)
{
    std::vector<std::shared_ptr<std::vector<Component> const>> tables;
    for (auto channel = plan.channels.begin(); channel != plan.channels.end(); ++channel) {
        auto const same = std::find_if(plan.channels.begin(), channel,
            [&](auto const& other) { return other.meaning == channel->meaning; });
        if (same != channel)
            tables.push_back(tables[static_cast<std::size_t>(same - plan.channels.begin())]);
        else
            tables.push_back(makeTable<Component>(channel->meaning, plan));
    }
    return tables;
}

template <typename Component> bool isIdentity(std::vector<Component> const& table)
{
    for (std::size_t i = 0; i < table.size(); ++i) {
        if (table[i] != i)
            return false;
    }
    return true;
}

// Reads `count` samples of 1 to 15 bits, most significant bit first, into one byte each, or two above 8 bits.
template <typename Code> void unpackBits(std::uint8_t const* from, int bits, std::size_t count, Code* to)
{
    std::uint32_t held = 0;
    int available = 0;
    auto const mask = (1u << bits) - 1;
    for (std::size_t i = 0; i < count; ++i) {
        while (available < bits) {
            held = held << 8 | *from++;
            available += 8;
        }
        available -= bits;
        to[i] = static_cast<Code>(held >> available & mask);
    }
}

template <typename Value> Value loadNative(std::uint8_t const* from)
{
    Value value;
    std::memcpy(&value, from, sizeof(Value));
    return value;
}

// --- Floating-point samples ------------------------------------------------------------------------------

// A small IEEE-style number: sign, exponent with half its range as bias, fraction.
float smallFloat(std::uint32_t code, int exponentBits, int fractionBits)
{
    auto const sign = code >> (exponentBits + fractionBits) & 1 ? -1.0f : 1.0f;
    auto const exponent = static_cast<int>(code >> fractionBits & ((1u << exponentBits) - 1));
    auto const fraction = static_cast<float>(code & ((1u << fractionBits) - 1));
    auto const bias = (1 << (exponentBits - 1)) - 1;
    if (exponent == 0)
        return sign * std::ldexp(fraction, 1 - bias - fractionBits);
    if (exponent == (1 << exponentBits) - 1)
        return fraction == 0 ? sign * HUGE_VALF : 0;
    return sign * std::ldexp(1 + std::ldexp(fraction, -fractionBits), exponent - bias);
}

float loadFloat16(std::uint8_t const* from)
{
    return smallFloat(loadNative<std::uint16_t>(from), 5, 10);
}
float loadFloat24(std::uint8_t const* from)
{
    auto const code = kNativeByteOrder == ByteOrder::Little ? from[0] | from[1] << 8 | from[2] << 16
                                                            : from[2] | from[1] << 8 | from[0] << 16;
    return smallFloat(static_cast<std::uint32_t>(code), 7, 16);
}
float loadFloat32(std::uint8_t const* from)
{
    return loadNative<float>(from);
}
float loadFloat64(std::uint8_t const* from)
{
    return static_cast<float>(loadNative<double>(from));
}
float loadUnsigned32(std::uint8_t const* from)
{
    return static_cast<float>(loadNative<std::uint32_t>(from) / 4294967295.0);
}
float loadSigned32(std::uint8_t const* from)
{
    return static_cast<float>((loadNative<std::int32_t>(from) + 2147483648.0) / 4294967295.0);
}

using LoadFloat = float (*)(std::uint8_t const*);

LoadFloat floatLoader(PixelPlan const& plan)
{
    if (plan.sampleFormat != SampleFormat::Float)
        return plan.sampleFormat == SampleFormat::Signed ? loadSigned32 : loadUnsigned32;
    switch (plan.bitsPerSample) {
    case 16:
        return loadFloat16;
    case 24:
        return loadFloat24;
    case 64:
        return loadFloat64;
    default:
        return loadFloat32;
    }
}

// The curve of IEC 61966-2-1, continued beyond 1 and mirrored below 0.
float sRgbEncoded(float linear)
{
    auto const magnitude = std::abs(linear);
    auto const encoded =
        magnitude <= 0.0031308f ? 12.92f * magnitude : 1.055f * std::pow(magnitude, 1 / 2.4f) - 0.055f;
    return std::copysign(encoded, linear);
}

// CIE XYZ, relative to an equal-energy white as LogLuv has it, to RGB with the primaries of ITU-R BT.709.
void xyzToRgb(float* pixel)
{
    auto const x = pixel[0], y = pixel[1], z = pixel[2];
    pixel[0] = sRgbEncoded(2.690f * x - 1.276f * y - 0.414f * z);
    pixel[1] = sRgbEncoded(-1.022f * x + 1.978f * y + 0.044f * z);
    pixel[2] = sRgbEncoded(0.061f * x - 0.224f * y + 1.163f * z);
}

} // namespace

Result<PixelPlan> planPixels(
    DirectoryReader const& reader, Directory const& directory, Structure const& structure)
{
    auto const model = TRY(modelOf(structure));
    auto const colorCount = channelCount(model.model);
    TRY(checkInks(structure));
    if (structure.samplesPerPixel < colorCount)
        return fail("the TIFF image has too few samples per pixel ({})", structure.samplesPerPixel);

    PixelPlan plan;
    plan.format.model = model.model;
    plan.samplesPerPlane = structure.samplesPerPlane();
    plan.bitsPerSample = structure.bitsPerSample;
    plan.sampleFormat = structure.sampleFormat;
    for (int i = 0; i < colorCount; ++i)
        plan.channels.push_back({i, model.meanings[static_cast<std::size_t>(i)]});
    TRY(planDecoded(plan, structure));

    auto const alpha = findAlpha(structure, colorCount);
    if (model.model == ColorModel::Indexed) {
        TRY(readColorMap(plan, reader, directory));
        planPalette(plan, alpha);
    }
    if (alpha) {
        plan.format.alpha = alpha->layout;
        plan.channels.push_back({alpha->sample, Plain});
    }
    if (structure.photometric == Photometric::ItuLab)
        plan.decodeRange = ituRange(reader, directory);
    plan.format.componentType = TRY(componentTypeFor(plan));
    plan.bitsPerComponent = plan.bitsPerSample > 16 ? 32 : plan.bitsPerSample;
    return plan;
}

// A channel's samples in a row and the place of its components.
struct SampleConverter::Gather {
    std::uint8_t const* from;
    std::size_t fromStep; // in samples
    std::uint8_t* to;
    std::size_t toStep; // in components
    std::size_t count;

    template <typename Code, typename Component> void lookUp(Component const* table) const
    {
        auto* target = to;
        for (std::size_t i = 0; i < count; ++i, target += toStep * sizeof(Component)) {
            auto const component = table[loadNative<Code>(from + i * fromStep * sizeof(Code))];
            std::memcpy(target, &component, sizeof(Component));
        }
    }
};

SampleConverter::SampleConverter(PixelPlan plan)
    : m_plan(std::move(plan))
{
    auto const type = m_plan.format.componentType;
    bool allIdentity = false;
    if (type == ComponentType::UInt8) {
        m_tables8 = makeTables<std::uint8_t>(m_plan);
        allIdentity = std::ranges::all_of(m_tables8, [](auto const& table) { return isIdentity(*table); });
    } else if (type == ComponentType::UInt16) {
        m_tables16 = makeTables<std::uint16_t>(m_plan);
        allIdentity = std::ranges::all_of(m_tables16, [](auto const& table) { return isIdentity(*table); });
    } else {
        allIdentity = m_plan.bitsPerSample == 32 && m_plan.sampleFormat == SampleFormat::Float
            && m_plan.decoded == DecodedSamples::AsStored
            && std::ranges::none_of(
                m_plan.channels, [](auto const& channel) { return channel.meaning == Inverted; });
    }
    bool inOrder = m_plan.channels.size() == static_cast<std::size_t>(m_plan.samplesPerPlane);
    for (std::size_t i = 0; i < m_plan.channels.size(); ++i)
        inOrder = inOrder && m_plan.channels[i].sample == static_cast<int>(i);
    m_isIdentity =
        allIdentity && inOrder && m_plan.bitsPerSample == static_cast<int>(componentSize(type)) * 8;
}

std::uint8_t const* SampleConverter::unpacked(std::uint8_t const* row, std::size_t sampleCount)
{
    auto const bits = m_plan.bitsPerSample;
    if (bits == 8 || bits >= 16)
        return row;
    if (bits < 8) {
        m_unpacked.resize(sampleCount);
        unpackBits(row, bits, sampleCount, m_unpacked.data());
    } else {
        m_unpacked.resize(sampleCount * 2);
        unpackBits(row, bits, sampleCount, reinterpret_cast<std::uint16_t*>(m_unpacked.data()));
    }
    return m_unpacked.data();
}

void SampleConverter::convertIntegers(Gather const& gather, std::size_t channel)
{
    if (m_plan.format.componentType == ComponentType::UInt8)
        gather.lookUp<std::uint8_t>(m_tables8[channel]->data());
    else
        gather.lookUp<std::uint16_t>(m_tables16[channel]->data());
}

void SampleConverter::convertFloats(Gather const& gather, std::size_t channel) const
{
    auto const load = floatLoader(m_plan);
    auto const step = gather.fromStep * static_cast<std::size_t>(m_plan.bitsPerSample / 8);
    bool const isInverted = m_plan.channels[channel].meaning == Inverted;
    auto* const to = reinterpret_cast<float*>(gather.to);
    for (std::size_t i = 0; i < gather.count; ++i) {
        auto const value = load(gather.from + i * step);
        auto const number = std::isnan(value) ? 0 : value;
        to[i * gather.toStep] = isInverted ? 1 - number : number;
    }
}

void SampleConverter::convert(
    std::span<std::uint8_t const* const> planes, std::uint8_t* to, std::int32_t width)
{
    auto const count = static_cast<std::size_t>(width);
    auto const step = static_cast<std::size_t>(m_plan.samplesPerPlane);
    auto const channels = m_plan.channels.size();
    auto const size = componentSize(m_plan.format.componentType);
    if (m_isIdentity) {
        std::memcpy(to, planes[0], count * channels * size);
        return;
    }
    bool const isPlanar = planes.size() > 1;
    auto const sampleSize = static_cast<std::size_t>((m_plan.bitsPerSample + 7) / 8);
    std::uint8_t const* row = isPlanar ? nullptr : unpacked(planes[0], count * step);
    for (std::size_t channel = 0; channel < channels; ++channel) {
        if (isPlanar)
            row = unpacked(planes[channel], count);
        auto const sample = isPlanar ? 0 : static_cast<std::size_t>(m_plan.channels[channel].sample);
        Gather const gather {row + sample * sampleSize, step, to + channel * size, channels, count};
        if (m_plan.format.componentType == ComponentType::Float32)
            convertFloats(gather, channel);
        else
            convertIntegers(gather, channel);
    }
    if (m_plan.decoded == DecodedSamples::Xyz) {
        for (std::size_t i = 0; i < count; ++i)
            xyzToRgb(reinterpret_cast<float*>(to) + i * channels);
    }
}

} // namespace velk::codec::tiff
