#include "platform/color/ColorConversion.h"

#include "platform/color/PixelKernels.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>

namespace velk::color {

using namespace graphics;
using enum ComponentType;
using enum ColorModel;
using enum Alpha;
using test::component;
using test::PixelBufferPointer;

namespace {

ColorSpace space(ColorModel model, std::string const& profile = {})
{
    if (profile.empty())
        return ColorSpace::device(model);
    return ColorSpace::withProfile(model, shareBytes(test::readBytes(test::dataFile(profile))));
}

Result<PixelBufferPointer> convert(PixelBufferPointer const& image, ConversionTarget const& target)
{
    auto const rows = TRY(convertColors(rowsOf(image), target));
    return std::make_shared<PixelBuffer>(TRY(PixelBuffer::collect(*rows)));
}

PixelBufferPointer convertOrFail(PixelBufferPointer const& image, ConversionTarget const& target)
{
    auto result = convert(image, target);
    EXPECT_TRUE(result) << (result ? "" : result.error().message);
    return result ? *result : nullptr;
}

// One pixel of the given components (in 0..1, or as they are in float).
PixelBufferPointer pixel(PixelFormat format, ColorSpace const& meaning, std::vector<double> const& values)
{
    auto buffer = PixelBuffer::create({{1, 1}, format, meaning}).value();
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (format.componentType == UInt8)
            buffer.row(0)[i] = static_cast<std::uint8_t>(std::lround(values[i] * 255));
        else if (format.componentType == UInt16)
            reinterpret_cast<std::uint16_t*>(buffer.row(0))[i] =
                static_cast<std::uint16_t>(std::lround(values[i] * 65535));
        else
            reinterpret_cast<float*>(buffer.row(0))[i] = static_cast<float>(values[i]);
    }
    return std::make_shared<PixelBuffer>(std::move(buffer));
}

double rounding(ComponentType type)
{
    return type == UInt8 ? 0.5 / 255 : type == UInt16 ? 0.5 / 65535 : 1e-6;
}

// What a conversion within one model shall make of a pixel, in real numbers.
double expectedComponent(PixelBuffer const& source, int x, int y, int channel, ConversionTarget const& target)
{
    auto const from = source.format();
    auto const alpha = from.hasAlpha() ? component(source, x, y, from.colorChannels()) : 1;
    if (channel == target.format.colorChannels())
        return alpha;
    auto const value = component(source, x, y, from.model == target.format.model ? channel : 0);
    if (from.alpha == Straight && target.format.alpha == Straight)
        return value;
    auto const premultiplied = from.alpha == Straight ? value * alpha : value;
    if (target.format.alpha == Premultiplied)
        return premultiplied;
    if (target.format.alpha == None)
        return premultiplied + (1 - alpha) * static_cast<double>(target.background[channel % 3]);
    return alpha > 0 ? std::min(1.0, premultiplied / alpha) : 0;
}

void expectLayoutChange(PixelFormat from, ConversionTarget const& target)
{
    // Alpha takes every value, and the width is no multiple of any vector.
    auto source = test::paint({263, 3}, from, [&](int x, int y, int channel) {
        auto const alpha = (x % 256) / 255.0;
        if (channel == from.colorChannels())
            return alpha;
        auto const value = ((x * 7 + y * 41 + channel * 83) % 256) / 255.0;
        return from.alpha == Premultiplied ? value * alpha : value;
    });
    auto const result = convertOrFail(source, target);
    ASSERT_TRUE(result);
    ASSERT_EQ(result->format(), target.format);
    auto const hasCoarseAlpha = from.componentType == UInt8 && target.format.componentType == UInt8;
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 263; ++x) {
            for (int channel = 0; channel < target.format.channels(); ++channel) {
                auto const expected = expectedComponent(*source, x, y, channel, target);
                // The background itself is rounded before it is mixed in.
                auto const tolerance = rounding(target.format.componentType) * (hasCoarseAlpha ? 2 : 1)
                    + rounding(from.componentType) * (from.hasAlpha() && !target.format.hasAlpha()) + 1e-6;
                ASSERT_NEAR(component(*result, x, y, channel), expected, tolerance)
                    << "pixel " << x << ", " << y << " channel " << channel;
            }
        }
    }
}

} // namespace

