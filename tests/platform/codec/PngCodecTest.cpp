#include "platform/codec/PngDataWriter.h"
#include "platform/codec/PngTestFiles.h"
#include "platform/codec/PngText.h"
#include "platform/codec/PropertyKeys.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace velk::codec {

using namespace graphics;
using namespace test;

namespace {

constexpr PixelFormat kGray = {.model = ColorModel::Gray};
constexpr PixelFormat kRgb = {};

unsigned largestSample(PngHeader const& header)
{
    return (1u << header.bitDepth) - 1;
}

// Different everywhere, and every value of a low depth occurs.
unsigned sampleAt(PngHeader const& header, int x, int y, int channel)
{
    return static_cast<unsigned>(x * 7 + y * 13 + channel * 5 + x * y * (header.bitDepth > 8 ? 397 : 3))
        & largestSample(header);
}

Sampler samplerOf(PngHeader const& header)
{
    return [header](int x, int y, int channel) { return sampleAt(header, x, y, channel); };
}

TestChunk grayRamp(int entries)
{
    Bytes palette;
    for (int i = 0; i < entries; ++i)
        palette.insert(palette.end(), 3, static_cast<std::uint8_t>(i));
    return {"PLTE", palette};
}

std::vector<TestChunk> imageChunks(PngHeader const& header)
{
    std::vector<TestChunk> chunks = {headerChunk(header)};
    if (header.colorType == PngColorType::Indexed)
        chunks.push_back(grayRamp(1 << header.bitDepth));
    chunks.push_back(imageData(header, samplerOf(header)));
    chunks.push_back({"IEND", {}});
    return chunks;
}

std::vector<TestChunk> smallGray(
    std::vector<TestChunk> const& beforeData, std::vector<TestChunk> const& behind = {})
{
    auto chunks = imageChunks({.size = {9, 7}, .colorType = PngColorType::Gray});
    chunks.insert(chunks.begin() + 1, beforeData.begin(), beforeData.end());
    chunks.insert(chunks.end() - 1, behind.begin(), behind.end());
    return chunks;
}

std::string be32(std::vector<std::uint32_t> const& values)
{
    Bytes bytes;
    for (auto const value : values)
        appendBE32(bytes, value);
    return std::string(asText(bytes));
}

// Enough of an RGB profile for the stage that only looks at the header.
Bytes tinyProfile(std::string_view space = "RGB ")
{
    Bytes profile(132);
    std::ranges::copy(space, profile.begin() + 16);
    std::ranges::copy(std::string_view("acsp"), profile.begin() + 36);
    storeInteger(profile.data(), std::uint32_t {132}, ByteOrder::Big);
    return profile;
}

class PngCodec : public testing::Test {
protected:
    std::string path() const { return m_directory / "image.png"; }

    Result<std::shared_ptr<ImageSource const>> openChunks(std::vector<TestChunk> const& chunks) const
    {
        return openBytes(pngFile(chunks));
    }

    Result<std::shared_ptr<ImageSource const>> openBytes(Bytes const& bytes) const
    {
        writeBytes(path(), bytes);
        return TRY(openImage(path()));
    }

    Result<PixelBufferPointer> decodeChunks(std::vector<TestChunk> const& chunks) const
    {
        writeBytes(path(), pngFile(chunks));
        return decode(path());
    }

    TemporaryDirectory m_directory;
};

// What reading printed, while it must not crash.
struct Outcome {
    bool hasRows = false;
    std::string message;
    std::string printed;
};

Outcome readAnything(std::string const& path)
{
    testing::internal::CaptureStderr();
    auto const pixels = decode(path);
    return {pixels.has_value(), pixels ? "" : pixels.error().message, testing::internal::GetCapturedStderr()};
}

} // namespace

