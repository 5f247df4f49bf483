#include "platform/codec/TiffPixels.h"

#include <algorithm>

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

} // namespace velk::codec::tiff
