#include "platform/codec/ImageWriter.h"
#include "platform/codec/RadianceFile.h"
#include "platform/codec/RawCodecSupport.h"
#include "platform/color/LinearLight.h"
#include "platform/color/Srgb.h"

#include <cmath>
#include <limits>

namespace velk::test {

using namespace graphics;

namespace {

constexpr std::string_view kRadiance = "public.radiance";
constexpr PixelFormat kFloatRgb = {ComponentType::Float32, ColorModel::RGB, Alpha::None};

Bytes fileWith(std::string const& variables, std::string const& resolution, Bytes const& data)
{
    Bytes file;
    append(file, "#?RADIANCE\n# a comment\n" + variables + "\n" + resolution + "\n");
    return file + data;
}

std::vector<float> floatsOf(PixelBufferPointer const& pixels, int y)
{
    auto const* row = reinterpret_cast<float const*>(pixels->row(y));
    return {row, row + pixels->size().width * pixels->format().channels()};
}

// Light of 0 to 16 whose mantissas are whole numbers of the common exponent.
PixelBufferPointer storableLight(Size size, ColorSpace const& space)
{
    return paint(
        size, kFloatRgb,
        [](int x, int y, int channel) {
            return (channel == 1 ? 128 + x % 100 : (x / 9 + y + channel) % 128) / 16.0;
        },
        &space);
}

} // namespace

TEST(RadianceCodec, RoundTripsStorableLight)
{
    for (auto const size : {Size {7, 3}, Size {8, 2}, Size {500, 40}, Size {1, 1}, Size {33000, 1}})
        expectExactRoundTrip(
            kRadiance, storableLight(size, color::linearRgbSpace(color::kRec709)), 32, "a.hdr");
}

TEST(RadianceCodec, StoresTheNearestSharedExponent)
{
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    struct Case {
        float red, green, blue;
        codec::SharedExponent stored;
    };
    Case const cases[] = {
        {1, 1, 1, {128, 128, 128, 129}},
        {0.5f, 0.25f, 0, {128, 64, 0, 128}},
        {0, 0, 0, {0, 0, 0, 0}},
        {-1, std::nanf(""), 1, {0, 0, 128, 129}},
        {0.999f, 0, 0, {128, 0, 0, 129}},
        {1000, 1, 0.1f, {250, 0, 0, 138}},
        {kInfinity, 0, 0, {255, 0, 0, 255}},
        {1e-45f, 0, 0, {0, 0, 0, 0}},
    };
    for (auto const& [red, green, blue, stored] : cases)
        EXPECT_EQ(codec::toSharedExponent(red, green, blue), stored) << red;
}

TEST(RadianceCodec, ReadsEveryCoding)
{
    struct Case {
        char const* name;
        int width;
        Bytes data;
        std::vector<float> reds;
    };
    Case const cases[] = {
        {"pixels as they are", 2, bytesOf({128, 0, 0, 129, 64, 0, 0, 129}), {1, 0.5f}},
        {"repeated pixels", 4, bytesOf({128, 0, 0, 129, 1, 1, 1, 2, 64, 0, 0, 129}), {1, 1, 1, 0.5f}},
        {"long repetitions", 259, bytesOf({128, 0, 0, 129, 1, 1, 1, 2, 1, 1, 1, 1}),
            std::vector<float>(259, 1)},
        {"components in runs", 8, bytesOf({2, 2, 0, 8, 132, 128, 4, 64, 32, 16, 8, 136, 0, 136, 0, 136, 129}),
            {1, 1, 1, 1, 0.5f, 0.25f, 0.125f, 0.0625f}},
    };
    for (auto const& [name, width, data, reds] : cases) {
        auto const decoded = decodeBytes(
            fileWith("FORMAT=32-bit_rle_rgbe\n", fmt::format("-Y 1 +X {}", width), data), "a.hdr");
        ASSERT_TRUE(decoded) << name << ": " << decoded.error().message;
        auto const row = floatsOf(*decoded, 0);
        for (std::size_t x = 0; x < reds.size(); ++x)
            EXPECT_EQ(row[3 * x], reds[x]) << name << ' ' << x;
    }
}

TEST(RadianceCodec, PutsEveryOrientationUpright)
{
    // The upright picture is 1 2 3 over 4 5 6, each file in the order that its resolution line tells.
    struct Case {
        char const* resolution;
        std::vector<int> order;
    };
    Case const cases[] = {
        {"-Y 2 +X 3", {1, 2, 3, 4, 5, 6}},
        {"-Y 2 -X 3", {3, 2, 1, 6, 5, 4}},
        {"+Y 2 +X 3", {4, 5, 6, 1, 2, 3}},
        {"+Y 2 -X 3", {6, 5, 4, 3, 2, 1}},
        {"+X 3 -Y 2", {1, 4, 2, 5, 3, 6}},
        {"+X 3 +Y 2", {4, 1, 5, 2, 6, 3}},
        {"-X 3 -Y 2", {3, 6, 2, 5, 1, 4}},
        {"-X 3 +Y 2", {6, 3, 5, 2, 4, 1}},
    };
    for (auto const& [resolution, order] : cases) {
        Bytes data;
        for (auto const value : order)
            append(data, bytesOf({value, 0, 0, 136}));
        auto const decoded = decodeBytes(fileWith("", resolution, data), "a.hdr");
        ASSERT_TRUE(decoded) << resolution;
        ASSERT_EQ((*decoded)->size(), (Size {3, 2})) << resolution;
        for (int i = 0; i < 6; ++i)
            EXPECT_EQ(component(**decoded, i % 3, i / 3, 0), i + 1) << resolution;
    }
}

TEST(RadianceCodec, TurnsXyzIntoTheColorsThatItMeans)
{
    auto const decoded = *decodeBytes(
        fileWith("FORMAT=32-bit_rle_xyze\n", "-Y 1 +X 1", bytesOf({128, 128, 128, 129})), "a.hdr");
    for (auto const value : floatsOf(decoded, 0))
        EXPECT_NEAR(value, 1, 1e-4);
}

TEST(RadianceCodec, SaysThatItsPixelsAreLinear)
{
    auto const pixel = bytesOf({128, 128, 128, 129});
    auto const plain = *openBytes(fileWith("", "-Y 1 +X 1", pixel), "a.hdr");
    EXPECT_EQ(plain->image().space(), color::linearRgbSpace(color::kRec709));
    auto const wide =
        *openBytes(fileWith("PRIMARIES= .68 .32 .265 .69 .15 .06 .3127 .3290\nEXPOSURE=2\nEXPOSURE= 1.5\n",
                       "-Y 1 +X 1", pixel),
            "a.hdr");
    EXPECT_TRUE(color::isLinear(wide->image().space()));
    color::Chromaticities const p3 = {{0.68, 0.32}, {0.265, 0.69}, {0.15, 0.06}, {0.3127, 0.3290}};
    EXPECT_TRUE(color::chromaticitiesOf(wide->image().space())->isLike(p3));
    auto const* properties = findDictionary(wide->description().formatProperties, "{Radiance}");
    EXPECT_EQ(find(*properties, "Exposure")->number(), 3);
}

TEST(RadianceCodec, ConvertsBetweenLightAndTheCurveOfSrgb)
{
    TemporaryDirectory const directory;
    auto const convert = [&](Image const& image, std::string_view type, std::string const& name) {
        auto output = *AtomicFile::create(directory / name);
        PropertyDictionary const none;
        auto const result =
            codec::writeImage(*codec::codecForType(type), {.image = image, .properties = none}, output);
        ASSERT_TRUE(result) << result.error().message;
        ASSERT_TRUE(output.commit(directory / name));
    };
    constexpr double kHalfInSrgb = 187.5 / 255;
    Image const gray(paint({4, 4}, {}, [](int, int, int) { return 188 / 255.0; }));
    convert(gray, kRadiance, "a.hdr");
    auto const light = *decode(directory / "a.hdr");
    EXPECT_NEAR(component(*light, 1, 1, 0), 0.5, 0.005);

    auto const linear = color::linearRgbSpace(color::kRec709);
    Image const half(paint(
        {4, 4}, kFloatRgb, [](int x, int, int) { return x == 3 ? 7 : 0.5; }, &linear));
    for (auto const type : {"public.png", "public.jpeg", "com.microsoft.bmp"}) {
        convert(half, type, "b");
        auto const decoded = *decode(directory / "b");
        EXPECT_NEAR(component(*decoded, 1, 1, 0), kHalfInSrgb, 0.01) << type;
    }
    convert(half, "public.png", "b");
    auto const decoded = *decode(directory / "b");
    EXPECT_EQ(component(*decoded, 3, 0, 0), 1);
    EXPECT_EQ(decoded->layout().space.profile() ? *decoded->layout().space.profile() : Bytes(),
        *color::srgbSpace().profile());
}

TEST(RadianceCodec, ExplainsWhatIsWrong)
{
    auto const messageOf = [](Bytes const& file) {
        auto const opened = openBytes(file, "a.hdr");
        return opened ? "" : opened.error().message;
    };
    EXPECT_NE(
        messageOf(fileWith("FORMAT=16-bit\n", "-Y 1 +X 1", Bytes(4))).find("format"), std::string::npos);
    EXPECT_NE(messageOf(fileWith("", "-Y 1 -Y 1", Bytes(4))).find("resolution"), std::string::npos);
    EXPECT_NE(
        messageOf(fileWith("", "-Y 2147483647 +X 2147483647", Bytes(4))).find("possible"), std::string::npos);
    EXPECT_NE(messageOf(fileWith("", "-Y 1 +X 1", {})).find("ends"), std::string::npos);
}

TEST(RadianceCodec, SurvivesDamage)
{
    auto const file =
        encodeToBytes(kRadiance, storableLight({40, 30}, color::linearRgbSpace(color::kRec709)));
    expectToSurviveDamage(file, 120, "a.hdr");
}

} // namespace velk::test
