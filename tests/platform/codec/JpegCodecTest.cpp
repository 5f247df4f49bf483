#include "platform/codec/JpegTestFiles.h"
#include "platform/codec/PropertyKeys.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace velk::codec {

using namespace graphics;
using namespace test;
using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

namespace {

constexpr std::string_view kJpeg = "public.jpeg";

class JpegVariants : public testing::TestWithParam<JpegVariant> {
protected:
    std::shared_ptr<ImageSource const> open(Size size) const
    {
        return openBytes(m_directory / "image.jpg", makeJpeg(GetParam(), size));
    }

    TemporaryDirectory m_directory;
};

INSTANTIATE_TEST_SUITE_P(All, JpegVariants, testing::ValuesIn(jpegVariants()),
    [](auto const& variant) { return std::string(variant.param.name); });

// Largest difference between a part of `whole` and `part`, whose top left pixel is at (x, y) of it.
int differenceAt(PixelBuffer const& whole, PixelBuffer const& part, int x, int y)
{
    int largest = 0;
    for (int row = 0; row < part.size().height; ++row) {
        auto const* a = whole.row(y + row) + static_cast<std::size_t>(x) * whole.format().bytesPerPixel();
        auto const* b = part.row(row);
        for (std::size_t i = 0; i < part.layout().rowBytes(); ++i)
            largest = std::max(largest, std::abs(a[i] - b[i]));
    }
    return largest;
}

// The mean of each square of `by` pixels a side, as far as they lie in the picture.
PixelBuffer reducedByMean(PixelBuffer const& full, int by)
{
    auto layout = full.layout();
    layout.size = {(full.size().width + by - 1) / by, (full.size().height + by - 1) / by};
    auto reduced = PixelBuffer::create(layout).value();
    auto const channels = full.format().channels();
    for (int y = 0; y < layout.size.height; ++y) {
        for (int x = 0; x < layout.size.width * channels; ++x) {
            int sum = 0, count = 0;
            for (int j = y * by; j < std::min((y + 1) * by, full.size().height); ++j) {
                for (int i = x / channels * by; i < std::min((x / channels + 1) * by, full.size().width);
                     ++i) {
                    sum += full.row(j)[i * channels + x % channels];
                    ++count;
                }
            }
            reduced.row(y)[x] = static_cast<std::uint8_t>((sum + count / 2) / count);
        }
    }
    return reduced;
}

} // namespace

TEST_P(JpegVariants, DecodesToThePictureThatWasCoded)
{
    auto const source = open({83, 61});
    auto const picture = jpegPicture(GetParam(), {83, 61});
    EXPECT_EQ(source->description().info.layout.format, picture->format());
    EXPECT_GT(psnr(collect(source->open({}).value()), *picture), 32);
}

TEST_P(JpegVariants, DeliversExactlyTheRegion)
{
    auto const source = open({150, 131});
    for (double const scale : {1.0, 0.5, 0.25}) {
        auto const by = static_cast<int>(1 / scale);
        auto const whole = collect(source->open({scale, {}}).value());
        for (IntRect const region :
            {IntRect {0, 0, 1, 1}, {149, 130, 1, 1}, {37, 53, 40, 50}, {16, 0, 48, 131}, {0, 97, 150, 7},
                {63, 64, 1, 67}, {101, 33, 49, 31}, {-20, 120, 300, 300}}) {
            auto const decoded = source->open({scale, region}).value();
            auto const area = decoded.area;
            EXPECT_LE(area.x, std::max(region.x, 0));
            EXPECT_LE(area.y, std::max(region.y, 0));
            EXPECT_GE(area.x + area.width, std::min(region.x + region.width, 150));
            EXPECT_GE(area.y + area.height, std::min(region.y + region.height, 131));
            auto const part = collect(decoded);
            EXPECT_EQ(part.size().width * by, area.width);
            EXPECT_EQ(part.size().height * by, area.height);
            EXPECT_EQ(
                differenceAt(whole, part, static_cast<int>(area.x) / by, static_cast<int>(area.y) / by), 0)
                << "region at " << region.x << ", " << region.y << " reduced by " << by;
        }
    }
}

