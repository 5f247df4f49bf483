#include "platform/codec/TiffTestFiles.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace velk::codec {

using namespace graphics;
using namespace test;

namespace {

// --- Files as libtiff writes them
// ---------------------------------------------------------------------------

struct Variant {
    std::string_view name;
    int compression = 1;
    char const* mode = "w";
    int samples = 3;
    int bits = 8;
    bool isPlanar = false;
    int tile = 0; ///< side in pixels
    int rowsPerStrip = 7;
    int predictor = 1;
    int photometric = 2;
    bool isBitReversed = false;
    bool isFloat = false;
};

constexpr Size kSize {75, 52};

// What sample `sample` at (x, y) is, in full range of the bits.
std::uint32_t sampleAt(int x, int y, int sample, int bits)
{
    auto const value = static_cast<std::uint32_t>(x * 7 + y * 13 + sample * 29 + x * y / 5);
    return value * 2654435761u >> (32 - bits);
}

// Rows of samples as they are handed to libtiff: in native order, packed most significant bit first.
Bytes rawRow(Variant const& variant, int x, int y, int count, int firstSample, int sampleCount)
{
    Bytes row;
    std::uint64_t held = 0;
    int available = 0;
    for (int i = 0; i < count * sampleCount; ++i) {
        auto const column = std::min(x + i / sampleCount, kSize.width - 1);
        auto const value =
            sampleAt(column, std::min(y, kSize.height - 1), firstSample + i % sampleCount, variant.bits);
        if (variant.isFloat) {
            append(row, std::bit_cast<std::uint32_t>(static_cast<float>(value) / 4294967296.0f),
                kNativeByteOrder);
        } else if (variant.bits == 16) {
            append(row, static_cast<std::uint16_t>(value), kNativeByteOrder);
        } else {
            held = held << variant.bits | value;
            for (available += variant.bits; available >= 8; available -= 8)
                row.push_back(static_cast<std::uint8_t>(held >> (available - 8)));
        }
    }
    if (available > 0)
        row.push_back(static_cast<std::uint8_t>(held << (8 - available)));
    return row;
}

void writePixels(TIFF* tiff, Variant const& variant)
{
    auto const planes = variant.isPlanar ? variant.samples : 1;
    auto const perPlane = variant.isPlanar ? 1 : variant.samples;
    auto const chunkHeight = variant.tile ? variant.tile : variant.rowsPerStrip;
    auto const chunkWidth = variant.tile ? variant.tile : kSize.width;
    std::uint32_t index = 0;
    for (int plane = 0; plane < planes; ++plane) {
        for (int top = 0; top < kSize.height; top += chunkHeight) {
            for (int left = 0; left < kSize.width; left += chunkWidth) {
                auto const rows = variant.tile ? chunkHeight : std::min(chunkHeight, kSize.height - top);
                Bytes chunk;
                for (int y = top; y < top + rows; ++y)
                    append(chunk, ByteSpan(rawRow(variant, left, y, chunkWidth, plane, perPlane)));
                auto const size = static_cast<tmsize_t>(chunk.size());
                if (variant.tile)
                    TIFFWriteEncodedTile(tiff, index++, chunk.data(), size);
                else
                    TIFFWriteEncodedStrip(tiff, index++, chunk.data(), size);
            }
        }
    }
}

void writeVariant(std::string const& path, Variant const& variant)
{
    writeWithLibtiff(path, variant.mode, [&](TIFF* tiff) {
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kSize.width);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kSize.height);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, variant.bits);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, variant.samples);
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, variant.isFloat ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, variant.photometric);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, variant.compression);
        TIFFSetField(
            tiff, TIFFTAG_PLANARCONFIG, variant.isPlanar ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
        if (variant.isBitReversed)
            TIFFSetField(tiff, TIFFTAG_FILLORDER, FILLORDER_LSB2MSB);
        if (variant.predictor != 1)
            TIFFSetField(tiff, TIFFTAG_PREDICTOR, variant.predictor);
        if (variant.tile) {
            TIFFSetField(tiff, TIFFTAG_TILEWIDTH, variant.tile);
            TIFFSetField(tiff, TIFFTAG_TILELENGTH, variant.tile);
        } else {
            TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, variant.rowsPerStrip);
        }
        writePixels(tiff, variant);
    });
}

