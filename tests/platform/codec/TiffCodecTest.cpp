#include "platform/codec/TiffTestFiles.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>

namespace velk::codec {

using namespace graphics;
using namespace test;

namespace {

constexpr std::string_view kTiff = "public.tiff";

// The value that a component has after it was stored with `bits` bits.
PixelBufferPointer quantized(Size size, int bits)
{
    auto const levels = (1 << bits) - 1;
    return paint(size, {.model = ColorModel::Gray},
        [=](int x, int y, int) { return (x * 3 + y) % (levels + 1) / static_cast<double>(levels); });
}

std::shared_ptr<ImageSource const> opened(std::string const& path)
{
    return openImage(path).value();
}

std::int64_t compressionOf(std::string const& path)
{
    return *tiffProperty(*opened(path), "Compression")->asInteger();
}

// Fails in the middle of its rows.
class BreakingRows final : public RowSource {
public:
    using RowSource::RowSource;

private:
    Result<void> readRows(RowView) override
    {
        if (nextRow() > 700)
            return fail("the cable was pulled");
        return {};
    }
};

} // namespace

TEST(TiffCodec, RoundTripsEveryFormat)
{
    TemporaryDirectory const directory;
    auto const path = directory / "image.tif";
    for (auto const model : {ColorModel::Gray, ColorModel::RGB, ColorModel::CMYK, ColorModel::Lab}) {
        for (auto const type : {ComponentType::UInt8, ComponentType::UInt16, ComponentType::Float32}) {
            for (auto const alpha : {Alpha::None, Alpha::Straight, Alpha::Premultiplied}) {
                PixelFormat const format {type, model, alpha};
                auto const image = photoLike({53, 41}, format);
                for (auto const compression : {0, 1, 8}) {
                    SCOPED_TRACE(
                        fmt::format("model {} type {} alpha {} compression {}", static_cast<int>(model),
                            static_cast<int>(type), static_cast<int>(alpha), compression));
                    EncodeExtras extras;
                    if (compression != 0)
                        extras.options.tiffCompression = compression;
                    ASSERT_TRUE(encode(kTiff, image, path, extras));
                    auto const decoded = decode(path).value();
                    EXPECT_EQ(decoded->format(), format);
                    // 16-bit Lab is stored with 256 codes a unit where rows have 257.
                    bool const isLab16 = model == ColorModel::Lab && type == ComponentType::UInt16;
                    EXPECT_LE(largestDifference(*image, *decoded), isLab16 ? 1.1 / 65535 : 0);
                    EXPECT_EQ(compressionOf(path), compression == 0 ? 5 : compression);
                }
            }
        }
    }
}

TEST(TiffCodec, RoundTripsEveryLosslessCompression)
{
    TemporaryDirectory const directory;
    auto const path = directory / "image.tif";
    auto const image = photoLike({53, 41}, {});
    for (auto const compression : {1, 5, 8, 32773, 32946, 34925, 50000, 50001}) {
        SCOPED_TRACE(compression);
        EncodeExtras extras;
        extras.options.tiffCompression = compression;
        ASSERT_TRUE(encode(kTiff, image, path, extras));
        EXPECT_EQ(largestDifference(*image, *decode(path).value()), 0);
        EXPECT_EQ(compressionOf(path), compression);
    }
}

TEST(TiffCodec, RoundTripsPackedGrayAndPalettes)
{
    TemporaryDirectory const directory;
    auto const path = directory / "image.tif";
    for (auto const bits : {1, 2, 4, 8}) {
        for (auto const compression : {1, 2, 3, 4, 5, 7}) {
            SCOPED_TRACE(fmt::format("{} bits, compression {}", bits, compression));
            EncodeExtras extras {.bitsPerComponent = bits};
            extras.options.tiffCompression = compression;
            auto const gray = quantized({37, 29}, bits);
            ASSERT_TRUE(encode(kTiff, gray, path, extras));
            auto const source = opened(path);
            EXPECT_EQ(describe(*source).info.bitsPerComponent, bits);
            if (bits == 8 && compression == 7)
                EXPECT_GT(psnr(*gray, *decode(path).value()), 25);
            else
                EXPECT_EQ(largestDifference(*gray, *decode(path).value()), 0);

            auto const indexed = indexedImage({37, 29}, 1 << bits, false);
            ASSERT_TRUE(encode(kTiff, indexed, path, extras));
            auto const decoded = decode(path).value();
            EXPECT_EQ(largestDifference(*indexed, *decoded), 0);
            EXPECT_EQ(decoded->layout().space, indexed->layout().space);
            EXPECT_EQ(describe(*opened(path)).info.bitsPerComponent, bits);
        }
    }
}

TEST(TiffCodec, UnsuitableCompressionsBecomeLzw)
{
    TemporaryDirectory const directory;
    auto const path = directory / "image.tif";
    struct Row {
        PixelFormat format;
        int wanted;
        int written;
    };
    PixelFormat const gray {ComponentType::UInt8, ColorModel::Gray, Alpha::None};
    PixelFormat const rgb {ComponentType::UInt8, ColorModel::RGB, Alpha::None};
    PixelFormat const rgba {ComponentType::UInt8, ColorModel::RGB, Alpha::Straight};
    PixelFormat const rgb16 {ComponentType::UInt16, ColorModel::RGB, Alpha::None};
    for (auto const& [format, wanted, written] : {Row {gray, 4, 5}, Row {gray, 7, 7}, Row {gray, 50001, 5},
             Row {rgb, 7, 7}, Row {rgb, 6, 5}, Row {rgb, 12345, 5}, Row {rgb, -1, 5}, Row {rgb, 50001, 50001},
             Row {rgba, 7, 5}, Row {rgba, 50001, 50001}, Row {rgb16, 7, 5}, Row {rgb16, 50001, 5}}) {
        SCOPED_TRACE(wanted);
        EncodeExtras extras;
        extras.options.tiffCompression = wanted;
        auto const image = photoLike({160, 120}, format);
        ASSERT_TRUE(encode(kTiff, image, path, extras));
        EXPECT_EQ(compressionOf(path), written);
        EXPECT_GT(psnr(*image, *decode(path).value()), 30);
    }
}

TEST(TiffCodec, QualityIsThatOfJpegOnly)
{
    TemporaryDirectory const directory;
    auto const image = photoLike({200, 150}, {});
    auto const sizeWith = [&](int compression, float quality, bool noSubsampling) {
        EncodeExtras extras;
        extras.options.tiffCompression = compression;
        extras.options.quality = quality;
        extras.options.noChromaSubsampling = noSubsampling;
        EXPECT_TRUE(encode(kTiff, image, directory / "q.tif", extras));
        return readBytes(directory / "q.tif").size();
    };
    EXPECT_LT(sizeWith(7, 0.2f, false) * 2, sizeWith(7, 0.95f, false));
    EXPECT_LT(sizeWith(7, 0.95f, false), sizeWith(7, 0.95f, true));
    EXPECT_EQ(sizeWith(5, 0.2f, false), sizeWith(5, 0.95f, false));
}

TEST(TiffCodec, PalettesWithAlphaAreWantedAsRgb)
{
    EncodeOptions const options;
    auto const* const codec = codecForType(kTiff);
    auto const wanted = [&](PixelBufferPointer const& image, int bits) {
        return codec->negotiate({image->layout(), bits}, options);
    };
    auto const opaque = wanted(indexedImage({4, 4}, 16, false), 4);
    EXPECT_EQ(opaque.format.model, ColorModel::Indexed);
    EXPECT_EQ(opaque.bitsPerComponent, 4);
    // The palette counts, whatever depth the source had.
    EXPECT_EQ(wanted(indexedImage({4, 4}, 17, false), 4).bitsPerComponent, 8);
    auto const transparent = wanted(indexedImage({4, 4}, 16, true), 4);
    EXPECT_EQ(transparent.format, (PixelFormat {ComponentType::UInt8, ColorModel::RGB, Alpha::Straight}));
    EXPECT_EQ(transparent.bitsPerComponent, 8);
    EXPECT_EQ(wanted(photoLike({4, 4}, {ComponentType::UInt16, ColorModel::Gray, Alpha::None}), 12)
                  .bitsPerComponent,
        16);
}

TEST(TiffCodec, ManyStripsStayInOrder)
{
    TemporaryDirectory const directory;
    auto const image = photoLike({700, 2100}, {});
    for (auto const compression : {5, 32773}) {
        EncodeExtras extras;
        extras.options.tiffCompression = compression;
        ASSERT_TRUE(encode(kTiff, image, directory / "large.tif", extras));
        EXPECT_GT(codedData(directory / "large.tif").size(), 20u);
        EXPECT_EQ(largestDifference(*image, *decode(directory / "large.tif").value()), 0);
    }
}

TEST(TiffCodec, AFailingSourceEndsTheEncoder)
{
    TemporaryDirectory const directory;
    for (auto const compression : {1, 5}) {
        BreakingRows rows({{800, 1000}, {}, ColorSpace::device(ColorModel::RGB)});
        auto output = AtomicFile::create(directory / "out.tif").value();
        PropertyDictionary const properties;
        EncodeJob job {.rows = rows, .bitsPerComponent = 8, .properties = properties};
        job.options.tiffCompression = compression;
        auto const result = codecForType(kTiff)->encode(job, output);
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().message, "the cable was pulled");
    }
}

