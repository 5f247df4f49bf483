#include "modules/ModuleTesting.h"

#include <libdeflate.h>

namespace velk::test {

using namespace graphics;

namespace {

constexpr std::string_view kSvg = "public.svg-image";

Bytes svg(std::string const& attributes, std::string const& content = "")
{
    Bytes bytes;
    append(bytes,
        "<svg xmlns=\"http://www.w3.org/2000/svg\" xmlns:xlink=\"http://www.w3.org/1999/xlink\" " + attributes
            + ">" + content + "</svg>");
    return bytes;
}

Bytes zipped(Bytes const& bytes)
{
    std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> const compressor(
        libdeflate_alloc_compressor(6), &libdeflate_free_compressor);
    Bytes result(libdeflate_gzip_compress_bound(compressor.get(), bytes.size()));
    result.resize(
        libdeflate_gzip_compress(compressor.get(), bytes.data(), bytes.size(), result.data(), result.size()));
    return result;
}

std::vector<int> pixel(PixelBufferPointer const& pixels, int x, int y)
{
    auto const* at = pixels->row(y) + 4 * x;
    return {at, at + 4};
}

} // namespace

TEST(SvgCodec, SizesAtOneHundredFiftyPixelsPerInch)
{
    VELK_NEEDS_MODULE(kSvg);
    struct Case {
        char const* attributes;
        Size size;
    };
    Case const cases[] = {
        {"width='96' height='48'", {150, 75}},
        {"width='1in' height='25.4mm'", {150, 150}},
        {"width='72pt' height='6pc'", {150, 150}},
        {"viewBox='0 0 192 96'", {300, 150}},
        {"width='100%' height='100%' viewBox='5 5 192 96'", {300, 150}},
        {"width='50%' height='50%' viewBox='0 0 192 96'", {150, 75}},
        {"width='96' height='96' viewBox='0 0 2 2'", {150, 150}},
        {"width='0.1' height='0.1'", {1, 1}},
        {"", {469, 234}},
    };
    for (auto const& [attributes, size] : cases) {
        auto const source = openBytes(svg(attributes), "a.svg");
        ASSERT_TRUE(source) << attributes << ": " << source.error().message;
        EXPECT_EQ((*source)->image().size(), size) << attributes;
        EXPECT_EQ((*source)->resolution(), (codec::Resolution {150, 150}));
    }
    EXPECT_EQ(
        (*openBytes(svg("", "<rect width='96' height='48'/>"), "a.svg"))->image().size(), (Size {150, 75}));
    EXPECT_FALSE(openBytes(svg("width='1e9' height='1e9'"), "a.svg"));
    EXPECT_FALSE(openBytes(svg("width='1e30' height='1'"), "a.svg"));
}

TEST(SvgCodec, DrawsOnNothing)
{
    VELK_NEEDS_MODULE(kSvg);
    auto const file = svg("width='64' height='64'",
        "<rect width='32' height='64' fill='#f00'/><rect x='32' width='32' height='32' fill='#0f0' "
        "opacity='.5'/>");
    for (auto const& [bytes, name] : {std::pair(file, "a.svg"), std::pair(zipped(file), "a.svgz")}) {
        auto const decoded = decodeBytes(bytes, name);
        ASSERT_TRUE(decoded) << name << ": " << decoded.error().message;
        EXPECT_EQ(pixel(*decoded, 20, 50), (std::vector {255, 0, 0, 255})) << name;
        EXPECT_EQ(pixel(*decoded, 75, 75), (std::vector {0, 0, 0, 0})) << name;
        auto const glass = pixel(*decoded, 75, 20);
        EXPECT_NEAR(glass[1], 128, 1);
        EXPECT_NEAR(glass[3], 128, 1);
    }
}

TEST(SvgCodec, DrawsAtTheSizeThatIsAskedFor)
{
    VELK_NEEDS_MODULE(kSvg);
    TemporaryDirectory const directory;
    writeBytes(directory / "a.svg", svg("width='96' height='96'", "<rect width='48' height='96'/>"));
    auto const source = *codec::openImage(directory / "a.svg");
    auto const reduced = openReduced(*source, 0.2);
    EXPECT_EQ(reduced.rows->size(), (Size {30, 30}));
    EXPECT_EQ(reduced.area.width, 150);
    auto const pixels = *PixelBuffer::collect(*reduced.rows);
    EXPECT_EQ(component(pixels, 14, 15, 3), 1);
    EXPECT_EQ(component(pixels, 15, 15, 3), 0);
}

TEST(SvgCodec, ReadsNoOtherFile)
{
    VELK_NEEDS_MODULE(kSvg);
    TemporaryDirectory const directory;
    writeBytes(directory / "secret.png", encodeToBytes("public.png", photoLike({8, 8}, {})));
    writeBytes(directory / "secret.svg", svg("", "<rect id='r' width='64' height='64'/>"));
    writeBytes(directory / "secret.txt", bytesOf({'6', '4'}));
    auto const there = "file://" + directory / "secret";
    std::string const contents[] = {
        "<image width='64' height='64' xlink:href='secret.png'/>",
        "<image width='64' height='64' href='" + there + ".png'/>",
        "<use href='secret.svg#r'/>",
        "<use href='" + there + ".svg#r'/>",
        "<xi:include xmlns:xi='http://www.w3.org/2001/XInclude' href='" + there + ".svg'/>",
        "<style>@import url('" + there + ".css');</style>",
    };
    for (auto const& content : contents) {
        writeBytes(directory / "a.svg", svg("width='64' height='64'", content));
        auto const decoded = decode(directory / "a.svg");
        if (!decoded)
            continue;
        for (int x = 0; x < 100; x += 9)
            EXPECT_EQ(pixel(*decoded, x, 50), (std::vector {0, 0, 0, 0})) << content;
    }
    Bytes entity;
    append(entity, "<!DOCTYPE svg [<!ENTITY e SYSTEM '" + there + ".txt'>]>");
    auto const decoded = decodeBytes(
        entity + svg("width='64' height='64'", "<text y='60' font-size='60'>&e;</text>"), "a.svg");
    if (decoded) {
        EXPECT_EQ(pixel(*decoded, 20, 70), (std::vector {0, 0, 0, 0}));
    }
}

TEST(SvgCodec, IsKnownByContentOrByName)
{
    VELK_NEEDS_MODULE(kSvg);
    Bytes commented;
    append(commented, "<?xml version='1.0'?><!--" + std::string(2000, '=') + "-->");
    auto const plain = svg("width='9' height='9'");
    EXPECT_TRUE(openBytes(plain, "a.txt"));
    EXPECT_TRUE(openBytes(commented + plain, "a.svg"));
    EXPECT_FALSE(openBytes(commented + plain, "a.xml"));
    EXPECT_FALSE(openBytes(zipped(plain), "a.gz"));
    EXPECT_FALSE(openBytes(commented, "a.svg"));
}

TEST(SvgCodec, SurvivesDamage)
{
    VELK_NEEDS_MODULE(kSvg);
    auto const file = svg("width='9' height='9'", "<path d='M0 0 L9 9 z' stroke='red'/>");
    expectToSurviveDamage(file, 60, "a.svg");
    expectToSurviveDamage(zipped(file), 20, "a.svgz");
}

} // namespace velk::test
