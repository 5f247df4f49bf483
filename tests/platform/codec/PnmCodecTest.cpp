#include "platform/codec/RawCodecSupport.h"

#include <bit>

namespace velk::test {

using namespace graphics;

namespace {

constexpr std::string_view kPnm = "public.pbm";

Bytes text(std::string_view characters)
{
    auto const bytes = asBytes(characters);
    return {bytes.begin(), bytes.end()};
}

} // namespace

TEST(PnmCodec, RoundTrips)
{
    for (auto const size : {Size {37, 29}, Size {1, 1}, Size {300, 3}}) {
        for (auto const model : {ColorModel::Gray, ColorModel::RGB, ColorModel::CMYK}) {
            for (auto const alpha : {Alpha::None, Alpha::Straight}) {
                expectExactRoundTrip(kPnm, photoLike(size, {ComponentType::UInt8, model, alpha}), 8, "a.pnm");
                expectExactRoundTrip(
                    kPnm, photoLike(size, {ComponentType::UInt16, model, alpha}), 16, "a.pnm");
            }
        }
        for (int const bits : {1, 2, 4}) {
            auto const levels = (1 << bits) - 1;
            auto const pixels = paint(size, {.model = ColorModel::Gray},
                [&](int x, int y, int) { return static_cast<double>((x + y) & levels) / levels; });
            expectExactRoundTrip(kPnm, pixels, bits, "a.pnm");
        }
    }
}

TEST(PnmCodec, ReadsTextAndHeadersAsTheyAreWritten)
{
    struct Case {
        std::string_view file;
        int bits;
        std::vector<int> components; ///< all rows
    };
    Case const cases[] = {
        {"P1\n3 2\n101\n010", 1, {0, 255, 0, 255, 0, 255}},
        {"P1 # white is 0\n#two\n3 1 0 1\n# more\n1", 1, {255, 0, 0}},
        {"P2\n2 2\n15\n0 15\n\t7\r\n1\n", 4, {0, 255, 119, 17}},
        {"P2 2 1 100 50 101", 8, {128, 255}},
        {"P3\n1 1\n255\n1 2 3", 8, {1, 2, 3}},
        {"P5 2#width\n1 # height\n 255\nab", 8, {97, 98}},
        {"P5\n2 1\n3\n\x01\x02", 2, {85, 170}},
        {"P4\n9 1\n\xAA\x80", 1, {0, 255, 0, 255, 0, 255, 0, 255, 0}},
        {"P7\n# comment\nWIDTH 1\nHEIGHT 1\nDEPTH 2\nMAXVAL 255\nTUPLTYPE GRAYSCALE_ALPHA\nENDHDR\nab", 8,
            {97, 98}},
        {"P7\nWIDTH 1\nHEIGHT 1\nDEPTH 4\nMAXVAL 255\nENDHDR\nabcd", 8, {97, 98, 99, 100}},
        {"P7\nWIDTH 2\nHEIGHT 1\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB\nENDHDR\nabcdefgh", 8,
            {97, 98, 99, 101, 102, 103}},
        {"P7\nWIDTH 2\nHEIGHT 1\nDEPTH 1\nMAXVAL 1\nTUPLTYPE BLACKANDWHITE\nENDHDR\n\x01\x01", 1, {255, 255}},
    };
    for (auto const& [file, bits, components] : cases) {
        SCOPED_TRACE(file);
        auto const source = openBytes(text(file), "a.pnm");
        ASSERT_TRUE(source) << source.error().message;
        EXPECT_EQ((*source)->description().info.bitsPerComponent, bits);
        auto const decoded = *decodeBytes(text(file), "a.pnm");
        std::vector<int> all;
        for (int y = 0; y < decoded->size().height; ++y)
            std::ranges::copy(rowOf(decoded, y), std::back_inserter(all));
        EXPECT_EQ(all, components);
    }
}

TEST(PnmCodec, ScalesDeepSamplesToFullRange)
{
    for (auto const& file :
        {text("P2 3 1 1023 0 512 1023"), text("P5 3 1 1023\n") + bytesOf({0, 0, 2, 0, 3, 255})}) {
        auto const source = *openBytes(file, "a.pgm");
        EXPECT_EQ(source->description().info.bitsPerComponent, 10);
        auto const decoded = *decodeBytes(file, "a.pgm");
        auto const* row = reinterpret_cast<std::uint16_t const*>(decoded->row(0));
        EXPECT_EQ(row[0], 0);
        EXPECT_EQ(row[1], (512 * 65535 + 511) / 1023);
        EXPECT_EQ(row[2], 65535);
    }
}

TEST(PnmCodec, ReadsFloatsFromTheBottom)
{
    Bytes data;
    for (auto const value : {0.25F, -1.5F, 1e6F})
        append(data, std::bit_cast<std::uint32_t>(value), ByteOrder::Big);
    auto swapped = data;
    for (std::size_t i = 0; i < swapped.size(); i += 4)
        std::reverse(swapped.begin() + static_cast<std::ptrdiff_t>(i),
            swapped.begin() + static_cast<std::ptrdiff_t>(i + 4));
    for (auto const& file : {text("Pf\n1 3\n1.0\n") + data, text("Pf\n1 3\n-1.0\n") + swapped}) {
        auto const decoded = *decodeBytes(file, "a.pfm");
        EXPECT_EQ(component(*decoded, 0, 0, 0), 1e6);
        EXPECT_EQ(component(*decoded, 0, 1, 0), -1.5);
        EXPECT_EQ(component(*decoded, 0, 2, 0), 0.25);
    }
}

TEST(PnmCodec, CountsImagesThatFollowEachOther)
{
    auto const one = text("P5 2 1 255\nab");
    auto const other = text("P4 9 1\nab");
    EXPECT_EQ((*openBytes(one, "a.pgm"))->imageCount(), 1);
    EXPECT_EQ((*openBytes(one + other + one, "a.pgm"))->imageCount(), 3);
    EXPECT_EQ((*openBytes(one + text("rest"), "a.pgm"))->imageCount(), 1);
}

TEST(PnmCodec, EndsWithWhatIsThere)
{
    ::testing::internal::CaptureStderr();
    auto const garbage = decodeBytes(text("P2 3 2 255 1 2 3 4 x 5 6"), "a.pgm");
    auto const cut = decodeBytes(text("P6 1 2 255\nabcd"), "a.ppm");
    auto const messages = ::testing::internal::GetCapturedStderr();
    ASSERT_TRUE(garbage && cut);
    EXPECT_EQ(rowOf(*garbage, 1), (std::vector {4, 0, 0}));
    EXPECT_EQ(rowOf(*cut, 1), (std::vector {100, 0, 0}));
    EXPECT_EQ(std::ranges::count(messages, '\n'), 2);
}

TEST(PnmCodec, RefusesImpossibleHeaders)
{
    for (auto const* file : {"P5", "P5 ", "P5 0 1 255\na", "P5 1 1 0\na", "P5 1 1 65536\naa", "P6 -1 1 255\n",
             "P6 99999999999 1 255\n", "P5 2147483647 2147483647 255\nabc", "P5 2147483647 1 255\nabc",
             "P1 1000000 1\n0", "Pf 1 1 0\nabcd", "Pf 1 1 nan\nabcd", "P7\nWIDTH 1\nHEIGHT 1\nENDHDR\n",
             "P7\nWIDTH 1\nHEIGHT 1\nDEPTH 0\nMAXVAL 255\nENDHDR\na", "P8 1 1 255 a"})
        EXPECT_FALSE(openBytes(text(file), "a.pnm")) << file;
}

TEST(PnmCodec, SurvivesDamage)
{
    expectToSurviveDamage(encodeToBytes(kPnm, photoLike({9, 7}, {})), 30, "a.pnm");
    expectToSurviveDamage(encodeToBytes(kPnm, photoLike({9, 7}, {.alpha = Alpha::Straight})), 90, "a.pam");
    expectToSurviveDamage(text("P3\n2 2\n255\n1 2 3 4 5 6 7 8 9 10 11 12\n"), 40, "a.ppm");
}

} // namespace velk::test
