#include "platform/codec/JpegTestFiles.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace velk::codec {

using namespace graphics;
using namespace test;
using namespace std::string_literals;

namespace {

constexpr std::array kTurns = {Turn::MirrorHorizontal, Turn::Rotate180, Turn::MirrorVertical, Turn::Transpose,
    Turn::RotateClockwise, Turn::Transverse, Turn::RotateCounterclockwise};

Turn inverse(Turn turn)
{
    if (turn == Turn::RotateClockwise)
        return Turn::RotateCounterclockwise;
    return turn == Turn::RotateCounterclockwise ? Turn::RotateClockwise : turn;
}

bool canTurn(ImageSource const& source, Turn turn)
{
    return codecForType("public.jpeg")->canRewrite({.source = source, .turn = turn});
}

Bytes turned(ImageSource const& source, Turn turn, std::string const& path)
{
    RewriteJob const job {.source = source, .turn = turn, .metadata = source.metadata()};
    EXPECT_TRUE(canTurn(source, turn));
    auto output = AtomicFile::create(path).value();
    auto const done = codecForType("public.jpeg")->rewrite(job, output);
    EXPECT_TRUE(done) << done.error().message;
    std::filesystem::remove(path); // replacing a file waits for the disk
    EXPECT_TRUE(output.commit(path));
    return readBytes(path);
}

// Where the pixel (x, y) of a picture of `size` comes to lie.
std::pair<int, int> placeOf(int x, int y, Size size, Turn turn)
{
    auto const right = size.width - 1 - x;
    auto const below = size.height - 1 - y;
    switch (turn) {
    case Turn::None:
        return {x, y};
    case Turn::MirrorHorizontal:
        return {right, y};
    case Turn::Rotate180:
        return {right, below};
    case Turn::MirrorVertical:
        return {x, below};
    case Turn::Transpose:
        return {y, x};
    case Turn::RotateClockwise:
        return {below, x};
    case Turn::Transverse:
        return {below, right};
    case Turn::RotateCounterclockwise:
        return {y, right};
    }
    return {};
}

// Largest difference between the pixels of `after` and those of `before` where the turn puts them.
int largestDifference(PixelBuffer const& before, PixelBuffer const& after, Turn turn)
{
    auto const channels = before.format().channels();
    int largest = 0;
    for (int y = 0; y < before.size().height; ++y) {
        for (int x = 0; x < before.size().width; ++x) {
            auto const [toX, toY] = placeOf(x, y, before.size(), turn);
            for (int i = 0; i < channels; ++i)
                largest = std::max(
                    largest, std::abs(before.row(y)[x * channels + i] - after.row(toY)[toX * channels + i]));
        }
    }
    return largest;
}

class JpegTurns : public testing::TestWithParam<JpegVariant> {
protected:
    // Whole units in all variants, of up to 32 x 16 pixels, and more strips than one.
    static constexpr Size kSize {224, 96};

    TemporaryDirectory m_directory;
};

INSTANTIATE_TEST_SUITE_P(All, JpegTurns, testing::ValuesIn(jpegVariants()),
    [](auto const& variant) { return std::string(variant.param.name); });

} // namespace

TEST_P(JpegTurns, MoveEveryPixel)
{
    auto const source = openBytes(m_directory / "in.jpg", makeJpeg(GetParam(), kSize));
    auto const before = collect(source->open({}).value());
    bool const isSubsampled =
        GetParam().horizontal * GetParam().vertical > 1 && before.format().channels() > 1;
    for (auto const turn : kTurns) {
        auto const bytes = turned(*source, turn, m_directory / "turned.jpg");
        auto const result = openBytes(m_directory / "again.jpg", bytes);
        auto const after = collect(result->open({}).value());
        ASSERT_EQ(after.size(), swapsAxes(turn) ? (Size {kSize.height, kSize.width}) : kSize);
        // The inverse DCT treats left and right alike, but rounds rows after columns; upsampling rounds in a
        // pattern of its own, which colour conversion enlarges.
        auto const tolerance = isSubsampled ? 24 : swapsAxes(turn) ? 4 : 0;
        EXPECT_LE(largestDifference(before, after, turn), tolerance) << "turn " << static_cast<int>(turn);
    }
}

TEST_P(JpegTurns, LoseNothing)
{
    // Partial units at the far edges of axes that stay in their direction go along.
    for (auto const size : {kSize, Size {224, 91}, Size {219, 96}, Size {219, 91}}) {
        auto const bytes = makeJpeg(GetParam(), size);
        auto const source = openBytes(m_directory / "in.jpg", bytes);
        for (auto const turn : kTurns) {
            if (!canTurn(*source, turn))
                continue;
            auto const there =
                openBytes(m_directory / "there.jpg", turned(*source, turn, m_directory / "out.jpg"));
            if (!canTurn(*there, inverse(turn)))
                continue;
            auto const back = turned(*there, inverse(turn), m_directory / "back.jpg");
            auto expected = readCoefficients(bytes);
            auto const actual = readCoefficients(back);
            if (expected.components.size() == 1) // sampling factors mean nothing then
                expected.components[0].horizontal = expected.components[0].vertical = 1;
            EXPECT_EQ(actual.components, expected.components) << "turn " << static_cast<int>(turn);
            EXPECT_EQ(actual.progressive, expected.progressive);
            EXPECT_EQ(actual.restartInterval, expected.restartInterval);
        }
    }
}

