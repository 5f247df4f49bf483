#include "platform/codec/CodecProbe.h"
#include "platform/codec/Jpeg2000Header.h"
#include "platform/codec/Jpeg2000Source.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace velk::test {

using namespace codec;
using namespace graphics;

namespace {

constexpr std::string_view kType = "public.jpeg-2000";
constexpr std::string_view kExif("II*\0\x08\0\0\0\0\0\0\0\0\0", 14);
constexpr std::string_view kXmp = "<x:xmpmeta xmlns:x='adobe:ns:meta/'/>";
constexpr PixelFormat kGray = {.model = ColorModel::Gray};
constexpr PixelFormat kRgb = {};
constexpr PixelFormat kRgba = {.alpha = Alpha::Straight};

EncodeExtras withQuality(float quality)
{
    return {.options = {.quality = quality}};
}

EncodeExtras withEverything()
{
    auto extras = withQuality(1);
    extras.profile = profileFor("RGB ");
    extras.metadata.setExif(asBytes(kExif));
    extras.metadata.setIptc(asBytes("\x1C\x02\x78"));
    extras.metadata.setXmp(kXmp);
    extras.resolution = Resolution {300, 72};
    return extras;
}

std::shared_ptr<Jpeg2000Source const> openJp2(std::string const& path)
{
    auto source = openImage(path);
    EXPECT_TRUE(source) << source.error().message;
    return source ? std::dynamic_pointer_cast<Jpeg2000Source const>(*source) : nullptr;
}

std::shared_ptr<Jpeg2000Source const> openBytes(ByteSpan file)
{
    TemporaryDirectory const directory;
    writeBytes(directory / "a.jp2", file);
    return openJp2(directory / "a.jp2");
}

// The lossless codestream of a picture.
Bytes codestreamOf(PixelBufferPointer const& picture, float quality = 1)
{
    auto const file = encoded(kType, picture, withQuality(quality));
    auto const codestream = openBytes(file)->contents().codestream;
    return {file.begin() + static_cast<std::ptrdiff_t>(codestream.offset), file.end()};
}

Bytes colorBox(std::uint32_t space)
{
    Bytes payload = {1, 0, 0};
    appendBE32(payload, space);
    return jp2Box(jp2::kColor, payload);
}

Bytes channelDefinition(std::initializer_list<std::array<std::uint16_t, 3>> channels)
{
    Bytes payload;
    appendBE16(payload, static_cast<std::uint16_t>(channels.size()));
    for (auto const& channel : channels) {
        for (auto const field : channel)
            appendBE16(payload, field);
    }
    return jp2Box(jp2::kChannelDefinition, payload);
}

// A file whose header box holds these boxes.
Bytes jp2File(Bytes const& headerBoxes, Bytes const& codestream)
{
    auto file = jp2FileStart();
    append(file, jp2Box(jp2::kHeader, headerBoxes));
    append(file, jp2Box(jp2::kCodestream, codestream));
    return file;
}

Bytes operator+(Bytes a, Bytes const& b)
{
    append(a, b);
    return a;
}

void setAll(RewriteJob& job)
{
    job.metadata.setExif(asBytes(kExif));
    job.metadata.setXmp(kXmp);
    job.profile = profileFor("RGB ");
    job.metadataChanged = job.profileChanged = true;
    job.resolution = Resolution {200, 200};
}

} // namespace

TEST(Jpeg2000Codec, RoundTripsWithoutLoss)
{
    constexpr auto kDeep = ComponentType::UInt16;
    struct {
        Size size;
        PixelFormat format;
    } const cases[] = {
        {{1, 1}, kRgb},
        {{3, 200}, kGray},
        {{131, 97}, kRgb},
        {{97, 131}, kRgba},
        {{40, 30}, {.model = ColorModel::Gray, .alpha = Alpha::Straight}},
        {{40, 30}, {kDeep, ColorModel::Gray}},
        {{40, 30}, {kDeep, ColorModel::RGB, Alpha::Straight}},
        {{40, 30}, {.model = ColorModel::CMYK}},
        {{40, 30}, {kDeep, ColorModel::Lab}},
    };
    for (auto const& [size, format] : cases) {
        auto const picture = photoLike(size, format);
        auto const result = probe(encoded(kType, picture, withQuality(1)));
        ASSERT_TRUE(result.pixels) << result.error;
        EXPECT_EQ(result.warnings, "");
        EXPECT_EQ(result.pixels->format(), format);
        EXPECT_EQ(largestDifference(*picture, *result.pixels), 0) << size.width << " x " << size.height;
    }
}

