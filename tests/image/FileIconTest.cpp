#include "base/Md5.h"
#include "platform/desktop/FileUri.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"
#include "support/TestProfiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>

namespace velk {

using namespace graphics;
using namespace test;
using testing::HasSubstr;

namespace {

constexpr PixelFormat kRgb = {.model = ColorModel::RGB};

class FileIconOfRun : public testing::Test {
protected:
    RunResult run(std::vector<std::string> const& arguments) const
    {
        return runVelk(arguments, directory.path(),
            [&] { ::setenv("XDG_CACHE_HOME", (directory / "cache").c_str(), 1); });
    }
    std::string iconPath(std::string const& path) const
    {
        auto const uri = desktop::fileUri(path);
        return directory / "cache/thumbnails/normal/" + hexadecimal(md5(asBytes(uri))) + ".png";
    }
    PixelBufferPointer icon(std::string const& path) const { return decode(iconPath(path)).value(); }

    TemporaryDirectory const directory;
};

PixelBufferPointer oneColor(Size size, std::array<double, 3> color)
{
    return paint(size, kRgb, [&](int, int, int channel) { return color[static_cast<std::size_t>(channel)]; });
}

} // namespace

TEST_F(FileIconOfRun, AloneItLeavesTheFileAsItIs)
{
    auto const path = directory / "photo of me.jpg";
    ASSERT_TRUE(encode("public.jpeg", photoLike({300, 200}, kRgb), path));
    auto const before = readBytes(path);
    auto const result = run({"--addIcon", path});
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(readBytes(path) == before);
    EXPECT_EQ(icon(path)->size(), (Size {128, 85}));
    // The icon knows the file as it is after the run.
    struct stat status = {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    auto const properties = codec::openImage(iconPath(path)).value()->properties();
    EXPECT_EQ(*find(*findDictionary(properties, "{PNG}"), "Thumb::MTime"),
        PropertyValue(std::to_string(status.st_mtim.tv_sec)));
}

TEST_F(FileIconOfRun, ShowsTheResultUnderItsFinalName)
{
    std::filesystem::create_directory(directory / "out");
    auto const path = directory / "photo.jpg";
    ASSERT_TRUE(encode("public.jpeg", photoLike({300, 200}, kRgb), path));
    auto const result = run({"-i", "-r", "90", "-s", "format", "png", path, "--out", "out"});
    EXPECT_EQ(result.errors, "Warning: Output file suffix changed to png\n");
    EXPECT_EQ(icon(directory / "out/photo.png")->size(), (Size {85, 128}));
    EXPECT_FALSE(std::filesystem::exists(iconPath(path)));
}

TEST_F(FileIconOfRun, IsUprightWhateverTheOrientation)
{
    // What is shown: red on the left, blue at the top right, green at the bottom right.
    constexpr Size kShown = {8, 6};
    auto const shown = [](int x, int y) -> std::size_t { return x < 4 ? 0 : y < 3 ? 2 : 1; };
    for (int orientation = 1; orientation <= 8; ++orientation) {
        // Where the pixel at (x, y) of the file is shown (Exif 2.32, tag 0x0112).
        auto const stored = [&](int x, int y) {
            bool const swaps = orientation >= 5;
            auto const mirrorsX =
                orientation == 2 || orientation == 3 || orientation == 6 || orientation == 7;
            auto const mirrorsY =
                orientation == 3 || orientation == 4 || orientation == 7 || orientation == 8;
            auto const u = swaps ? y : x;
            auto const v = swaps ? x : y;
            return shown(mirrorsX ? kShown.width - 1 - u : u, mirrorsY ? kShown.height - 1 - v : v);
        };
        auto const size = orientation >= 5 ? Size {kShown.height, kShown.width} : kShown;
        auto const pixels = paint(size, kRgb,
            [&](int x, int y, int channel) { return static_cast<std::size_t>(channel) == stored(x, y); });
        EncodeExtras extras;
        extras.metadata.setOrientation(orientation);
        auto const path = directory / "photo.png";
        ASSERT_TRUE(encode("public.png", pixels, path, extras));
        ASSERT_EQ(run({"-i", path}).status, 0);
        auto const expected = paint(kShown, kRgb,
            [&](int x, int y, int channel) { return static_cast<std::size_t>(channel) == shown(x, y); });
        EXPECT_EQ(largestDifference(*icon(path), *expected), 0) << orientation;
    }
}

TEST_F(FileIconOfRun, ColoursAreThoseOfTheProfile)
{
    // The numbers of linear light, which sRGB has as 0.537.
    auto const linear = matrixProfile()
                            .tag("rTRC", gammaElement(1))
                            .tag("gTRC", gammaElement(1))
                            .tag("bTRC", gammaElement(1));
    auto const path = directory / "photo.png";
    ASSERT_TRUE(encode(
        "public.png", oneColor({4, 4}, {0.25, 0.25, 0.25}), path, {.profile = shareBytes(linear.bytes())}));
    ASSERT_EQ(run({"-i", path}).status, 0);
    for (int channel = 0; channel < 3; ++channel)
        EXPECT_NEAR(component(*icon(path), 2, 2, channel), 0.537, 0.01);
    auto const source = codec::openImage(iconPath(path)).value();
    EXPECT_EQ(source->image().space().profile(), nullptr);
}

TEST_F(FileIconOfRun, AFailureLeavesTheResult)
{
    auto const path = directory / "photo.png";
    ASSERT_TRUE(encode("public.png", photoLike({30, 20}, kRgb), path));
    writeBytes(directory / "cache", asBytes("in the way"));
    auto const result = run({"-i", "-r", "90", path, "--out", "turned.png"});
    EXPECT_EQ(result.status, 13);
    EXPECT_THAT(result.errors, HasSubstr("Error: Unable to set iconError 13: "));
    EXPECT_EQ(decode(directory / "turned.png").value()->size(), (Size {20, 30}));
}

TEST_F(FileIconOfRun, NoResultNoIcon)
{
    auto const path = directory / "photo.png";
    ASSERT_TRUE(encode("public.png", photoLike({30, 20}, kRgb), path));
    EXPECT_EQ(run({"-i", "-s", "hasAlpha", "1", path}).status, 13);
    EXPECT_EQ(run({"-i", "-s", "profile", "missing.icc", path}).status, 13);
    EXPECT_EQ(directory.names(), (std::vector<std::string> {"photo.png"}));
}

} // namespace velk
