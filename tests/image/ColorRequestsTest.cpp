#include "image/ColorRequests.h"

#include "platform/color/Srgb.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gmock/gmock.h>

namespace velk {

using namespace graphics;
using namespace test;

namespace {

using testing::HasSubstr;
using Rgb = std::array<int, 3>;

constexpr PixelFormat kRgb = {.model = ColorModel::RGB};

class ColorRequests : public testing::Test {
protected:
    // A picture of one colour, with or without a profile.
    std::string makeImage(std::string const& name, Rgb color, std::string const& profile = {},
        PixelFormat format = kRgb, std::string_view type = "public.png")
    {
        auto const pixels = paint({8, 8}, format, [&](int, int, int channel) {
            return channel < 3 ? color[static_cast<std::size_t>(channel)] / 255.0 : 1.0;
        });
        EncodeExtras extras;
        if (!profile.empty())
            extras.profile = shareBytes(readBytes(dataFile(profile)));
        EXPECT_TRUE(encode(type, pixels, m_directory / name, extras));
        return m_directory / name;
    }

    static Rgb colorOf(std::string const& path)
    {
        auto const pixels = decode(path).value();
        auto const part = [&](int channel) {
            return static_cast<int>(component(*pixels, 3, 3, channel) * 255 + 0.5);
        };
        if (pixels->format().colorChannels() == 1)
            return {part(0), part(0), part(0)};
        return {part(0), part(1), part(2)};
    }

    static Bytes profileOf(std::string const& path)
    {
        auto const image = codec::openImage(path).value()->image();
        return image.space().profile() ? *image.space().profile() : Bytes();
    }