TEST(Jpeg2000Codec, KeepsDepths)
{
    for (int const bits : {1, 2, 4, 10, 12}) {
        auto const largest = (1 << bits) - 1;
        PixelFormat const format {bits > 8 ? ComponentType::UInt16 : ComponentType::UInt8, ColorModel::Gray};
        auto const picture = paint({30, 20}, format, [=](int x, int y, int) {
            return (x * 5 + y * 31) % (largest + 1) / static_cast<double>(largest);
        });
        auto const file = encoded(kType, picture, {.bitsPerComponent = bits, .options = {.quality = 1.0f}});
        EXPECT_EQ(openBytes(file)->description().info.bitsPerComponent, bits);
        auto const result = probe(file);
        EXPECT_EQ(result.pixels->format(), format);
        EXPECT_EQ(largestDifference(*picture, *result.pixels), 0) << bits;
    }
}

TEST(Jpeg2000Codec, AsksForPixelsThatItCanHold)
{
    auto const negotiate = codecForType(kType)->negotiate;
    auto const palette =
        ColorSpace::indexed(ColorSpace::device(ColorModel::RGB), {{{1, 2, 3, 255}, {4, 5, 6, 7}}});
    struct {
        PixelFormat format;
        int bits;
        PixelFormat expected;
        int expectedBits;
    } const cases[] = {
        {kGray, 1, kGray, 1},
        {kRgb, 4, kRgb, 8},
        {{ComponentType::UInt16, ColorModel::CMYK}, 12, {ComponentType::UInt16, ColorModel::CMYK}, 12},
        {{ComponentType::Float32, ColorModel::RGB, Alpha::Premultiplied}, 32,
            {ComponentType::UInt16, ColorModel::RGB, Alpha::Straight}, 16},
        {{.model = ColorModel::Indexed}, 4, kRgba, 8},
    };
    for (auto const& [format, bits, expected, expectedBits] : cases) {
        auto const space = format.model == ColorModel::Indexed ? palette : ColorSpace::device(format.model);
        auto const target = negotiate({{{4, 4}, format, space}, bits}, {});
        EXPECT_EQ(target.format, expected);
        EXPECT_EQ(target.bitsPerComponent, expectedBits);
    }
}

TEST(Jpeg2000Codec, QualityBuysFidelity)
{
    auto const picture = photoLike({200, 150}, kRgb);
    struct {
        std::optional<float> quality;
        double least, most;
    } const cases[] = {{0.0f, 26, 36}, {0.5f, 36, 46}, {std::nullopt, 40, 52}, {0.95f, 43, 60}};
    std::size_t previous = 0;
    for (auto const& [quality, least, most] : cases) {
        auto const file = encoded(kType, picture, {.options = {.quality = quality}});
        auto const reached = psnr(*picture, *probe(file).pixels);
        EXPECT_GT(reached, least);
        EXPECT_LT(reached, most);
        EXPECT_GT(file.size(), previous);
        previous = file.size();
    }
}

TEST(Jpeg2000Codec, StaysLosslessWhenTheSourceIs)
{
    auto const picture = photoLike({60, 50}, kRgb);
    for (float const quality : {1.0f, 0.5f}) {
        auto const source = openBytes(encoded(kType, picture, withQuality(quality)));
        auto const rows = rowsOf(picture);
        TemporaryDirectory const directory;
        auto output = AtomicFile::create(directory / "b.jp2").value();
        PropertyDictionary const properties;
        EncodeJob const job {
            .rows = *rows, .bitsPerComponent = 8, .properties = properties, .source = source.get()};
        ASSERT_TRUE(codecForType(kType)->encode(job, output));
        ASSERT_TRUE(output.commit(directory / "b.jp2"));
        EXPECT_EQ(largestDifference(*picture, *decode(directory / "b.jp2").value()) == 0, quality == 1);
    }
}

