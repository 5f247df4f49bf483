#include "platform/codec/RawCodecSupport.h"

namespace velk::test {

using namespace graphics;

namespace {

constexpr std::string_view kIco = "com.microsoft.ico";

// One picture in an icon; rows lie from the bottom up.
struct TestIcon {
    int width = 2, height = 2;
    int bits = 24;
    Bytes palette;
    Bytes colors;
    Bytes mask;

    Bytes picture() const
    {
        Bytes bytes;
        appendLE32(bytes, 40);
        appendLE32(bytes, static_cast<std::uint32_t>(width));
        appendLE32(bytes, static_cast<std::uint32_t>(2 * height));
        appendLE16(bytes, 1);
        appendLE16(bytes, static_cast<std::uint16_t>(bits));
        bytes.resize(32);
        appendLE32(bytes, static_cast<std::uint32_t>(palette.size() / 4));
        bytes.resize(40);
        return bytes + palette + colors + mask;
    }
};

Bytes iconFile(std::vector<Bytes> const& pictures, std::uint16_t kind = 1)
{
    Bytes file;
    appendLE16(file, 0);
    appendLE16(file, kind);
    appendLE16(file, static_cast<std::uint16_t>(pictures.size()));
    auto offset = 6 + 16 * pictures.size();
    for (auto const& picture : pictures) {
        // Sizes and depth as wrong as they often are.
        append(file, bytesOf({16, 16, 0, 0, 1, 0, 4, 0}));
        appendLE32(file, static_cast<std::uint32_t>(picture.size()));
        appendLE32(file, static_cast<std::uint32_t>(offset));
        offset += picture.size();
    }
    for (auto const& picture : pictures)
        append(file, picture);
    return file;
}

TestIcon trueColorIcon()
{
    return {.colors = bytesOf({1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0}),
        .mask = bytesOf({0x40, 0, 0, 0, 0x80, 0, 0, 0})};
}

} // namespace

TEST(IcoCodec, RoundTrips)
{
    for (auto const size : {Size {256, 256}, Size {1, 1}, Size {48, 31}})
        expectExactRoundTrip(kIco, photoLike(size, {.alpha = Alpha::Straight}), 8, "a.ico");
}

TEST(IcoCodec, RefusesWhatIsTooLargeForAnIcon)
{
    TemporaryDirectory const directory;
    auto const result = encode(kIco, photoLike({257, 20}, {.alpha = Alpha::Straight}), directory / "a.ico");
    ASSERT_FALSE(result);
    EXPECT_NE(result.error().message.find("256 x 256"), std::string::npos);
}

TEST(IcoCodec, ReadsEveryDepthUnderItsMask)
{
    struct Case {
        char const* name;
        TestIcon icon;
        std::vector<int> top, bottom;
    };
    auto const twoColors = bytesOf({10, 20, 30, 0, 40, 50, 60, 0});
    Case const cases[] = {
        {"1 bit",
            {.bits = 1,
                .palette = twoColors,
                .colors = bytesOf({0x80, 0, 0, 0, 0x40, 0, 0, 0}),
                .mask = bytesOf({0xC0, 0, 0, 0, 0, 0, 0, 0})},
            {30, 20, 10, 255, 60, 50, 40, 255}, {60, 50, 40, 0, 30, 20, 10, 0}},
        {"4 bits",
            {.bits = 4,
                .palette = twoColors,
                .colors = bytesOf({0x10, 0, 0, 0, 0x0F, 0, 0, 0}),
                .mask = Bytes(8)},
            {30, 20, 10, 255, 0, 0, 0, 255}, {60, 50, 40, 255, 30, 20, 10, 255}},
        {"8 bits",
            {.bits = 8, .palette = twoColors, .colors = bytesOf({0, 1, 0, 0, 1, 1, 0, 0}), .mask = Bytes(8)},
            {60, 50, 40, 255, 60, 50, 40, 255}, {30, 20, 10, 255, 60, 50, 40, 255}},
        {"16 bits",
            {.bits = 16, .colors = bytesOf({0x00, 0x7C, 0xE0, 0x03, 0x1F, 0, 0, 0}), .mask = Bytes(8)},
            {0, 0, 255, 255, 0, 0, 0, 255}, {255, 0, 0, 255, 0, 255, 0, 255}},
        {"24 bits", trueColorIcon(), {9, 8, 7, 0, 12, 11, 10, 255}, {3, 2, 1, 255, 6, 5, 4, 0}},
        {"32 bits with alpha",
            {.bits = 32,
                .colors = bytesOf({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 0, 13, 14, 15, 255}),
                .mask = bytesOf({0xC0, 0, 0, 0, 0xC0, 0, 0, 0})},
            {11, 10, 9, 0, 15, 14, 13, 255}, {3, 2, 1, 4, 7, 6, 5, 8}},
        {"32 bits without alpha",
            {.bits = 32,
                .colors = bytesOf({1, 2, 3, 0, 5, 6, 7, 0, 9, 10, 11, 0, 13, 14, 15, 0}),
                .mask = bytesOf({0x80, 0, 0, 0, 0x40, 0, 0, 0})},
            {11, 10, 9, 255, 15, 14, 13, 0}, {3, 2, 1, 0, 7, 6, 5, 255}},
    };
    for (auto const& [name, icon, top, bottom] : cases) {
        auto const decoded = decodeBytes(iconFile({icon.picture()}), "a.ico");
        ASSERT_TRUE(decoded) << name << ": " << decoded.error().message;
        EXPECT_EQ(rowOf(*decoded, 0), top) << name;
        EXPECT_EQ(rowOf(*decoded, 1), bottom) << name;
    }
}

TEST(IcoCodec, TakesTheLargestPictureWhateverTheDirectorySays)
{
    TestIcon const small = {.width = 1, .height = 1, .bits = 32, .colors = Bytes(4, 255), .mask = Bytes(4)};
    TestIcon const poor = {.bits = 1, .colors = Bytes(8), .mask = Bytes(8)};
    auto const source = *openBytes(
        iconFile({small.picture(), bytesOf({1, 2, 3}), trueColorIcon().picture(), poor.picture()}), "a.ico");
    EXPECT_EQ(source->image().size(), (Size {2, 2}));
    EXPECT_EQ(source->imageCount(), 4);
    auto const* properties = findDictionary(source->description().formatProperties, "{ICO}");
    ASSERT_TRUE(properties);
    EXPECT_EQ(find(*properties, "BitsPerPixel")->number(), 24);
}

TEST(IcoCodec, ReadsCursorsAndPngPictures)
{
    EXPECT_TRUE(decodeBytes(iconFile({trueColorIcon().picture()}, 2), "a.cur"));
    auto const pixels = photoLike({40, 30}, {});
    auto const file = iconFile({trueColorIcon().picture(), encodeToBytes("public.png", pixels)});
    auto const decoded = decodeBytes(file, "a.ico");
    ASSERT_TRUE(decoded) << decoded.error().message;
    EXPECT_EQ(largestDifference(**decoded, *pixels), 0);
}

TEST(IcoCodec, ShowsWhatIsThereOfACutFile)
{
    auto file = iconFile({trueColorIcon().picture()});
    file.resize(file.size() - 16);
    ::testing::internal::CaptureStderr();
    auto const decoded = decodeBytes(file, "a.ico");
    EXPECT_NE(::testing::internal::GetCapturedStderr().find("incomplete"), std::string::npos);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(rowOf(*decoded, 0), std::vector<int>(8));
    EXPECT_EQ(rowOf(*decoded, 1), (std::vector {3, 2, 1, 255, 6, 5, 4, 255}));
}

TEST(IcoCodec, SurvivesDamage)
{
    expectToSurviveDamage(iconFile({trueColorIcon().picture()}), 90, "a.ico");
    expectToSurviveDamage(encodeToBytes(kIco, photoLike({20, 20}, {.alpha = Alpha::Straight})), 70, "a.ico");
}

} // namespace velk::test
