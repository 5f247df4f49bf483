#include "properties/Query.h"

#include "base/StandardOutput.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lcms2.h>

namespace velk {

using graphics::ColorModel;
using graphics::PixelFormat;
using test::runVelk;
using test::TemporaryDirectory;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr PixelFormat kRgb {.model = ColorModel::RGB};
constexpr PixelFormat kRgba {.model = ColorModel::RGB, .alpha = graphics::Alpha::Straight};
constexpr PixelFormat kGray {.model = ColorModel::Gray};

SharedBytes srgbProfile()
{
    auto* const profile = cmsCreate_sRGBProfile();
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    Bytes bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    return shareBytes(bytes);
}

class Query : public testing::Test {
protected:
    std::string encode(std::string_view type, std::string const& name, PixelFormat format,
        test::EncodeExtras const& extras = {})
    {
        auto const encoded = test::encode(type, test::photoLike({64, 48}, format), directory / name, extras);
        EXPECT_TRUE(encoded.has_value()) << (encoded ? "" : encoded.error().message);
        return directory / name;
    }

    std::string printed(std::string_view key, PropertyValue const& value, bool oneLine = false)
    {
        testing::internal::CaptureStdout();
        printProperty(key, &value, oneLine);
        EXPECT_TRUE(flushOutput());
        return testing::internal::GetCapturedStdout();
    }

    TemporaryDirectory const directory;
};

} // namespace