TEST_P(JpegVariants, ReducesNoMoreThanIsAskedFor)
{
    struct Case {
        double scale;
        int by;
    };
    auto const source = open({203, 129});
    auto const full = collect(source->open({}).value());
    for (auto const [scale, by] : {Case {0.51, 1}, {0.5, 2}, {0.3, 2}, {0.25, 4}, {0.125, 8}, {0.01, 8}}) {
        auto const decoded = source->open({scale, {}}).value();
        EXPECT_EQ(decoded.rows->size(), (Size {(203 + by - 1) / by, (129 + by - 1) / by}));
        EXPECT_EQ(decoded.area.width, (203 + by - 1) / by * by);
        if (by > 1) {
            EXPECT_GT(psnr(collect(decoded), reducedByMean(full, by)), 28) << "reduced by " << by;
        }
    }
}

TEST_P(JpegVariants, SurvivesTruncationAnywhere)
{
    auto const whole = makeJpeg(GetParam(), {120, 90});
    auto const path = m_directory / "cut.jpg";
    for (std::size_t tenth = 0; tenth < 10; ++tenth) {
        auto const size = whole.size() * tenth / 10;
        writeBytes(path, ByteSpan(whole).first(size));
        CaptureStderr();
        auto const decoded = decode(path);
        auto const warnings = GetCapturedStderr();
        if (decoded)
            EXPECT_EQ(warnings, "Warning: " + path + ": the image is incomplete\n") << size;
        else
            EXPECT_FALSE(decoded.error().message.empty());
        EXPECT_EQ(decoded.has_value(), size > scanOffset(whole) + 20) << size;
    }
}

TEST(JpegCodec, KeepsTheRowsBeforeTheDataEnd)
{
    TemporaryDirectory const directory;
    JpegVariant const gray {
        .name = "", .input = JCS_GRAYSCALE, .coded = JCS_GRAYSCALE, .horizontal = 1, .vertical = 1};
    auto const whole = makeJpeg(gray, {64, 400});
    auto const scan = scanOffset(whole);
    auto const path = directory / "cut.jpg";
    writeBytes(path, ByteSpan(whole).first(scan + (whole.size() - scan) / 2));
    CaptureStderr();
    auto const pixels = decode(path).value();
    GetCapturedStderr();
    auto const picture = jpegPicture(gray, {64, 400});
    for (int x = 0; x < 64; ++x) {
        EXPECT_NEAR(pixels->row(100)[x], picture->row(100)[x], 12);
        EXPECT_EQ(pixels->row(399)[x], 128);
    }
}

