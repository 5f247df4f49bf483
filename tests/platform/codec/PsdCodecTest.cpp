#include "platform/codec/RawCodecSupport.h"

#include <zlib.h>

#include <functional>

namespace velk::test {

using namespace graphics;

namespace {

constexpr std::string_view kPsd = "com.adobe.photoshop-image";

Bytes resource(int id, ByteSpan data, std::string_view name = {})
{
    Bytes bytes;
    append(bytes, "8BIM");
    appendBE16(bytes, static_cast<std::uint16_t>(id));
    bytes.push_back(static_cast<std::uint8_t>(name.size()));
    append(bytes, name);
    if (name.size() % 2 == 0)
        bytes.push_back(0);
    appendBE32(bytes, static_cast<std::uint32_t>(data.size()));
    append(bytes, data);
    if (data.size() % 2 != 0)
        bytes.push_back(0);
    return bytes;
}

struct TestDocument {
    int version = 1;
    int channels = 3;
    int width = 2, height = 1;
    int depth = 8;
    int mode = 3;
    Bytes modeData;
    Bytes resources;
    Bytes layers; ///< the section without its length
    int compression = 0;
    Bytes pixels;

    Bytes file() const
    {
        Bytes file;
        append(file, "8BPS");
        appendBE16(file, static_cast<std::uint16_t>(version));
        file.resize(12);
        appendBE16(file, static_cast<std::uint16_t>(channels));
        appendBE32(file, static_cast<std::uint32_t>(height));
        appendBE32(file, static_cast<std::uint32_t>(width));
        appendBE16(file, static_cast<std::uint16_t>(depth));
        appendBE16(file, static_cast<std::uint16_t>(mode));
        for (auto const* section : {&modeData, &resources}) {
            appendBE32(file, static_cast<std::uint32_t>(section->size()));
            append(file, *section);
        }
        if (version == 2)
            appendBE32(file, 0);
        appendBE32(file, static_cast<std::uint32_t>(layers.size()));
        append(file, layers);
        appendBE16(file, static_cast<std::uint16_t>(compression));
        return file + pixels;
    }
};

// Layer information with nothing but a count.
Bytes layerCount(int count)
{
    return bytesOf({0, 0, 0, 2, count >> 8, count, 0, 0, 0, 0});
}

Bytes deflated(Bytes const& data)
{
    auto size = compressBound(data.size());
    Bytes packed(size);
    compress(packed.data(), &size, data.data(), data.size());
    packed.resize(size);
    return packed;
}

PixelBufferPointer decodeTest(TestDocument const& document)
{
    auto decoded = decodeBytes(document.file(), "test.psd");
    EXPECT_TRUE(decoded) << (decoded ? "" : decoded.error().message);
    return decoded ? *decoded : nullptr;
}

// A document with two layers, resources of all kinds and an odd name.
TestDocument layeredDocument()
{
    return {.width = 2,
        .height = 1,
        .resources = resource(1005, bytesOf({0, 72, 0, 0, 0, 1, 0, 2, 0, 72, 0, 0, 0, 1, 0, 2}))
            + resource(4242, asBytes("unknown"), "odd") + resource(1028, bytesOf({0x1C, 2, 0, 0, 2, 0, 2}))
            + resource(1061, Bytes(16)) + resource(1036, asBytes("thumbnail")),
        .layers = layerCount(2) + asBytes("whatever the layers hold"),
        .compression = 1,
        .pixels = bytesOf({0, 3, 0, 3, 0, 3, 1, 10, 20, 1, 30, 40, 1, 50, 60}) + asBytes("trailer")};
}

Bytes rewritten(ByteSpan file, std::function<void(codec::RewriteJob&)> const& change)
{
    TemporaryDirectory const directory;
    writeBytes(directory / "in.psd", file);
    auto const source = codec::openImage(directory / "in.psd").value();
    codec::RewriteJob job {.source = *source, .metadata = source->metadata()};
    change(job);
    auto const* codec = codec::codecForType(kPsd);
    EXPECT_TRUE(codec->canRewrite(job));
    auto output = AtomicFile::create(directory / "out.psd").value();
    auto const result = codec->rewrite(job, output);
    EXPECT_TRUE(result) << (result ? "" : result.error().message);
    EXPECT_TRUE(output.commit(directory / "out.psd"));
    return readBytes(directory / "out.psd");
}

} // namespace

TEST(PsdCodec, RoundTrips)
{
    for (auto const size : {Size {37, 29}, Size {1, 1}, Size {1000, 3}}) {
        for (auto const model : {ColorModel::Gray, ColorModel::RGB, ColorModel::CMYK, ColorModel::Lab}) {
            expectExactRoundTrip(
                kPsd, photoLike(size, {ComponentType::UInt8, model, Alpha::None}), 8, "a.psd");
            expectExactRoundTrip(
                kPsd, photoLike(size, {ComponentType::UInt16, model, Alpha::None}), 16, "a.psd");
        }
        for (auto const model : {ColorModel::Gray, ColorModel::RGB})
            expectExactRoundTrip(
                kPsd, photoLike(size, {ComponentType::Float32, model, Alpha::None}), 32, "a.psd");
        auto const bilevel =
            paint(size, {.model = ColorModel::Gray}, [](int x, int y, int) { return (x + y) % 2; });
        expectExactRoundTrip(kPsd, bilevel, 1, "a.psd");
        expectExactRoundTrip(kPsd, indexedImage(size, 200, false), 8, "a.psd");
    }
    Palette palette {{{1, 2, 3, 255}, {4, 5, 6, 0}, {7, 8, 9, 255}}};
    auto const space = ColorSpace::indexed(ColorSpace::device(ColorModel::RGB), palette);
    auto const clear = paint(
        {5, 5}, {.model = ColorModel::Indexed}, [](int x, int, int) { return x % 3 / 255.0; }, &space);
    expectExactRoundTrip(kPsd, clear, 8, "a.psd");
}

// The flattened picture is put on white; what comes back are the same colours, premultiplied.
TEST(PsdCodec, AlphaGoesIntoALayerAndTheFlattenedPicture)
{
    for (auto const type : {ComponentType::UInt8, ComponentType::UInt16, ComponentType::Float32}) {
        for (auto const model : {ColorModel::Gray, ColorModel::RGB, ColorModel::CMYK}) {
            if (type == ComponentType::Float32 && model == ColorModel::CMYK)
                continue;
            auto const pixels = photoLike({41, 23}, {type, model, Alpha::Straight});
            auto const file = encodeToBytes(kPsd, pixels);
            auto const source = *openBytes(file, "a.psd");
            auto const* properties = findDictionary(source->description().formatProperties, "{PSD}");
            EXPECT_TRUE(*find(*properties, "LayerCount") == PropertyValue(1));
            auto const decoded = *decodeBytes(file, "a.psd");
            ASSERT_EQ(decoded->format().alpha, Alpha::Premultiplied);
            auto const tolerance = type == ComponentType::UInt8 ? 1.01 / 255 : 1.01 / 65535;
            for (int y = 0; y < 23; ++y) {
                auto const alpha = component(*pixels, 7, y, channelCount(model));
                EXPECT_EQ(component(*decoded, 7, y, channelCount(model)), alpha);
                for (int channel = 0; channel < channelCount(model); ++channel)
                    EXPECT_NEAR(component(*decoded, 7, y, channel), component(*pixels, 7, y, channel) * alpha,
                        tolerance);
            }
        }
    }
}

TEST(PsdCodec, FourthChannelIsAlphaOnlyWhereTheLayersSaySo)
{
    TestDocument document {.channels = 4, .width = 1, .pixels = bytesOf({200, 150, 130, 128})};
    EXPECT_EQ(rowOf(decodeTest(document), 0), (std::vector {200, 150, 130}));
    document.layers = layerCount(3);
    EXPECT_EQ(rowOf(decodeTest(document), 0), (std::vector {200, 150, 130}));
    document.layers = layerCount(-3);
    EXPECT_EQ(rowOf(decodeTest(document), 0), (std::vector {200, 150, 130, 128}));
    document.layers = Bytes(8) + asBytes("8BIMMtrn") + Bytes(4);
    EXPECT_EQ(rowOf(decodeTest(document), 0), (std::vector {200, 150, 130, 128}));
    document.depth = 16;
    document.pixels = bytesOf({1, 2, 3, 4, 5, 6, 7, 8});
    document.layers = Bytes(8) + asBytes("8BIMLr16") + bytesOf({0, 0, 0, 2, 0xFF, 0xFE});
    EXPECT_EQ(decodeTest(document)->format().alpha, Alpha::Straight);
    // With Photoshop's version beside it, the picture lies on white.
    document.depth = 8;
    document.layers = layerCount(-1);
    document.pixels = bytesOf({200, 150, 130, 128});
    document.resources = resource(1057, bytesOf({0, 0, 0, 1, 1}));
    auto const matted = decodeTest(document);
    EXPECT_EQ(matted->format().alpha, Alpha::Premultiplied);
    EXPECT_EQ(rowOf(matted, 0), (std::vector {73, 23, 3, 128}));
}

TEST(PsdCodec, ReadsEveryCompression)
{
    // Grey rows 1 2 3 4, 5 6 7 8 in each channel of RGB.
    auto const plane = bytesOf({1, 2, 3, 4, 5, 6, 7, 8});
    auto const raw = plane + plane + plane;
    auto const coded = bytesOf({3, 1, 2, 3, 4, 0x80}) + bytesOf({1, 5, 6, 1, 7, 8});
    auto const predicted = bytesOf({1, 1, 1, 1, 5, 1, 1, 1});
    auto const table = bytesOf({0, 6, 0, 6, 0, 6, 0, 6, 0, 6, 0, 6});
    auto const wideTable = bytesOf({0, 0, 0, 6, 0, 0, 0, 6, 0, 0, 0, 6, 0, 0, 0, 6, 0, 0, 0, 6, 0, 0, 0, 6});
    struct Case {
        int version, compression;
        Bytes pixels;
    };
    Case const cases[] = {
        {1, 0, raw},
        {1, 1, table + coded + coded + coded},
        {2, 1, wideTable + coded + coded + coded},
        {1, 2, deflated(raw)},
        {1, 3, deflated(predicted + predicted + predicted)},
    };
    for (auto const& [version, compression, pixels] : cases) {
        SCOPED_TRACE(compression);
        auto const decoded = decodeTest(
            {.version = version, .width = 4, .height = 2, .compression = compression, .pixels = pixels});
        ASSERT_TRUE(decoded);
        EXPECT_EQ(rowOf(decoded, 0), (std::vector {1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4}));
        EXPECT_EQ(rowOf(decoded, 1), (std::vector {5, 5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8}));
    }
    // 0x0102 0x0203 as differences; 1.0 and -2.0 as differences of bytes that are sorted by place.
    auto const deep = decodeTest(
        {.channels = 1, .depth = 16, .mode = 1, .compression = 3, .pixels = deflated(bytesOf({1, 2, 1, 1}))});
    EXPECT_EQ(reinterpret_cast<std::uint16_t const*>(deep->row(0))[1], 0x0203);
    auto const floats = decodeTest({.channels = 1,
        .depth = 32,
        .mode = 1,
        .compression = 3,
        .pixels = deflated(bytesOf({0x3F, 0xC0 - 0x3F, 0x80 - 0xC0, 0 - 0x80, 0, 0, 0, 0}))});
    EXPECT_EQ(component(*floats, 0, 0, 0), 1.0);
    EXPECT_EQ(component(*floats, 1, 0, 0), -2.0);
}

TEST(PsdCodec, ReadsModesAsTheyAreMeant)
{
    EXPECT_EQ(
        rowOf(decodeTest({.channels = 1, .width = 3, .depth = 1, .mode = 0, .pixels = bytesOf({0xA0})}), 0),
        (std::vector {0, 255, 0}));
    EXPECT_EQ(
        rowOf(decodeTest({.channels = 4, .width = 1, .mode = 4, .pixels = bytesOf({255, 0, 5, 250})}), 0),
        (std::vector {0, 255, 250, 5}));
    EXPECT_EQ(
        decodeTest({.channels = 1, .width = 1, .mode = 8, .modeData = Bytes(500), .pixels = bytesOf({7})})
            ->format()
            .model,
        ColorModel::Gray);
    for (auto const& document : {TestDocument {.mode = 7, .pixels = Bytes(6)},
             TestDocument {.channels = 2, .pixels = Bytes(6)}, TestDocument {.depth = 1, .pixels = Bytes(6)},
             TestDocument {.channels = 1, .mode = 2, .pixels = Bytes(6)},
             TestDocument {.width = 300000, .height = 300000, .pixels = Bytes(6)}})
        EXPECT_FALSE(decodeBytes(document.file(), "a.psd"));
}

TEST(PsdCodec, SaysSoWhenThereIsNoFlattenedPicture)
{
    TestDocument const document {.resources = resource(1057, bytesOf({0, 0, 0, 1, 0})),
        .layers = layerCount(2),
        .pixels = Bytes(6, 255)};
    EXPECT_TRUE(openBytes(document.file(), "a.psd"));
    auto const decoded = decodeBytes(document.file(), "a.psd");
    ASSERT_FALSE(decoded);
    EXPECT_EQ(decoded.error().message, "the Photoshop file was saved without a flattened picture");
}

TEST(PsdCodec, RewritingLeavesEverythingElseAlone)
{
    auto const before = layeredDocument();
    Bytes const iptc = bytesOf({0x1C, 2, 5, 0, 1, 'x'});
    auto const profile = shareBytes(Bytes(131, 7));
    auto const file = rewritten(before.file(), [&](codec::RewriteJob& job) {
        job.metadata.setIptc(iptc);
        job.metadata.setXmp("<x:xmpmeta/>");
        job.metadataChanged = true;
        job.profile = profile;
        job.profileChanged = true;
        job.resolution = codec::Resolution {300, 300};
    });
    // Changed in their places, in the old order, with units kept; the digest is gone; what is new comes last.
    auto expected = before;
    expected.resources = resource(1005, bytesOf({1, 44, 0, 0, 0, 1, 0, 2, 1, 44, 0, 0, 0, 1, 0, 2}))
        + resource(4242, asBytes("unknown"), "odd") + resource(1028, iptc)
        + resource(1036, asBytes("thumbnail")) + resource(1060, asBytes("<x:xmpmeta/>"))
        + resource(1039, *profile);
    EXPECT_EQ(file, expected.file());

    auto const removed = rewritten(file, [&](codec::RewriteJob& job) {
        job.metadata = {};
        job.metadataChanged = true;
        job.profileChanged = true;
    });
    expected.resources = resource(1005, bytesOf({1, 44, 0, 0, 0, 1, 0, 2, 1, 44, 0, 0, 0, 1, 0, 2}))
        + resource(4242, asBytes("unknown"), "odd") + resource(1036, asBytes("thumbnail"));
    EXPECT_EQ(removed, expected.file());

    auto const untouched =
        rewritten(before.file(), [](codec::RewriteJob& job) { job.metadataChanged = true; });
    EXPECT_EQ(untouched, before.file());
}

TEST(PsdCodec, RewritingKeepsResourcesThatItDoesNotUnderstand)
{
    auto before = layeredDocument();
    append(before.resources, asBytes("not a resource at all"));
    auto const file = rewritten(before.file(), [](codec::RewriteJob& job) {
        job.metadata.setXmp("<x/>");
        job.metadataChanged = true;
    });
    auto expected = layeredDocument();
    expected.resources =
        expected.resources + resource(1060, asBytes("<x/>")) + asBytes("not a resource at all");
    EXPECT_EQ(file, expected.file());
}

TEST(PsdCodec, EncodingKeepsMetadata)
{
    EncodeExtras extras;
    extras.metadata.setExif(bytesOf({'M', 'M', 0, 42, 0, 0, 0, 8, 0, 0}));
    extras.metadata.setXmp("<x/>");
    extras.metadata.setIptc(bytesOf({0x1C, 2, 5, 0, 1, 'x'}));
    extras.resolution = codec::Resolution {299.5, 150};
    auto const source = *openBytes(encodeToBytes(kPsd, photoLike({3, 3}, {}), extras), "a.psd");
    EXPECT_EQ(source->metadata().exif(), extras.metadata.exif());
    EXPECT_EQ(source->metadata().xmp(), "<x/>");
    EXPECT_EQ(source->metadata().iptc(), extras.metadata.iptc());
    EXPECT_EQ(source->description().resolution, extras.resolution);
}

// The lengths in the layer's record must lead from channel to channel and end where the section does. Beyond
// 30000 pixels the file is a PSB, with wider lengths.
TEST(PsdCodec, WritesALayerThatOtherReadersFind)
{
    struct {
        int depth;
        Size size;
    } const cases[] = {{8, {21, 13}}, {16, {21, 13}}, {8, {30001, 3}}, {16, {2, 30001}}};
    for (auto const& [depth, size] : cases) {
        auto const type = depth == 8 ? ComponentType::UInt8 : ComponentType::UInt16;
        auto const file = encodeToBytes(kPsd, photoLike(size, {type, ColorModel::RGB, Alpha::Straight}));
        bool const isLarge = std::max(size.width, size.height) > 30000;
        EXPECT_EQ(loadBE16(&file[4]), isLarge ? 2 : 1);
        auto const width = isLarge ? std::size_t {8} : 4; // of a length
        auto const length = [&](std::size_t place) {
            return isLarge ? loadBE64(&file[place]) : loadBE32(&file[place]);
        };
        std::size_t at = 26 + 4;
        at += 4 + loadBE32(&file[at]);
        auto const sectionEnd = at + width + length(at);
        at += width;
        if (depth == 16) {
            EXPECT_EQ(length(at), 0u);
            EXPECT_EQ(asText(ByteSpan(file).subspan(at + width + 4, 8)), "8BIMLr16");
            at += width + 4 + 8;
        }
        auto const infoEnd = at + width + length(at);
        at += width;
        EXPECT_EQ(infoEnd + (depth == 8 ? 4 : 0), sectionEnd);
        EXPECT_EQ(loadBE16(&file[at]), 0xFFFF); // one layer, and the picture has alpha
        EXPECT_EQ(loadBE32(&file[at + 10]), static_cast<std::uint32_t>(size.height));
        EXPECT_EQ(loadBE32(&file[at + 14]), static_cast<std::uint32_t>(size.width));
        EXPECT_EQ(loadBE16(&file[at + 18]), 4);
        auto const height = static_cast<std::size_t>(size.height);
        auto end = at + 20 + 4 * (2 + width) + 12;
        end += 4 + loadBE32(&file[end]);
        for (std::size_t channel = 0; channel < 4; ++channel) {
            auto const entry = at + 20 + channel * (2 + width);
            EXPECT_EQ(loadBE16(&file[entry]), channel == 0 ? 0xFFFF : channel - 1);
            EXPECT_EQ(loadBE16(&file[end]), 1);
            std::size_t expected = 2 + height * width / 2;
            for (std::size_t y = 0; y < height; ++y)
                expected += isLarge ? loadBE32(&file[end + 2 + y * 4]) : loadBE16(&file[end + 2 + y * 2]);
            ASSERT_EQ(length(entry + 2), expected);
            end += expected;
        }
        EXPECT_LE(infoEnd - end, 3u);
        EXPECT_EQ(loadBE16(&file[sectionEnd]), 1);
    }
}

TEST(PsdCodec, LargeDocumentsStaySuch)
{
    TestDocument const document = {.version = 2, .pixels = bytesOf({1, 2, 3, 4, 5, 6})};
    TemporaryDirectory const directory;
    writeBytes(directory / "in.psb", document.file());
    auto const source = codec::openImage(directory / "in.psb").value();
    PropertyDictionary const properties;
    for (auto const model : {ColorModel::RGB, ColorModel::Gray}) {
        auto const rows = rowsOf(photoLike({40, 30}, {.model = model}));
        auto output = AtomicFile::create(directory / "out.psb").value();
        ASSERT_TRUE(codec::codecForType(kPsd)->encode(
            {.rows = *rows, .bitsPerComponent = 8, .properties = properties, .source = source.get()},
            output));
        ASSERT_TRUE(output.commit(directory / "out.psb"));
        EXPECT_EQ(readBytes(directory / "out.psb")[5], 2);
        EXPECT_EQ(
            largestDifference(*photoLike({40, 30}, {.model = model}), *decode(directory / "out.psb").value()),
            0);
    }
}

TEST(PsdCodec, ReencodingKeepsResourcesThatStayTrue)
{
    auto document = layeredDocument();
    document.resources =
        document.resources + resource(1035, asBytes("http://example.org/")) + resource(2000, Bytes(26));
    TemporaryDirectory const directory;
    writeBytes(directory / "in.psd", document.file());
    auto const source = codec::openImage(directory / "in.psd").value();
    auto const rows = source->image().rows().value();
    PropertyDictionary const properties;
    auto output = AtomicFile::create(directory / "out.psd").value();
    ASSERT_TRUE(codec::codecForType(kPsd)->encode(
        {.rows = *rows, .bitsPerComponent = 8, .properties = properties, .source = source.get()}, output));
    ASSERT_TRUE(output.commit(directory / "out.psd"));
    auto const bytes = readBytes(directory / "out.psd");
    auto const file = asText(bytes);
    EXPECT_NE(file.find(asText(resource(1035, asBytes("http://example.org/")))), std::string_view::npos);
    EXPECT_EQ(file.find(asText(resource(2000, Bytes(26)))), std::string_view::npos);
    EXPECT_EQ(file.find("thumbnail"), std::string_view::npos);
    EXPECT_EQ(rowOf(*decode(directory / "out.psd"), 0), rowOf(*decode(directory / "in.psd"), 0));
}

TEST(PsdCodec, SurvivesDamage)
{
    auto const layered = layeredDocument().file();
    expectToSurviveDamage(layered, layered.size(), "a.psd");
    expectToSurviveDamage(encodeToBytes(kPsd, photoLike({9, 7}, {.alpha = Alpha::Straight})), 200, "a.psd");
    auto const plane = deflated(Bytes(3 * 40 * 30, 5));
    auto const zipped = TestDocument {.width = 40, .height = 30, .compression = 3, .pixels = plane}.file();
    expectToSurviveDamage(zipped, zipped.size(), "a.psd");
}

} // namespace velk::test