// The decoded component for a stored sample.
double expectedComponent(Variant const& variant, int x, int y, int sample)
{
    auto const code = sampleAt(x, y, sample, variant.bits);
    if (variant.isFloat)
        return static_cast<double>(static_cast<float>(code) / 4294967296.0f);
    auto const largest = static_cast<double>((std::uint64_t {1} << variant.bits) - 1);
    auto const value = code / largest;
    auto const steps = variant.bits > 8 ? 65535.0 : 255.0;
    return std::round((variant.photometric == 0 ? 1 - value : value) * steps) / steps;
}

constexpr std::array kVariants = {
    Variant {.name = "strips"},
    Variant {.name = "LZW strips", .compression = 5, .predictor = 2},
    Variant {.name = "one LZW strip", .compression = 5, .rowsPerStrip = 52},
    Variant {.name = "tiles", .compression = 5, .tile = 16},
    Variant {.name = "plain tiles", .tile = 32},
    Variant {.name = "one tile larger than the image", .compression = 8, .tile = 128},
    Variant {.name = "planes", .compression = 5, .isPlanar = true},
    Variant {.name = "plain planes", .isPlanar = true},
    Variant {.name = "tiled planes", .compression = 8, .isPlanar = true, .tile = 16},
    Variant {.name = "big-endian 16-bit", .mode = "wb", .bits = 16},
    Variant {.name = "big-endian 16-bit LZW", .compression = 5, .mode = "wb", .bits = 16, .predictor = 2},
    Variant {.name = "big-endian float", .mode = "wb", .bits = 32, .isFloat = true},
    Variant {.name = "float with predictor", .compression = 8, .bits = 32, .predictor = 3, .isFloat = true},
    Variant {.name = "BigTIFF", .compression = 5, .mode = "w8"},
    Variant {.name = "big-endian BigTIFF", .mode = "wb8", .bits = 16, .isPlanar = true},
    Variant {.name = "1-bit", .samples = 1, .bits = 1, .photometric = 1},
    Variant {.name = "1-bit reversed", .samples = 1, .bits = 1, .photometric = 0, .isBitReversed = true},
    Variant {.name = "1-bit reversed LZW",
        .compression = 5,
        .samples = 1,
        .bits = 1,
        .photometric = 1,
        .isBitReversed = true},
    Variant {.name = "fax group 3", .compression = 3, .samples = 1, .bits = 1, .photometric = 0},
    Variant {.name = "fax group 4", .compression = 4, .samples = 1, .bits = 1, .photometric = 0},
    Variant {.name = "fax RLE", .compression = 2, .samples = 1, .bits = 1, .photometric = 1},
    Variant {
        .name = "JBIG", .compression = 34661, .samples = 1, .bits = 1, .rowsPerStrip = 52, .photometric = 0},
    Variant {.name = "2-bit", .samples = 1, .bits = 2, .photometric = 0},
    Variant {.name = "4-bit RGB", .compression = 32773, .bits = 4},
    Variant {.name = "10-bit", .bits = 10},
    Variant {.name = "12-bit LZW", .compression = 5, .bits = 12},
    Variant {.name = "14-bit gray", .samples = 1, .bits = 14, .photometric = 0},
    Variant {.name = "16-bit min-is-white", .samples = 1, .bits = 16, .photometric = 0},
    Variant {.name = "LERC", .compression = 34887, .samples = 1, .photometric = 1},
};

} // namespace

TEST(TiffReader, DecodesEveryLayout)
{
    TemporaryDirectory const directory;
    auto const path = directory / "variant.tif";
    for (auto const& variant : kVariants) {
        SCOPED_TRACE(variant.name);
        if (!TIFFIsCODECConfigured(static_cast<std::uint16_t>(variant.compression)))
            continue;
        writeVariant(path, variant);
        auto const source = openImage(path);
        ASSERT_TRUE(source) << source.error().message;
        EXPECT_EQ(describe(**source).info.bitsPerComponent, variant.bits);
        auto const image = decode(path);
        ASSERT_TRUE(image) << image.error().message;
        double largest = 0;
        for (int y = 0; y < kSize.height; ++y) {
            for (int x = 0; x < kSize.width; ++x) {
                for (int sample = 0; sample < variant.samples; ++sample)
                    largest = std::max(largest,
                        std::abs(
                            component(**image, x, y, sample) - expectedComponent(variant, x, y, sample)));
            }
        }
        EXPECT_LT(largest, 1e-7);
    }
}