TEST(Jpeg2000Codec, CodesLargeImagesInTiles)
{
    auto const picture =
        paint({2500, 1700}, kGray, [](int x, int y, int) { return ((x ^ y) & 255) / 255.0; });
    TemporaryDirectory const directory;
    ASSERT_TRUE(encode(kType, picture, directory / "a.jp2", withQuality(1)));
    auto const source = openJp2(directory / "a.jp2");
    EXPECT_EQ(source->contents().codestream.tileColumns(), 3);
    EXPECT_EQ(largestDifference(*picture, *decode(directory / "a.jp2").value()), 0);

    // Of a region, its tiles are decoded.
    auto const part = source->open({.region = {1100, 1500, 50, 60}}).value();
    EXPECT_EQ(part.area.x, 1024);
    EXPECT_EQ(part.area.y, 1024);
    EXPECT_EQ(part.rows->size(), (Size {1024, 676}));
    auto const pixels = PixelBuffer::collect(*part.rows).value();
    EXPECT_EQ(component(pixels, 76, 476, 0), component(*picture, 1100, 1500, 0));
}

TEST(Jpeg2000Codec, DecodesRegionsExactly)
{
    auto const picture = photoLike({150, 140}, kRgba);
    TemporaryDirectory const directory;
    for (float const quality : {0.5f, 1.0f}) {
        ASSERT_TRUE(encode(kType, picture, directory / "a.jp2", withQuality(quality)));
        auto const whole = decode(directory / "a.jp2").value();
        for (auto const region :
            {IntRect {0, 0, 20, 30}, IntRect {51, 37, 40, 41}, IntRect {149, 100, 1, 40}}) {
            auto const part = openJp2(directory / "a.jp2")->open({.region = region}).value();
            EXPECT_EQ(part.area.x, region.x);
            auto const pixels = PixelBuffer::collect(*part.rows).value();
            auto const expected = paint({region.width, region.height}, kRgba, [&](int x, int y, int channel) {
                return component(*whole, x + region.x, y + region.y, channel);
            });
            EXPECT_EQ(largestDifference(pixels, *expected), 0) << region.x;
        }
    }
}

TEST(Jpeg2000Codec, SaysWhereReducedPixelsLie)
{
    // A ramp shows the place of every pixel, in 16 bits to the fraction of one.
    auto const picture = paint({201, 120}, {ComponentType::UInt16, ColorModel::Gray},
        [](int x, int y, int) { return (x + y) / 330.0; });
    TemporaryDirectory const directory;
    ASSERT_TRUE(encode(kType, picture, directory / "a.jp2", withQuality(1)));
    auto const source = openJp2(directory / "a.jp2");
    for (auto const& region : {IntRect {}, IntRect {77, 33, 60, 50}}) {
        for (double const scale : {1.0, 0.6, 0.5, 0.25, 0.2}) {
            auto const decoded = source->open({.scale = scale, .region = region}).value();
            auto const factor = decoded.area.width / decoded.rows->size().width;
            EXPECT_EQ(factor, scale > 0.5 ? 1 : scale == 0.5 ? 2 : 4);
            auto const pixels = PixelBuffer::collect(*decoded.rows).value();
            auto const x = pixels.size().width / 2, y = pixels.size().height / 2;
            auto const place = decoded.area.x + decoded.area.y + (x + 0.5) * factor + (y + 0.5) * factor - 1;
            EXPECT_NEAR(component(pixels, x, y, 0), place / 330, 0.02 / 330) << scale;
            EXPECT_LE(decoded.area.x, region.x);
            EXPECT_GE(decoded.area.x + decoded.area.width, region.x + region.width);
        }
    }
}