TEST(ColorConversion, ChangesLayoutsWithoutChangingColors)
{
    constexpr ComponentType kTypes[] = {UInt8, UInt16, Float32};
    constexpr Alpha kAlphas[] = {None, Straight, Premultiplied};
    constexpr std::pair<ColorModel, ColorModel> kModels[] = {{Gray, Gray}, {Gray, RGB}, {RGB, RGB}};
    for (auto const& [fromModel, toModel] : kModels) {
        for (int i = 0; i < 81; ++i) {
            PixelFormat const from {kTypes[i % 3], fromModel, kAlphas[i / 3 % 3]};
            PixelFormat const to {kTypes[i / 9 % 3], toModel, kAlphas[i / 27]};
            // 0.2 is 51 / 255, so the background is exact in every type; a grey one is asked for in grey.
            auto const ground = toModel == Gray ? 1.0f : 0.2f;
            SCOPED_TRACE(testing::Message() << "models " << static_cast<int>(fromModel) << " to "
                                            << static_cast<int>(toModel) << ", case " << i);
            expectLayoutChange(
                from, {to, space(toModel), RenderingIntent::Default, {ground, ground, ground}});
            if (HasFatalFailure())
                return;
        }
    }
}

TEST(ColorConversion, RoundsIntegersToTheNearest)
{
    Bytes codes(256 * 256 * 4);
    for (std::size_t i = 0; i < 256 * 256; ++i) {
        auto const color = static_cast<std::uint8_t>(i / 256);
        auto const alpha = static_cast<std::uint8_t>(i % 256);
        auto* const rgba = &codes[4 * i];
        rgba[0] = color;
        rgba[1] = static_cast<std::uint8_t>(255 - color);
        rgba[2] = alpha;
        rgba[3] = alpha;
    }
    PixelFormat const straight {UInt8, RGB, Straight};
    Bytes premultiplied(codes.size());
    convertAlpha(straight, Premultiplied, {})(codes.data(), premultiplied.data(), 256 * 256);
    for (std::size_t i = 0; i < codes.size(); ++i) {
        auto const alpha = i % 4 == 3 ? 255 : codes[i | 3];
        ASSERT_EQ(premultiplied[i], std::lround(codes[i] * alpha / 255.0)) << i;
    }

    std::vector<std::uint16_t> words(65536);
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = static_cast<std::uint16_t>(i);
    Bytes narrowed(words.size());
    convertComponents({UInt16, Gray, None}, UInt8)(
        reinterpret_cast<std::uint8_t const*>(words.data()), narrowed.data(), words.size());
    for (std::size_t i = 0; i < words.size(); ++i)
        ASSERT_EQ(narrowed[i], std::lround(static_cast<double>(i) / 257)) << i;
}

TEST(ColorConversion, CutsFloatsThatNoIntegerCanHold)
{
    auto const source = pixel({Float32, RGB, Straight}, space(RGB), {-0.5, 7, std::nan(""), 1});
    auto const result = convertOrFail(source, {{UInt8, RGB, Straight}, space(RGB)});
    EXPECT_EQ(result->row(0)[0], 0);
    EXPECT_EQ(result->row(0)[1], 255);
    EXPECT_EQ(result->row(0)[2], 0);
}

TEST(ColorConversion, LooksIndicesUp)
{
    auto const image = test::indexedImage({300, 2}, 200, true);
    auto const& entries = image->layout().space.palette()->entries;
    for (auto const alpha : {Straight, None}) {
        auto const result = convertOrFail(image, {{UInt16, RGB, alpha}, space(RGB)});
        for (int x = 0; x < 300; ++x) {
            auto const& entry = entries[static_cast<std::size_t>(x + 1) % 200];
            auto const opacity = alpha == Straight ? 1 : entry[3] / 255.0;
            auto const red = entry[0] / 255.0 * opacity + 1 - opacity;
            ASSERT_NEAR(component(*result, x, 1, 0), red, 1e-4) << x;
            if (alpha == Straight) {
                ASSERT_NEAR(component(*result, x, 1, 3), entry[3] / 255.0, 1e-6) << x;
            }
        }
    }
    // An index without an entry is black and opaque.
    auto broken = PixelBuffer::create(image->layout()).value();
    broken.row(0)[0] = 250;
    auto const result = convertOrFail(
        std::make_shared<PixelBuffer>(std::move(broken)), {{UInt8, RGB, Premultiplied}, space(RGB)});
    EXPECT_EQ(loadBE32(result->row(0)), 0x000000FFu);
}

