#include "platform/codec/RawCodecSupport.h"

namespace velk::test {

using namespace graphics;

namespace {

constexpr std::string_view kSgi = "com.sgi.sgi-image";

Bytes header(int storage, int bytes, int dimensions, int width, int height, int channels)
{
    auto file = bytesOf({0x01, 0xDA, storage, bytes, 0, dimensions, width >> 8, width & 255, height >> 8,
        height & 255, channels >> 8, channels & 255});
    file.resize(512);
    return file;
}

} // namespace

TEST(SgiCodec, RoundTrips)
{
    for (auto const size : {Size {37, 29}, Size {1, 1}, Size {300, 3}}) {
        for (auto const model : {ColorModel::Gray, ColorModel::RGB}) {
            for (auto const alpha : {Alpha::None, Alpha::Straight}) {
                expectExactRoundTrip(kSgi, photoLike(size, {ComponentType::UInt8, model, alpha}), 8, "a.sgi");
                expectExactRoundTrip(
                    kSgi, photoLike(size, {ComponentType::UInt16, model, alpha}), 16, "a.sgi");
            }
        }
    }
    auto const stripes = paint({1000, 3}, {}, [](int x, int y, int) { return y == 1 ? x % 2 : x / 300 % 2; });
    expectExactRoundTrip(kSgi, stripes, 8, "a.sgi");
}

TEST(SgiCodec, KeepsTheImageName)
{
    EncodeExtras extras;
    set(subDictionary(extras.properties, "{SGI}"), "ImageName", std::string(100, 'n'));
    auto const source = *openBytes(encodeToBytes(kSgi, photoLike({4, 4}, {}), extras), "a.sgi");
    auto const* properties = findDictionary(source->description().formatProperties, "{SGI}");
    EXPECT_TRUE(*find(*properties, "ImageName") == PropertyValue(std::string(79, 'n')));
}

TEST(SgiCodec, ReadsVerbatimPlanes)
{
    auto const rgb = *decodeBytes(
        header(0, 1, 3, 2, 2, 3) + bytesOf({1, 2, 3, 4, 11, 12, 13, 14, 21, 22, 23, 24}), "a.rgb");
    EXPECT_EQ(rowOf(rgb, 0), (std::vector {3, 13, 23, 4, 14, 24}));
    EXPECT_EQ(rowOf(rgb, 1), (std::vector {1, 11, 21, 2, 12, 22}));

    auto const deep = *decodeBytes(header(0, 2, 2, 2, 1, 1) + bytesOf({0x12, 0x34, 0xFF, 0xFE}), "a.bw");
    auto const* row = reinterpret_cast<std::uint16_t const*>(deep->row(0));
    EXPECT_EQ(row[0], 0x1234);
    EXPECT_EQ(row[1], 0xFFFE);

    // One dimension makes one row, two make one channel, whatever stands in the fields behind.
    EXPECT_EQ(
        (*decodeBytes(header(0, 1, 1, 3, 99, 99) + bytesOf({1, 2, 3}), "a.sgi"))->size(), (Size {3, 1}));
    EXPECT_EQ((*decodeBytes(header(0, 1, 2, 3, 1, 99) + bytesOf({1, 2, 3}), "a.sgi"))->format().model,
        ColorModel::Gray);
}

TEST(SgiCodec, RowTableIsNotTrusted)
{
    // Three rows: one in order, one whose length is absurd, one outside of the file.
    Bytes table;
    for (auto const entry : {536u, 539u, 0xFFFFFFF0u, 3u, 0xFFFFFFFFu, 4u})
        appendBE32(table, entry);
    auto const file = header(1, 1, 2, 4, 3, 1) + table + bytesOf({4, 9, 0, 0x84, 1, 2, 3, 4, 0});
    ::testing::internal::CaptureStderr();
    auto const decoded = decodeBytes(file, "table.sgi");
    auto const messages = ::testing::internal::GetCapturedStderr();
    ASSERT_TRUE(decoded);
    EXPECT_EQ(rowOf(*decoded, 2), (std::vector {9, 9, 9, 9}));
    EXPECT_EQ(rowOf(*decoded, 1), (std::vector {1, 2, 3, 4}));
    EXPECT_EQ(rowOf(*decoded, 0), (std::vector {0, 0, 0, 0}));
    EXPECT_EQ(std::ranges::count(messages, '\n'), 1);
}

TEST(SgiCodec, SurvivesDamage)
{
    expectToSurviveDamage(encodeToBytes(kSgi, photoLike({9, 7}, {.alpha = Alpha::Straight})), 16, "a.sgi");
    auto const file =
        encodeToBytes(kSgi, photoLike({9, 2}, {ComponentType::UInt16, ColorModel::Gray, Alpha::None}));
    expectToSurviveDamage(file, file.size(), "a.sgi");
    EXPECT_FALSE(decodeBytes(header(0, 1, 3, 65535, 65535, 65535), "a.sgi"));
    EXPECT_FALSE(decodeBytes(header(1, 1, 3, 65535, 65535, 65535) + Bytes(1000), "a.sgi"));
}

} // namespace velk::test