TEST(TiffReader, LargeStripsAreDecodedRowByRow)
{
    TemporaryDirectory const directory;
    auto const path = directory / "large.tif";
    constexpr int kWidth = 3000, kHeight = 700;
    for (auto const compression : {1, 5, 32773}) {
        writeWithLibtiff(path, "w", [&](TIFF* tiff) {
            TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kWidth);
            TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kHeight);
            TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
            TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
            TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
            TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
            TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kHeight);
            Bytes row(kWidth * 3);
            for (std::uint32_t y = 0; y < kHeight; ++y) {
                std::fill(row.begin(), row.end(), static_cast<std::uint8_t>(y));
                TIFFWriteScanline(tiff, row.data(), y, 0);
            }
        });
        auto const source = openImage(path).value();
        auto const decoded = source->open({.region = {100, 600, 50, 40}}).value();
        EXPECT_EQ(decoded.area.y, 600);
        EXPECT_EQ(decoded.rows->size(), (Size {kWidth, 40}));
        auto const part = PixelBuffer::collect(*decoded.rows).value();
        for (int y = 0; y < 40; ++y)
            EXPECT_EQ(part.row(y)[y], static_cast<std::uint8_t>(600 + y));
    }
}

TEST(TiffReader, DeliversTheRowsOfARegion)
{
    TemporaryDirectory const directory;
    auto const path = directory / "image.tif";
    for (auto const& variant : kVariants) {
        SCOPED_TRACE(variant.name);
        if (!TIFFIsCODECConfigured(static_cast<std::uint16_t>(variant.compression)))
            continue;
        writeVariant(path, variant);
        auto const source = openImage(path).value();
        auto const whole = PixelBuffer::collect(*source->image().rows().value()).value();
        auto const decoded = source->open({.region = {10, 20, 5, 11}}).value();
        auto const part = PixelBuffer::collect(*decoded.rows).value();
        auto const first = static_cast<int>(decoded.area.y);
        ASSERT_LE(first, 20);
        ASSERT_GE(first + part.size().height, 31);
        for (int y = 20; y < 31; ++y)
            EXPECT_EQ(std::memcmp(whole.row(y), part.row(y - first), whole.layout().rowBytes()), 0) << y;
    }
}

// --- What samples mean
// --------------------------------------------------------------------------------------