// The numbers are what Little CMS's own calculator gives for these profiles.
TEST(ColorConversion, ConvertsBetweenProfiles)
{
    constexpr double kUnit = 255;
    struct Case {
        ColorModel from;
        char const* fromProfile;
        std::vector<double> in;
        ColorModel to;
        char const* toProfile;
        std::vector<double> out;
    };
    Case const cases[] = {
        {RGB, "", {200, 30, 90}, RGB, "", {200, 30, 90}},
        {Gray, "sGrey-v4.icc", {50}, RGB, "DisplayP3-v4.icc", {50, 50, 50}},
        {Gray, "", {50}, RGB, "AdobeCompat-v2.icc", {53.2326, 53.2326, 53.2326}},
        {RGB, "DisplayP3-v4.icc", {183.663, 49.8208, 90.6959}, Gray, "", {105.95}},
        {RGB, "", {12, 200, 160}, Gray, "sGrey-v4.icc", {176.3758}},
        {CMYK, "", {25.5, 229.5, 102, 12.75}, RGB, "", {207.4234, 60.6225, 102.4622}},
        {CMYK, "", {153, 51, 204, 51}, Gray, "sGrey-v4.icc", {126.7343}},
        {CMYK, "", {0, 0, 0, 0}, RGB, "DisplayP3-v4.icc", {255, 255, 255}},
        // L 60, a 40, b -30 in 8 bits; and back.
        {Lab, "", {153, 168, 98}, RGB, "", {193.2193, 117.1339, 198.5883}},
        {RGB, "", {200, 30, 90}, Lab, "", {114.2375, 193.6449, 140.0723}},
    };
    for (auto const& row : cases) {
        auto input = row.in;
        for (auto& value : input)
            value /= kUnit;
        for (auto const type : {UInt8, UInt16}) {
            auto const source = pixel({type, row.from, None}, space(row.from, row.fromProfile), input);
            auto const result = convertOrFail(source, {{type, row.to, None}, space(row.to, row.toProfile)});
            ASSERT_TRUE(result);
            for (std::size_t i = 0; i < row.out.size(); ++i)
                EXPECT_NEAR(component(*result, 0, 0, static_cast<int>(i)) * kUnit, row.out[i], 1.0)
                    << "case " << &row - cases << " channel " << i;
        }
    }
}

TEST(ColorConversion, KeepsFloatRangesOfLabAndInk)
{
    auto const lab = pixel({Float32, Lab, None}, space(Lab), {60, 40, -30});
    auto const rgb = convertOrFail(lab, {{Float32, RGB, None}, space(RGB)});
    EXPECT_NEAR(component(*rgb, 0, 0, 0), 193.2193 / 255, 1e-3);
    auto const bytes = convertOrFail(lab, {{UInt8, Lab, None}, space(Lab)});
    EXPECT_EQ(bytes->row(0)[0], 153);
    EXPECT_EQ(bytes->row(0)[1], 168);
    EXPECT_EQ(bytes->row(0)[2], 98);
    EXPECT_NEAR(component(*convertOrFail(bytes, {{Float32, Lab, None}, space(Lab)}), 0, 0, 2), -30, 1e-4);

    auto const ink = pixel({Float32, CMYK, Straight}, space(CMYK), {0.1, 0.9, 0.4, 0.05, 0.25});
    auto const mixed = convertOrFail(ink, {{UInt8, RGB, Straight}, space(RGB)});
    EXPECT_NEAR(mixed->row(0)[0], 207, 1);
    EXPECT_EQ(mixed->row(0)[3], 64);
}

TEST(ColorConversion, SeparatesIntoInksThatLookTheSame)
{
    auto const photo = test::paint({9, 9}, {}, [](int x, int y, int channel) {
        return 0.35 + 0.04 * (channel == 0 ? x : channel == 1 ? y : (x + y) / 2.0);
    });
    auto const inks = convertOrFail(photo, {{UInt8, CMYK, None}, space(CMYK)});
    EXPECT_LE(test::largestDifference(*photo, *convertOrFail(inks, {{}, space(RGB)})), 4.0 / 255);

    auto const white = convertOrFail(pixel({}, space(RGB), {1, 1, 1}), {{UInt8, CMYK, None}, space(CMYK)});
    EXPECT_EQ(loadBE32(white->row(0)), 0u);
    auto const black = convertOrFail(pixel({}, space(RGB), {0, 0, 0}), {{UInt8, CMYK, None}, space(CMYK)});
    EXPECT_EQ(black->row(0)[3], 255);
    EXPECT_LE(black->row(0)[0] + black->row(0)[1] + black->row(0)[2], 2 * 255 + 4);
}