TEST_F(PngCodec, ReadsEveryColourTypeDepthAndInterlace)
{
    struct Kind {
        PngColorType type;
        std::vector<int> depths;
    };
    Kind const kinds[] = {{PngColorType::Gray, {1, 2, 4, 8, 16}}, {PngColorType::Rgb, {8, 16}},
        {PngColorType::Indexed, {1, 2, 4, 8}}, {PngColorType::GrayAlpha, {8, 16}},
        {PngColorType::Rgba, {8, 16}}};
    for (auto const& kind : kinds) {
        for (int const depth : kind.depths) {
            for (auto const size : {Size {1, 1}, Size {3, 2}, Size {13, 9}, Size {37, 21}}) {
                for (bool const isInterlaced : {false, true}) {
                    PngHeader const header {size, depth, kind.type, isInterlaced};
                    auto const pixels = decodeChunks(imageChunks(header)).value();
                    ASSERT_EQ(pixels->size(), size);
                    double const scale = kind.type == PngColorType::Indexed ? 255 : largestSample(header);
                    double largest = 0;
                    for (int y = 0; y < size.height; ++y)
                        for (int x = 0; x < size.width; ++x)
                            for (int channel = 0; channel < header.channels(); ++channel)
                                largest = std::max(largest,
                                    std::abs(component(*pixels, x, y, channel)
                                        - sampleAt(header, x, y, channel) / scale));
                    EXPECT_LT(largest, 1e-6)
                        << "type " << int(kind.type) << " depth " << depth << " interlaced " << isInterlaced;
                }
            }
        }
    }
}

TEST_F(PngCodec, AFixedColourBecomesTransparent)
{
    struct Case {
        PngColorType type;
        int depth;
        std::string key;
    };
    Case const cases[] = {
        {PngColorType::Gray, 1, {"\0\1", 2}},
        {PngColorType::Gray, 4, {"\0\7", 2}},
        {PngColorType::Gray, 16, {"\1\xA1", 2}},
        {PngColorType::Rgb, 8, {"\0\7\0\14\0\21", 6}},
    };
    for (auto const& [type, depth, key] : cases) {
        PngHeader const header {{20, 10}, depth, type, false};
        auto const bytes = asBytes(key);
        auto chunks = imageChunks(header);
        chunks.insert(chunks.begin() + 1, chunk("tRNS", key));
        auto const pixels = decodeChunks(chunks).value();
        ASSERT_EQ(pixels->format().alpha, Alpha::Straight);
        for (int y = 0; y < 10; ++y) {
            for (int x = 0; x < 20; ++x) {
                bool isKey = true;
                for (int channel = 0; channel < header.channels(); ++channel)
                    isKey = isKey && sampleAt(header, x, y, channel) == loadBE16(bytes.data() + 2 * channel);
                EXPECT_EQ(component(*pixels, x, y, header.channels()), isKey ? 0 : 1)
                    << x << ", " << y << " depth " << depth;
            }
        }
    }
}

TEST_F(PngCodec, RoundTripsEveryFormatExactly)
{
    std::vector<std::pair<PixelBufferPointer, int>> cases;
    for (auto const size : {Size {1, 1}, Size {7, 5}, Size {401, 300}}) {
        for (auto const type : {ComponentType::UInt8, ComponentType::UInt16}) {
            for (auto const alpha : {Alpha::None, Alpha::Straight}) {
                cases.emplace_back(photoLike(size, {type, ColorModel::Gray, alpha}), 0);
                cases.emplace_back(photoLike(size, {type, ColorModel::RGB, alpha}), 0);
            }
        }
    }
    for (int const entries : {1, 2, 3, 16, 17, 256}) {
        cases.emplace_back(indexedImage({63, 41}, entries, false), 0);
        cases.emplace_back(indexedImage({63, 41}, entries, true), 0);
    }
    for (int const bits : {1, 2, 4}) {
        auto const levels = (1 << bits) - 1;
        cases.emplace_back(
            paint({61, 43}, kGray,
                [&](int x, int y, int) { return double((x + 3 * y) % (levels + 1)) / levels; }),
            bits);
    }
    for (auto const& [pixels, bits] : cases) {
        ASSERT_TRUE(encode("public.png", pixels, path(), {.bitsPerComponent = bits}));
        auto const result = decode(path()).value();
        EXPECT_EQ(result->format(), pixels->format());
        EXPECT_EQ(largestDifference(*result, *pixels), 0)
            << pixels->size().width << " wide, model " << int(pixels->format().model);
        std::shared_ptr<ImageSource const> const source = openImage(path()).value();
        if (bits) {
            EXPECT_EQ(source->description().info.bitsPerComponent, bits);
        }
        if (auto const* palette = pixels->layout().space.palette()) {
            EXPECT_EQ(result->layout().space.palette()->entries, palette->entries);
        }
    }
}