TEST(Jpeg2000Codec, UnderstandsColorBoxes)
{
    auto const rgb = photoLike({20, 10}, kRgb);
    auto const rgba = photoLike({20, 10}, kRgba);
    auto const header = [](std::uint32_t space, Bytes const& more = {}) { return colorBox(space) + more; };
    auto const reversed = channelDefinition({{0, 0, 3}, {1, 0, 2}, {2, 0, 1}});
    auto const premultiplied = channelDefinition({{0, 0, 1}, {1, 0, 2}, {2, 0, 3}, {3, 2, 0}});
    auto const alphaFirst = channelDefinition({{0, 1, 0}, {1, 0, 1}, {2, 0, 2}, {3, 0, 3}});
    using Expected = std::function<double(int x, int y, int channel)>;
    auto const same = [](PixelBufferPointer const& picture, auto channelMap) -> Expected {
        return [=](int x, int y, int channel) { return component(*picture, x, y, channelMap(channel)); };
    };
    auto const identity = [](int channel) { return channel; };
    struct {
        Bytes file;
        PixelFormat format;
        Expected expected;
    } const cases[] = {
        {jp2File(header(jp2::kSrgb, reversed), codestreamOf(rgb)), kRgb,
            same(rgb, [](int c) { return 2 - c; })},
        {jp2File(header(jp2::kSrgb, premultiplied), codestreamOf(rgba)), {.alpha = Alpha::Premultiplied},
            same(rgba, identity)},
        {jp2File(header(jp2::kSrgb, alphaFirst), codestreamOf(rgba)), kRgba,
            same(rgba, [](int c) { return (c + 1) % 4; })},
        // A channel that nobody defines is no alpha.
        {jp2File(header(jp2::kSrgb), codestreamOf(rgba)), kRgb, same(rgba, identity)},
        {jp2File(header(jp2::kCmyk), codestreamOf(rgba)), {.model = ColorModel::CMYK}, same(rgba, identity)},
        // A colour space with more channels than there are does not count.
        {jp2File(header(jp2::kCmyk), codestreamOf(rgb)), kRgb, same(rgb, identity)},
        {jp2File(header(99), codestreamOf(rgb)), kRgb, same(rgb, identity)},
        {jp2File({}, codestreamOf(photoLike({20, 10}, kGray))), kGray,
            same(photoLike({20, 10}, kGray), identity)},
        {codestreamOf(rgba), kRgba, same(rgba, identity)},
    };
    int index = 0;
    for (auto const& [file, format, expected] : cases) {
        auto const result = probe(file);
        ASSERT_TRUE(result.pixels) << result.error;
        EXPECT_EQ(result.pixels->format(), format) << index;
        EXPECT_EQ(largestDifference(*result.pixels, *paint({20, 10}, format, expected)), 0) << index;
        ++index;
    }
}

TEST(Jpeg2000Codec, ExpandsPalettes)
{
    auto const indices = paint({12, 5}, kGray, [](int x, int y, int) { return (x + y) % 4 / 255.0; });
    // Three entries of 8, 8 and 4 bits, for which the index 3 is one too many, and alpha as it is.
    Bytes const palette = {0, 3, 3, 7, 7, 3, 10, 20, 0, 30, 40, 15, 50, 60, 5};
    Bytes const mapping = {0, 0, 1, 0, 0, 0, 1, 1, 0, 0, 1, 2, 0, 0, 0, 0};
    auto const definition = channelDefinition({{0, 0, 1}, {1, 0, 2}, {2, 0, 3}, {3, 1, 0}});
    auto const boxes = colorBox(jp2::kSrgb) + jp2Box(jp2::kPalette, palette)
        + jp2Box(jp2::kComponentMapping, mapping) + definition;
    auto const result = probe(jp2File(boxes, codestreamOf(indices)));
    ASSERT_TRUE(result.pixels) << result.error;
    auto const colors = colorsOf(*result.pixels);
    using Color = std::array<std::uint8_t, 4>;
    EXPECT_EQ(colors[0], (Color {10, 20, 0, 0}));
    EXPECT_EQ(colors[1], (Color {30, 40, 255, 1}));
    EXPECT_EQ(colors[2], (Color {50, 60, 85, 2}));
    EXPECT_EQ(colors[3], (Color {50, 60, 85, 3}));
}

TEST(Jpeg2000Codec, RecodesLab)
{
    // L 50, a 20, b -30 in 8 bits with the ranges that hold when none are stated, and with stated ones.
    auto const pixel = [](double l, double a, double b) {
        return paint({1, 1}, kRgb, [=](int, int, int channel) {
            double const values[] = {l, a, b};
            return values[channel] / 255;
        });
    };
    Bytes ranges = {1, 0, 0};
    for (auto const value : {jp2::kCieLab, 100u, 0u, 200u, 100u, 240u, 120u, 0u})
        appendBE32(ranges, value);
    struct {
        Bytes header;
        PixelBufferPointer stored;
    } const cases[] = {
        {colorBox(jp2::kCieLab), pixel(127.5, 128 + 20 * 255 / 170.0, 96 - 30 * 255 / 200.0)},
        {jp2Box(jp2::kColor, ranges), pixel(127.5, 100 + 20 * 255 / 200.0, 120 - 30 * 255 / 240.0)},
    };
    for (auto const& [header, stored] : cases) {
        auto const result = probe(jp2File(header, codestreamOf(stored)));
        ASSERT_TRUE(result.pixels) << result.error;
        EXPECT_EQ(result.pixels->format(), (PixelFormat {ComponentType::UInt16, ColorModel::Lab}));
        EXPECT_NEAR(component(*result.pixels, 0, 0, 0) * 100, 50, 0.25);
        EXPECT_NEAR(component(*result.pixels, 0, 0, 1) * 255 - 128, 20, 0.5);
        EXPECT_NEAR(component(*result.pixels, 0, 0, 2) * 255 - 128, -30, 0.5);
    }
}