TEST(JpegCodec, RoundTripsPixelsAndWhatBelongsToThem)
{
    struct Case {
        ColorModel model;
        std::optional<float> quality;
        bool noChromaSubsampling;
        double atLeast; // dB
        int horizontalSampling;
    };
    constexpr Case kCases[] = {
        {ColorModel::Gray, std::nullopt, false, 40, 1},
        {ColorModel::Gray, 1.0F, false, 50, 1},
        {ColorModel::RGB, std::nullopt, false, 36, 2},
        {ColorModel::RGB, std::nullopt, true, 38, 1},
        {ColorModel::RGB, 0.0F, false, 10, 2},
        {ColorModel::RGB, 0.89F, false, 36, 2},
        {ColorModel::RGB, 0.9F, false, 40, 1},
        {ColorModel::CMYK, std::nullopt, false, 35, 2},
        {ColorModel::CMYK, 1.0F, false, 45, 1},
    };
    TemporaryDirectory const directory;
    auto const path = directory / "out.jpg";
    EncodeExtras extras {.resolution = Resolution {300, 150}};
    extras.metadata.setExif(asBytes(std::string_view("MM\0*\0\0\0\x08\0\0\0\0\0\0", 14)));
    extras.metadata.setIptc(asBytes("\x1C\x02\x50\x01\x01"
                                    "A"));
    extras.metadata.setXmp("<x:xmpmeta/>");
    for (auto const& testCase : kCases) {
        extras.options.quality = testCase.quality;
        extras.options.noChromaSubsampling = testCase.noChromaSubsampling;
        // Longer than one chunk; whether it is a profile does not matter to the container.
        extras.profile = shareBytes(Bytes(150'000, 7));
        auto const picture = photoLike({100, 75}, {.model = testCase.model});
        ASSERT_TRUE(encode(kJpeg, picture, path, extras));
        EXPECT_GT(psnr(*decode(path).value(), *picture), testCase.atLeast);
        auto const coefficients = readCoefficients(readBytes(path));
        EXPECT_EQ(coefficients.components[0].horizontal, testCase.horizontalSampling);

        auto const source = openBytes(directory / "again.jpg", readBytes(path));
        EXPECT_EQ(source->metadata().exif(), extras.metadata.exif());
        EXPECT_EQ(source->metadata().iptc(), extras.metadata.iptc());
        EXPECT_EQ(source->metadata().xmp(), extras.metadata.xmp());
        bool const hasJfif = testCase.model != ColorModel::CMYK;
        EXPECT_EQ(source->description().resolution, hasJfif ? extras.resolution : std::nullopt);
        EXPECT_EQ(std::ranges::count(markers(readBytes(path)), 0xE2), 3);
    }
}

TEST(JpegCodec, NegotiatesEightBitsWithoutAlpha)
{
    PixelFormat const deep {
        .componentType = ComponentType::UInt16, .model = ColorModel::Gray, .alpha = Alpha::Straight};
    ImageInfo info {{{8, 8}, deep, ColorSpace::device(ColorModel::Gray)}, 16};
    EXPECT_EQ(codecForType(kJpeg)->negotiate(info, {}).format, (PixelFormat {.model = ColorModel::Gray}));
    info.layout.format.model = ColorModel::Lab;
    EXPECT_EQ(codecForType(kJpeg)->negotiate(info, {}).format, (PixelFormat {.model = ColorModel::RGB}));
}

TEST(JpegCodec, RefusesPicturesThatAreTooLarge)
{
    TemporaryDirectory const directory;
    auto const wide = photoLike({65501, 1}, {.model = ColorModel::Gray});
    auto const result = encode(kJpeg, wide, directory / "wide.jpg");
    ASSERT_FALSE(result);
    EXPECT_THAT(result.error().message, HasSubstr("65500"));
    EXPECT_TRUE(directory.names().empty());
}

namespace {

// Encodes the rows of `source` with the source at hand, as an edit of its pixels would.
Bytes encodeAgain(ImageSource const& source, std::string const& path, EncodeOptions const& options = {},
    PropertyDictionary const& properties = {})
{
    auto const rows = source.image().rows().value();
    auto output = AtomicFile::create(path).value();
    auto const done = codecForType(kJpeg)->encode({.rows = *rows,
                                                      .bitsPerComponent = 8,
                                                      .metadata = source.metadata(),
                                                      .options = options,
                                                      .properties = properties,
                                                      .source = &source},
        output);
    if (!done || !output.commit(path))
        throw std::runtime_error("encoding failed");
    return readBytes(path);
}

} // namespace

TEST_P(JpegVariants, KeepTheirWaysWhenEncodedAgain)
{
    auto const source = open({90, 70});
    auto const path = m_directory / "again.jpg";
    auto const before = readCoefficients(readBytes(source->path()));
    auto const after = readCoefficients(encodeAgain(*source, path));
    ASSERT_EQ(after.components.size(), before.components.size());
    EXPECT_EQ(after.progressive, before.progressive);
    EXPECT_EQ(after.restartInterval, before.restartInterval);
    for (std::size_t i = 0; i < after.components.size(); ++i) {
        EXPECT_EQ(after.components[i].quantization, before.components[i].quantization);
        if (after.components.size() > 1) {
            EXPECT_EQ(after.components[i].horizontal, before.components[i].horizontal);
            EXPECT_EQ(after.components[i].vertical, before.components[i].vertical);
        }
    }
    // The same tables make nearly the same coefficients: next to nothing is lost.
    EXPECT_GT(psnr(*decode(path).value(), collect(source->open({}).value())), 40);

    auto const coarse = readCoefficients(encodeAgain(*source, path, {.quality = 0.3F}));
    EXPECT_NE(coarse.components[0].quantization, before.components[0].quantization);
}

TEST(JpegCodec, EncodesProgressivelyWhenThePropertiesSaySo)
{
    TemporaryDirectory const directory;
    auto const path = directory / "out.jpg";
    auto const picture = photoLike({40, 30}, {});
    PropertyDictionary const jfif = {
        {"IsProgressive", true}, {"DensityUnit", 0}, {"XDensity", 2}, {"YDensity", 1}};
    ASSERT_TRUE(encode(kJpeg, picture, path, {.properties = {{"{JFIF}", jfif}}}));
    auto const source = openBytes(path, readBytes(path));
    auto const& properties = *findDictionary(source->description().formatProperties, key::kJfif);
    EXPECT_EQ(*find(properties, "IsProgressive")->asBoolean(), true);
    EXPECT_EQ(*find(properties, "XDensity")->asInteger(), 2);
    EXPECT_EQ(source->description().resolution, std::nullopt);
}

TEST(JpegCodec, ReadsDensities)
{
    struct Case {
        std::uint8_t unit, x, y;
        std::optional<Resolution> expected;
    };
    TemporaryDirectory const directory;
    auto jpeg = makeJpeg(jpegVariants().front(), {16, 16});
    for (auto const& testCase : {Case {0, 72, 72, std::nullopt}, Case {1, 72, 96, Resolution {72, 96}},
             Case {2, 100, 100, Resolution {254, 254}}, Case {1, 0, 96, std::nullopt},
             Case {9, 1, 1, std::nullopt}}) {
        jpeg[13] = testCase.unit;
        jpeg[15] = testCase.x;
        jpeg[17] = testCase.y;
        auto const source = openBytes(directory / "density.jpg", jpeg);
        EXPECT_EQ(source->description().resolution, testCase.expected);
    }
}

TEST(JpegCodec, ReadsTheResolutionThatPhotoshopLeft)
{
    TemporaryDirectory const directory;
    JpegVariant const plain {.name = "", .coded = JCS_RGB, .horizontal = 1, .vertical = 1};
    std::string const resource("Photoshop 3.0\0"
                               "8BIM\x03\xED\0\0\0\0\0\x10\0\xF0\0\0\0\1\0\2\0\x78\x80\0\0\1\0\2",
        42);
    auto const source =
        openBytes(directory / "image.jpg", withSegments(makeJpeg(plain, {8, 8}), segment(0xED, resource)));
    EXPECT_EQ(source->description().resolution, (Resolution {240, 120.5}));
}

TEST(JpegCodec, RefusesWhatItCannotDecodeWithOneClearMessage)
{
    struct Case {
        char const* name;
        std::function<void(Bytes&)> damage;
        char const* message;
    };
    auto const good = makeJpeg(jpegVariants().front(), {64, 48});
    auto const frame = [&] {
        std::size_t at = 2;
        while (good[at + 1] != 0xC0)
            at += 2 + loadBE16(&good[at + 2]);
        return at;
    }();
    auto const scan = scanOffset(good);
    Case const cases[] = {
        {"12 bits", [&](Bytes& jpeg) { jpeg[frame + 4] = 12; }, "12 bits per component"},
        {"lossless", [&](Bytes& jpeg) { jpeg[frame + 1] = 0xC3; }, "lossless"},
        {"hierarchical", [&](Bytes& jpeg) { jpeg[frame + 1] = 0xC5; }, "hierarchical"},
        {"no width", [&](Bytes& jpeg) { jpeg[frame + 7] = jpeg[frame + 8] = 0; }, "0 x 48"},
        {"height to follow", [&](Bytes& jpeg) { jpeg[frame + 5] = jpeg[frame + 6] = 0; }, "64 x 0"},
        {"too wide", [&](Bytes& jpeg) { jpeg[frame + 7] = jpeg[frame + 8] = 0xFF; }, "65535 x 48"},
        {"sampling 0", [&](Bytes& jpeg) { jpeg[frame + 11] = 0; }, "subsampling"},
        {"count beyond the segment", [&](Bytes& jpeg) { jpeg[frame + 9] = 4; }, "frame header"},
        {"no frame", [&](Bytes& jpeg) { jpeg[frame + 1] = 0xEF; }, "frame header is missing"},
        {"two frames",
            [&](Bytes& jpeg) {
                Bytes const copy(jpeg.begin() + static_cast<std::ptrdiff_t>(frame),
                    jpeg.begin() + static_cast<std::ptrdiff_t>(frame + 19));
                jpeg = withSegments(jpeg, copy);
            },
            "two frame headers"},
        {"length 1", [&](Bytes& jpeg) { jpeg[3 + 0] = 0xE0, jpeg[4] = 0, jpeg[5] = 1; }, "length"},
        {"nothing behind the scan header", [&](Bytes& jpeg) { jpeg.resize(scan + 14); }, "no image data"},
        {"end before the scan", [&](Bytes& jpeg) { jpeg[scan + 1] = 0xD9; }, "no image data"},
        {"cut in the head", [&](Bytes& jpeg) { jpeg.resize(scan - 20); }, "ends before the image data"},
        {"zeros behind the start",
            [&](Bytes& jpeg) { std::fill(jpeg.begin() + 4, jpeg.end(), std::uint8_t {0}); }, ""},
        {"another format's body",
            [&](Bytes& jpeg) {
                jpeg.resize(4);
                append(jpeg, std::string_view("GIF89a ... \x89PNG\r\n\x1A\n"));
            },
            ""},
        {"tables missing",
            [&](Bytes& jpeg) {
                jpeg.erase(jpeg.begin() + 20, jpeg.begin() + static_cast<std::ptrdiff_t>(frame));
            },
            "not a valid JPEG"},
    };
    TemporaryDirectory const directory;
    for (auto const& testCase : cases) {
        auto jpeg = good;
        testCase.damage(jpeg);
        writeBytes(directory / "bad.jpg", jpeg);
        CaptureStderr();
        auto const decoded = decode(directory / "bad.jpg");
        EXPECT_EQ(GetCapturedStderr(), "") << testCase.name;
        ASSERT_FALSE(decoded) << testCase.name;
        EXPECT_THAT(decoded.error().message, HasSubstr(testCase.message)) << testCase.name;
    }
}

TEST(JpegCodec, EndsSoonOnSmallFilesThatClaimMuch)
{
    TemporaryDirectory const directory;
    JpegVariant const gray {
        .name = "", .input = JCS_GRAYSCALE, .coded = JCS_GRAYSCALE, .horizontal = 1, .vertical = 1};
    for (bool const progressive : {false, true}) {
        auto variant = gray;
        variant.progressive = progressive;
        auto jpeg = makeJpeg(variant, {64, 48});
        auto const frame = static_cast<std::size_t>(
            std::ranges::search(jpeg, Bytes {0xFF, static_cast<std::uint8_t>(progressive ? 0xC2 : 0xC0)})
                .begin()
            - jpeg.begin());
        storeInteger<std::uint16_t>(&jpeg[frame + 5], 32767, ByteOrder::Big);
        storeInteger<std::uint16_t>(&jpeg[frame + 7], 65500, ByteOrder::Big);
        auto const source = openBytes(directory / "claims.jpg", jpeg);
        auto decoded = source->open({});
        if (progressive) {
            ASSERT_FALSE(decoded);
            EXPECT_THAT(decoded.error().message, HasSubstr("too large"));
            continue;
        }
        Bytes rows(decoded->rows->rowBytes() * 64);
        CaptureStderr();
        while (decoded->rows->rowsLeft() >= 64)
            ASSERT_TRUE(decoded->rows->read({rows.data(), decoded->rows->rowBytes(), 64}));
        EXPECT_THAT(GetCapturedStderr(), HasSubstr("incomplete"));
        EXPECT_EQ(rows.back(), 128);
    }
}

TEST(JpegCodec, RefusesEndlessScans)
{
    TemporaryDirectory const directory;
    JpegVariant const gray {.name = "",
        .input = JCS_GRAYSCALE,
        .coded = JCS_GRAYSCALE,
        .horizontal = 1,
        .vertical = 1,
        .progressive = true};
    auto jpeg = makeJpeg(gray, {64, 48});
    // The last scan once more, and again.
    Bytes const scanMarker = {0xFF, 0xDA};
    auto const last = std::ranges::find_end(jpeg, scanMarker).begin();
    Bytes const scan(last, jpeg.end() - 2);
    jpeg.resize(jpeg.size() - 2);
    for (int i = 0; i < 2000; ++i)
        append(jpeg, scan);
    append(jpeg, Bytes {0xFF, 0xD9});
    writeBytes(directory / "scans.jpg", jpeg);
    auto const decoded = decode(directory / "scans.jpg");
    ASSERT_FALSE(decoded);
    EXPECT_THAT(decoded.error().message, HasSubstr("too many scans"));
}

TEST(JpegCodec, SurvivesDamageAnywhere)
{
    TemporaryDirectory const directory;
    auto const path = directory / "damaged.jpg";
    std::minstd_rand random(1);
    for (auto const& variant : jpegVariants()) {
        auto const good = makeJpeg(variant, {70, 50});
        for (int round = 0; round < 40; ++round) {
            auto jpeg = good;
            for (int i = 0; i < 4; ++i)
                jpeg[2 + random() % (jpeg.size() - 2)] = static_cast<std::uint8_t>(random());
            writeBytes(path, jpeg);
            CaptureStderr();
            auto const source = openImage(path);
            if (source && (*source)->image().size().pixelCount() < 1'000'000) {
                if (auto const rows = (*source)->image().rows()) [[maybe_unused]]
                    auto const pixels = PixelBuffer::collect(**rows);
            }
            auto const warnings = GetCapturedStderr();
            EXPECT_LE(std::ranges::count(warnings, '\n'), 1) << warnings;
        }
    }
}

} // namespace velk::codec
