#include "platform/codec/CodecProbe.h"
#include "platform/codec/WebpSource.h"

#include <gtest/gtest.h>
#include <webp/encode.h>

#include <algorithm>

namespace velk::test {

using namespace codec;
using namespace graphics;

namespace {

constexpr PixelFormat kRgb = {};
constexpr PixelFormat kRgba = {.alpha = Alpha::Straight};
constexpr std::string_view kExif("II*\0\x08\0\0\0\0\0\0\0\0\0", 14);
constexpr std::string_view kXmp = "<x:xmpmeta xmlns:x='adobe:ns:meta/'/>";

EncodeExtras withQuality(float quality)
{
    return {.options = {.quality = quality}};
}

EncodeExtras withEverything(float quality)
{
    auto extras = withQuality(quality);
    extras.profile = profileFor("RGB ");
    extras.metadata.setExif(asBytes(kExif));
    extras.metadata.setXmp(kXmp);
    return extras;
}

Bytes chunk(std::string_view id, ByteSpan payload)
{
    Bytes bytes;
    append(bytes, id);
    appendLE32(bytes, static_cast<std::uint32_t>(payload.size()));
    append(bytes, payload);
    if (payload.size() & 1)
        bytes.push_back(0);
    return bytes;
}

Bytes riff(Bytes const& chunks)
{
    Bytes payload;
    append(payload, std::string_view("WEBP"));
    append(payload, chunks);
    return chunk("RIFF", payload);
}

// What stands behind the RIFF header.
Bytes chunksOf(Bytes const& file)
{
    return {file.begin() + 12, file.end()};
}

Bytes extendedHeader(std::uint8_t flags, Size canvas)
{
    return chunk("VP8X", webpExtendedHeader(flags, canvas));
}

Bytes frame(int x, int y, Size size, ByteSpan chunks)
{
    Bytes payload(16);
    payload[0] = static_cast<std::uint8_t>(x / 2);
    payload[3] = static_cast<std::uint8_t>(y / 2);
    payload[6] = static_cast<std::uint8_t>(size.width - 1);
    payload[9] = static_cast<std::uint8_t>(size.height - 1);
    payload[12] = 100;
    append(payload, chunks);
    return chunk("ANMF", payload);
}

// Two frames of 8 x 6, the first at (4, 2) of a canvas of 20 x 10.
Bytes animation(PixelBufferPointer const& picture)
{
    auto const coded = chunksOf(encoded("org.webmproject.webp", picture, withQuality(1)));
    auto chunks = extendedHeader(webp::kHasAnimation | webp::kHasAlpha, {20, 10});
    append(chunks, chunk("ANIM", Bytes {0, 0, 0, 0, 3, 0}));
    append(chunks, frame(4, 2, picture->size(), coded));
    append(chunks, frame(0, 0, picture->size(), coded));
    return riff(chunks);
}

std::shared_ptr<ImageSource const> openFile(std::string const& path)
{
    auto source = openImage(path);
    EXPECT_TRUE(source) << source.error().message;
    return source ? *source : nullptr;
}

} // namespace

TEST(WebpCodec, RoundTrips)
{
    struct {
        Size size;
        PixelFormat format;
        float quality;
        double psnr; ///< 200 = exact
    } const cases[] = {
        {{1, 1}, kRgb, 1, 200},
        {{33, 129}, kRgb, 1, 200},
        {{129, 33}, kRgba, 1, 200},
        {{130, 97}, kRgb, 0.9f, 36},
        {{131, 193}, kRgba, 0.9f, 36},
        {{130, 97}, kRgb, 0.1f, 26},
    };
    for (auto const& [size, format, quality, least] : cases) {
        auto const picture = photoLike(size, format);
        auto const result = probe(encoded("org.webmproject.webp", picture, withQuality(quality)));
        ASSERT_TRUE(result.pixels) << result.error;
        EXPECT_EQ(result.pixels->format(), format);
        EXPECT_EQ(result.warnings, "");
        EXPECT_GE(psnr(*picture, *result.pixels), least) << size.width << " x " << size.height;
    }
}

TEST(WebpCodec, ConvertsStripsAsLibwebpConvertsTheWholePicture)
{
    for (auto const format : {kRgb, kRgba}) {
        auto const picture = photoLike({75, 149}, format);
        auto const mine = encoded("org.webmproject.webp", picture, withQuality(0.7f));
        std::uint8_t* output = nullptr;
        auto const encodeAll = format.hasAlpha() ? WebPEncodeRGBA : WebPEncodeRGB;
        auto const size =
            encodeAll(picture->row(0), 75, 149, static_cast<int>(picture->stride()), 70, &output);
        EXPECT_TRUE(std::ranges::equal(mine, std::span(output, size)));
        WebPFree(output);
    }
}

TEST(WebpCodec, StaysLosslessWhenTheSourceIs)
{
    TemporaryDirectory const directory;
    auto const picture = photoLike({40, 30}, kRgb);
    for (float const quality : {1.0f, 0.5f}) {
        ASSERT_TRUE(encode("org.webmproject.webp", picture, directory / "a.webp", withQuality(quality)));
        auto const source = openFile(directory / "a.webp");
        auto const rows = rowsOf(picture);
        auto output = AtomicFile::create(directory / "b.webp").value();
        PropertyDictionary const properties;
        EncodeJob const job {
            .rows = *rows, .bitsPerComponent = 8, .properties = properties, .source = source.get()};
        ASSERT_TRUE(codecForType("org.webmproject.webp")->encode(job, output));
        ASSERT_TRUE(output.commit(directory / "b.webp"));
        auto const again = decode(directory / "b.webp").value();
        EXPECT_EQ(largestDifference(*picture, *again) == 0, quality == 1);
    }
}

TEST(WebpCodec, RefusesWhatIsTooLarge)
{
    auto const picture = paint({16384, 1}, kRgb, [](int, int, int) { return 0.5; });
    TemporaryDirectory const directory;
    auto const result = encode("org.webmproject.webp", picture, directory / "a.webp");
    ASSERT_FALSE(result);
    EXPECT_NE(result.error().message.find("16383"), std::string::npos);
    EXPECT_TRUE(directory.names().empty());
}

TEST(WebpCodec, CarriesMetadataAndProfile)
{
    TemporaryDirectory const directory;
    for (float const quality : {0.5f, 1.0f}) {
        for (auto const format : {kRgb, kRgba}) {
            auto const picture = photoLike({31, 17}, format);
            ASSERT_TRUE(
                encode("org.webmproject.webp", picture, directory / "a.webp", withEverything(quality)));
            auto const source = openFile(directory / "a.webp");
            EXPECT_EQ(asText(source->metadata().exif()), kExif);
            EXPECT_EQ(source->metadata().xmp(), kXmp);
            EXPECT_EQ(*source->image().space().profile(), *profileFor("RGB "));
            EXPECT_EQ(source->image().hasAlpha(), format.hasAlpha());
            auto const file = readBytes(directory / "a.webp");
            int const flags = webp::kHasProfile | webp::kHasExif | webp::kHasXmp
                | (format.hasAlpha() ? webp::kHasAlpha : 0);
            EXPECT_EQ(int {file[20]}, flags);
            EXPECT_EQ(loadLE32(&file[4]) + 8, file.size());
        }
    }
}

TEST(WebpCodec, ReadsExifWithThePrefixOfJpeg)
{
    auto chunks = extendedHeader(webp::kHasExif, {5, 4});
    append(chunks, chunksOf(encoded("org.webmproject.webp", photoLike({5, 4}, kRgb), withQuality(1))));
    append(chunks, chunk("EXIF", asBytes(std::string("Exif\0\0", 6) + std::string(kExif))));
    TemporaryDirectory const directory;
    writeBytes(directory / "a.webp", riff(chunks));
    EXPECT_EQ(asText(openFile(directory / "a.webp")->metadata().exif()), kExif);
}

TEST(WebpCodec, BelievesTheBitstreamAboutTheSize)
{
    auto chunks = extendedHeader(0, {50, 40});
    append(chunks, chunksOf(encoded("org.webmproject.webp", photoLike({5, 4}, kRgb), withQuality(1))));
    auto const result = probe(riff(chunks));
    ASSERT_TRUE(result.pixels) << result.error;
    EXPECT_EQ(result.pixels->size(), (Size {5, 4}));
}

TEST(WebpCodec, ConvertsSharplyWhereChromaMustNotBeSubsampled)
{
    auto const picture = photoLike({75, 61}, kRgb);
    auto extras = withQuality(0.7f);
    extras.options.noChromaSubsampling = true;
    WebPConfig config;
    ASSERT_TRUE(WebPConfigInit(&config));
    config.quality = 70;
    config.use_sharp_yuv = 1;
    WebPPicture reference;
    ASSERT_TRUE(WebPPictureInit(&reference));
    reference.width = 75;
    reference.height = 61;
    reference.use_argb = 1;
    ASSERT_TRUE(WebPPictureImportRGB(&reference, picture->row(0), static_cast<int>(picture->stride())));
    WebPMemoryWriter writer;
    WebPMemoryWriterInit(&writer);
    reference.writer = WebPMemoryWrite;
    reference.custom_ptr = &writer;
    ASSERT_TRUE(WebPEncode(&config, &reference));
    EXPECT_TRUE(std::ranges::equal(
        encoded("org.webmproject.webp", picture, extras), std::span(writer.mem, writer.size)));
    WebPMemoryWriterClear(&writer);
    WebPPictureFree(&reference);
}

TEST(WebpCodec, DecodesRegionsExactly)
{
    TemporaryDirectory const directory;
    for (float const quality : {0.6f, 1.0f}) {
        ASSERT_TRUE(encode("org.webmproject.webp", photoLike({160, 130}, kRgba), directory / "a.webp",
            withQuality(quality)));
        auto const source = openFile(directory / "a.webp");
        auto const whole = decode(directory / "a.webp").value();
        for (auto const region :
            {IntRect {0, 0, 33, 17}, IntRect {51, 37, 40, 41}, IntRect {101, 99, 59, 31}}) {
            auto const part = source->open({.region = region}).value();
            EXPECT_EQ(part.area.x, region.x);
            EXPECT_EQ(part.area.height, region.height);
            auto const pixels = PixelBuffer::collect(*part.rows).value();
            auto const expected = paint({region.width, region.height}, kRgba, [&](int x, int y, int channel) {
                return component(*whole, x + region.x, y + region.y, channel);
            });
            EXPECT_EQ(largestDifference(pixels, *expected), 0) << region.x;
        }
    }
}

TEST(WebpCodec, DecodesReducedByWholeFactors)
{
    TemporaryDirectory const directory;
    ASSERT_TRUE(
        encode("org.webmproject.webp", photoLike({161, 120}, kRgb), directory / "a.webp", withQuality(1)));
    auto const source = openFile(directory / "a.webp");
    struct {
        double scale;
        Size size;
    } const cases[] = {{1, {161, 120}}, {0.6, {161, 120}}, {0.5, {81, 60}}, {0.26, {54, 40}}};
    for (auto const& [scale, size] : cases) {
        auto const decoded = source->open({.scale = scale}).value();
        EXPECT_EQ(decoded.rows->size(), size);
        EXPECT_EQ(decoded.area.width, 161);
        auto const pixels = PixelBuffer::collect(*decoded.rows).value();
        auto const expected = photoLike(size, kRgb);
        EXPECT_GT(psnr(pixels, *expected), 36) << scale;
    }
}

TEST(WebpCodec, ShowsTheFirstFrameOnATransparentCanvas)
{
    auto const picture = photoLike({8, 6}, kRgb);
    TemporaryDirectory const directory;
    writeBytes(directory / "a.webp", animation(picture));
    auto const source = openFile(directory / "a.webp");
    EXPECT_EQ(source->imageCount(), 2);
    EXPECT_EQ(source->image().format(), kRgba);
    auto const properties = *findDictionary(source->description().formatProperties, kWebpDictionary);
    EXPECT_EQ(find(properties, kWebpLoopCount)->number(), 3);
    auto const pixels = decode(directory / "a.webp").value();
    auto const expected = paint({20, 10}, kRgba, [&](int x, int y, int channel) {
        bool const isInside = x >= 4 && x < 12 && y >= 2 && y < 8;
        return !isInside ? 0 : channel == 3 ? 1 : component(*picture, x - 4, y - 2, channel);
    });
    EXPECT_EQ(largestDifference(*pixels, *expected), 0);
}

TEST(WebpCodec, RewritesAroundTheCodedPicture)
{
    TemporaryDirectory const directory;
    auto const setAll = [](RewriteJob& job) {
        job.metadata.setExif(asBytes(kExif));
        job.metadata.setXmp(kXmp);
        job.profile = profileFor("RGB ");
        job.metadataChanged = job.profileChanged = true;
    };
    auto const unknown = chunk("velk", asBytes("unknown"));
    for (float const quality : {0.5f, 1.0f}) {
        for (auto const format : {kRgb, kRgba}) {
            auto const coded =
                chunksOf(encoded("org.webmproject.webp", photoLike({31, 17}, format), withQuality(quality)));
            auto chunks = coded;
            append(chunks, unknown);
            auto file = riff(chunks);
            append(file, std::string_view("behind the container"));
            writeBytes(directory / "a.webp", file);
            ASSERT_TRUE(rewrite(directory / "a.webp", directory / "b.webp", setAll));

            auto const source = openFile(directory / "b.webp");
            EXPECT_EQ(asText(source->metadata().exif()), kExif);
            EXPECT_EQ(*source->image().space().profile(), *profileFor("RGB "));
            EXPECT_EQ(source->image().hasAlpha(), format.hasAlpha());
            auto const rewritten = readBytes(directory / "b.webp");
            EXPECT_EQ((rewritten[20] & webp::kHasAlpha) != 0, format.hasAlpha());
            EXPECT_TRUE(holds(rewritten, unknown));
            EXPECT_TRUE(asText(rewritten).ends_with("behind the container"));
            // Lossy pictures with alpha have their extended header already.
            bool const hadHeader = startsWith(coded, "VP8X");
            EXPECT_TRUE(holds(rewritten, hadHeader ? ByteSpan(coded).subspan(18) : ByteSpan(coded)));
            EXPECT_EQ(largestDifference(
                          *decode(directory / "a.webp").value(), *decode(directory / "b.webp").value()),
                0);
        }
    }
}

TEST(WebpCodec, RewritesOneThingAndLeavesTheOthers)
{
    TemporaryDirectory const directory;
    ASSERT_TRUE(
        encode("org.webmproject.webp", photoLike({9, 9}, kRgb), directory / "a.webp", withEverything(0.5f)));
    auto const before = readBytes(directory / "a.webp");
    ASSERT_TRUE(rewrite(directory / "a.webp", directory / "same.webp", [](RewriteJob&) {}));
    EXPECT_EQ(readBytes(directory / "same.webp"), before);

    ASSERT_TRUE(rewrite(directory / "a.webp", directory / "b.webp", [](RewriteJob& job) {
        job.profileChanged = true;
        job.profile = nullptr;
    }));
    auto const source = openFile(directory / "b.webp");
    EXPECT_FALSE(source->image().space().profile());
    EXPECT_EQ(asText(source->metadata().exif()), kExif);
    EXPECT_EQ(source->metadata().xmp(), kXmp);
    EXPECT_EQ(readBytes(directory / "b.webp").size() + 8 + profileFor("RGB ")->size(), before.size());
}

TEST(WebpCodec, RewritesAnimationsWithAllTheirFrames)
{
    TemporaryDirectory const directory;
    writeBytes(directory / "a.webp", animation(photoLike({8, 6}, kRgb)));
    ASSERT_TRUE(rewrite(directory / "a.webp", directory / "b.webp", [](RewriteJob& job) {
        job.metadata.setXmp(kXmp);
        job.metadataChanged = true;
        job.changes = {{std::string(kWebpDictionary), std::string(kWebpLoopCount), PropertyValue(7)}};
    }));
    auto const before = openFile(directory / "a.webp"), after = openFile(directory / "b.webp");
    EXPECT_EQ(after->imageCount(), 2);
    EXPECT_EQ(after->metadata().xmp(), kXmp);
    auto const properties = *findDictionary(after->description().formatProperties, kWebpDictionary);
    EXPECT_EQ(find(properties, kWebpLoopCount)->number(), 7);
    auto const file = readBytes(directory / "a.webp");
    EXPECT_TRUE(holds(readBytes(directory / "b.webp"), ByteSpan(file).subspan(44)));
}

TEST(WebpCodec, DeliversTheRowsOfATruncatedFile)
{
    for (float const quality : {0.9f, 1.0f}) {
        auto const whole = encoded("org.webmproject.webp", photoLike({300, 300}, kRgb), withQuality(quality));
        auto const result = probe(ByteSpan(whole).first(whole.size() * 2 / 3));
        ASSERT_TRUE(result.pixels) << result.error;
        EXPECT_NE(result.warnings.find("incomplete"), std::string::npos);
        EXPECT_EQ(std::ranges::count(result.warnings, '\n'), 1);
        EXPECT_GT(component(*result.pixels, 10, 10, 1), 0.1);
        EXPECT_EQ(component(*result.pixels, 299, 299, 1), 0);
    }
}

TEST(WebpCodec, SurvivesHostileFiles)
{
    Bytes const files[] = {
        encoded("org.webmproject.webp", photoLike({40, 30}, kRgba), withEverything(0.5f)),
        encoded("org.webmproject.webp", photoLike({40, 30}, kRgba), withQuality(1)),
        animation(photoLike({8, 6}, kRgba)),
    };
    for (auto const& file : files) {
        for (auto const& version : hostileVersions(file, 60)) {
            auto const result = probe(version);
            EXPECT_TRUE(result.pixels || !result.error.empty());
        }
    }
    struct {
        Bytes file;
        std::string_view error;
    } const cases[] = {
        {riff({}), "holds no image"},
        {riff(extendedHeader(0, {10, 10})), "holds no image"},
        {riff(extendedHeader(webp::kHasAnimation, {10, 10})), "holds no image"},
        {riff(chunk("VP8 ", Bytes(10))), "damaged"},
        {riff(chunk("VP8L", asBytes("not a picture"))), "damaged"},
    };
    for (auto const& [file, error] : cases)
        EXPECT_NE(probe(file).error.find(error), std::string::npos) << error;
}

} // namespace velk::test