TEST_F(PngCodec, StoresIndicesInTheFewestBitsThatAreAskedFor)
{
    struct Case {
        int entries, bits, stored;
    };
    for (auto const [entries, bits, stored] :
        {Case {2, 1, 1}, Case {3, 1, 2}, Case {17, 4, 8}, Case {3, 8, 8}}) {
        auto const pixels = indexedImage({9, 9}, entries, false);
        auto const target = codecForType("public.png")->negotiate({pixels->layout(), bits}, {});
        EXPECT_EQ(target.bitsPerComponent, stored) << entries;
        ASSERT_TRUE(encode("public.png", pixels, path(), {.bitsPerComponent = bits}));
        EXPECT_EQ(readBytes(path())[24], stored) << entries;
        EXPECT_EQ(largestDifference(*decode(path()).value(), *pixels), 0);
    }
}

TEST_F(PngCodec, AsksForTheNearestPixelsThatItCanHold)
{
    struct Case {
        PixelFormat given;
        int bits;
        PixelFormat wanted;
        int wantedBits;
    };
    using enum ComponentType;
    Case const cases[] = {
        {{UInt8, ColorModel::Gray, Alpha::None}, 1, {UInt8, ColorModel::Gray, Alpha::None}, 1},
        {{UInt8, ColorModel::Gray, Alpha::Straight}, 1, {UInt8, ColorModel::Gray, Alpha::Straight}, 8},
        {{UInt16, ColorModel::RGB, Alpha::Premultiplied}, 12, {UInt16, ColorModel::RGB, Alpha::Straight}, 16},
        {{Float32, ColorModel::Gray, Alpha::None}, 32, {UInt16, ColorModel::Gray, Alpha::None}, 16},
        {{UInt8, ColorModel::CMYK, Alpha::None}, 8, {UInt8, ColorModel::RGB, Alpha::None}, 8},
        {{UInt16, ColorModel::Lab, Alpha::None}, 16, {UInt16, ColorModel::RGB, Alpha::None}, 16},
    };
    for (auto const& row : cases) {
        auto const target = codecForType("public.png")->negotiate({{{1, 1}, row.given}, row.bits}, {});
        EXPECT_EQ(target.format, row.wanted);
        EXPECT_EQ(target.bitsPerComponent, row.wantedBits);
    }
}

TEST_F(PngCodec, StripsAndThreadsMakeOneImage)
{
    std::minstd_rand random(1);
    auto const noise = paint({200, 90}, kRgb, [&](int, int, int) { return (random() >> 8 & 255) / 255.0; });
    auto const flat = paint({200, 90}, kRgb, [](int, int, int) { return 0.5; });
    for (auto const& pixels : {noise, flat, photoLike({200, 90}, kRgb)}) {
        for (int const level : {1, 3, 6, 12}) {
            for (unsigned const threads : {1, 2}) {
                PngHeader const header {.size = pixels->size()};
                auto file = AtomicFile::create(path()).value();
                auto const rows = rowsOf(pixels);
                ASSERT_TRUE(file.write(kPngSignature));
                ASSERT_TRUE(writePngChunk(file, pngType::kHeader, header.bytes()));
                ASSERT_TRUE(writePngData(*rows, header, file, {level, threads, 5000}));
                ASSERT_TRUE(writePngChunk(file, pngType::kEnd, {}));
                ASSERT_TRUE(file.commit(path()));
                testing::internal::CaptureStderr();
                auto const result = decode(path());
                EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
                ASSERT_TRUE(result);
                EXPECT_EQ(largestDifference(**result, *pixels), 0)
                    << "level " << level << ", threads " << threads;
                // The checksum over all strips, which readers of pixels may skip.
                Bytes stream;
                for (auto const& chunk : chunksOf(readBytes(path())))
                    append(stream, ByteSpan(chunk.type == "IDAT" ? chunk.data : Bytes()));
                std::size_t size = 200 * 90 * 3 + 90;
                EXPECT_TRUE(inflateZlib(stream, size));
            }
        }
    }
}