namespace {

struct Meaning {
    std::string_view name;
    HandMadeImage image; ///< one row
    PixelFormat format;
    std::vector<double> components; ///< all of the row: 0..255, 0..65535 or as they are
};

Bytes words(std::initializer_list<int> values, ByteOrder order = ByteOrder::Little)
{
    Bytes bytes;
    for (auto const value : values)
        append(bytes, static_cast<std::uint16_t>(value), order);
    return bytes;
}

Bytes longs(std::initializer_list<std::uint32_t> values)
{
    Bytes bytes;
    for (auto const value : values)
        append(bytes, value, ByteOrder::Little);
    return bytes;
}

constexpr PixelFormat kGray8 {ComponentType::UInt8, ColorModel::Gray, Alpha::None};
constexpr PixelFormat kGray16 {ComponentType::UInt16, ColorModel::Gray, Alpha::None};
constexpr PixelFormat kGrayFloat {ComponentType::Float32, ColorModel::Gray, Alpha::None};
constexpr PixelFormat kRgb8 {ComponentType::UInt8, ColorModel::RGB, Alpha::None};
constexpr PixelFormat kLab8 {ComponentType::UInt8, ColorModel::Lab, Alpha::None};
constexpr PixelFormat kLab16 {ComponentType::UInt16, ColorModel::Lab, Alpha::None};
constexpr PixelFormat kCmyk8 {ComponentType::UInt8, ColorModel::CMYK, Alpha::None};

PixelFormat withAlpha(PixelFormat format, Alpha alpha)
{
    format.alpha = alpha;
    return format;
}

std::vector<Meaning> meanings()
{
    std::vector<std::uint32_t> ramp(3 * 512);
    for (std::size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = static_cast<std::uint32_t>(i % 512 * 128);
    auto const signedSamples = Integers {tag::kSampleFormat, {2}};
    auto const floatSamples = Integers {tag::kSampleFormat, {3}};
    return {
        {"min-is-white", {.width = 3, .photometric = 0, .pixels = {0, 255, 10}}, kGray8, {255, 0, 245}},
        {"signed 8-bit", {.width = 3, .integers = {signedSamples}, .pixels = {0x80, 0, 0x7F}}, kGray8,
            {0, 128, 255}},
        {"signed 16-bit",
            {.width = 3, .bits = 16, .integers = {signedSamples}, .pixels = words({-32768, 0, 32767})},
            kGray16, {0, 32768, 65535}},
        {"big-endian 16-bit",
            {.format = kBig, .width = 2, .bits = 16, .pixels = words({0x0102, 0xFFFE}, ByteOrder::Big)},
            kGray16, {0x0102, 0xFFFE}},
        {"12-bit", {.width = 2, .bits = 12, .pixels = {0xFF, 0xF0, 0x10}}, kGray16, {65535, 256}},
        {"unsigned 32-bit", {.width = 3, .bits = 32, .pixels = longs({0, 0x80000000, 0xFFFFFFFF})},
            kGrayFloat, {0, 0.5, 1}},
        {"16-bit float",
            {.width = 4,
                .bits = 16,
                .integers = {floatSamples},
                .pixels = words({0x3C00, 0xB800, 1, 0x7E00})},
            kGrayFloat, {1, -0.5, std::ldexp(1, -24), 0}},
        {"24-bit float",
            {.width = 3,
                .bits = 24,
                .integers = {floatSamples},
                .pixels = {0, 0, 0x3F, 0, 0x80, 0xBE, 0, 0, 0}},
            kGrayFloat, {1, -0.75, 0}},
        {"big-endian 24-bit float",
            {.format = kBig, .bits = 24, .integers = {floatSamples}, .pixels = {0x3E, 0x80, 0}}, kGrayFloat,
            {0.75}},
        {"64-bit float", {.bits = 64, .integers = {floatSamples}, .pixels = {0, 0, 0, 0, 0, 0, 0xE0, 0x3F}},
            kGrayFloat, {0.5}},
        {"float min-is-white",
            {.bits = 32,
                .photometric = 0,
                .integers = {floatSamples},
                .pixels = longs({std::bit_cast<std::uint32_t>(0.25f)})},
            kGrayFloat, {0.75}},
        {"associated alpha",
            {.samples = 4, .photometric = 2, .integers = {{tag::kExtraSamples, {1}}}, .pixels = {1, 2, 3, 4}},
            withAlpha(kRgb8, Alpha::Premultiplied), {1, 2, 3, 4}},
        {"unassociated alpha after another sample",
            {.samples = 5,
                .photometric = 2,
                .integers = {{tag::kExtraSamples, {0, 2}}},
                .pixels = {1, 2, 3, 4, 5}},
            withAlpha(kRgb8, Alpha::Straight), {1, 2, 3, 5}},
        {"unspecified fourth sample",
            {.samples = 4, .photometric = 2, .integers = {{tag::kExtraSamples, {0}}}, .pixels = {1, 2, 3, 4}},
            kRgb8, {1, 2, 3}},
        {"undeclared fourth sample", {.samples = 4, .photometric = 2, .pixels = {1, 2, 3, 4}}, kRgb8,
            {1, 2, 3}},
        {"CMYK and alpha",
            {.samples = 5,
                .photometric = 5,
                .integers = {{tag::kExtraSamples, {2}}},
                .pixels = {1, 2, 3, 4, 5}},
            withAlpha(kCmyk8, Alpha::Straight), {1, 2, 3, 4, 5}},
        {"CIELab", {.samples = 3, .photometric = 8, .pixels = {200, 0x80, 5}}, kLab8, {200, 0, 133}},
        {"16-bit CIELab",
            {.width = 2,
                .bits = 16,
                .samples = 3,
                .photometric = 8,
                .pixels = words({65535, 0, -256, 0, 0x7FFF, -32768})},
            kLab16, {65535, 32896, 32639, 0, 65535, 0}},
        {"ICCLab", {.samples = 3, .photometric = 9, .pixels = {200, 128, 5}}, kLab8, {200, 128, 5}},
        {"16-bit ICCLab",
            {.bits = 16, .samples = 3, .photometric = 9, .pixels = words({0xFF00, 0x8000, 0x8100})}, kLab16,
            {65535, 32896, 33153}},
        {"ITULab", {.samples = 3, .photometric = 10, .pixels = {255, 0, 255}}, kLab8, {255, 43, 253}},
        {"index of 9 bits",
            {.width = 1,
                .bits = 9,
                .photometric = 3,
                .integers = {{tag::kColorMap, ramp}},
                .pixels = {0x80, 0x80}},
            {ComponentType::UInt16, ColorModel::RGB, Alpha::None}, {257 * 128, 257 * 128, 257 * 128}},
        {"uncompressed 2 x 2 YCbCr",
            {.width = 3,
                .samples = 3,
                .photometric = 6,
                .pixels = {255, 0, 255, 0, 128, 128, 76, 1, 76, 1, 85, 255}},
            kRgb8, {255, 255, 255, 0, 0, 0, 254, 0, 0}},
        {"YCbCr with head room",
            {.samples = 3,
                .photometric = 6,
                .integers = {{tag::kYCbCrSubsampling, {1, 1}}},
                .fields = {tiff::rationalField(
                    tag::kReferenceBlackWhite, {16, 235, 128, 240, 128, 240}, ByteOrder::Little)},
                .pixels = {235, 128, 128}},
            kRgb8, {255, 255, 255}},
    };
}

double storedValue(PixelBuffer const& image, std::size_t index)
{
    auto const channels = static_cast<std::size_t>(image.format().channels());
    auto const value =
        component(image, static_cast<int>(index / channels), 0, static_cast<int>(index % channels));
    auto const type = image.format().componentType;
    return type == ComponentType::UInt8 ? value * 255 : type == ComponentType::UInt16 ? value * 65535 : value;
}

} // namespace

TEST(TiffReader, SamplesMeanWhatTheirTagsSay)
{
    TemporaryDirectory const directory;
    auto const path = directory / "image.tif";
    for (auto const& [name, image, format, components] : meanings()) {
        SCOPED_TRACE(name);
        writeBytes(path, handMade(image));
        auto const decoded = decode(path);
        ASSERT_TRUE(decoded) << decoded.error().message;
        EXPECT_EQ((*decoded)->format(), format);
        for (std::size_t i = 0; i < components.size(); ++i)
            EXPECT_NEAR(storedValue(**decoded, i), components[i], 1e-4) << i;
    }
}

TEST(TiffReader, PalettesOfSixteenAndEightBits)
{
    TemporaryDirectory const directory;
    auto const path = directory / "palette.tif";
    for (auto const scale : {257u, 1u}) {
        HandMadeImage image {.width = 4, .bits = 2, .photometric = 3, .pixels = {0x1B}};
        image.integers = {{tag::kColorMap,
            {0, 10 * scale, 20 * scale, 255 * scale, 1 * scale, 2 * scale, 3 * scale, 4 * scale, 0, 0, 0,
                9 * scale}}};
        writeBytes(path, handMade(image));
        auto const decoded = decode(path).value();
        ASSERT_TRUE(decoded->layout().space.palette());
        auto const& entries = decoded->layout().space.palette()->entries;
        EXPECT_EQ(entries.at(1), (std::array<std::uint8_t, 4> {10, 2, 0, 255}));
        EXPECT_EQ(entries.at(3), (std::array<std::uint8_t, 4> {255, 4, 9, 255}));
        EXPECT_EQ(Bytes(decoded->row(0), decoded->row(0) + 4), (Bytes {0, 1, 2, 3}));
    }
}

TEST(TiffReader, LogLuvIsLight)
{
    TemporaryDirectory const directory;
    auto const path = directory / "luv.tif";
    // X, Y, Z of grey with the middle of the sRGB curve.
    constexpr float kLinear = 0.2140f;
    writeWithLibtiff(path, "w", [&](TIFF* tiff) {
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 16);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 16);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_LOGLUV);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_SGILOG);
        TIFFSetField(tiff, TIFFTAG_SGILOGDATAFMT, SGILOGDATAFMT_FLOAT);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 16);
        std::vector<float> row(48, kLinear);
        for (std::uint32_t y = 0; y < 16; ++y)
            TIFFWriteScanline(tiff, row.data(), y, 0);
    });
    auto const image = decode(path);
    ASSERT_TRUE(image) << image.error().message;
    EXPECT_EQ((*image)->format(), (PixelFormat {ComponentType::Float32, ColorModel::RGB, Alpha::None}));
    for (int channel = 0; channel < 3; ++channel)
        EXPECT_NEAR(component(**image, 5, 5, channel), 0.5, 0.02);
}

