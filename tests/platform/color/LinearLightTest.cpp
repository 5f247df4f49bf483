#include "platform/color/LinearLight.h"

#include "platform/color/ColorConversion.h"
#include "platform/color/IccProfile.h"
#include "platform/color/Srgb.h"
#include "support/TestImages.h"
#include "support/TestProfiles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace velk::color {

using namespace graphics;

namespace {

std::array<float, 3> converted(std::array<float, 3> pixel, ColorSpace const& from, ColorSpace const& to)
{
    PixelFormat const format = {ComponentType::Float32, ColorModel::RGB, Alpha::None};
    auto const buffer = test::paint(
        {1, 1}, format, [&](int, int, int channel) { return pixel[static_cast<std::size_t>(channel)]; },
        &from);
    auto const rows = *convertColors(rowsOf(buffer),
        {.format = format, .space = to, .intent = RenderingIntent::Relative, .readsDevice = true});
    auto const result = *PixelBuffer::collect(*rows);
    std::memcpy(pixel.data(), result.row(0), sizeof(pixel));
    return pixel;
}

} // namespace

TEST(LinearLight, FindsChromaticitiesAgain)
{
    for (auto const& space : {kRec709, kDisplayP3, kProPhoto,
             Chromaticities {{0.7347, 0.2653}, {0, 1}, {0.0001, -0.077}, {0.32168, 0.33767}}}) {
        auto const linear = linearRgbSpace(space);
        EXPECT_TRUE(isLinear(linear));
        auto const found = chromaticitiesOf(linear);
        ASSERT_TRUE(found);
        EXPECT_TRUE(found->isLike(space));
        EXPECT_TRUE(IccProfile::parse(linear.profile()));
    }
    EXPECT_TRUE(chromaticitiesOf(srgbSpace())->isLike(kRec709));
    EXPECT_TRUE(chromaticitiesOf(withSrgbCurve(linearRgbSpace(kDisplayP3)))->isLike(kDisplayP3));
}

TEST(LinearLight, KnowsLinearProfiles)
{
    EXPECT_TRUE(isLinear(linearGraySpace()));
    EXPECT_FALSE(isLinear(srgbSpace()));
    EXPECT_FALSE(isLinear(ColorSpace::device(ColorModel::RGB)));
    auto const withGamma = [](double gamma) {
        auto profile = test::matrixProfile();
        for (auto const* tag : {"rTRC", "gTRC", "bTRC"})
            profile.tag(tag, test::gammaElement(gamma));
        return ColorSpace::withProfile(ColorModel::RGB, shareBytes(profile.bytes()));
    };
    EXPECT_TRUE(isLinear(withGamma(1)));
    EXPECT_FALSE(isLinear(withGamma(1.8)));
}

TEST(LinearLight, MeansWhatItSays)
{
    auto const linear = linearRgbSpace(kRec709);
    auto const half = converted({0.5f, 0.5f, 0.5f}, linear, ColorSpace::device(ColorModel::RGB));
    for (auto const value : half)
        EXPECT_NEAR(value, 0.7354, 0.001);
    // Light beyond white and outside the gamut stays.
    auto const bright = converted({4, 0, 0.25f}, linearRgbSpace(kDisplayP3), linear);
    auto const matrix = linearConversion(kDisplayP3, kRec709);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_NEAR(bright[i], matrix[i][0] * 4 + matrix[i][2] * 0.25, 0.002);
    auto const back = converted(bright, linear, linearRgbSpace(kDisplayP3));
    EXPECT_NEAR(back[0], 4, 0.002);
}

TEST(LinearLight, RefusesImpossiblePrimaries)
{
    EXPECT_TRUE(kRec709.isPossible() && kProPhoto.isPossible() && kCieXyz.isPossible());
    Chromaticities const impossible[] = {
        {},
        {{0.64, 0.33}, {0.64, 0.33}, {0.15, 0.06}, {0.31, 0.33}},
        {{0.64, 0.33}, {0.3, 0.6}, {0.15, 0.06}, {0.9, 0.05}},
        {{0.64, 0.33}, {0.3, 0.6}, {0.15, 0.06}, {0.31, 0}},
        {{std::nan(""), 0.33}, {0.3, 0.6}, {0.15, 0.06}, {0.31, 0.33}},
        {{1e30, 0.33}, {0.3, 0.6}, {0.15, 0.06}, {0.31, 0.33}},
    };
    for (auto const& space : impossible)
        EXPECT_FALSE(space.isPossible());
}

} // namespace velk::color
