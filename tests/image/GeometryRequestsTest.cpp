#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velk {

using namespace graphics;
using namespace test;

namespace {

constexpr Size kSize = {400, 300};

// Modifies a PNG of `size` with these functions and gives back its pixels.
PixelBufferPointer modified(
    std::vector<std::string> arguments, Size size = kSize, PixelFormat format = {.model = ColorModel::RGB})
{
    TemporaryDirectory const directory;
    EXPECT_TRUE(encode("public.png", photoLike(size, format), directory / "in.png"));
    arguments.insert(arguments.end(), {directory / "in.png", "--out", directory / "out.png"});
    auto const run = runVelk(arguments);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.errors, "");
    return decode(directory / "out.png").value();
}

std::string joined(std::vector<std::string> const& words)
{
    std::string text;
    for (auto const& word : words)
        text += word + " ";
    return text;
}

} // namespace

TEST(GeometryRequests, SizesFollowFromRequestsInTheirOrder)
{
    struct Case {
        std::vector<std::string> arguments;
        Size source, result;
    };
    std::vector<Case> const cases = {
        {{"-r", "90"}, kSize, {300, 400}},
        {{"-r", "-90"}, kSize, {300, 400}},
        {{"-r", "450"}, kSize, {300, 400}},
        {{"-r", "45"}, {100, 100}, {141, 141}},
        {{"-r", "-360"}, {100, 100}, {100, 100}},
        // The last request acts first, in the axes of the source.
        {{"--resampleHeightWidth", "100", "200", "--rotate", "90"}, kSize, {150, 133}},
        {{"--rotate", "90", "--resampleHeightWidth", "100", "200"}, kSize, {100, 200}},
        {{"-Z", "800"}, kSize, {800, 600}},
        {{"-Z", "200"}, kSize, {200, 150}},
        {{"--resampleWidth", "100"}, kSize, {100, 75}},
        {{"--resampleHeight", "600"}, kSize, {800, 600}},
        {{"-z", "12px", "7"}, kSize, {7, 12}},
        {{"-c", "100", "200"}, kSize, {200, 100}},
        {{"-p", "500", "500"}, kSize, {500, 500}},
        // A frame asked for before a turn is turned with the image, one asked for after it is not.
        {{"-c", "100", "200", "-r", "90"}, kSize, {100, 200}},
        {{"-r", "90", "-c", "100", "200"}, kSize, {200, 100}},
        {{"-c", "100", "200", "-p", "50", "60"}, kSize, {60, 50}},
    };
    for (auto const& [arguments, source, result] : cases)
        EXPECT_EQ(modified(arguments, source)->size(), result) << joined(arguments);
}

TEST(GeometryRequests, WholePixelMovesNeverFilter)
{
    auto const source = photoLike(kSize, {.model = ColorModel::RGB});
    struct Case {
        std::vector<std::string> arguments;
        Size size;
        // The source pixel shown at (x, y).
        std::pair<int, int> (*from)(int x, int y);
    };
    std::vector<Case> const cases = {
        {{"-r", "90"}, {300, 400}, [](int x, int y) { return std::pair(y, 299 - x); }},
        {{"-r", "180"}, {400, 300}, [](int x, int y) { return std::pair(399 - x, 299 - y); }},
        {{"-r", "270"}, {300, 400}, [](int x, int y) { return std::pair(399 - y, x); }},
        {{"-f", "horizontal"}, {400, 300}, [](int x, int y) { return std::pair(399 - x, y); }},
        {{"-f", "h"}, {400, 300}, [](int x, int y) { return std::pair(399 - x, y); }},
        {{"-f", "vertical"}, {400, 300}, [](int x, int y) { return std::pair(x, 299 - y); }},
        {{"-f", "Horizontal"}, {400, 300}, [](int x, int y) { return std::pair(x, 299 - y); }},
        {{"-c", "100", "200"}, {200, 100}, [](int x, int y) { return std::pair(x + 100, y + 100); }},
        {{"-c", "100", "100", "--cropOffset", "10", "20"}, {100, 100},
            [](int x, int y) { return std::pair(x + 20, y + 10); }},
        {{"--cropOffset", "0", "0", "-c", "100", "200"}, {200, 100},
            [](int x, int y) { return std::pair(x + 100, y + 100); }},
        {{"-p", "100", "100"}, {100, 100}, [](int x, int y) { return std::pair(x + 150, y + 100); }},
        {{"-r", "90", "-c", "100", "100", "--cropOffset", "10", "20"}, {100, 100},
            [](int x, int y) { return std::pair(y + 10, 299 - (x + 20)); }},
    };
    for (auto const& [arguments, size, from] : cases) {
        auto const expected = paint(size, {.model = ColorModel::RGB}, [&](int x, int y, int channel) {
            auto const [sx, sy] = from(x, y);
            return component(*source, sx, sy, channel);
        });
        EXPECT_EQ(largestDifference(*modified(arguments), *expected), 0) << joined(arguments);
    }
}

