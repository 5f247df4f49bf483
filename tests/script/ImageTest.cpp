#include "script/Image.h"

#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>

#include <limits>

namespace velk {

using namespace test;
using graphics::ColorModel;
using graphics::PixelFormat;

namespace {

class ScriptImage : public testing::Test {
protected:
    std::string photo(
        graphics::Size size, std::string_view type = "public.png", std::string const& name = "a.photo.png")
    {
        auto const path = m_directory / name;
        auto const written =
            encode(type, photoLike(size, PixelFormat {.model = ColorModel::RGB}), path, EncodeExtras {});
        EXPECT_TRUE(written);
        return path;
    }

    std::string textOf(Image const& image, std::string const& keyPath)
    {
        auto const value = image.getProperty(keyPath);
        return value && value->asString() ? *value->asString() : "(none)";
    }

    TemporaryDirectory m_directory;
};

} // namespace

TEST_F(ScriptImage, ScalesToALongestEdge)
{
    struct Case {
        graphics::Size size;
        double edge;
        SizeValue scaled, fitted;
    };
    constexpr Case kCases[] = {
        {{400, 300}, 100, {100, 75}, {100, 75}}, {{400, 300}, 1000, {1000, 750}, {400, 300}},
        {{400, 300}, 200, {200, 150}, {200, 150}}, {{300, 400}, 100, {75, 100}, {75, 100}},
        {{30, 30}, 31, {31, 31}, {30, 30}}, {{8, 5}, 4, {4, 3}, {4, 3}}, // 2.5 goes up
        {{400, 1}, 800, {800, 2}, {400, 1}},
        {{400, 1}, 500, {500, 1}, {500, 1}}, // larger in one direction only
    };
    for (auto const& [size, edge, scaled, fitted] : kCases) {
        Image const image(photo(size));
        EXPECT_EQ(image.scaledSizeWithLongestEdge(edge), scaled) << size.width << " to " << edge;
        EXPECT_EQ(image.sizeToFitLongestEdge(edge), fitted) << size.width << " to " << edge;
    }
}

TEST_F(ScriptImage, KnowsItsNameAndSize)
{
    Image const image(photo({400, 300}));
    EXPECT_EQ(image.name(), "a.photo.png");
    EXPECT_EQ(image.size(), (SizeValue {400, 300}));
    EXPECT_DOUBLE_EQ(image.aspectRatio(), 4.0 / 3);
}

TEST_F(ScriptImage, IsOpenedWhenItIsNeededAndThenKept)
{
    auto const path = m_directory / "late.png";
    Image const image(path);
    EXPECT_EQ(image.size(), SizeValue {});
    EXPECT_FALSE(image.getProperty("uti"));
    std::filesystem::rename(photo({20, 10}), path);
    EXPECT_EQ(image.size(), (SizeValue {20, 10}));
    std::filesystem::remove(path);
    EXPECT_EQ(textOf(image, "uti"), "public.png");
    EXPECT_TRUE(image.imageRef());
}

TEST_F(ScriptImage, IsEmptyForWhatIsNoImage)
{
    auto const path = m_directory / "text.png";
    writeBytes(path, asBytes("just text"));
    for (auto const& file : {path, m_directory / "missing", std::string(), m_directory.path()}) {
        Image const image(file);
        EXPECT_EQ(image.size(), SizeValue {});
        EXPECT_EQ(image.aspectRatio(), 0);
        EXPECT_FALSE(image.properties());
        EXPECT_FALSE(image.getProperty("uti"));
        EXPECT_FALSE(image.snapshot());
        EXPECT_EQ(image.scaledSizeWithLongestEdge(7), (SizeValue {0, 7}));
    }
}

TEST_F(ScriptImage, TakesTheBracesOffTheNamesOfDictionaries)
{
    Image const image(dataFile("Canon_PowerShot_S40.jpg"));
    EXPECT_EQ(textOf(image, "TIFF.Make"), "Canon");
    EXPECT_EQ(textOf(image, "{TIFF}.Make"), "(none)");
    EXPECT_EQ(textOf(image, "uti"), "public.jpeg");
    auto const properties = image.properties();
    ASSERT_TRUE(properties);
    EXPECT_TRUE(findDictionary(*properties, "Exif"));
    EXPECT_TRUE(find(*properties, "PixelWidth"));
}

TEST_F(ScriptImage, PrefersChangesKeyByKey)
{
    Image image(dataFile("Canon_PowerShot_S40.jpg"));
    auto const model = textOf(image, "TIFF.Model");
    image.setProperty("TIFF.Make", "X");
    EXPECT_EQ(textOf(image, "TIFF.Make"), "X");
    EXPECT_EQ(textOf(image, "TIFF.Model"), model);
    EXPECT_TRUE(image.hasModfiedKeyPath("TIFF.Make"));
    EXPECT_TRUE(image.hasModfiedKeyPath("TIFF"));
    EXPECT_FALSE(image.hasModfiedKeyPath("TIFF.Model"));

    // All of them at once, a changed dictionary hides the one of the file.
    auto const properties = *image.properties();
    EXPECT_EQ(findDictionary(properties, "TIFF")->size(), 1u);
    EXPECT_TRUE(findDictionary(properties, "Exif"));
}

TEST_F(ScriptImage, ChangesItsType)
{
    Image image(photo({2, 2}));
    EXPECT_EQ(textOf(image, "uti"), "public.png");
    EXPECT_FALSE(image.hasModfiedKeyPath("uti"));
    image.setProperty("uti", "public.jpeg");
    EXPECT_EQ(textOf(image, "uti"), "public.jpeg");
    EXPECT_TRUE(image.hasModfiedKeyPath("uti"));
}

TEST_F(ScriptImage, WalksKeyPaths)
{
    Image image(photo({2, 2}));
    EXPECT_FALSE(image.getProperty("PixelWidth.more"));
    EXPECT_FALSE(image.getProperty(""));
    image.setProperty("", 1);
    image.setProperty("a..b", 2);
    image.setProperty("v", 3);
    image.setProperty("v.w", 4); // makes room for a dictionary
    EXPECT_EQ(image.getProperty("")->number(), 1);
    EXPECT_EQ(image.getProperty("a..b")->number(), 2);
    EXPECT_FALSE(image.getProperty("a.b"));
    EXPECT_EQ(image.getProperty("v.w")->number(), 4);
    EXPECT_TRUE(image.getProperty("v")->asDictionary());

    // Dictionaries without end would be a trap for everything that walks them.
    std::string const endless(2'000'000, '.');
    image.setProperty(endless, 5);
    EXPECT_FALSE(image.getProperty(endless));
}

} // namespace velk