// 8-bit pixels go through tables of our own, floats through Little CMS.
TEST(ColorConversion, TakesAFastWayThatAgreesWithTheExactOne)
{
    char const* const profiles[] = {"", "DisplayP3-v4.icc", "AdobeCompat-v2.icc"};
    auto const colors = [](int x, int y, int channel) {
        return channel == 0 ? x / 63.0
            : channel == 1  ? y / 63.0
            : channel == 2  ? ((x * 5 + y * 3) % 64) / 63.0
                            : 0.4;
    };
    for (auto const* const from : profiles) {
        for (auto const* const to : profiles) {
            for (auto const& [alpha, toAlpha] :
                {std::pair {None, None}, {Straight, Straight}, {None, Straight}}) {
                auto const meaning = space(RGB, from);
                auto const source = test::paint({64, 64}, {UInt8, RGB, alpha}, colors, &meaning);
                auto const fast = convertOrFail(source, {{UInt8, RGB, toAlpha}, space(RGB, to)});
                auto const exact = convertOrFail(source, {{Float32, RGB, toAlpha}, space(RGB, to)});
                auto const cut = convertOrFail(exact, {{UInt8, RGB, toAlpha}, space(RGB, to)});
                EXPECT_LE(test::largestDifference(*fast, *cut), 1.01 / 255) << from << " to " << to;
            }
        }
    }
}

TEST(ColorConversion, OnlyRelabelsWhereOneSideIsADeviceSpace)
{
    auto const photo = test::photoLike({31, 7}, {});
    auto const result = convertOrFail(photo, {{}, space(RGB, "DisplayP3-v4.icc")});
    EXPECT_EQ(test::largestDifference(*photo, *result), 0);
    EXPECT_TRUE(result->layout().space.profile());
}

TEST(ColorConversion, PutsTransparencyOnABackgroundInTheTargetsColors)
{
    auto const clear = pixel({UInt8, RGB, Straight}, space(RGB), {1, 0, 0, 0});
    auto const gray =
        convertOrFail(clear, {{UInt8, Gray, None}, space(Gray), RenderingIntent::Default, {0.5, 0.5, 0.5}});
    EXPECT_NEAR(gray->row(0)[0], 128, 1);
    auto const ink = convertOrFail(clear, {{UInt8, CMYK, None}, space(CMYK)});
    EXPECT_EQ(loadBE32(ink->row(0)), 0u);
    auto const lab = convertOrFail(clear, {{UInt8, Lab, None}, space(Lab)});
    EXPECT_EQ(lab->row(0)[0], 255);
    EXPECT_NEAR(lab->row(0)[1], 128, 1);
}

TEST(ColorConversion, SaysWhichProfileIsBroken)
{
    auto bytes = test::readBytes(test::dataFile("AdobeCompat-v2.icc"));
    // The matrix and curves go, name and header stay.
    for (std::size_t i = 132; i < 132 + 12 * loadBE32(&bytes[128]); i += 12) {
        if (asText(ByteSpan(bytes).subspan(i + 1, 3)) == "XYZ"
            || asText(ByteSpan(bytes).subspan(i + 1, 3)) == "TRC")
            bytes[i + 1] = 'x';
    }
    auto const broken = ColorSpace::withProfile(RGB, shareBytes(bytes));
    auto const image = test::paint(
        {4, 4}, {}, [](int, int, int) { return 0.5; }, &broken);
    auto const result = convert(image, {{UInt8, Gray, None}, space(Gray)});
    ASSERT_FALSE(result);
    EXPECT_NE(result.error().message.find("color profile 'A98C'"), std::string::npos)
        << result.error().message;

    // Any prefix of a profile converts or fails, and does nothing worse.
    auto const whole = test::readBytes(test::dataFile("DisplayP3-v4.icc"));
    for (std::size_t length = 0; length < whole.size(); length += 7) {
        auto const cut = ColorSpace::withProfile(RGB, shareBytes(ByteSpan(whole).first(length)));
        auto const picture = test::paint(
            {2, 2}, {}, [](int, int, int) { return 0.5; }, &cut);
        (void)convert(picture, {{UInt8, Gray, None}, space(Gray)});
    }
}

} // namespace velk::color