TEST(Jpeg2000Codec, ConvertsLumaAndChroma)
{
    // Y, Cb and Cr of 22 x 14 with chroma halved in both directions, lossless.
    auto const codestream = readBytes(dataFile("ycc420.j2k"));
    auto const expected = paint({22, 14}, kRgb, [](int x, int y, int channel) {
        auto const luma = 40 + 7 * x + 3 * y;
        auto const cb = 100 + 4 * (x / 2) - 128, cr = 150 - 5 * (y / 2) - 128;
        double const values[] = {luma + 1.402 * cr, luma - 0.344136 * cb - 0.714136 * cr, luma + 1.772 * cb};
        return values[channel] / 255;
    });
    for (auto const& file : {codestream, jp2File(colorBox(jp2::kSycc), codestream)}) {
        auto const result = probe(file);
        ASSERT_TRUE(result.pixels) << result.error;
        EXPECT_LE(largestDifference(*result.pixels, *expected), 1 / 255.0);
    }
}

TEST(Jpeg2000Codec, UpsamplesByTheGrid)
{
    // Three components that all stand for 2 x 2 grid points make an image of half the size of the grid.
    auto codestream = codestreamOf(photoLike({20, 10}, kRgb));
    storeInteger(&codestream[8], std::uint32_t {40}, ByteOrder::Big);
    storeInteger(&codestream[12], std::uint32_t {20}, ByteOrder::Big);
    storeInteger(&codestream[24], std::uint32_t {40}, ByteOrder::Big);
    storeInteger(&codestream[28], std::uint32_t {20}, ByteOrder::Big);
    for (std::size_t component = 0; component < 3; ++component)
        codestream[43 + 3 * component] = codestream[44 + 3 * component] = 2;
    auto const result = probe(codestream);
    ASSERT_TRUE(result.pixels) << result.error;
    EXPECT_EQ(result.pixels->size(), (Size {20, 10}));
    EXPECT_EQ(largestDifference(*result.pixels, *photoLike({20, 10}, kRgb)), 0);
}

TEST(Jpeg2000Codec, CountsSignedSamplesFromTheirMiddle)
{
    auto codestream = codestreamOf(photoLike({20, 10}, kGray));
    // Without the level shift that unsigned samples have, the same code means values around zero.
    codestream[42] |= 0x80;
    auto const result = probe(codestream);
    ASSERT_TRUE(result.pixels) << result.error;
    EXPECT_EQ(largestDifference(*result.pixels, *photoLike({20, 10}, kGray)), 0);
}

TEST(Jpeg2000Codec, FindsTheCodestreamWhateverTheLengthOfItsBox)
{
    auto const picture = photoLike({10, 10}, kRgb);
    auto const codestream = codestreamOf(picture);
    auto const toTheEnd = [](Bytes file, std::size_t length) {
        storeInteger(&file[file.size() - length - 8], std::uint32_t {0}, ByteOrder::Big);
        return file;
    };
    auto extended = jp2FileStart() + jp2Box(jp2::kHeader, colorBox(jp2::kSrgb));
    appendBE32(extended, 1);
    appendBE32(extended, jp2::kCodestream.code);
    append(extended, std::uint64_t {16 + codestream.size()}, ByteOrder::Big);
    append(extended, codestream);
    for (auto const& file :
        {toTheEnd(jp2File(colorBox(jp2::kSrgb), codestream), codestream.size()), extended}) {
        auto const result = probe(file);
        ASSERT_TRUE(result.pixels) << result.error;
        EXPECT_EQ(largestDifference(*result.pixels, *picture), 0);
    }
}

