#include "platform/codec/DescriptiveTags.h"
#include "platform/codec/ModuleCodecs.h"
#include "platform/codec/PropertyKeys.h"
#include "platform/color/ColorConversion.h"
#include "platform/color/LinearLight.h"
#include "platform/color/Srgb.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>

namespace velk {

using namespace graphics;
using namespace test;

namespace {

constexpr PixelFormat kRgb = {.model = ColorModel::RGB};

// What every format that has room for it must carry over.
EncodeExtras describedExtras(PropertyDictionary const& properties)
{
    codec::Metadata metadata;
    auto const described = readBytes(dataFile("Canon_PowerShot_S40.jpg"));
    TemporaryDirectory const directory;
    writeBytes(directory / "canon.jpg", described);
    metadata = codec::openImage(directory / "canon.jpg").value()->metadata();
    metadata.apply({{"{TIFF}", "Artist", PropertyValue("Zo\xC3\xAB (painter)")},
        {"{TIFF}", "ImageDescription", PropertyValue("Hills\\")},
        {"{TIFF}", "Software", PropertyValue("a program")},
        {"{TIFF}", "Copyright", PropertyValue("nobody's")}});
    metadata.setXmp("<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF "
                    "xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description "
                    "xmlns:dc='http://purl.org/dc/elements/1.1/' dc:source='attic'/></rdf:RDF></x:xmpmeta>");
    return {.profile = color::srgbSpace().profile(),
        .metadata = metadata,
        .resolution = codec::Resolution {200, 100},
        .properties = properties};
}

// Lossless where the format can be so; palettes and DCTs get leeway.
double expectedPsnr(std::string_view type)
{
    if (type == "com.compuserve.gif")
        return 26;
    // Eight bits of light are spaced otherwise than eight bits under a curve.
    if (type == "public.radiance")
        return 50;
    return type == "public.jpeg" ? 33 : 99;
}

// What is read from a page is a drawing of it, at a resolution of the reader's.
bool isDrawn(std::string_view type)
{
    return type == "com.adobe.pdf";
}

// The pixels as RGB, whether the file holds colours, light or a palette.
PixelBufferPointer rgbPixels(std::string const& path)
{
    auto rows = codec::openImage(path).value()->image().rows().value();
    auto space = rows->layout().space.base();
    if (color::isLinear(space))
        space = color::withSrgbCurve(space);
    rows = color::convertColors(std::move(rows), {.format = kRgb, .space = space}).value();
    return std::make_shared<PixelBuffer>(PixelBuffer::collect(*rows).value());
}

} // namespace

TEST(Conversion, EveryFormatCarriesWhatItHasRoomFor)
{
    TemporaryDirectory const directory;
    PropertyDictionary const none;
    auto const extras = describedExtras(none);
    auto const pixels = photoLike({120, 80}, kRgb);
    ASSERT_TRUE(encode("public.png", pixels, directory / "in.png", extras));
    auto const before = codec::openImage(directory / "in.png").value()->properties();
    ASSERT_TRUE(findDictionary(before, codec::key::kExif));

    for (auto const* codec : codec::codecs()) {
        if (!codec->encode || !codec::isInstalled(*codec))
            continue;
        std::string const keyword(types::fileTypeWithIdentifier(codec->type)->keyword());
        auto const path = directory / ("out." + keyword);
        auto const run = runVelk(
            {"-s", "format", keyword, "-s", "formatOptions", "best", directory / "in.png", "--out", path});
        ASSERT_EQ(run.status, 0) << keyword << run.errors;
        auto const source = codec::openImage(path).value();
        EXPECT_EQ(source->type().identifier, codec->type);
        bool const hasXmp = source->metadata().xmp().find("attic") != std::string::npos;
        EXPECT_EQ(hasXmp, codec->carries.xmp) << keyword;
        auto const after = source->properties();
        for (auto const tag : codec->carries.tags) {
            EXPECT_EQ(
                codec::textIn(after, codec::key::kTiff, tag), codec::textIn(before, codec::key::kTiff, tag))
                << keyword << ' ' << tag;
        }
        if (isDrawn(codec->type))
            continue;
        EXPECT_GE(psnr(*rgbPixels(path), *pixels), expectedPsnr(codec->type)) << keyword;

        if (codec->carries.exif) {
            auto const* exif = findDictionary(after, codec::key::kExif);
            ASSERT_TRUE(exif) << keyword;
            EXPECT_EQ(*exif, *findDictionary(before, codec::key::kExif)) << keyword;
        }
        bool const hasProfile = equalBytes(source->image().space().profile(), extras.profile);
        EXPECT_EQ(hasProfile, codec->carries.profile) << keyword;
        if (codec->carries.resolution) {
            auto const dpi = source->resolution();
            ASSERT_TRUE(dpi) << keyword;
            EXPECT_NEAR(dpi->x, 200, 0.6) << keyword;
            EXPECT_NEAR(dpi->y, 100, 0.6) << keyword;
        }

        // And back again.
        auto const back = runVelk({"-s", "format", "png", path, "--out", directory / "back.png"});
        ASSERT_EQ(back.status, 0) << keyword << back.errors;
        EXPECT_GE(psnr(*rgbPixels(directory / "back.png"), *pixels), expectedPsnr(codec->type)) << keyword;
    }
}

TEST(Conversion, EveryModelReachesEveryFormat)
{
    struct Model {
        std::string name;
        std::string_view type;
        PixelBufferPointer pixels;
        int bits;
    };
    auto const gray = [](ComponentType type, Alpha alpha) {
        return PixelFormat {type, ColorModel::Gray, alpha};
    };
    auto const bilevel = paint({40, 30}, gray(ComponentType::UInt8, Alpha::None),
        [](int x, int y, int) { return (x * 7 + y * 3) % 5 < 2 ? 1.0 : 0.0; });
    std::vector<Model> const models = {
        {"bilevel", "public.png", bilevel, 1},
        {"gray", "public.png", photoLike({40, 30}, gray(ComponentType::UInt8, Alpha::None)), 8},
        {"gray16a", "public.png", photoLike({40, 30}, gray(ComponentType::UInt16, Alpha::Straight)), 16},
        {"rgb16", "public.png", photoLike({40, 30}, {ComponentType::UInt16, ColorModel::RGB, Alpha::None}),
            16},
        {"rgba", "public.png", photoLike({40, 30}, {.model = ColorModel::RGB, .alpha = Alpha::Straight}), 8},
        {"indexed", "public.png", indexedImage({40, 30}, 37, true), 8},
        {"cmyk", "public.jpeg", photoLike({40, 30}, {.model = ColorModel::CMYK}), 8},
        {"lab", "public.tiff", photoLike({40, 30}, {.model = ColorModel::Lab}), 8},
        {"float", "public.tiff", photoLike({40, 30}, {ComponentType::Float32, ColorModel::RGB, Alpha::None}),
            32},
    };
    TemporaryDirectory const directory;
    for (auto const& model : models) {
        auto const path = directory / model.name;
        ASSERT_TRUE(encode(model.type, model.pixels, path, {.bitsPerComponent = model.bits})) << model.name;
        for (auto const* codec : codec::codecs()) {
            if (!codec->encode || !codec::isInstalled(*codec))
                continue;
            std::string const keyword(types::fileTypeWithIdentifier(codec->type)->keyword());
            auto const out = directory / ("out." + keyword);
            auto const run = runVelk({"-s", "format", keyword, path, "--out", out});
            EXPECT_EQ(run.status, 0) << model.name << " to " << keyword << ": " << run.errors;
            auto const written = decode(out);
            ASSERT_TRUE(written) << model.name << " to " << keyword << ": " << written.error().message;
            EXPECT_TRUE((*written)->size() == model.pixels->size() || isDrawn(codec->type))
                << model.name << " to " << keyword;
        }
    }
}

TEST(Conversion, TransparencyIsPutOnWhiteWhereTheFormatHasNone)
{
    TemporaryDirectory const directory;
    PixelFormat const rgba = {.model = ColorModel::RGB, .alpha = Alpha::Straight};
    auto const clear = paint(
        {16, 16}, rgba, [](int x, int, int channel) { return channel == 3 ? (x < 8 ? 0.0 : 1.0) : 0.25; });
    ASSERT_TRUE(encode("public.png", clear, directory / "in.png"));
    ASSERT_EQ(runVelk({"-s", "format", "jpeg", "-s", "formatOptions", "best", directory / "in.png", "-o",
                          directory / "out.jpg"})
                  .status,
        0);
    auto const result = decode(directory / "out.jpg").value();
    EXPECT_NEAR(component(*result, 2, 8, 0), 1, 0.01);
    EXPECT_NEAR(component(*result, 13, 8, 0), 0.25, 0.01);
}

TEST(Conversion, FurtherImagesOfAFileAreNotDroppedSilently)
{
    // A GIF of two frames, 1 x 1 pixel each.
    constexpr std::uint8_t kTwoFrames[] = {'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0x80, 0, 0, 0, 0, 0, 255,
        255, 255, 0x2C, 0, 0, 0, 0, 1, 0, 1, 0, 0, 2, 2, 0x44, 1, 0, 0x2C, 0, 0, 0, 0, 1, 0, 1, 0, 0, 2, 2,
        0x4C, 1, 0, 0x3B};
    TemporaryDirectory const directory;
    auto const path = directory / "two.gif";
    writeBytes(path, kTwoFrames);
    auto const run = runVelk({"-s", "format", "png", path, "-o", directory / "one.png"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "Warning: " + path + " holds 2 images; the second is not carried over\n");
}

} // namespace velk