TEST(GeometryRequests, PadsWithTheColorOrBlack)
{
    auto const source = photoLike(kSize, {.model = ColorModel::RGB});
    for (auto const& [options, red] : {std::pair(std::vector<std::string> {"--padColor", "fF0000"}, 1.0),
             std::pair(std::vector<std::string> {}, 0.0)}) {
        std::vector<std::string> arguments = {"--padToHeightWidth", "500", "500"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        auto const expected = paint({500, 500}, {.model = ColorModel::RGB}, [&](int x, int y, int channel) {
            bool const inside = x >= 50 && x < 450 && y >= 100 && y < 400;
            return inside ? component(*source, x - 50, y - 100, channel) : channel == 0 ? red : 0.0;
        });
        EXPECT_EQ(largestDifference(*modified(arguments), *expected), 0);
    }
}

TEST(GeometryRequests, PaddingShowsThroughTransparencyOnlyWhenColored)
{
    PixelFormat const rgba = {.model = ColorModel::RGB, .alpha = Alpha::Straight};
    auto const plain = modified({"-p", "320", "420"}, kSize, rgba);
    EXPECT_EQ(component(*plain, 2, 2, 3), 0);
    EXPECT_EQ(component(*plain, 210, 20, 3), 1);
    auto const colored = modified({"-p", "320", "420", "--padColor", "00FF00"}, kSize, rgba);
    EXPECT_EQ(component(*colored, 2, 2, 1), 1);
    EXPECT_EQ(component(*colored, 2, 2, 3), 1);
}

TEST(GeometryRequests, ADifferenceOfAnOddNumberOfPixelsStaysCentred)
{
    // A half-pixel offset is filtered; a constant picture shows that no edge darkens.
    TemporaryDirectory const directory;
    auto const gray = paint({41, 31}, {.model = ColorModel::Gray}, [](int, int, int) { return 0.6; });
    ASSERT_TRUE(encode("public.png", gray, directory / "in.png"));
    ASSERT_EQ(runVelk({"-c", "20", "30", directory / "in.png"}).status, 0);
    auto const result = decode(directory / "in.png").value();
    auto const expected = paint({30, 20}, {.model = ColorModel::Gray}, [](int, int, int) { return 0.6; });
    EXPECT_EQ(largestDifference(*result, *expected), 0);
}

TEST(GeometryRequests, TurningTwiceBackGivesTheSamePixels)
{
    auto const source = photoLike({37, 53}, {.model = ColorModel::RGB});
    for (auto const& arguments : {std::vector<std::string> {"-r", "90", "-r", "270"},
             std::vector<std::string> {"-f", "h", "-r", "180", "-f", "v"}})
        EXPECT_EQ(largestDifference(*modified(arguments, {37, 53}), *source), 0) << joined(arguments);
}

TEST(GeometryRequests, BadValuesStopBeforeAnythingIsWritten)
{
    TemporaryDirectory const directory;
    auto const path = directory / "photo.png";
    ASSERT_TRUE(encode("public.png", photoLike({40, 30}, {.model = ColorModel::RGB}), path));
    auto const before = readBytes(path);
    struct Case {
        std::vector<std::string> arguments;
        std::string message;
    };
    std::vector<Case> const cases = {
        {{"--resampleWidth", "0"}, "Not a valid resample value"},
        {{"--resampleHeightWidth", "10", "abc"}, "Not a valid resample value"},
        {{"-Z", "-10"}, "Not a valid resample value"},
        {{"-c", "0", "10"}, "Not a valid pixelsH pixelsW value"},
        {{"-p", "10", "x"}, "Not a valid pixelsH pixelsW value"},
        {{"--padColor", "12345"}, "Invalid pad color"},
        {{"--padColor", "12345G"}, "Invalid pad color"},
        {{"--padColor", "1234567"}, "Invalid pad color"},
        // The first failure stops the walk.
        {{"-r", "90", "-c", "0", "0", "--padColor", "x"}, "Not a valid pixelsH pixelsW value"},
        {{"--setProperty", "hasAlpha", "1"}, "Cannot do --setProperty hasAlpha on file"},
        {{"--deleteProperty", "pixelWidth"}, "Cannot do --deleteProperty pixelWidth on file"},
        {{"--repair"}, "Cannot do --repair on file"},
        {{"-s", "format", "PNG"}, "Unsupported output format PNG"},
    };
    for (auto const& [arguments, message] : cases) {
        auto all = arguments;
        all.push_back(path);
        auto const run = runVelk(all);
        EXPECT_EQ(run.status, 13) << joined(arguments);
        EXPECT_EQ(run.errors,
            "Error: " + message
                + "\nError 13: an unknown error occurred\nTry 'velk --help' for help using this tool\n");
        EXPECT_TRUE(readBytes(path) == before) << joined(arguments);
        EXPECT_EQ(directory.names(), std::vector<std::string> {"photo.png"});
    }
    // Sizes beyond what an image may have are refused when they are rendered.
    auto const run = runVelk({"-z", "100000", "100000", path});
    EXPECT_EQ(run.status, 13);
    EXPECT_NE(run.errors.find("Unable to render destination image\n"), std::string::npos);
    EXPECT_TRUE(readBytes(path) == before);
}

} // namespace velk