TEST(Jpeg2000Codec, ReadsResolutions)
{
    auto const codestream = codestreamOf(photoLike({4, 4}, kGray));
    auto const resolution = [](FourCC type, Bytes const& payload) {
        return jp2Box(jp2::kResolution, jp2Box(type, payload));
    };
    struct {
        Bytes box;
        double x, y; ///< 0 = none
    } const cases[] = {
        {jp2ResolutionBox({300, 72.5}), 300, 72.5},
        {jp2ResolutionBox({100000, 0.5}), 100000, 0.5},
        {resolution(jp2::kDisplayResolution, {0, 50, 0, 1, 0, 25, 0, 1, 2, 2}), 63.5, 127},
        {resolution(jp2::kCaptureResolution, {0, 50, 0, 0, 0, 25, 0, 1, 2, 2}), 0, 0},
        {resolution(jp2::kCaptureResolution, {0, 0, 0, 1, 0, 0, 0, 1, 0, 0}), 0, 0},
        {resolution(jp2::kCaptureResolution, {0, 50, 0, 1, 0, 25, 0, 1, 127, 127}), 0, 0},
    };
    for (auto const& [box, x, y] : cases) {
        auto const found =
            openBytes(jp2File(colorBox(jp2::kGrey) + box, codestream))->description().resolution;
        EXPECT_EQ(found.has_value(), x != 0);
        if (!found)
            continue;
        EXPECT_NEAR(found->x, x, x * 1e-4);
        EXPECT_NEAR(found->y, y, y * 1e-4);
    }
}

TEST(Jpeg2000Codec, CarriesMetadataProfileAndResolution)
{
    auto const source = openBytes(encoded(kType, photoLike({9, 9}, kRgb), withEverything()));
    EXPECT_EQ(asText(source->metadata().exif()), kExif);
    EXPECT_EQ(asText(source->metadata().iptc()), "\x1C\x02\x78");
    EXPECT_EQ(source->metadata().xmp(), kXmp);
    EXPECT_EQ(*source->image().space().profile(), *profileFor("RGB "));
    EXPECT_NEAR(source->resolution()->x, 300, 1e-9);
    EXPECT_NEAR(source->resolution()->y, 72, 1e-9);

    EncodeExtras inks {.profile = profileFor("CMYK"), .options = {.quality = 1.0f}};
    auto const cmyk = openBytes(encoded(kType, photoLike({9, 9}, {.model = ColorModel::CMYK}), inks));
    EXPECT_EQ(*cmyk->image().space().profile(), *profileFor("CMYK"));
}

TEST(Jpeg2000Codec, RewritesAroundTheCodestream)
{
    TemporaryDirectory const directory;
    auto const codestream = codestreamOf(photoLike({30, 20}, kRgb), 0.5f);
    auto const unknown = jp2Box(FourCC("velk"), asBytes("unknown"));
    auto const unknownInHeader = jp2Box(FourCC("what"), asBytes("is this"));
    auto const boxes = colorBox(jp2::kSrgb) + unknownInHeader + colorBox(jp2::kGrey);
    auto file = jp2File(boxes, codestream) + unknown;
    append(file, std::string_view("odd"));
    writeBytes(directory / "a.jp2", file);
    ASSERT_TRUE(rewrite(directory / "a.jp2", directory / "same.jp2", [](RewriteJob&) {}));
    EXPECT_EQ(readBytes(directory / "same.jp2"), file);

    ASSERT_TRUE(rewrite(directory / "a.jp2", directory / "b.jp2", setAll));
    auto const source = openJp2(directory / "b.jp2");
    EXPECT_EQ(asText(source->metadata().exif()), kExif);
    EXPECT_EQ(source->metadata().xmp(), kXmp);
    EXPECT_EQ(*source->image().space().profile(), *profileFor("RGB "));
    EXPECT_NEAR(source->resolution()->x, 200, 1e-9);
    auto const rewritten = readBytes(directory / "b.jp2");
    EXPECT_TRUE(holds(rewritten, unknownInHeader));
    EXPECT_TRUE(asText(rewritten).ends_with(
        std::string(asText(jp2Box(jp2::kCodestream, codestream) + unknown)) + "odd"));

    ASSERT_TRUE(rewrite(directory / "b.jp2", directory / "c.jp2", [](RewriteJob& job) {
        job.metadata.setXmp({});
        job.profile = nullptr;
        job.metadataChanged = job.profileChanged = true;
    }));
    auto const without = openJp2(directory / "c.jp2");
    EXPECT_EQ(without->metadata().xmp(), "");
    EXPECT_EQ(asText(without->metadata().exif()), kExif);
    EXPECT_FALSE(without->image().space().profile());
    EXPECT_NEAR(without->resolution()->x, 200, 1e-9);
}

