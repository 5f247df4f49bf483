#include "modules/ModuleTesting.h"
#include "platform/codec/PropertyKeys.h"
#include "platform/color/LinearLight.h"
#include "support/TestNegative.h"

#include <cmath>

namespace velk::test {

using namespace graphics;

namespace {

constexpr std::string_view kDng = "com.adobe.raw-image";
constexpr int kWidth = TestNegative::kWidth, kHeight = TestNegative::kHeight;

double srgbCurve(double light)
{
    return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

// What the scene's colour is in Display P3.
TestNegative::Color expected(int x, int y)
{
    auto const toP3 = color::linearConversion(color::kRec709, color::kDisplayP3);
    auto const light = TestNegative::scene(x, y);
    TestNegative::Color result;
    for (std::size_t i = 0; i < result.size(); ++i)
        result[i] = srgbCurve(toP3[i][0] * light[0] + toP3[i][1] * light[1] + toP3[i][2] * light[2]);
    return result;
}

} // namespace

TEST(RawCodec, DevelopsToDisplayP3)
{
    VELK_NEEDS_MODULE(kDng);
    for (auto const neutral : {TestNegative::Color {1, 1, 1}, TestNegative::Color {0.5, 1, 0.7}}) {
        auto const source = openBytes(TestNegative {.neutral = neutral}.file(), "a.dng");
        ASSERT_TRUE(source) << source.error().message;
        auto const& layout = (*source)->description().info.layout;
        EXPECT_TRUE(color::chromaticitiesOf(layout.space)->isLike(color::kDisplayP3));
        EXPECT_EQ(layout.format, (PixelFormat {ComponentType::UInt16, ColorModel::RGB, Alpha::None}));
        ASSERT_EQ(layout.size, (Size {kWidth, kHeight}));
        auto const pixels = *decodeBytes(TestNegative {.neutral = neutral}.file(), "a.dng");
        for (auto const& [x, y] : {std::pair(20, 20), std::pair(20, 70), std::pair(100, 50)}) {
            for (int channel = 0; channel < 3; ++channel)
                EXPECT_NEAR(component(*pixels, x, y, channel),
                    expected(x, y)[static_cast<std::size_t>(channel)], 0.02)
                    << x << ' ' << y << ' ' << channel;
        }
    }
}

TEST(RawCodec, TurnsThePictureOnce)
{
    VELK_NEEDS_MODULE(kDng);
    TestNegative const negative = {.orientation = 6};
    auto const source = *openBytes(negative.file(), "a.dng");
    EXPECT_EQ(source->image().size(), (Size {kHeight, kWidth}));
    EXPECT_EQ(source->metadata().orientation(), 1);
    auto const pixels = *decodeBytes(negative.file(), "a.dng");
    ASSERT_EQ(pixels->size(), (Size {kHeight, kWidth}));
    // White was on the right and is below; grey was at the lower left and is at the upper left.
    EXPECT_NEAR(component(*pixels, 50, 100, 1), 1, 0.02);
    EXPECT_NEAR(component(*pixels, 20, 20, 1), expected(20, 70)[1], 0.02);
    EXPECT_NEAR(component(*pixels, 80, 20, 1), expected(20, 20)[1], 0.02);
}

TEST(RawCodec, DevelopsHalfTheSizeWhereThatIsEnough)
{
    VELK_NEEDS_MODULE(kDng);
    TemporaryDirectory const directory;
    writeBytes(directory / "a.dng", TestNegative {}.file());
    auto const source = *codec::openImage(directory / "a.dng");
    auto const reduced = openReduced(*source, 0.4);
    EXPECT_EQ(reduced.rows->size(), (Size {kWidth / 2, kHeight / 2}));
    EXPECT_EQ(reduced.area.width, kWidth);
    auto const pixels = *PixelBuffer::collect(*reduced.rows);
    EXPECT_NEAR(component(pixels, 10, 10, 0), expected(20, 20)[0], 0.02);
    EXPECT_EQ(openReduced(*source, 0.6).rows->size(), (Size {kWidth, kHeight}));
}

TEST(RawCodec, KeepsExif)
{
    VELK_NEEDS_MODULE(kDng);
    auto const source = *openBytes(TestNegative {}.file(), "a.dng");
    auto const properties = source->properties();
    auto const* tiff = findDictionary(properties, codec::key::kTiff);
    ASSERT_TRUE(tiff);
    for (auto const& [key, value] : {std::pair("Make", "Velk"), std::pair("Model", "Pinhole"),
             std::pair("Artist", "Nobody"), std::pair("DateTime", "2024:05:06 07:08:09")}) {
        ASSERT_TRUE(find(*tiff, key)) << key;
        EXPECT_EQ(*find(*tiff, key)->asString(), value);
    }
}

TEST(RawCodec, SurvivesDamage)
{
    VELK_NEEDS_MODULE(kDng);
    expectToSurviveDamage(TestNegative {}.file(), 40, "a.dng");
}

} // namespace velk::test