TEST(JpegTurn, NeedsWholeUnitsAlongReversedAxes)
{
    struct Case {
        Size size;
        std::vector<Turn> possible;
    };
    TemporaryDirectory const directory;
    auto const& subsampled = jpegVariants().front(); // units of 16 x 16
    for (auto const& testCase : {
             Case {{32, 32}, {kTurns.begin(), kTurns.end()}},
             Case {{40, 32}, {Turn::MirrorVertical, Turn::Transpose, Turn::RotateClockwise}},
             Case {{32, 40}, {Turn::MirrorHorizontal, Turn::Transpose, Turn::RotateCounterclockwise}},
             Case {{33, 33}, {Turn::Transpose}},
         }) {
        auto const source = openBytes(directory / "in.jpg", makeJpeg(subsampled, testCase.size));
        std::vector<Turn> possible;
        std::ranges::copy_if(
            kTurns, std::back_inserter(possible), [&](Turn turn) { return canTurn(*source, turn); });
        EXPECT_EQ(possible, testCase.possible) << testCase.size.width << " x " << testCase.size.height;
    }
}

TEST(JpegTurn, CarriesLargeCoefficients)
{
    // Black and white noise at the finest quantisation fills blocks with values beyond a byte.
    TemporaryDirectory const directory;
    auto const noise = paint({64, 48}, {.model = ColorModel::Gray},
        [](int x, int y, int) { return (x * 7919 ^ y * 104729 ^ x * y * 31) % 3 == 0 ? 1.0 : 0.0; });
    ASSERT_TRUE(encode("public.jpeg", noise, directory / "in.jpg", {.options = {.quality = 1.0F}}));
    auto const source = openBytes(directory / "copy.jpg", readBytes(directory / "in.jpg"));
    auto const after =
        openBytes(directory / "again.jpg", turned(*source, Turn::Transverse, directory / "out.jpg"));
    EXPECT_LE(largestDifference(
                  collect(source->open({}).value()), collect(after->open({}).value()), Turn::Transverse),
        1);
}

TEST(JpegTurn, CarriesSegmentsButNoPicturesThatLieTheOldWay)
{
    TemporaryDirectory const directory;
    auto jpeg = makeJpeg(jpegVariants().front(), {32, 16});
    // A density that differs by axis and a thumbnail of one pixel.
    jpeg[5] += 3;
    jpeg[13] = 1;
    jpeg[15] = 100;
    jpeg[17] = 50;
    jpeg[18] = jpeg[19] = 1;
    jpeg.insert(jpeg.begin() + 20, {9, 9, 9});
    Bytes more = segment(0xFE, "comment");
    append(more, segment(0xE0, "JFXX\0\x10thumbnail"s));
    append(more,
        segment(0xED,
            "Photoshop 3.0\0"
            "8BIM\x04\x0C\0\0\0\0\0\2"
            "!?"
            "8BIM\x03\xE8\0\0\0\0\0\2"
            "zz"s));
    append(more, segment(0xE7, "vendor"));
    jpeg.insert(jpeg.begin() + 23, more.begin(), more.end());
    append(jpeg, std::string_view("film"));
    auto const source = openBytes(directory / "in.jpg", jpeg);
    auto const result = turned(*source, Turn::RotateClockwise, directory / "out.jpg");
    auto const text = asText(result);
    EXPECT_EQ(loadBE16(&result[4]), 16);
    EXPECT_EQ(loadBE16(&result[14]), 50);
    EXPECT_EQ(loadBE16(&result[16]), 100);
    for (auto const* kept : {"comment", "vendor", "zz"})
        EXPECT_NE(text.find(kept), text.npos) << kept;
    for (auto const* gone : {"JFXX", "!?"})
        EXPECT_EQ(text.find(gone), text.npos) << gone;
    EXPECT_TRUE(text.ends_with("\xFF\xD9"
                               "film"));
}

TEST(JpegTurn, TurnsWhatThereIsOfATruncatedImage)
{
    TemporaryDirectory const directory;
    auto const whole = makeJpeg(jpegVariants().front(), {64, 64});
    Bytes const cut(whole.begin(), whole.end() - 400);
    auto const source = openBytes(directory / "in.jpg", cut);
    testing::internal::CaptureStderr();
    auto const bytes = turned(*source, Turn::Rotate180, directory / "out.jpg");
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(), "Warning: " + source->path() + ": the image is incomplete\n");
    EXPECT_TRUE(asText(bytes).ends_with("\xFF\xD9"));
}

} // namespace velk::codec
