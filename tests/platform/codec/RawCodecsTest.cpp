#include "platform/codec/RawCodecSupport.h"

#include <thread>

namespace velk::test {

using namespace graphics;

namespace {

constexpr std::string_view kRawTypes[] = {"com.microsoft.bmp", "com.truevision.tga-image",
    "com.sgi.sgi-image", "public.pbm", "com.adobe.photoshop-image"};

ImageInfo infoOf(PixelFormat format, int bits)
{
    return {{{10, 10}, format, ColorSpace::device(format.model)}, bits};
}

ImageInfo indexedInfo(int bits, std::vector<int> const& alphas)
{
    Palette palette;
    for (auto const alpha : alphas)
        palette.entries.push_back({1, 2, 3, static_cast<std::uint8_t>(alpha)});
    return {{{10, 10}, {.model = ColorModel::Indexed},
                ColorSpace::indexed(ColorSpace::device(ColorModel::RGB), std::move(palette))},
        bits};
}

// Model, alpha and stored depth in a few letters: "RGBA 8".
std::string nameOf(codec::EncodeTarget const& target)
{
    constexpr char const* kModels[] = {"Gray", "RGB", "CMYK", "Lab", "Indexed"};
    auto const alpha = target.format.alpha == Alpha::None ? ""
        : target.format.alpha == Alpha::Straight          ? "A"
                                                          : "P";
    auto const depth = static_cast<int>(componentSize(target.format.componentType)) * 8;
    EXPECT_TRUE(target.bitsPerComponent == depth || (depth == 8 && target.bitsPerComponent < 8));
    return fmt::format(
        "{}{} {}", kModels[static_cast<int>(target.format.model)], alpha, target.bitsPerComponent);
}

} // namespace

TEST(RawCodecs, WantWhatLosesLeast)
{
    using enum ComponentType;
    using enum ColorModel;
    struct Case {
        ImageInfo info;
        std::string wanted[5]; ///< BMP, TGA, SGI, PNM, PSD
    };
    Case const cases[] = {
        {infoOf({UInt8, Gray, Alpha::None}, 1), {"Gray 1", "Gray 8", "Gray 8", "Gray 1", "Gray 1"}},
        {infoOf({UInt8, Gray, Alpha::None}, 4), {"Gray 8", "Gray 8", "Gray 8", "Gray 4", "Gray 8"}},
        {infoOf({UInt8, Gray, Alpha::Straight}, 8), {"RGBA 8", "RGBA 8", "GrayA 8", "GrayA 8", "GrayA 8"}},
        {infoOf({UInt16, Gray, Alpha::None}, 12), {"Gray 8", "Gray 8", "Gray 16", "Gray 16", "Gray 16"}},
        {infoOf({UInt8, RGB, Alpha::Premultiplied}, 8), {"RGBA 8", "RGBA 8", "RGBA 8", "RGBA 8", "RGBA 8"}},
        {infoOf({Float32, RGB, Alpha::None}, 32), {"RGB 8", "RGB 8", "RGB 16", "RGB 16", "RGB 32"}},
        {infoOf({UInt16, CMYK, Alpha::None}, 16), {"RGB 8", "RGB 8", "RGB 16", "CMYK 16", "CMYK 16"}},
        {infoOf({Float32, Lab, Alpha::Straight}, 32), {"RGBA 8", "RGBA 8", "RGBA 16", "RGBA 16", "LabA 16"}},
        {indexedInfo(2, {255, 255}), {"Indexed 4", "Indexed 8", "RGB 8", "RGB 8", "Indexed 8"}},
        {indexedInfo(8, {255, 0}), {"RGBA 8", "Indexed 8", "RGBA 8", "RGBA 8", "Indexed 8"}},
        {indexedInfo(8, {255, 100}), {"RGBA 8", "Indexed 8", "RGBA 8", "RGBA 8", "RGBA 8"}},
        {indexedInfo(8, {0, 0}), {"RGBA 8", "Indexed 8", "RGBA 8", "RGBA 8", "RGBA 8"}},
    };
    for (auto const& [info, wanted] : cases) {
        for (std::size_t i = 0; i < std::size(kRawTypes); ++i) {
            auto const target = codec::codecForType(kRawTypes[i])->negotiate(info, {});
            EXPECT_EQ(nameOf(target), wanted[i]) << kRawTypes[i];
        }
    }
}

TEST(RawCodecs, OneSourceServesManyThreads)
{
    auto const pixels = photoLike({600, 500}, {});
    for (auto const type : kRawTypes) {
        auto const source = *openBytes(encodeToBytes(type, pixels), "a.tga");
        double differences[4] = {2, 2, 2, 2};
        std::vector<std::thread> threads;
        for (auto& difference : differences)
            threads.emplace_back([&] {
                auto const rows = source->image().rows();
                if (auto const decoded = rows ? PixelBuffer::collect(**rows) : fail("no rows"))
                    difference = largestDifference(*decoded, *pixels);
            });
        for (auto& thread : threads)
            thread.join();
        for (auto const difference : differences)
            EXPECT_EQ(difference, 0) << type;
    }
}

TEST(RawCodecs, RefuseToWriteWhatTheFormatCannotName)
{
    auto const wide = paint({300001, 1}, {.model = ColorModel::Gray}, [](int, int, int) { return 0; });
    TemporaryDirectory const directory;
    for (auto const type : {"com.truevision.tga-image", "com.sgi.sgi-image", "com.adobe.photoshop-image"}) {
        auto const result = encode(type, wide, directory / "out");
        ASSERT_FALSE(result) << type;
        EXPECT_NE(result.error().message.find("pixels on a side"), std::string::npos);
    }
    EXPECT_TRUE(directory.names().empty());
    expectExactRoundTrip("public.pbm", wide, 8, "a.pgm");
}

} // namespace velk::test