TEST_F(PngCodec, AFailingSourceEndsWritingWithItsMessage)
{
    class Failing : public RowSource {
    public:
        Failing()
            : RowSource({{500, 3000}, kRgb})
        {
        }
        Result<void> readRows(RowView rows) override
        {
            if (nextRow() > 1000)
                return fail("the well ran dry");
            std::fill_n(rows.data, rows.stride * static_cast<std::size_t>(rows.count - 1), std::uint8_t {1});
            return {};
        }
    };
    Failing rows;
    auto file = AtomicFile::create(path()).value();
    auto const result = writePngData(rows, {.size = {500, 3000}}, file);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().message, "the well ran dry");
}

TEST_F(PngCodec, DescribesWhatStandsAroundThePixels)
{
    auto const compressed = [](std::string_view text) {
        return std::string(asText(deflateZlib(asBytes(text))));
    };
    std::string const exif("II*\0\10\0\0\0\0\0\0\0\0\0", 14);
    auto const source = openChunks(
        smallGray(
            {
                chunk("gAMA", be32({45455})),
                chunk("cHRM", be32({31270, 32900, 64000, 33000, 30000, 60000, 15000, 6000})),
                chunk("sRGB", "\2"),
                chunk("iCCP", std::string("any\0\0", 5) + compressed(asText(tinyProfile("GRAY")))),
                chunk("pHYs", be32({11811, 2835}) + "\1"),
                chunk("acTL", be32({5, 0})),
                chunk("tEXt", std::string("Title\0Caf\xE9", 10)),
                chunk("zTXt", std::string("Comment\0\0", 9) + compressed("a long comment")),
                chunk("iTXt", std::string("Author\0\1\0de\0Autor\0", 18) + compressed("\u65e5\u672c")),
                chunk("iTXt", std::string("XML:com.adobe.xmp\0\0\0\0\0", 22) + "<x:xmpmeta/>"),
            },
            {
                chunk("eXIf", exif),
                chunk("tEXt", std::string("Copyright\0late", 14)),
            }))
                            .value();
    auto const properties = source->properties();
    auto const& png = *findDictionary(properties, key::kPng);
    EXPECT_NEAR(find(png, "Gamma")->number(), 0.45455, 1e-9);
    EXPECT_NEAR(find(png, "Chromaticities")->asArray()->at(7).number(), 0.06, 1e-9);
    EXPECT_EQ(find(png, "sRGBIntent")->number(), 2);
    EXPECT_EQ(*find(png, "Title")->asString(), "Caf\u00e9");
    EXPECT_EQ(*find(png, "Comment")->asString(), "a long comment");
    EXPECT_EQ(*find(png, "Author")->asString(), "\u65e5\u672c");
    EXPECT_EQ(*find(png, "Copyright")->asString(), "late");
    EXPECT_EQ(*find(*findDictionary(properties, key::kTiff), "Copyright")->asString(), "late");
    EXPECT_EQ(*source->description().info.layout.space.profile(), tinyProfile("GRAY"));
    EXPECT_EQ(source->description().resolution, (Resolution {300, 72}));
    EXPECT_EQ(source->imageCount(), 6); // the plain image is none of the five frames
    EXPECT_EQ(asText(source->metadata().exif()), exif);
    EXPECT_EQ(source->metadata().xmp(), "<x:xmpmeta/>");
}

TEST_F(PngCodec, ReadsMetadataThatOldProgramsWroteAsHexadecimalText)
{
    auto const rawProfile = [](std::string name, std::string_view block) {
        Bytes bytes;
        appendRawProfile(bytes, name, asBytes(block));
        return chunk("zTXt", asText(ByteSpan(bytes).subspan(8, bytes.size() - 12)));
    };
    std::string const exif("MM\0*\0\0\0\10\0\0\0\0\0\0", 14);
    std::string const iptc("\x1C\2\5\0\3Hey", 8);
    std::string const other("8BIM\x03\xED\0\0\0\0\0\3abc\0", 16);
    auto const resources = resourcesWithIptc(asBytes(iptc), asBytes(other));
    auto const source = openChunks(smallGray({
                                       rawProfile("exif", std::string("Exif\0\0", 6) + exif),
                                       rawProfile("8bim", asText(resources)),
                                       rawProfile("xmp", "<x:xmpmeta/>"),
                                   }))
                            .value();
    EXPECT_EQ(asText(source->metadata().exif()), exif);
    EXPECT_EQ(asText(source->metadata().iptc()), iptc);
    EXPECT_EQ(source->metadata().xmp(), "<x:xmpmeta/>");
    EXPECT_EQ(findDictionary(source->properties(), key::kPng)->size(), 1u); // InterlaceType
}