    TemporaryDirectory m_directory;
};

void expectNear(Rgb actual, Rgb expected)
{
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_NEAR(actual[i], expected[i], 1) << "channel " << i;
}

} // namespace

TEST_F(ColorRequests, MatchingConvertsAndLabels)
{
    struct Case {
        char const* from; ///< profile of the image, empty = none
        Rgb color;
        std::vector<std::string> requests;
        Rgb expected;
        char const* label;
    };
    Case const cases[] = {
        // An image without a profile is read as sRGB. Values by CSS Color 4, 10.4 and 17.
        {"", {255, 0, 0}, {"--matchTo", "DisplayP3-v4.icc"}, {234, 51, 35}, "DisplayP3-v4.icc"},
        {"", {128, 128, 128}, {"--matchTo", "DisplayP3-v4.icc"}, {128, 128, 128}, "DisplayP3-v4.icc"},
        {"DisplayP3-v4.icc", {234, 51, 35}, {"--matchTo", "DisplayP3-v4.icc"}, {234, 51, 35},
            "DisplayP3-v4.icc"},
        {"DisplayP3-v4.icc", {0, 255, 0}, {"--matchToWithIntent", "AdobeCompat-v2.icc", "relative"},
            {103, 255, 0}, "AdobeCompat-v2.icc"},
        // By way of grey there are no colours any more.
        {"", {255, 0, 0}, {"--matchTo", "sGrey-v4.icc", "--matchTo", "DisplayP3-v4.icc"}, {130, 130, 130},
            "DisplayP3-v4.icc"},
        {"", {200, 30, 90}, {"--matchTo", "DisplayP3-v4.icc", "--matchTo", "AdobeCompat-v2.icc"},
            {171, 35, 89}, "AdobeCompat-v2.icc"},
        // What is attached first is converted from.
        {"", {234, 51, 35}, {"--embedProfile", "DisplayP3-v4.icc", "--matchTo", "sGrey-v4.icc"},
            {130, 130, 130}, "sGrey-v4.icc"},
    };
    for (auto const& [from, color, requests, expected, label] : cases) {
        auto const path = makeImage("in.png", color, from);
        std::vector<std::string> arguments;
        for (auto const& word : requests)
            arguments.push_back(word.ends_with(".icc") ? dataFile(word) : word);
        arguments.push_back(path);
        SCOPED_TRACE(testing::PrintToString(requests));
        ASSERT_EQ(runVelk(arguments).status, 0);
        expectNear(colorOf(path), expected);
        EXPECT_TRUE(profileOf(path) == readBytes(dataFile(label)));
    }
}

TEST_F(ColorRequests, MatchingKeepsAlphaAndGeometryApplies)
{
    PixelFormat const withAlpha = {.model = ColorModel::RGB, .alpha = Alpha::Straight};
    auto const pixels = paint({8, 6}, withAlpha, [](int, int y, int channel) {
        return channel == 0 ? 1.0 : channel == 3 ? (y < 3 ? 1.0 : 0.5) : 0.0;
    });
    auto const path = m_directory / "alpha.png";
    ASSERT_TRUE(encode("public.png", pixels, path));
    ASSERT_EQ(runVelk({"--matchTo", dataFile("DisplayP3-v4.icc"), "-r", "180", path}).status, 0);
    auto const result = decode(path).value();
    EXPECT_EQ(result->size(), (Size {8, 6}));
    EXPECT_NEAR(component(*result, 0, 0, 3), 0.5, 0.01);
    EXPECT_NEAR(component(*result, 0, 5, 3), 1, 0);
    EXPECT_NEAR(component(*result, 0, 0, 0) * 255, 234, 2);
}

TEST_F(ColorRequests, EachLinkOfAChainHasTheIntentOfTheRequestBefore)
{
    auto const path = makeImage("in.png", {1, 2, 3});
    ImageEditState state(codec::openImage(path).value());
    EXPECT_TRUE(matchingLinks(state).empty());
    for (auto const& [profile, word] : {std::pair {"DisplayP3-v4.icc", "relative"},
             std::pair {"AdobeCompat-v2.icc", "satuation"}, std::pair {"sGrey-v4.icc", "absolute"}})
        ASSERT_TRUE(requestMatching(state, {"--matchToWithIntent", dataFile(profile), word}));
    auto const links = matchingLinks(state);
    ASSERT_EQ(links.size(), 3U);
    EXPECT_EQ(links[0].intent, RenderingIntent::Absolute);
    EXPECT_EQ(links[1].intent, RenderingIntent::Relative);
    EXPECT_EQ(links[2].intent, RenderingIntent::Saturation);
    EXPECT_EQ(links[2].space.model(), ColorModel::Gray);
}

TEST_F(ColorRequests, EmbeddingLeavesPixelsAlone)
{
    struct Case {
        std::vector<std::string> request;
        char const* before;
        char const* after; ///< empty = no profile
    };
    Case const cases[] = {
        {{"--embedProfile", dataFile("DisplayP3-v4.icc")}, "", "DisplayP3-v4.icc"},
        {{"--embedProfile", dataFile("DisplayP3-v4.icc")}, "AdobeCompat-v2.icc", "DisplayP3-v4.icc"},
        {{"--setProperty", "profile", dataFile("DisplayP3-v4.icc")}, "", "DisplayP3-v4.icc"},
        {{"--embedProfileIfNone", dataFile("DisplayP3-v4.icc")}, "", "DisplayP3-v4.icc"},
        {{"--embedProfileIfNone", dataFile("DisplayP3-v4.icc")}, "AdobeCompat-v2.icc", "AdobeCompat-v2.icc"},
        {{"--deleteProperty", "profile"}, "AdobeCompat-v2.icc", ""},
        {{"--deleteProperty", "profile"}, "", ""},
    };
    for (auto const type : {"public.png", "public.jpeg", "public.tiff", "org.webmproject.webp"}) {
        for (auto const& [request, before, after] : cases) {
            auto const path = makeImage("in.img", {200, 30, 90}, before, kRgb, type);
            auto const original = colorOf(path);
            auto arguments = request;
            arguments.push_back(path);
            SCOPED_TRACE(testing::PrintToString(request) + type);
            ASSERT_EQ(runVelk(arguments).status, 0);
            EXPECT_EQ(colorOf(path), original);
            auto const expected = *after ? readBytes(dataFile(after)) : Bytes();
            EXPECT_TRUE(profileOf(path) == expected);
        }
    }
}

TEST_F(ColorRequests, AnIndexedImageStaysIndexedUnderItsNewProfile)
{
    auto const path = m_directory / "indexed.png";
    ASSERT_TRUE(encode("public.png", indexedImage({9, 7}, 12, false), path));
    ASSERT_EQ(runVelk({"--embedProfile", dataFile("AdobeCompat-v2.icc"), path}).status, 0);
    EXPECT_EQ(codec::openImage(path).value()->image().format().model, ColorModel::Indexed);
    EXPECT_TRUE(profileOf(path) == readBytes(dataFile("AdobeCompat-v2.icc")));
    ASSERT_EQ(runVelk({"--deleteProperty", "profile", path}).status, 0);
    EXPECT_TRUE(profileOf(path).empty());
}

TEST_F(ColorRequests, FailuresLeaveTheFileAlone)
{
    struct Case {
        std::vector<std::string> request;
        std::vector<std::string> messages;
    };
    auto const p3 = dataFile("DisplayP3-v4.icc");
    auto const notAProfile = m_directory / "text.icc";
    writeBytes(notAProfile, Bytes(200, 'x'));
    Case const cases[] = {
        {{"--matchTo", notAProfile},
            {"Error: Profile at " + notAProfile + " cannot be opened\n", "Error: Invalid profile\n"}},
        {{"--embedProfile", notAProfile},
            {"Error: Profile at " + notAProfile + " cannot be opened\n",
                "Error: Invalid replacement profile\n"}},
        {{"--embedProfile", dataFile("sGrey-v4.icc")}, {"Error: Invalid replacement profile\n"}},
        {{"--matchTo", p3, "--embedProfile", p3}, {"Error: Cannot do --embedProfile after --matchTo.\n"}},
        {{"--matchTo", p3, "--embedProfileIfNone", p3},
            {"Error: Cannot do --embedProfileIfNone after --matchTo.\n"}},
        {{"--matchTo", p3, "--setProperty", "profile", p3},
            {"Error: Cannot do --setProperty profile after --matchTo.\n"}},
    };
    auto const path = makeImage("in.png", {200, 30, 90});
    auto const before = readBytes(path);
    for (auto const& [request, messages] : cases) {
        auto arguments = request;
        arguments.push_back(path);
        auto const result = runVelk(arguments);
        EXPECT_EQ(result.status, 13);
        for (auto const& message : messages)
            EXPECT_THAT(result.errors, HasSubstr(message));
        EXPECT_TRUE(readBytes(path) == before);
    }
    EXPECT_THAT(m_directory.names(), testing::ElementsAre("in.png", "text.icc"));
}

TEST_F(ColorRequests, AnUnknownIntentIsReportedAndTheImageStillMatched)
{
    auto const path = makeImage("in.png", {255, 0, 0});
    auto const result = runVelk({"--matchToWithIntent", dataFile("DisplayP3-v4.icc"), "bogus", path});
    EXPECT_EQ(result.status, 13);
    EXPECT_THAT(result.errors, HasSubstr("Error: Not a valid intent value: bogus\n"));
    expectNear(colorOf(path), {234, 51, 35});
}

TEST_F(ColorRequests, SharingMakesEightBitSrgbNoLargerThanTheSource)
{
    auto const path = makeImage("in.png", {234, 51, 35}, "DisplayP3-v4.icc",
        {.componentType = ComponentType::UInt16, .model = ColorModel::RGB});
    ASSERT_EQ(runVelk({"--optimizeColorForSharing", "-Z", "30", path}).status, 0);
    auto const image = codec::openImage(path).value()->image();
    EXPECT_EQ(image.size(), (Size {8, 8}));
    EXPECT_EQ(image.info().bitsPerComponent, 8);
    EXPECT_EQ(image.space(), color::srgbSpace());
    expectNear(colorOf(path), {255, 0, 0});
}

TEST_F(ColorRequests, SharingOnlyLabelsWhatIsSrgbAlready)
{
    auto const path = m_directory / "photo.jpg";
    ASSERT_TRUE(encode("public.jpeg", photoLike({40, 24}, kRgb), path));
    auto const before = decode(path).value();
    ASSERT_EQ(runVelk({"--optimizeColorForSharing", path}).status, 0);
    EXPECT_EQ(largestDifference(*before, *decode(path).value()), 0);
    EXPECT_TRUE(profileOf(path) == *color::srgbSpace().profile());
}

TEST_F(ColorRequests, ColorManagementPropertiesGo)
{
    auto const path = m_directory / "gamma.png";
    EncodeExtras extras;
    set(subDictionary(extras.properties, "{PNG}"), "Gamma", 0.45455);
    ASSERT_TRUE(encode("public.png", photoLike({8, 8}, kRgb), path, extras));
    ASSERT_TRUE(find(*findDictionary(codec::openImage(path).value()->properties(), "{PNG}"), "Gamma"));
    ASSERT_EQ(runVelk({"--deleteColorManagementProperties", path}).status, 0);
    auto const properties = codec::openImage(path).value()->properties();
    auto const* png = findDictionary(properties, "{PNG}");
    EXPECT_FALSE(png && find(*png, "Gamma"));
    auto const* exif = findDictionary(properties, "{Exif}");
    ASSERT_TRUE(exif && find(*exif, "ColorSpace"));
    EXPECT_EQ(find(*exif, "ColorSpace")->number(), 65535);
}

} // namespace velk