// --- What describes the image
// -------------------------------------------------------------------------------

TEST(TiffReader, ResolutionNeedsAUnit)
{
    TemporaryDirectory const directory;
    auto const path = directory / "image.tif";
    struct Row {
        std::vector<std::uint32_t> unit;
        double value;
        std::optional<double> inches;
    };
    for (auto const& [unit, value, inches] : {Row {{2}, 300, 300}, Row {{}, 300, 300}, Row {{3}, 100, 254},
             Row {{1}, 300, std::nullopt}, Row {{2}, 0, std::nullopt}, Row {{7}, 300, std::nullopt}}) {
        HandMadeImage image {.pixels = {0}};
        image.fields = {tiff::rationalField(tag::kXResolution, {value}, ByteOrder::Little),
            tiff::rationalField(tag::kYResolution, {value}, ByteOrder::Little)};
        if (!unit.empty())
            image.integers = {{tag::kResolutionUnit, unit}};
        writeBytes(path, handMade(image));
        auto const source = openImage(path).value();
        auto const resolution = describe(*source).resolution;
        EXPECT_EQ(resolution.has_value(), inches.has_value());
        EXPECT_DOUBLE_EQ(resolution.value_or(Resolution {0, 0}).x, inches.value_or(0));
    }
}

TEST(TiffReader, IptcIsFoundWhereverItIs)
{
    TemporaryDirectory const directory;
    auto const path = directory / "image.tif";
    Bytes const iptc = {0x1C, 2, 0x19, 0, 3, 'o', 'n', 'e'};
    Bytes const swapped = {0, 0x19, 2, 0x1C, 'e', 'n', 'o', 3};
    Bytes resources;
    append(resources, std::string_view("8BIM\x04\x04\0\0\0\0\0\x08", 12));
    append(resources, ByteSpan(iptc));
    for (auto const& field : {tiff::Field {tag::kIptc, tiff::FieldType::Undefined, 8, iptc},
             tiff::Field {tag::kIptc, tiff::FieldType::Long, 2, iptc},
             tiff::Field {tag::kIptc, tiff::FieldType::Long, 2, swapped},
             tiff::Field {tag::kPhotoshop, tiff::FieldType::Byte, resources.size(), resources}}) {
        writeBytes(path, handMade({.fields = {field}, .pixels = {0}}));
        EXPECT_EQ(openImage(path).value()->metadata().iptc(), iptc);
    }
}