TEST(Jpeg2000Codec, WrapsACodestreamThatHasSomethingToSay)
{
    TemporaryDirectory const directory;
    auto const codestream = codestreamOf(photoLike({30, 20}, kRgba));
    writeBytes(directory / "a.j2k", codestream);
    ASSERT_TRUE(rewrite(directory / "a.j2k", directory / "same.j2k", [](RewriteJob&) {}));
    EXPECT_EQ(readBytes(directory / "same.j2k"), codestream);
    ASSERT_TRUE(rewrite(directory / "a.j2k", directory / "b.j2k", setAll));
    auto const source = openJp2(directory / "b.j2k");
    EXPECT_EQ(source->image().format(), kRgba);
    EXPECT_EQ(asText(source->metadata().exif()), kExif);
    EXPECT_TRUE(asText(readBytes(directory / "b.j2k")).ends_with(asText(codestream)));
}

TEST(Jpeg2000Codec, LeavesAloneWhatRewritingWouldBreak)
{
    TemporaryDirectory const directory;
    auto const chroma = jp2File(colorBox(jp2::kSycc), readBytes(dataFile("ycc420.j2k")));
    auto const indexed = jp2File(colorBox(jp2::kSrgb), codestreamOf(photoLike({9, 9}, kRgb)))
        + jp2Box(FourCC("fidx"), asBytes("offsets"));
    for (auto const& file : {chroma, indexed}) {
        writeBytes(directory / "a.jp2", file);
        EXPECT_FALSE(rewrite(directory / "a.jp2", directory / "b.jp2", setAll));
    }
}

TEST(Jpeg2000Codec, DeliversWhatATruncatedFileHas)
{
    for (int const tiles : {1, 2}) {
        auto const picture = photoLike(tiles == 1 ? Size {400, 300} : Size {2500, 1700}, kGray);
        auto const whole = encoded(kType, picture, withQuality(tiles == 1 ? 1 : 0.1f));
        auto const result = probe(ByteSpan(whole).first(whole.size() * 2 / 3));
        ASSERT_TRUE(result.pixels) << result.error;
        EXPECT_EQ(std::ranges::count(result.warnings, '\n'), 1) << tiles;
        EXPECT_NEAR(component(*result.pixels, 10, 10, 0), component(*picture, 10, 10, 0), 0.1);
    }
}

TEST(Jpeg2000Codec, SurvivesHostileFiles)
{
    Bytes const files[] = {
        encoded(kType, photoLike({50, 40}, kRgba), withEverything()),
        readBytes(dataFile("ycc420.j2k")),
    };
    for (auto const& file : files) {
        auto const start = openBytes(file)->contents().codestream.offset;
        for (auto const& version : hostileVersions(file, start + 110)) {
            auto const result = probe(version);
            EXPECT_TRUE(result.pixels || !result.error.empty());
        }
    }

    // Fields of SIZ, counted from the start of the codestream.
    auto const codestream = codestreamOf(photoLike({50, 40}, kRgb));
    struct {
        std::size_t at;
        std::uint32_t value;
        std::string_view error;
    } const cases[] = {
        {8, 0, "damaged"},
        {12, 0, "damaged"},
        {8, 0xFFFFFFFF, "not possible"},
        {24, 0, "damaged"},
        {8, 0x7FFFFFFF, "not possible"},
        {24, 1, "more tiles"},
        {40, 0, "damaged"},
        {40, 0x40000707, "components"},
    };
    for (auto const& [at, value, error] : cases) {
        auto file = codestream;
        storeInteger(&file[at], value, ByteOrder::Big);
        if (at == 24)
            storeInteger(&file[28], std::uint32_t {1}, ByteOrder::Big);
        EXPECT_NE(probe(file).error.find(error), std::string::npos) << at << " " << probe(file).error;
    }
    auto deep = codestream;
    deep[42] = 37;
    EXPECT_NE(probe(deep).error.find("38 bits"), std::string::npos);
    EXPECT_NE(probe(jp2FileStart()).error.find("holds no image"), std::string::npos);
}

} // namespace velk::test
