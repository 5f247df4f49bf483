#include "platform/codec/CodecProbe.h"
#include "platform/codec/ModuleCodecs.h"
#include "platform/color/ColorConversion.h"
#include "platform/color/IccProfile.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace velk::test {

using namespace codec;
using namespace graphics;

namespace {

constexpr std::string_view kAvif = "public.avif";

class HeifColors : public testing::Test {
protected:
    void SetUp() override
    {
        if (!isInstalled(*codecForType(kAvif)))
            GTEST_SKIP() << "the module was not built";
    }

    /// A file that says its colours by code points (ITU-T H.273).
    std::shared_ptr<ImageSource const> withCodePoints(
        PixelBufferPointer const& picture, std::uint8_t primaries, std::uint8_t transfer)
    {
        auto file = encoded(kAvif, picture, {.options = {.quality = 1}});
        auto const nclx = std::ranges::search(file, asBytes("colrnclx"));
        EXPECT_FALSE(nclx.empty());
        nclx.begin()[9] = primaries;
        nclx.begin()[11] = transfer;
        writeBytes(m_directory / "a.avif", file);
        return openImage(m_directory / "a.avif").value();
    }

    TemporaryDirectory m_directory;
};

Image inSrgb(Image const& image)
{
    auto rows = color::convertColors(image.rows().value(),
        {.format = {},
            .space = ColorSpace::device(ColorModel::RGB),
            .intent = RenderingIntent::Relative,
            .readsDevice = true})
                    .value();
    return Image(std::make_shared<PixelBuffer const>(PixelBuffer::collect(*rows).value()));
}

} // namespace

TEST_F(HeifColors, AreThoseOfTheCodePoints)
{
    auto const green = paint({16, 16}, {}, [](int, int, int channel) { return channel == 1 ? 0.5 : 0.25; });
    struct {
        std::uint8_t primaries, transfer;
        bool hasProfile;
        double red, green, blue; ///< of the picture in sRGB
    } const cases[] = {
        {1, 13, false, 64, 128, 64},
        {2, 2, false, 64, 128, 64},
        {1, 1, false, 64, 128, 64},
        {12, 13, true, 32, 130, 55},
        {9, 13, true, 0, 135, 51},
        {1, 8, true, 137, 188, 137},
        {1, 4, true, 63, 128, 63},
    };
    for (auto const& [primaries, transfer, hasProfile, r, g, b] : cases) {
        auto const source = withCodePoints(green, primaries, transfer);
        EXPECT_EQ(source->image().space().profile() != nullptr, hasProfile);
        if (hasProfile) {
            EXPECT_TRUE(color::IccProfile::parse(source->image().space().profile()));
        }
        auto const pixels = inSrgb(source->image()).rows().value();
        auto const buffer = PixelBuffer::collect(*pixels).value();
        double const expected[] = {r, g, b};
        for (int channel = 0; channel < 3; ++channel)
            EXPECT_NEAR(component(buffer, 8, 8, channel) * 255, expected[channel], 2.5)
                << int {primaries} << "/" << int {transfer} << " channel " << channel;
    }
}

TEST_F(HeifColors, UseAllOfTheRangeOfGray)
{
    auto const ramp = paint({64, 8}, {.model = ColorModel::Gray}, [](int x, int, int) { return x / 63.0; });
    auto file = encoded(kAvif, ramp, {.options = {.quality = 1}});
    auto const nclx = std::ranges::search(file, asBytes("colrnclx"));
    ASSERT_FALSE(nclx.empty());
    nclx.begin()[14] = 0; // not full range
    auto const result = probe(file);
    ASSERT_TRUE(result.pixels) << result.error;
    for (int x = 0; x < 64; ++x) {
        auto const expected = std::clamp((x / 63.0 * 255 - 16) / 219, 0.0, 1.0);
        EXPECT_NEAR(component(*result.pixels, x, 4, 0), expected, 1.1 / 255) << x;
    }
}

TEST_F(HeifColors, KeepWhiteAndOrderOfHighDynamicRange)
{
    auto const ramp = paint({64, 8}, {}, [](int x, int, int) { return x / 63.0; });
    for (std::uint8_t const transfer : {16, 18}) {
        auto const source = withCodePoints(ramp, 9, transfer);
        auto const rows = inSrgb(source->image()).rows().value();
        auto const pixels = PixelBuffer::collect(*rows).value();
        EXPECT_EQ(component(pixels, 0, 0, 0), 0);
        EXPECT_NEAR(component(pixels, 63, 0, 0), 1, 0.01);
        for (int x = 1; x < 64; ++x) {
            EXPECT_GE(component(pixels, x, 0, 1), component(pixels, x - 1, 0, 1)) << x;
            EXPECT_NEAR(component(pixels, x, 0, 0), component(pixels, x, 0, 2), 0.012) << x;
        }
    }
}

} // namespace velk::test