TEST(TiffCodec, CarriesProfileResolutionAndMetadata)
{
    TemporaryDirectory const directory;
    auto const path = directory / "image.tif";
    EncodeExtras extras;
    Bytes profile(200);
    // As much of an ICC header as is looked at: size, colour space, signature.
    storeInteger(profile.data(), std::uint32_t {200}, ByteOrder::Big);
    std::copy_n("RGB ", 4, profile.begin() + 16);
    std::copy_n("acsp", 4, profile.begin() + 36);
    extras.profile = shareBytes(profile);
    extras.resolution = Resolution {300, 71.9836};
    extras.metadata.setXmp("<x:xmpmeta xmlns:x='adobe:ns:meta/'/>");
    extras.metadata.setIptc(asBytes(std::string_view("\x1C\x02\x19\0\3one", 8)));
    HandMadeImage exif {.fields = {tiff::textField(tag::kArtist, "A. N. Other")}};
    extras.metadata.setExif(handMade(exif));
    PropertyDictionary tiff;
    set(tiff, "WhitePoint", PropertyArray {0.3127, 0.329});
    set(extras.properties, "{TIFF}", tiff);
    ASSERT_TRUE(encode(kTiff, photoLike({20, 10}, {}), path, extras));

    auto const source = opened(path);
    auto const& description = describe(*source);
    ASSERT_TRUE(description.resolution);
    EXPECT_DOUBLE_EQ(description.resolution->x, 300);
    EXPECT_NEAR(description.resolution->y, 71.9836, 1e-6);
    EXPECT_EQ(description.metadata.xmp(), extras.metadata.xmp());
    EXPECT_EQ(description.metadata.iptc(), extras.metadata.iptc());
    EXPECT_EQ(*tiffProperty(*source, "Artist"), PropertyValue("A. N. Other"));
    EXPECT_EQ(*tiffProperty(*source, "WhitePoint"), PropertyValue(PropertyArray {0.3127, 0.329}));
    EXPECT_EQ(description.info.layout.size, (Size {20, 10}));

    auto const bytes = readBytes(path);
    auto const reader = tiff::DirectoryReader::open(ByteSpan(bytes)).value();
    auto const first = reader.directory(reader.firstDirectory()).value();
    EXPECT_EQ(reader.value(*first.find(tag::kIccProfile), 1000).value(), profile);
}

} // namespace velk::codec