TEST_F(PngCodec, WritesMetadataProfileResolutionAndText)
{
    EncodeExtras extras;
    extras.profile = shareBytes(tinyProfile());
    extras.metadata.setExif(asBytes(std::string("II*\0\10\0\0\0\0\0\0\0\0\0", 14)));
    extras.metadata.setXmp("<x:xmpmeta/>");
    extras.metadata.setIptc(asBytes(std::string("\x1C\2\5\0\3Hey", 8)));
    extras.resolution = Resolution {150, 72};
    auto& png = subDictionary(extras.properties, key::kPng);
    set(png, "Gamma", 0.45455);
    set(png, "Title", "Caf\u00e9");
    set(png, "Comment", "\u65e5\u672c");
    set(png, "InterlaceType", 1);
    auto const pixels = photoLike({40, 30}, kRgb);
    ASSERT_TRUE(encode("public.png", pixels, path(), extras));
    EXPECT_EQ(typesOf(chunksOf(readBytes(path()))), "IHDR iCCP pHYs eXIf iTXt zTXt iTXt tEXt IDAT IEND");
    std::shared_ptr<ImageSource const> const source = openImage(path()).value();
    EXPECT_EQ(*source->description().info.layout.space.profile(), *extras.profile);
    EXPECT_EQ(source->metadata().exif(), extras.metadata.exif());
    EXPECT_EQ(source->metadata().xmp(), extras.metadata.xmp());
    EXPECT_EQ(source->metadata().iptc(), extras.metadata.iptc());
    EXPECT_EQ(source->description().resolution, extras.resolution);
    auto const& written = *findDictionary(source->description().formatProperties, key::kPng);
    EXPECT_EQ(*find(written, "Title")->asString(), "Caf\u00e9");
    EXPECT_EQ(*find(written, "Comment")->asString(), "\u65e5\u672c");

    // Without a profile the colours' other descriptions count.
    extras.profile = nullptr;
    set(png, "sRGBIntent", 1);
    ASSERT_TRUE(encode("public.png", pixels, path(), extras));
    EXPECT_THAT(typesOf(chunksOf(readBytes(path()))), testing::StartsWith("IHDR gAMA sRGB pHYs"));
}

TEST_F(PngCodec, EncodingAPngAnewKeepsItsTextsAndWhatIsSafeToCopy)
{
    auto const source =
        openChunks(smallGray({chunk("sTER", "\0"), chunk("oFFs", be32({1, 2}) + std::string(1, '\0')),
                                 chunk("bKGD", "\0\1"), chunk("tEXt", std::string("Author\0old", 10)),
                                 chunk("iTXt", std::string("Title\0\0\0en\0T\0text", 17))},
                       {chunk("prVt", "private"), chunk("prVT", "unsafe")}))
            .value();
    auto properties = source->properties();
    set(subDictionary(properties, key::kTiff), "Artist", "new");
    auto const rows = source->image().rows().value();
    auto const other = m_directory / "other.png";
    auto file = AtomicFile::create(other).value();
    EncodeJob const job {
        .rows = *rows, .bitsPerComponent = 8, .properties = properties, .source = source.get()};
    ASSERT_TRUE(codecForType("public.png")->encode(job, file));
    ASSERT_TRUE(file.commit(other));
    auto const chunks = chunksOf(readBytes(other));
    EXPECT_EQ(typesOf(chunks), "IHDR oFFs tEXt iTXt IDAT prVt IEND");
    EXPECT_EQ(chunks[2], chunk("tEXt", std::string("Author\0new", 10)));
    EXPECT_EQ(chunks[3], chunk("iTXt", std::string("Title\0\0\0en\0T\0text", 17)));
}

