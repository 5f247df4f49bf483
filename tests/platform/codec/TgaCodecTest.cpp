#include "platform/codec/PropertyKeys.h"
#include "platform/codec/RawCodecSupport.h"

namespace velk::test {

using namespace graphics;

namespace {

constexpr std::string_view kTga = "com.truevision.tga-image";

struct TestTarga {
    int type = 2;
    int width = 2, height = 1;
    int bits = 24;
    int descriptor = 0x20;
    int mapFirst = 0, mapLength = 0, mapBits = 0;
    Bytes map;
    Bytes pixels;
    int attributesType = -1; ///< -1 = no extension area

    Bytes file() const
    {
        auto file =
            bytesOf({0, mapLength > 0, type, mapFirst & 255, mapFirst >> 8, mapLength & 255, mapLength >> 8,
                mapBits, 0, 0, 0, 0, width & 255, width >> 8, height & 255, height >> 8, bits, descriptor});
        file = file + map + pixels;
        if (attributesType < 0)
            return file;
        auto const offset = static_cast<std::uint32_t>(file.size());
        Bytes extension(495);
        storeInteger(extension.data(), std::uint16_t {495}, ByteOrder::Little);
        extension[494] = static_cast<std::uint8_t>(attributesType);
        append(file, extension);
        appendLE32(file, offset);
        appendLE32(file, 0);
        append(file, std::string_view("TRUEVISION-XFILE.\0", 18));
        return file;
    }
};

PixelBufferPointer decodeTest(TestTarga const& image)
{
    auto decoded = decodeBytes(image.file(), "test.tga");
    EXPECT_TRUE(decoded) << (decoded ? "" : decoded.error().message);
    return decoded ? *decoded : nullptr;
}

} // namespace

TEST(TgaCodec, RoundTrips)
{
    for (auto const size : {Size {37, 29}, Size {1, 1}, Size {300, 3}}) {
        expectExactRoundTrip(kTga, photoLike(size, {}), 8, "a.tga");
        expectExactRoundTrip(kTga, photoLike(size, {.alpha = Alpha::Straight}), 8, "a.tga");
        expectExactRoundTrip(kTga, photoLike(size, {.model = ColorModel::Gray}), 8, "a.tga");
        expectExactRoundTrip(kTga, indexedImage(size, 256, false), 8, "a.tga");
        expectExactRoundTrip(kTga, indexedImage(size, 19, true), 8, "a.tga");
    }
    // Runs longer than a packet, and alternating ones.
    auto const stripes = paint({1000, 3}, {}, [](int x, int y, int) { return y == 1 ? x % 2 : x / 300 % 2; });
    expectExactRoundTrip(kTga, stripes, 8, "a.tga");
    EXPECT_LT(encodeToBytes(kTga, stripes).size(), 18u + 2 * 50 + 1000 * 4 + 600);
}

TEST(TgaCodec, KeepsTextsInTheExtensionArea)
{
    EncodeExtras extras;
    auto& tiff = subDictionary(extras.properties, codec::key::kTiff);
    set(tiff, "Artist", "Zo\xC3\xAB");
    set(tiff, "ImageDescription", "first line\n" + std::string(100, 'x'));
    set(tiff, "DateTime", "2021:12:31 23:59:58");
    set(tiff, "Software", "a program");
    auto& tga = subDictionary(extras.properties, "{TGA}");
    set(tga, "ImageID", "id");
    set(tga, "JobName", "job");
    set(tga, "Gamma", 2.2);
    auto const source = *openBytes(encodeToBytes(kTga, photoLike({4, 4}, {}), extras), "a.tga");
    auto const read = source->properties();
    set(tiff, "ImageDescription", "first line\n" + std::string(80, 'x') + "\n" + std::string(20, 'x'));
    EXPECT_TRUE(*findDictionary(read, codec::key::kTiff) == tiff);
    for (auto const& [key, value] : tga)
        EXPECT_TRUE(*find(*findDictionary(read, "{TGA}"), key) == value) << key;
}

TEST(TgaCodec, ReadsAllOriginsAndRunsAcrossRows)
{
    // Grey 2 x 2, stored 1 2 3 4; as one literal packet and one run it reaches over the row's end.
    std::pair<int, std::vector<int>> const origins[] = {
        {0x20, {1, 2, 3, 4}}, {0x30, {2, 1, 4, 3}}, {0x00, {3, 4, 1, 2}}, {0x10, {4, 3, 2, 1}}};
    for (auto const& [descriptor, expected] : origins) {
        for (auto const& [type, pixels] :
            {std::pair {3, bytesOf({1, 2, 3, 4})}, {11, bytesOf({2, 1, 2, 3, 0x80, 4})}}) {
            auto const decoded = decodeTest({.type = type,
                .width = 2,
                .height = 2,
                .bits = 8,
                .descriptor = descriptor,
                .pixels = pixels});
            auto rows = rowOf(decoded, 0);
            std::ranges::copy(rowOf(decoded, 1), std::back_inserter(rows));
            EXPECT_EQ(rows, expected) << descriptor << " type " << type;
        }
    }
}

TEST(TgaCodec, RunLengthCodesOfTallBottomUpImages)
{
    TestTarga image {.type = 10, .width = 5000, .height = 300, .descriptor = 0};
    auto left = 5000 * 300;
    for (int i = 0; left > 0; ++i, left -= 100)
        append(image.pixels, bytesOf({0x80 | 99, i & 255, i >> 8, 7}));
    auto const decoded = decodeTest(image);
    for (int y = 0; y < 300; ++y) {
        auto const packet = (299 - y) * 50 + 3;
        EXPECT_EQ(decoded->row(y)[350 * 3 + 2], packet & 255);
        EXPECT_EQ(decoded->row(y)[350 * 3 + 1], packet >> 8);
    }
}

TEST(TgaCodec, AlphaIsWhatTheFileSaysItIs)
{
    struct Case {
        int descriptor, attributesType;
        Alpha alpha;
    };
    Case const cases[] = {
        {0x20, -1, Alpha::None},
        {0x28, -1, Alpha::Straight},
        {0x28, 0, Alpha::None},
        {0x28, 2, Alpha::None},
        {0x28, 3, Alpha::Straight},
        {0x28, 4, Alpha::Premultiplied},
    };
    for (auto const& [descriptor, attributesType, alpha] : cases) {
        auto const decoded = decodeTest({.width = 1,
            .bits = 32,
            .descriptor = descriptor,
            .pixels = bytesOf({10, 20, 30, 128}),
            .attributesType = attributesType});
        EXPECT_EQ(decoded->format().alpha, alpha) << descriptor << " " << attributesType;
        auto const opaque = std::vector {30, 20, 10};
        EXPECT_EQ(rowOf(decoded, 0), alpha == Alpha::None ? opaque : (std::vector {30, 20, 10, 128}));
    }
    auto const bits16 = decodeTest({.bits = 16, .descriptor = 0x21, .pixels = bytesOf({0, 0xFC, 0x1F, 0})});
    EXPECT_EQ(rowOf(bits16, 0), (std::vector {255, 0, 0, 255, 0, 0, 255, 0}));
    auto const gray =
        decodeTest({.type = 3, .bits = 16, .descriptor = 0x28, .pixels = bytesOf({1, 2, 3, 4})});
    EXPECT_EQ(rowOf(gray, 0), (std::vector {1, 2, 3, 4}));
}

TEST(TgaCodec, ReadsColorMaps)
{
    auto const offset = decodeTest({.type = 1,
        .width = 3,
        .bits = 8,
        .mapFirst = 10,
        .mapLength = 2,
        .mapBits = 24,
        .map = bytesOf({1, 2, 3, 4, 5, 6}),
        .pixels = bytesOf({10, 11, 12})});
    auto const& entries = offset->layout().space.palette()->entries;
    EXPECT_EQ(rowOf(offset, 0), (std::vector {10, 11, 0}));
    EXPECT_EQ(entries[11], (std::array<std::uint8_t, 4> {6, 5, 4, 255}));

    // Indices of two bytes are looked up.
    auto const wide = decodeTest({.type = 1,
        .width = 2,
        .bits = 16,
        .mapFirst = 300,
        .mapLength = 2,
        .mapBits = 15,
        .map = bytesOf({0x1F, 0, 0, 0x7C}),
        .pixels = bytesOf({0x2D, 1, 0x2C, 1})});
    EXPECT_EQ(rowOf(wide, 0), (std::vector {255, 0, 0, 0, 0, 255}));
}

TEST(TgaCodec, RecognisesFilesWithoutASignature)
{
    TestTarga const plain {.width = 4, .height = 4, .pixels = Bytes(48)};
    EXPECT_TRUE(openBytes(plain.file(), "no extension"));
    TestTarga const cut {.width = 4, .height = 4, .pixels = Bytes(40)};
    EXPECT_FALSE(openBytes(cut.file(), "no extension"));
    EXPECT_TRUE(openBytes(cut.file(), "known by.TGA"));
    // An icon and a cursor start alike.
    EXPECT_FALSE(
        openBytes(bytesOf({0, 0, 1, 0, 1, 0, 16, 16, 0, 0, 1, 0, 24, 0, 8, 0, 24, 0}) + Bytes(900), "i.ico"));
    EXPECT_FALSE(
        openBytes(bytesOf({0, 0, 2, 0, 1, 0, 16, 16, 0, 0, 1, 0, 24, 0, 8, 0, 24, 0}) + Bytes(900), "i.cur"));
    EXPECT_FALSE(openBytes(Bytes(4000), "zeros.tga"));
}

TEST(TgaCodec, SurvivesDamage)
{
    expectToSurviveDamage(encodeToBytes(kTga, photoLike({9, 7}, {.alpha = Alpha::Straight})), 40, "a.tga");
    expectToSurviveDamage(encodeToBytes(kTga, indexedImage({9, 7}, 20, true)), 40, "a.tga");
    TestTarga const bottomUp {.type = 10,
        .width = 20,
        .height = 20,
        .descriptor = 0,
        .pixels = bytesOf({0xFF, 1, 2, 3, 0xFF, 4, 5, 6, 0xFF, 4, 5, 6, 0xFF, 9, 9, 9}),
        .attributesType = 3};
    auto const file = bottomUp.file();
    expectToSurviveDamage(file, file.size(), "a.tga");
}

} // namespace velk::test
