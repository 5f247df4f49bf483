#include "modules/ModuleTesting.h"
#include "platform/codec/JpegTestFiles.h"
#include "platform/codec/PropertyKeys.h"
#include "platform/color/Srgb.h"
#include "support/TestProfiles.h"

namespace velk::test {

using namespace graphics;

namespace {

constexpr std::string_view kPdf = "com.adobe.pdf";
// One pixel of the image is one pixel of the page.
constexpr codec::Resolution kDrawnResolution = {150, 150};

// A file of one page without a cross-reference table, which readers rebuild.
Bytes pdfPage(std::string const& page, std::string const& drawing)
{
    Bytes bytes;
    append(bytes,
        "%PDF-1.4\n1 0 obj\n<< /Type /Catalog /Pages 2 0 R >>\nendobj\n"
        "2 0 obj\n<< /Type /Pages /Kids [3 0 R] /Count 1 >>\nendobj\n"
        "3 0 obj\n<< /Type /Page /Parent 2 0 R /Contents 4 0 R /Resources << >> "
            + page + " >>\nendobj\n4 0 obj\n<< /Length " + std::to_string(drawing.size()) + " >>\nstream\n"
            + drawing + "\nendstream\nendobj\ntrailer\n<< /Root 1 0 R >>\n%%EOF\n");
    return bytes;
}

PixelBufferPointer drawn(Bytes const& file)
{
    auto const decoded = decodeBytes(file, "a.pdf");
    EXPECT_TRUE(decoded) << (decoded ? "" : decoded.error().message);
    return decoded ? *decoded : nullptr;
}

std::vector<int> pixel(PixelBufferPointer const& pixels, int x, int y)
{
    auto const* at = pixels->row(y) + 3 * x;
    return {at, at + 3};
}

constexpr auto kRed = "1 0 0 rg ";

} // namespace

TEST(PdfCodec, DrawsTheCropBoxOfTheTurnedPage)
{
    VELK_NEEDS_MODULE(kPdf);
    struct Case {
        char const* page;
        Size size;
        int x, y; ///< a pixel in the red square
    };
    // Red is the lower left quarter of an inch of the crop box.
    Case const cases[] = {
        {"/MediaBox [0 0 144 72]", {300, 150}, 18, 132},
        {"/MediaBox [0 0 144 72] /Rotate 90", {150, 300}, 18, 18},
        {"/MediaBox [0 0 144 72] /Rotate 180", {300, 150}, 282, 18},
        {"/MediaBox [-72 -72 144 144] /CropBox [0 0 72 144]", {150, 300}, 18, 282},
    };
    for (auto const& [page, size, x, y] : cases) {
        auto const pixels = drawn(pdfPage(page, std::string(kRed) + "0 0 18 18 re f"));
        ASSERT_TRUE(pixels) << page;
        ASSERT_EQ(pixels->size(), size) << page;
        EXPECT_EQ(pixel(pixels, x, y), (std::vector {255, 0, 0})) << page;
        EXPECT_EQ(pixel(pixels, size.width / 2, size.height / 2), (std::vector {255, 255, 255})) << page;
    }
}

TEST(PdfCodec, DrawsAtTheSizeThatIsAskedFor)
{
    VELK_NEEDS_MODULE(kPdf);
    TemporaryDirectory const directory;
    writeBytes(directory / "a.pdf", pdfPage("/MediaBox [0 0 144 72]", std::string(kRed) + "0 0 72 72 re f"));
    auto const source = *codec::openImage(directory / "a.pdf");
    auto const reduced = openReduced(*source, 0.1);
    EXPECT_EQ(reduced.rows->size(), (Size {30, 15}));
    auto const pixels = *PixelBuffer::collect(*reduced.rows);
    EXPECT_EQ(component(pixels, 14, 7, 1), 0);
    EXPECT_EQ(component(pixels, 15, 7, 1), 1);
}

TEST(PdfCodec, ComesBackAsItWasWritten)
{
    VELK_NEEDS_MODULE(kPdf);
    for (auto const size : {Size {1, 1}, Size {61, 47}, Size {640, 480}}) {
        auto const rgb = photoLike(size, {});
        EXPECT_EQ(
            largestDifference(*drawn(encodeToBytes(kPdf, rgb, {.resolution = kDrawnResolution})), *rgb), 0);
    }
    auto const deep = photoLike({61, 47}, {ComponentType::UInt16, ColorModel::RGB, Alpha::None});
    EXPECT_LT(
        largestDifference(*drawn(encodeToBytes(kPdf, deep, {.resolution = kDrawnResolution})), *deep), 0.005);
}

TEST(PdfCodec, StoresGrayAtEveryDepth)
{
    VELK_NEEDS_MODULE(kPdf);
    for (int const bits : {1, 2, 4, 8}) {
        auto const levels = (1 << bits) - 1;
        auto const gray = paint({37, 11}, {.model = ColorModel::Gray},
            [=](int x, int y, int) { return (x + y) % (levels + 1) / static_cast<double>(levels); });
        auto const file =
            encodeToBytes(kPdf, gray, {.bitsPerComponent = bits, .resolution = kDrawnResolution});
        EXPECT_TRUE(contains(file, "/BitsPerComponent " + std::to_string(bits)));
        auto const pixels = drawn(file);
        for (int x = 0; x < 37; ++x)
            EXPECT_EQ(component(*pixels, x, 5, 1), component(*gray, x, 5, 0)) << bits;
    }
}

TEST(PdfCodec, StoresPalettes)
{
    VELK_NEEDS_MODULE(kPdf);
    for (int const entries : {2, 11, 200}) {
        auto const indexed = indexedImage({29, 7}, entries, false);
        auto const pixels = drawn(encodeToBytes(kPdf, indexed, {.resolution = kDrawnResolution}));
        auto const& palette = indexed->layout().space.palette()->entries;
        for (int x = 0; x < 29; ++x) {
            auto const& color = palette[indexed->row(3)[x]];
            EXPECT_EQ(pixel(pixels, x, 3), (std::vector<int>(color.begin(), color.begin() + 3))) << entries;
        }
    }
}

TEST(PdfCodec, MasksWithAlpha)
{
    VELK_NEEDS_MODULE(kPdf);
    for (auto const type : {ComponentType::UInt8, ComponentType::UInt16}) {
        auto const image = paint({20, 20}, {type, ColorModel::RGB, Alpha::Straight},
            [](int x, int, int channel) { return channel == 3 ? x / 19.0 : 0; });
        auto const file = encodeToBytes(kPdf, image, {.resolution = kDrawnResolution});
        EXPECT_TRUE(contains(file, "/SMask "));
        auto const pixels = drawn(file);
        for (int x = 0; x < 20; ++x)
            EXPECT_NEAR(component(*pixels, x, 9, 0), 1 - x / 19.0, 0.01) << x;
    }
}

TEST(PdfCodec, GivesThePageTheSizeOfTheImage)
{
    VELK_NEEDS_MODULE(kPdf);
    struct Case {
        Size size;
        std::optional<codec::Resolution> resolution;
        char const* box;
    };
    Case const cases[] = {
        {{300, 150}, codec::Resolution {300, 300}, "/MediaBox [0 0 72 36]"},
        {{300, 150}, codec::Resolution {300, 150}, "/MediaBox [0 0 72 72]"},
        {{100, 50}, std::nullopt, "/MediaBox [0 0 100 50]"},
        {{100, 1}, codec::Resolution {7, 7}, "/MediaBox [0 0 1028.5714 10.2857]"},
        {{30000, 2}, std::nullopt, "/MediaBox [0 0 10000 0.6667] /UserUnit 3"},
    };
    for (auto const& [size, resolution, box] : cases) {
        auto const gray = paint(size, {.model = ColorModel::Gray}, [](int, int, int) { return 0; });
        EXPECT_TRUE(contains(encodeToBytes(kPdf, gray, {.resolution = resolution}), box)) << box;
    }
}

TEST(PdfCodec, EmbedsTheProfileOfTheModel)
{
    VELK_NEEDS_MODULE(kPdf);
    auto const profile = shareBytes(matrixProfile().bytes());
    auto const file = encodeToBytes(kPdf, photoLike({5, 5}, {}), {.profile = profile});
    EXPECT_TRUE(contains(file, *profile));
    EXPECT_TRUE(contains(file, "/N 3 /Alternate /DeviceRGB"));
    auto const mismatched =
        encodeToBytes(kPdf, photoLike({5, 5}, {.model = ColorModel::Gray}), {.profile = profile});
    EXPECT_FALSE(contains(mismatched, "/ICCBased"));
}

TEST(PdfCodec, PassesCodedJpegDataThrough)
{
    VELK_NEEDS_MODULE(kPdf);
    TemporaryDirectory const directory;
    PropertyDictionary lossless;
    set(lossless, codec::key::kDpiWidth, 150.0);
    set(lossless, codec::key::kDpiHeight, 150.0);
    auto lossy = lossless;
    set(lossy, codec::key::kLossyCompressionQuality, 0.9f);
    for (auto const& variant : jpegVariants()) {
        if (variant.arithmetic)
            continue;
        auto const jpeg = makeJpeg(variant, {48, 32});
        writeBytes(directory / "a.jpg", jpeg);
        auto const source = *codec::openImage(directory / "a.jpg");
        auto const file =
            writeAs(kPdf, {.image = source->image(), .source = source.get(), .properties = lossless});
        EXPECT_TRUE(contains(file, jpeg)) << variant;
        EXPECT_EQ(contains(file, "/Decode [1 0"),
            variant.coded == JCS_YCCK || (variant.coded == JCS_CMYK && variant.adobeMarker))
            << variant;
        auto const coded =
            writeAs(kPdf, {.image = source->image(), .source = source.get(), .properties = lossy});
        EXPECT_FALSE(contains(coded, jpeg)) << variant;
        EXPECT_TRUE(contains(coded, "/DCTDecode")) << variant;
        // Both look alike when they are drawn.
        EXPECT_GT(psnr(*drawn(file), *drawn(coded)), 25) << variant;
    }
}

TEST(PdfCodec, CodesAsJpegWhenAQualityIsAskedFor)
{
    VELK_NEEDS_MODULE(kPdf);
    for (auto const model : {ColorModel::Gray, ColorModel::RGB, ColorModel::CMYK}) {
        auto const pixels = photoLike({64, 48}, {.model = model, .alpha = Alpha::Straight});
        auto const lossless = encodeToBytes(kPdf, pixels, {.resolution = kDrawnResolution});
        auto const lossy =
            encodeToBytes(kPdf, pixels, {.resolution = kDrawnResolution, .options = {.quality = 0.9f}});
        EXPECT_FALSE(contains(lossless, "/DCTDecode"));
        EXPECT_TRUE(contains(lossy, "/DCTDecode") && contains(lossy, "/SMask"));
        EXPECT_GT(psnr(*drawn(lossless), *drawn(lossy)), 30) << static_cast<int>(model);
    }
}

TEST(PdfCodec, LeavesNoTemporaryFiles)
{
    VELK_NEEDS_MODULE(kPdf);
    TemporaryDirectory const directory;
    EncodeExtras const extras = {.options = {.quality = 0.5f}};
    ASSERT_TRUE(encode(kPdf, photoLike({9, 9}, {.alpha = Alpha::Straight}), directory / "a.pdf", extras));
    EXPECT_EQ(directory.names(), std::vector<std::string> {"a.pdf"});
}

TEST(PdfCodec, ExplainsWhatIsWrong)
{
    VELK_NEEDS_MODULE(kPdf);
    EXPECT_FALSE(openBytes(pdfPage("/MediaBox [0 0 1000000000 1000000000]", ""), "a.pdf"));
    auto const cut = encodeToBytes(kPdf, photoLike({64, 48}, {}));
    EXPECT_FALSE(openBytes({cut.begin(), cut.begin() + 100}, "a.pdf"));
}

TEST(PdfCodec, SurvivesDamage)
{
    VELK_NEEDS_MODULE(kPdf);
    expectToSurviveDamage(encodeToBytes(kPdf, photoLike({12, 12}, {})), 40, "a.pdf");
}

} // namespace velk::test