TEST_F(Query, PrintsEveryKindOfValue)
{
    EXPECT_EQ(printed("make", "Caf\u00E9"), "  make: Caf\u00E9\n");
    EXPECT_EQ(printed("dpiWidth", 72.0f, true), "  dpiWidth: 72.000|");
    EXPECT_EQ(printed("dpiWidth", 0.0005), "  dpiWidth: 0.001\n");
    // Rounded to single precision first.
    EXPECT_EQ(printed("dpiWidth", 16777217.0), "  dpiWidth: 16777216.000\n");
    EXPECT_EQ(printed("size", std::int64_t {-9'000'000'000}), "  size: -9000000000\n");
    EXPECT_EQ(printed("hasAlpha", true), "  hasAlpha: yes\n");
    EXPECT_EQ(printed("hasAlpha", false), "  hasAlpha: no\n");
    EXPECT_EQ(printed("any", PropertyDate {}), "  any: ???\n");
    EXPECT_EQ(printed("any", PropertyArray {1}), "  any: ???\n");
    EXPECT_EQ(printed("profile", shareBytes(Bytes(200))), "  profile: 200 bytes\n");
    std::string const longText(5000, 'x');
    EXPECT_EQ(printed(longText, longText), "  " + longText + ": " + longText + "\n");
}

TEST_F(Query, ProfilesPrintAsTheirDescription)
{
    auto const profile = srgbProfile();
    EXPECT_EQ(printed("profile", profile), "  profile: sRGB built-in\n");
    auto const cut = shareBytes(std::span(*profile).first(132));
    EXPECT_EQ(printed("profile", cut), "  profile: 132 bytes\n");
}

TEST_F(Query, AllPrintsWhatThereIsInItsOwnOrder)
{
    auto const path = encode("public.png", "photo.png", kRgba);
    auto const result = runVelk({"-g", "all", "-g", "artist", path});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, path + R"(
  pixelWidth: 64
  pixelHeight: 48
  typeIdentifier: public.png
  format: png
  formatOptions: default
  dpiWidth: 72.000
  dpiHeight: 72.000
  samplesPerPixel: 4
  bitsPerSample: 8
  hasAlpha: yes
  space: RGB
)");
}

TEST_F(Query, NamedKeysPrintInTheOrderAskedForAndEvenWhenMissing)
{
    auto const path = encode("public.png", "gray.png", kGray);
    auto const result = runVelk({"-g", "space", "-g", "artist", "-g", "pixelWidth", "-g", "space", "-g",
        "bogus", path, "-g", "samplesPerPixel"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output,
        path + "\n  space: Gray\n  artist: <nil>\n  pixelWidth: 64\n  bogus: <nil>\n  samplesPerPixel: 1\n");
    EXPECT_EQ(runVelk({"-g", "pixelWidth", "-1", "-g", "artist", path}).output,
        path + "|  pixelWidth: 64|  artist: <nil>|\n");
}

TEST_F(Query, ShowsWhatTheFileCarries)
{
    test::EncodeExtras extras {.profile = srgbProfile(), .resolution = codec::Resolution {300, 150}};
    extras.metadata.apply({{"{TIFF}", "Artist", "Ansel"}, {"{TIFF}", "Make", "Box & Co <1>"},
        {"{TIFF}", "DateTime", "2024:02:29 12:00:00"}});
    for (auto const& [type, name] : {std::pair {"public.jpeg", "a.jpg"}, {"public.tiff", "a.tif"}}) {
        auto const path = encode(type, name, kRgb, extras);
        auto const result = runVelk({"-g", "dpiWidth", "-g", "dpiHeight", "-g", "profile", "-g", "artist",
            "-g", "make", "-g", "creation", "-g", "samplesPerPixel", path});
        EXPECT_EQ(result.output,
            path
                + "\n  dpiWidth: 300.000\n  dpiHeight: 150.000\n  profile: sRGB built-in\n  artist: Ansel\n"
                  "  make: Box & Co <1>\n  creation: 2024:02:29 12:00:00\n  samplesPerPixel: 3\n");
    }
}

TEST_F(Query, FormatOptionsNameTheTiffCompression)
{
    struct Case {
        int compression;
        std::string_view name;
    };
    for (auto const& [compression, name] : {Case {1, "default"}, {5, "lzw"}, {32773, "pacbits"}}) {
        test::EncodeExtras extras;
        extras.options.tiffCompression = compression;
        auto const path = encode("public.tiff", "photo.tif", kRgb, extras);
        EXPECT_THAT(
            runVelk({"-g", "formatOptions", path}).output, HasSubstr("formatOptions: " + std::string(name)));
    }
}

TEST_F(Query, XmlStandsAloneAndInOrder)
{
    auto const image = encode("public.jpeg", "a<b>.jpg", kRgb, {.profile = srgbProfile()});
    auto const result = runVelk({"-g", "all", "-g", "allxml", image, image});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(
        result.output.starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n"));
    EXPECT_TRUE(result.output.ends_with("</plist>\n"));
    EXPECT_THAT(result.output, Not(HasSubstr("DOCTYPE")));
    EXPECT_THAT(result.output, HasSubstr("<key>dpiWidth</key>\n\t<real>72</real>\n"));
    EXPECT_THAT(result.output, HasSubstr("<key>hasAlpha</key>\n\t<false/>\n"));
    EXPECT_THAT(result.output, HasSubstr("<key>path</key>\n\t<string>" + (directory / "a&lt;b&gt;.jpg")));
    EXPECT_THAT(result.output, HasSubstr("<key>profile</key>\n\t<data>\n\t"));
}

TEST_F(Query, ABrokenImageIsToldFromAFileThatIsNone)
{
    auto const path = encode("public.png", "photo.png", kRgb);
    auto const broken = directory / "broken.png";
    auto const whole = test::readBytes(path);
    test::writeBytes(broken, std::span(whole).first(20));
    auto const notes = directory / "notes.txt";
    test::writeBytes(notes, asBytes("just text"));

    auto const result = runVelk({"-g", "format", broken, path, notes});
    EXPECT_EQ(result.status, 13);
    EXPECT_EQ(result.output, broken + "\n" + path + "\n  format: png\n" + notes + "\n");
    EXPECT_THAT(result.errors,
        testing::MatchesRegex("Warning: " + broken
            + ": [^\n]+\nError: Error querying file\n"
              "Error: Error querying file\nError 13: [^\n]*\n[^\n]*\n"));
}

} // namespace velk
