#include "platform/codec/RawCodecSupport.h"

namespace velk::test {

using namespace graphics;

namespace {

constexpr std::string_view kBmp = "com.microsoft.bmp";

// A bitmap with a header of any size; what is not set is zero.
struct TestBitmap {
    std::uint32_t headerSize = 40;
    std::int32_t width = 2, height = 1;
    int bits = 24;
    std::uint32_t compression = 0;
    std::vector<std::uint32_t> masks;
    std::uint32_t statedColors = 0;
    Bytes palette;
    Bytes pixels;
    int gap = 0; ///< bytes between the palette and the pixels

    Bytes file() const
    {
        Bytes header;
        appendLE32(header, headerSize);
        if (headerSize == 12) {
            appendLE16(header, static_cast<std::uint16_t>(width));
            appendLE16(header, static_cast<std::uint16_t>(height));
        } else {
            appendLE32(header, static_cast<std::uint32_t>(width));
            appendLE32(header, static_cast<std::uint32_t>(height));
        }
        appendLE16(header, 1);
        appendLE16(header, static_cast<std::uint16_t>(bits));
        if (headerSize > 12) {
            for (auto const value : {compression, 0u, 0u, 0u, statedColors, 0u})
                appendLE32(header, value);
        }
        for (auto const mask : masks)
            appendLE32(header, mask);
        header.resize(std::max<std::size_t>(header.size(), headerSize));
        append(header, palette);
        header.resize(header.size() + static_cast<std::size_t>(gap));

        Bytes file;
        append(file, "BM");
        appendLE32(file, static_cast<std::uint32_t>(14 + header.size() + pixels.size()));
        appendLE32(file, 0);
        appendLE32(file, static_cast<std::uint32_t>(14 + header.size()));
        return file + header + pixels;
    }
};

Bytes fourColors()
{
    return bytesOf({1, 2, 3, 0, 10, 20, 30, 0, 40, 50, 60, 0, 70, 80, 90, 0});
}

PixelBufferPointer decodeTest(TestBitmap const& bitmap)
{
    auto decoded = decodeBytes(bitmap.file(), "test.bmp");
    EXPECT_TRUE(decoded) << (decoded ? "" : decoded.error().message);
    return decoded ? *decoded : nullptr;
}

} // namespace

TEST(BmpCodec, RoundTrips)
{
    for (auto const size : {Size {37, 29}, Size {1, 1}, Size {700, 601}}) {
        expectExactRoundTrip(kBmp, photoLike(size, {}), 8, "a.bmp");
        expectExactRoundTrip(kBmp, photoLike(size, {.alpha = Alpha::Straight}), 8, "a.bmp");
        expectExactRoundTrip(kBmp, indexedImage(size, 256, false), 8, "a.bmp");
        expectExactRoundTrip(kBmp, indexedImage(size, 11, false), 4, "a.bmp");
        expectExactRoundTrip(kBmp, indexedImage(size, 2, false), 1, "a.bmp");
    }
}

TEST(BmpCodec, StoresGrayUnderAGrayPalette)
{
    auto const pixels = photoLike({33, 17}, {.model = ColorModel::Gray});
    auto const decoded = *decodeBytes(encodeToBytes(kBmp, pixels), "a.bmp");
    auto const* palette = decoded->layout().space.palette();
    ASSERT_TRUE(palette);
    for (int x = 0; x < 33; ++x) {
        auto const level = pixels->row(5)[x];
        std::array<std::uint8_t, 4> const gray = {level, level, level, 255};
        EXPECT_EQ(palette->entries[decoded->row(5)[x]], gray);
    }
    auto const bits = paint({9, 2}, {.model = ColorModel::Gray}, [](int x, int, int) { return x % 2; });
    auto const bilevel = *decodeBytes(encodeToBytes(kBmp, bits, {.bitsPerComponent = 1}), "a.bmp");
    EXPECT_EQ(rowOf(bilevel, 1), (std::vector {0, 1, 0, 1, 0, 1, 0, 1, 0}));
    EXPECT_EQ(bilevel->layout().space.palette()->entries.size(), 2u);
}

TEST(BmpCodec, KeepsProfileAndResolution)
{
    Bytes profile(200);
    std::ranges::copy(std::string_view("RGB "), profile.begin() + 16);
    std::ranges::copy(std::string_view("acsp"), profile.begin() + 36);
    auto const shared = shareBytes(profile);
    for (auto const alpha : {Alpha::None, Alpha::Straight}) {
        auto const file = encodeToBytes(kBmp, photoLike({5, 4}, {.alpha = alpha}),
            {.profile = shared, .resolution = codec::Resolution {300, 150}});
        auto const source = *openBytes(file, "a.bmp");
        ASSERT_TRUE(source->description().info.layout.space.profile());
        EXPECT_EQ(*source->description().info.layout.space.profile(), profile);
        EXPECT_NEAR(source->resolution()->x, 300, 0.02);
        EXPECT_NEAR(source->resolution()->y, 150, 0.02);
    }
}

TEST(BmpCodec, CodesOfOneImageGiveTheSamePixels)
{
    for (auto const& [one, other] :
        {std::pair {"pal4", "pal4rle"}, {"pal8", "pal8rle"}, {"pal8", "pal8os2"}}) {
        auto const a = decode(dataFile(std::string("bmp/") + one + ".bmp"));
        auto const b = decode(dataFile(std::string("bmp/") + other + ".bmp"));
        ASSERT_TRUE(a && b) << other;
        EXPECT_EQ(largestDifference(**a, **b), 0) << other;
        EXPECT_EQ((*a)->layout().space.palette()->entries[1], (*b)->layout().space.palette()->entries[1]);
    }
}

TEST(BmpCodec, ReadsEveryPixelLayout)
{
    struct Case {
        char const* name;
        TestBitmap bitmap;
        std::vector<int> row;
    };
    Case const cases[] = {
        {"555", {.bits = 16, .pixels = bytesOf({0x00, 0x7C, 0x1F, 0x80})}, {255, 0, 0, 0, 0, 255}},
        {"565",
            {.bits = 16,
                .compression = 3,
                .masks = {0xF800, 0x07E0, 0x001F},
                .pixels = bytesOf({0xE0, 0x07, 0x00, 0x08})},
            {0, 255, 0, 8, 0, 0}},
        {"4444 with alpha after the masks",
            {.bits = 16,
                .compression = 6,
                .masks = {0x0F00, 0x00F0, 0x000F, 0xF000},
                .pixels = bytesOf({0x21, 0x43, 0xFF, 0x0F})},
            {51, 34, 17, 68, 255, 255, 255, 0}},
        {"fourth byte is not alpha", {.bits = 32, .pixels = bytesOf({1, 2, 3, 4, 5, 6, 7, 8})},
            {3, 2, 1, 7, 6, 5}},
        {"masks in another order",
            {.width = 1,
                .bits = 32,
                .compression = 3,
                .masks = {0xFF, 0xFF00, 0xFF0000},
                .pixels = bytesOf({1, 2, 3, 4})},
            {1, 2, 3}},
        {"alpha of version 4",
            {.headerSize = 108,
                .width = 1,
                .bits = 32,
                .compression = 3,
                .masks = {0xFF0000, 0xFF00, 0xFF, 0xFF000000},
                .pixels = bytesOf({1, 2, 3, 0})},
            {3, 2, 1, 0}},
        {"doubtful alpha that is never used",
            {.headerSize = 108,
                .width = 1,
                .bits = 32,
                .masks = {0xFF0000, 0xFF00, 0xFF, 0xFF000000},
                .pixels = bytesOf({1, 2, 3, 0})},
            {3, 2, 1}},
        {"doubtful alpha that is used",
            {.headerSize = 108,
                .width = 1,
                .bits = 32,
                .masks = {0xFF0000, 0xFF00, 0xFF, 0xFF000000},
                .pixels = bytesOf({1, 2, 3, 9})},
            {3, 2, 1, 9}},
        {"two-bit indices",
            {.width = 5, .bits = 2, .palette = fourColors(), .pixels = bytesOf({0x1B, 0x40, 0, 0})},
            {0, 1, 2, 3, 1}},
        {"OS/2",
            {.headerSize = 12,
                .width = 2,
                .bits = 8,
                .palette = bytesOf({1, 2, 3, 4, 5, 6}),
                .pixels = bytesOf({1, 0, 0, 0})},
            {1, 0}},
        {"index outside the palette",
            {.width = 3,
                .bits = 8,
                .statedColors = 2,
                .palette = bytesOf({1, 2, 3, 0, 4, 5, 6, 0}),
                .pixels = bytesOf({1, 2, 255, 0})},
            {1, 0, 0}},
        {"pixels after a gap", {.width = 1, .bits = 24, .pixels = bytesOf({1, 2, 3, 0}), .gap = 50},
            {3, 2, 1}},
        {"a palette for 24 bits",
            {.width = 1,
                .bits = 24,
                .statedColors = 4,
                .palette = fourColors(),
                .pixels = bytesOf({1, 2, 3, 0})},
            {3, 2, 1}},
    };
    for (auto const& [name, bitmap, row] : cases) {
        SCOPED_TRACE(name);
        auto const decoded = decodeTest(bitmap);
        ASSERT_TRUE(decoded);
        EXPECT_EQ(rowOf(decoded, 0), row);
    }
}

TEST(BmpCodec, KeepsTenBitsPerComponent)
{
    TestBitmap const bitmap {.width = 1,
        .bits = 32,
        .compression = 3,
        .masks = {0x3FF00000, 0x000FFC00, 0x000003FF},
        .pixels = bytesOf({0xFF, 0x07, 0x00, 0x20})};
    auto const source = *openBytes(bitmap.file(), "a.bmp");
    EXPECT_EQ(source->description().info.bitsPerComponent, 10);
    auto const decoded = decodeTest(bitmap);
    auto const* row = reinterpret_cast<std::uint16_t const*>(decoded->row(0));
    EXPECT_EQ(row[0], (512 * 65535 + 511) / 1023);
    EXPECT_EQ(row[1], (1 * 65535 + 511) / 1023);
    EXPECT_EQ(row[2], 65535);
}

TEST(BmpCodec, RunLengthCodesMaySkipPixels)
{
    // Run, literals, jump of one to the right and one up, run over the right edge, early end.
    TestBitmap bitmap {.width = 6,
        .height = 4,
        .bits = 8,
        .compression = 1,
        .palette = Bytes(1024),
        .pixels = bytesOf({3, 5, 0, 3, 7, 8, 9, 0, 0, 0, 0, 2, 2, 1, 9, 6, 0, 1})};
    auto const eight = decodeTest(bitmap);
    EXPECT_EQ(rowOf(eight, 3), (std::vector {5, 5, 5, 7, 8, 9}));
    EXPECT_EQ(rowOf(eight, 2), (std::vector {0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(rowOf(eight, 1), (std::vector {0, 0, 6, 6, 6, 6}));
    EXPECT_EQ(rowOf(eight, 0), (std::vector {0, 0, 0, 0, 0, 0}));

    bitmap = {.width = 7,
        .height = 1,
        .bits = 4,
        .compression = 2,
        .palette = Bytes(64),
        .pixels = bytesOf({3, 0x12, 0, 3, 0x45, 0x60, 0, 1})};
    EXPECT_EQ(rowOf(decodeTest(bitmap), 0), (std::vector {1, 2, 1, 4, 5, 6, 0}));

    bitmap = {.headerSize = 64,
        .width = 3,
        .height = 1,
        .bits = 24,
        .compression = 4,
        .pixels = bytesOf({2, 1, 2, 3, 1, 4, 5, 6, 0, 1})};
    EXPECT_EQ(rowOf(decodeTest(bitmap), 0), (std::vector {3, 2, 1, 3, 2, 1, 6, 5, 4}));
}

// Taller than one band, so that decoding starts in the middle of the code.
TEST(BmpCodec, RunLengthCodesOfTallImages)
{
    TestBitmap bitmap {.width = 30000, .height = 100, .bits = 8, .compression = 1, .palette = Bytes(1024)};
    for (int y = 0; y < 100; ++y)
        append(bitmap.pixels, bytesOf({200, y, 0, 0}));
    auto const decoded = decodeTest(bitmap);
    for (int y = 0; y < 100; ++y) {
        EXPECT_EQ(decoded->row(y)[199], 99 - y);
        EXPECT_EQ(decoded->row(y)[200], 0);
    }
}

TEST(BmpCodec, TruncatedFileKeepsTheRowsItHas)
{
    auto const pixels = photoLike({50, 40}, {});
    auto file = encodeToBytes(kBmp, pixels);
    file.resize(54 + 152 * 10);
    ::testing::internal::CaptureStderr();
    auto const decoded = decodeBytes(file, "cut.bmp");
    auto const messages = ::testing::internal::GetCapturedStderr();
    ASSERT_TRUE(decoded);
    EXPECT_EQ(rowOf(*decoded, 39), rowOf(pixels, 39));
    EXPECT_EQ(rowOf(*decoded, 30), rowOf(pixels, 30));
    EXPECT_EQ(rowOf(*decoded, 29), std::vector<int>(150));
    EXPECT_NE(messages.find("cut.bmp"), std::string::npos);
    EXPECT_EQ(std::ranges::count(messages, '\n'), 1);
}

TEST(BmpCodec, RefusesWhatItCannotRead)
{
    struct Case {
        TestBitmap bitmap;
        std::string_view message;
    };
    Case const cases[] = {
        {{.bits = 0, .compression = 4, .pixels = Bytes(100)}, "JPEG"},
        {{.bits = 0, .compression = 5, .pixels = Bytes(100)}, "PNG"},
        {{.headerSize = 64, .bits = 1, .compression = 3, .pixels = Bytes(100)}, "Huffman"},
        {{.width = 0x7FFFFFFF, .height = 0x7FFFFFFF, .pixels = Bytes(100)}, "not possible"},
        {{.width = 0x7FFFFFFF, .height = 1, .pixels = Bytes(100)}, "first row"},
        {{.width = 0x7FFFFFFF, .height = 1, .bits = 8, .compression = 1, .pixels = Bytes(100)}, "too short"},
        {{.width = -5, .pixels = Bytes(100)}, "not possible"},
        {{.height = INT32_MIN, .pixels = Bytes(100)}, "height"},
        {{.bits = 7, .pixels = Bytes(100)}, "do not exist"},
        {{.bits = 16, .compression = 3, .masks = {0, 0, 0}, .pixels = Bytes(100)}, "masks"},
    };
    for (auto const& [bitmap, message] : cases) {
        auto const decoded = decodeBytes(bitmap.file(), "a.bmp");
        ASSERT_FALSE(decoded) << message;
        EXPECT_NE(decoded.error().message.find(message), std::string::npos) << decoded.error().message;
    }
}

TEST(BmpCodec, SurvivesDamage)
{
    expectToSurviveDamage(encodeToBytes(kBmp, photoLike({9, 7}, {.alpha = Alpha::Straight})), 140, "a.bmp");
    expectToSurviveDamage(readBytes(dataFile("bmp/pal4rle.bmp")), 140, "a.bmp");
    expectToSurviveDamage(readBytes(dataFile("bmp/pal8os2.bmp")), 40, "a.bmp");
}

} // namespace velk::test