TEST(TiffReader, CountsImagesAndNotTheirReductions)
{
    TemporaryDirectory const directory;
    auto const path = directory / "pages.tif";
    writeWithLibtiff(path, "w", [&](TIFF* tiff) {
        for (auto const type : {0, FILETYPE_REDUCEDIMAGE, FILETYPE_PAGE, FILETYPE_MASK, 0}) {
            TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, type);
            TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 4);
            TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1);
            TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
            TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
            std::uint32_t pixels = 0;
            TIFFWriteScanline(tiff, &pixels, 0, 0);
            TIFFWriteDirectory(tiff);
        }
    });
    EXPECT_EQ(openImage(path).value()->imageCount(), 3);
}

TEST(TiffReader, BigTiffTellsItsTextsToo)
{
    TemporaryDirectory const directory;
    auto const path = directory / "image.tif";
    for (auto const format : {kLittle, kBig, kLittle64, kBig64}) {
        HandMadeImage image {.format = format, .pixels = {7}};
        image.fields = {tiff::textField(tag::kMake, "A maker of cameras"), tiff::textField(tag::kModel, "X")};
        writeBytes(path, handMade(image));
        auto const source = openImage(path).value();
        EXPECT_EQ(*tiffProperty(*source, "Make"), PropertyValue("A maker of cameras"));
        EXPECT_EQ(*tiffProperty(*source, "Model"), PropertyValue("X"));
        EXPECT_EQ(*tiffProperty(*source, "PhotometricInterpretation"), PropertyValue(1));
        auto const exif = source->metadata().exif();
        EXPECT_TRUE(!format.isBig || asText(exif).find("A maker of cameras") != std::string_view::npos);
    }
}

} // namespace velk::codec