TEST_F(PngCodec, AskingForAPartStopsDecodingBelowIt)
{
    auto const source = openChunks(imageChunks({.size = {20, 30}})).value();
    auto const part = source->open({.region = {3, 4, 5, 6}}).value();
    EXPECT_EQ(part.rows->size(), (Size {20, 10}));
    EXPECT_EQ(part.area.height, 10);
}

TEST_F(PngCodec, IndicesOutsideThePaletteAreTamed)
{
    PngHeader const header {{16, 4}, 4, PngColorType::Indexed, false};
    auto chunks = imageChunks(header);
    chunks[1] = grayRamp(5);
    writeBytes(path(), pngFile(chunks));
    auto const outcome = readAnything(path());
    EXPECT_TRUE(outcome.hasRows);
    EXPECT_EQ(
        outcome.printed, "Warning: " + path() + ": some pixels have colours that are not in the palette\n");
    auto const pixels = decode(path()).value();
    for (int x = 0; x < 16; ++x)
        EXPECT_EQ(pixels->row(0)[x], std::min(4u, sampleAt(header, x, 0, 0)));
}

TEST_F(PngCodec, CutFilesGiveTheirRowsOnceWarnedOfOrAnError)
{
    for (bool const isInterlaced : {false, true}) {
        PngHeader const header {{90, 70}, 8, PngColorType::Rgb, isInterlaced};
        std::minstd_rand random(2);
        auto chunks = imageChunks(header);
        chunks[1] = imageData(header, [&](int, int, int) { return random() >> 8 & 255; });
        auto const whole = pngFile(chunks);
        for (std::size_t tenth = 0; tenth < 10; ++tenth) {
            writeBytes(path(), ByteSpan(whole).first(whole.size() * tenth / 10));
            auto const outcome = readAnything(path());
            EXPECT_EQ(outcome.hasRows, tenth > 0) << tenth << ": " << outcome.message;
            EXPECT_EQ(std::ranges::count(outcome.printed, '\n'), tenth > 0 ? 1 : 0) << outcome.printed;
        }
        // Half of the data is half of the picture, the rest is blank or coarser.
        writeBytes(path(), ByteSpan(whole).first(whole.size() / 2));
        auto const half = decode(path()).value();
        EXPECT_EQ(component(*half, 89, 69, 2) == 0, !isInterlaced);
    }
}

TEST_F(PngCodec, AWrongChecksumInThePixelDataIsWarnedOf)
{
    auto bytes = pngFile(imageChunks({.size = {9, 7}, .colorType = PngColorType::Gray}));
    bytes[bytes.size() - 13] ^= 1;
    writeBytes(path(), bytes);
    auto const outcome = readAnything(path());
    EXPECT_TRUE(outcome.hasRows);
    EXPECT_THAT(outcome.printed, testing::StartsWith("Warning: " + path()));
}

TEST_F(PngCodec, HostileFilesEndInAnErrorThatSaysWhy)
{
    auto const sized = [](std::uint32_t width, std::uint32_t height, bool isInterlaced = false) {
        auto chunks = smallGray({});
        storeInteger(chunks[0].data.data(), width, ByteOrder::Big);
        storeInteger(chunks[0].data.data() + 4, height, ByteOrder::Big);
        chunks[0].data[12] = isInterlaced;
        return pngFile(chunks);
    };
    auto const with = [](std::size_t index, std::uint8_t value) {
        auto chunks = smallGray({});
        chunks[0].data[index] = value;
        return pngFile(chunks);
    };
    auto brokenHeader = sized(9, 7);
    brokenHeader[20] ^= 1;
    auto damagedPalette = pngFile(imageChunks({{4, 4}, 8, PngColorType::Indexed, false}));
    damagedPalette[60] ^= 1;
    auto withoutPalette = imageChunks({{4, 4}, 8, PngColorType::Indexed, false});
    withoutPalette.erase(withoutPalette.begin() + 1);
    auto foreignBody = pngFile({headerChunk({.size = {9, 7}})});
    append(foreignBody, std::string_view("\xFF\xD8\xFF\xE0\0\x10JFIF\0\1\1\0\0\1\0\1\0\0\xFF\xDB", 22));
    struct Case {
        std::string name;
        Bytes bytes;
        std::string message;
    };
    Case const cases[] = {
        {"no width", sized(0, 7), "impossible image size 0 x 7"},
        {"2^31 wide", sized(1u << 31, 1), "the PNG header is damaged"},
        {"too many pixels", sized(0x7FFFFFFF, 2), "impossible image size 2147483647 x 2"},
        {"too wide for its data", sized(0x7FFFFFFF, 1), "the pixel data is missing"},
        {"too large for its data", sized(40000, 40000, true), "the pixel data is missing"},
        {"three bits", with(8, 3), "unknown PNG colour type 0 with 3 bits"},
        {"200 bits", with(8, 200), "unknown PNG colour type 0 with 200 bits"},
        {"colour type 5", with(9, 5), "unknown PNG colour type 5 with 8 bits"},
        {"compression", with(10, 1), "unknown PNG compression, filter or interlace method"},
        {"interlace", with(12, 2), "unknown PNG compression, filter or interlace method"},
        {"header checksum", brokenHeader, "the PNG header is damaged"},
        {"palette checksum", damagedPalette, "the palette is damaged"},
        {"no palette", pngFile(withoutPalette), "the palette is missing"},
        {"signature alone", pngFile({}), "the PNG header is missing"},
        {"no data", pngFile({headerChunk({.size = {9, 7}}), {"IEND", {}}}), "it holds no image data"},
        {"a JPEG behind the header", foreignBody, "it holds no image data"},
        {"no deflate", pngFile({headerChunk({.size = {9, 7}}), chunk("IDAT", "no zlib stream at all")}),
            "the pixel data cannot be decoded: IDAT: incorrect header check"},
        {"private variant", pngFile({chunk("CgBI", "1234"), headerChunk({.size = {9, 7}})}),
            "it is in a private variant of PNG (CgBI)"},
    };
    for (auto const& row : cases) {
        writeBytes(path(), row.bytes);
        auto const outcome = readAnything(path());
        EXPECT_FALSE(outcome.hasRows) << row.name;
        EXPECT_EQ(outcome.message, row.message) << row.name;
    }
}

TEST_F(PngCodec, BadChunksAroundThePixelsCostAWarningAtMost)
{
    auto const bomb = deflateZlib(Bytes(70 * 1024 * 1024));
    auto const bombText = std::string(asText(bomb));
    auto const endless = pngFile(smallGray({}, {chunk("tEXt", std::string("A\0b", 3))}));
    auto absurdLength = endless;
    absurdLength[absurdLength.size() - 12 - 15] = 0x7F;
    auto brokenText = endless;
    brokenText[brokenText.size() - 13] ^= 1;
    struct Case {
        std::string name;
        Bytes bytes;
        int warnings;
    };
    Case const cases[] = {
        {"profile bomb", pngFile(smallGray({chunk("iCCP", std::string("any\0\0", 5) + bombText)})), 1},
        {"text bomb", pngFile(smallGray({chunk("zTXt", std::string("A\0\0", 3) + bombText)})), 1},
        {"nothing in any chunk",
            pngFile(
                smallGray({{"iCCP", {}}, {"tEXt", {}}, {"iTXt", {}}, {"zTXt", {}}, {"pHYs", {}}, {"gAMA", {}},
                    {"cHRM", {}}, {"sRGB", {}}, {"eXIf", {}}, {"tRNS", {}}, {"acTL", {}}, {"PLTE", {}}})),
            1},
        {"absurd length behind the pixels", absurdLength, 0},
        {"wrong checksum of a text", brokenText, 1},
        {"no resolution", pngFile(smallGray({chunk("pHYs", be32({0, 0}) + "\1")})), 0},
        {"no end", pngFile([] {
             auto chunks = smallGray({});
             chunks.pop_back();
             return chunks;
         }()),
            0},
    };
    for (auto const& row : cases) {
        writeBytes(path(), row.bytes);
        auto const outcome = readAnything(path());
        EXPECT_TRUE(outcome.hasRows) << row.name << ": " << outcome.message;
        EXPECT_EQ(std::ranges::count(outcome.printed, '\n'), row.warnings)
            << row.name << ": " << outcome.printed;
        EXPECT_FALSE(openImage(path()).value()->resolution()) << row.name;
    }
}

} // namespace velk::codec
