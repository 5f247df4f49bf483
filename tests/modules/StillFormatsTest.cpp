#include "platform/codec/CodecProbe.h"
#include "platform/codec/ModuleCodecs.h"
#include "support/TestProfiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace velk::test {

using namespace codec;
using namespace graphics;

namespace {

constexpr std::string_view kHeic = "public.heic", kAvif = "public.avif", kJxl = "public.jpeg-xl";
constexpr PixelFormat kRgb = {};
constexpr PixelFormat kRgba = {.alpha = Alpha::Straight};
constexpr PixelFormat kPremultiplied = {.alpha = Alpha::Premultiplied};
constexpr PixelFormat kGray = {.model = ColorModel::Gray};
constexpr PixelFormat kGrayAlpha = {.model = ColorModel::Gray, .alpha = Alpha::Straight};
constexpr PixelFormat kDeep = {.componentType = ComponentType::UInt16};
constexpr PixelFormat kDeepRgba = {ComponentType::UInt16, ColorModel::RGB, Alpha::Straight};
constexpr std::string_view kXmp = "<x:xmpmeta xmlns:x='adobe:ns:meta/'/>";

/// An Exif block of one tag, the orientation.
Bytes exifTurned(std::uint8_t orientation)
{
    Bytes tiff(26);
    std::ranges::copy(std::string_view("II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0", 18), tiff.begin());
    tiff[18] = orientation;
    return tiff;
}

std::shared_ptr<ImageSource const> openFile(std::string const& path)
{
    auto source = openImage(path);
    EXPECT_TRUE(source) << source.error().message;
    return source ? *source : nullptr;
}

EncodeExtras withQuality(std::optional<float> quality)
{
    return {.options = {.quality = quality}};
}

/// The three formats, one after the other; those whose module was not built are left out.
class StillFormats : public testing::TestWithParam<std::string_view> {
protected:
    void SetUp() override
    {
        if (!isInstalled(*codecForType(GetParam())))
            GTEST_SKIP() << "the module was not built";
    }

    PixelBufferPointer again(PixelBufferPointer const& picture, EncodeExtras const& extras)
    {
        auto const result = probe(encoded(GetParam(), picture, extras));
        EXPECT_TRUE(result.pixels) << result.error;
        EXPECT_EQ(result.warnings, "");
        return result.pixels;
    }

    TemporaryDirectory m_directory;
};

INSTANTIATE_TEST_SUITE_P(Modules, StillFormats, testing::Values(kHeic, kAvif, kJxl),
    [](auto const& type) { return std::string(types::fileTypeWithIdentifier(type.param)->keyword()); });

} // namespace

TEST_P(StillFormats, RoundTripsWithinTheLossOfTheirQuality)
{
    struct {
        Size size;
        PixelFormat format;
        std::optional<float> quality;
        double psnr;
    } const cases[] = {
        {{1, 1}, kRgb, std::nullopt, 30},
        {{33, 129}, kRgb, 0.95f, 31},
        {{130, 97}, kRgb, std::nullopt, 34},
        {{130, 97}, kRgb, 0.25f, 24},
        {{129, 65}, kRgba, 0.95f, 36},
        {{64, 65}, kGray, std::nullopt, 34},
        {{65, 64}, kGrayAlpha, std::nullopt, 34},
        {{75, 61}, kDeep, 0.95f, 34},
        {{75, 61}, kDeepRgba, 0.95f, 34},
    };
    for (auto const& [size, format, quality, least] : cases) {
        auto const picture = photoLike(size, format);
        auto const result = again(picture, withQuality(quality));
        ASSERT_TRUE(result);
        EXPECT_EQ(result->format(), format) << size.width;
        EXPECT_GE(psnr(*picture, *result), least) << size.width << " x " << size.height;
    }
}

TEST_P(StillFormats, LoseNothingAtFullQuality)
{
    for (auto const format : {kRgb, kRgba, kPremultiplied, kGray, kGrayAlpha}) {
        if (GetParam() == kJxl && format == kPremultiplied)
            continue; // written as straight alpha
        for (auto const size : {Size {1, 1}, Size {33, 47}, Size {64, 32}}) {
            auto const picture = photoLike(size, format);
            auto const result = again(picture, withQuality(1));
            ASSERT_TRUE(result);
            EXPECT_EQ(result->format(), format);
            EXPECT_EQ(largestDifference(*picture, *result), 0)
                << size.width << ", " << format.channels() << " channels";
        }
    }
}

TEST_P(StillFormats, KeepTheDepthsOfDeepImages)
{
    for (int const bits : {10, 12}) {
        auto const largest = (1 << bits) - 1;
        auto const picture = paint({40, 33}, kDeepRgba, [&](int x, int y, int channel) {
            return std::floor((x * 33 + y) * largest / 1320.0 / (channel + 1)) / largest;
        });
        Image const image(picture);
        auto info = image.info();
        info.bitsPerComponent = bits;
        EncodeOptions const lossless {.quality = 1};
        // The library cannot write AVIF of 10 bits.
        auto const stored = GetParam() == kAvif ? 12 : bits;
        EXPECT_EQ(codecForType(GetParam())->negotiate(info, lossless).bitsPerComponent, stored);
        auto extras = withQuality(1);
        extras.bitsPerComponent = stored;
        auto const isEncoded = encode(GetParam(), picture, m_directory / "a", extras);
        ASSERT_TRUE(isEncoded) << isEncoded.error().message;
        EXPECT_EQ(openFile(m_directory / "a")->image().info().bitsPerComponent, stored);
        auto const tolerance = stored == bits ? 1.5 / 65535 : 0.51 / 4095;
        EXPECT_LT(largestDifference(*picture, *decode(m_directory / "a").value()), tolerance);
    }
}

TEST_P(StillFormats, KeepSharpColorsWhereChromaMustNotBeSubsampled)
{
    // Columns of red and blue, which halved chroma turns into purple.
    auto const picture = paint(
        {64, 64}, kRgb, [](int x, int, int channel) { return channel == (x % 2 == 0 ? 0 : 2) ? 0.8 : 0.1; });
    auto extras = withQuality(0.9f);
    extras.options.noChromaSubsampling = true;
    auto const result = again(picture, extras);
    ASSERT_TRUE(result);
    EXPECT_GT(psnr(*picture, *result), 30);
}

TEST_P(StillFormats, CarryMetadataAndProfile)
{
    struct {
        PixelFormat format;
        std::optional<float> quality;
        Bytes profile;
    } const cases[] = {
        {kRgb, 0.8f, readBytes(dataFile("AdobeCompat-v2.icc"))},
        {kRgba, 1, readBytes(dataFile("DisplayP3-v4.icc"))},
        {kGray, 1, readBytes(dataFile("sGrey-v4.icc"))},
        {kGray, 0.8f, grayProfile().bytes()},
    };
    for (auto const& [format, quality, profile] : cases) {
        auto const picture = photoLike({40, 30}, format);
        auto extras = withQuality(quality);
        extras.profile = shareBytes(profile);
        extras.metadata.setExif(readBytes(dataFile("canon.exif")));
        extras.metadata.setXmp(kXmp);
        extras.metadata.setOrientation(1);
        ASSERT_TRUE(encode(GetParam(), picture, m_directory / "a", extras));
        auto const source = openFile(m_directory / "a");
        ASSERT_TRUE(source);
        EXPECT_EQ(source->type().identifier, GetParam());
        EXPECT_EQ(source->metadata().exif(), extras.metadata.exif());
        EXPECT_EQ(source->metadata().xmp(), kXmp);
        ASSERT_TRUE(source->image().space().profile());
        EXPECT_EQ(*source->image().space().profile(), profile) << profile.size();
        EXPECT_GT(psnr(*picture, *decode(m_directory / "a").value()), 29) << profile.size();
    }
}

TEST_P(StillFormats, NeedNoProfileForSrgb)
{
    for (auto const format : {kRgb, kGray}) {
        ASSERT_TRUE(encode(GetParam(), photoLike({8, 8}, format), m_directory / "a"));
        EXPECT_FALSE(openFile(m_directory / "a")->image().space().profile());
    }
}

TEST_P(StillFormats, TurnPixelsOnceAndSayThatTheyAreUpright)
{
    // A mark in one corner of a wide picture, and the corner where each orientation puts it.
    auto const picture =
        paint({48, 32}, kRgb, [](int x, int y, int) { return x < 16 && y < 16 ? 1.0 : 0.0; });
    struct {
        std::uint8_t orientation;
        Size size;
        bool isRight, isBottom;
    } const cases[] = {
        {1, {48, 32}, false, false},
        {2, {48, 32}, true, false},
        {3, {48, 32}, true, true},
        {4, {48, 32}, false, true},
        {5, {32, 48}, false, false},
        {6, {32, 48}, true, false},
        {7, {32, 48}, true, true},
        {8, {32, 48}, false, true},
    };
    for (auto const& [orientation, size, isRight, isBottom] : cases) {
        auto extras = withQuality(1);
        extras.metadata.setExif(exifTurned(orientation));
        ASSERT_TRUE(encode(GetParam(), picture, m_directory / "a", extras));
        auto const source = openFile(m_directory / "a");
        EXPECT_EQ(source->image().size(), size);
        EXPECT_EQ(source->metadata().orientation(), 1);
        auto const pixels = decode(m_directory / "a").value();
        auto const x = isRight ? size.width - 4 : 4, y = isBottom ? size.height - 4 : 4;
        EXPECT_EQ(component(*pixels, x, y, 0), 1) << int {orientation};
        EXPECT_EQ(component(*pixels, size.width - x, size.height - y, 0), 0) << int {orientation};
    }
}

TEST_P(StillFormats, RewriteMetadataAroundTheCodedPicture)
{
    constexpr std::string_view kLongXmp = "<x:xmpmeta xmlns:x='adobe:ns:meta/'><!-- other --></x:xmpmeta>";
    auto extras = withQuality(0.6f);
    for (bool const hasExif : {false, true}) {
        if (hasExif)
            extras.metadata.setExif(exifTurned(6));
        auto const path = m_directory / "a", target = m_directory / "b";
        ASSERT_TRUE(encode(GetParam(), photoLike({70, 50}, kRgba), path, extras));
        auto const before = decode(path).value();
        auto const rewritten = rewrite(path, target, [&](RewriteJob& job) {
            job.metadata.setExif(readBytes(dataFile("canon.exif")));
            job.metadata.setOrientation(1);
            job.metadata.setXmp(kLongXmp);
            job.metadataChanged = true;
        });
        ASSERT_TRUE(rewritten) << rewritten.error().message;
        auto const source = openFile(target);
        EXPECT_GT(source->metadata().exif().size(), 4000u);
        EXPECT_EQ(source->metadata().xmp(), kLongXmp);
        EXPECT_EQ(largestDifference(*before, *decode(target).value()), 0);

        // Again, now that there is something to replace, which must not stay in the file.
        ASSERT_TRUE(rewrite(target, path, [&](RewriteJob& job) {
            job.metadata.setXmp(kXmp);
            job.metadataChanged = true;
        }));
        EXPECT_EQ(openFile(path)->metadata().exif(), source->metadata().exif());
        EXPECT_EQ(openFile(path)->metadata().xmp(), kXmp);
        EXPECT_FALSE(holds(readBytes(path), asBytes("other")));
        EXPECT_EQ(largestDifference(*before, *decode(path).value()), 0);
    }
}

TEST_P(StillFormats, DoNotRewriteWhatNeedsNewPixels)
{
    ASSERT_TRUE(encode(GetParam(), photoLike({20, 10}, kRgb), m_directory / "a"));
    std::function<void(RewriteJob&)> const edits[] = {
        [](RewriteJob& job) { job.turn = Turn::Rotate180; },
        [](RewriteJob& job) { job.options.quality = 0.5f; },
        [](RewriteJob& job) { job.options.noChromaSubsampling = true; },
        [](RewriteJob& job) {
            job.profile = shareBytes(matrixProfile().bytes());
            job.profileChanged = true;
        },
        [](RewriteJob& job) {
            job.metadata.setExif(exifTurned(6));
            job.metadataChanged = true;
        },
    };
    for (auto const& edit : edits)
        EXPECT_FALSE(rewrite(m_directory / "a", m_directory / "b", edit));
}

TEST_P(StillFormats, SurviveDamage)
{
    auto extras = withQuality(0.7f);
    extras.profile = shareBytes(matrixProfile().bytes());
    extras.metadata.setExif(exifTurned(6));
    extras.metadata.setXmp(kXmp);
    auto const good = encoded(GetParam(), photoLike({70, 50}, kRgba), extras);
    for (auto const& bad : hostileVersions(good, 200)) {
        auto const result = probe(bad);
        EXPECT_TRUE(result.pixels || !result.error.empty());
        writeBytes(m_directory / "bad", bad);
        testing::internal::CaptureStderr();
        if (auto const source = openImage(m_directory / "bad")) {
            RewriteJob job {.source = **source, .metadataChanged = true};
            job.metadata.setXmp("<x/>");
            codecForType(GetParam())->canRewrite(job);
        }
        testing::internal::GetCapturedStderr();
    }
}

// A damaged file may be one that is not rewritten, but never one that cannot be opened any more.
TEST_P(StillFormats, StayReadableHoweverTheirBoxesAreDamaged)
{
    auto extras = withQuality(0.7f);
    extras.metadata.setExif(exifTurned(1));
    auto const good = encoded(GetParam(), photoLike({16, 16}, kRgba), extras);
    auto const path = m_directory / "bad", target = m_directory / "b";
    // libheif loses a few bytes of memory over colour codes that it does not know.
    auto const codes =
        static_cast<std::size_t>(std::ranges::search(good, asBytes("nclx")).begin() - good.begin());
    int changed = 0;
    testing::internal::CaptureStderr();
    for (std::size_t at = 0; at < std::min<std::size_t>(good.size(), 700); ++at) {
        if (at >= codes && at < codes + 11)
            continue;
        auto bad = good;
        bad[at] ^= 0xF7;
        writeBytes(path, bad);
        auto const rewritten = rewrite(path, target, [](RewriteJob& job) {
            job.metadata.setExif(readBytes(dataFile("canon.exif")));
            job.metadata.setOrientation(1);
            job.metadata.setXmp(kXmp);
            job.metadataChanged = true;
        });
        if (!rewritten)
            continue;
        ++changed;
        auto const source = openImage(target);
        EXPECT_TRUE(source && (*source)->metadata().xmp() == kXmp) << at;
    }
    testing::internal::GetCapturedStderr();
    EXPECT_GT(changed, 0);
}

TEST_P(StillFormats, SayThatATruncatedFileIsNotWhole)
{
    auto const good = encoded(GetParam(), photoLike({200, 150}, kRgb), withQuality(0.9f));
    for (std::size_t twentieth = 1; twentieth < 20; ++twentieth) {
        auto const result = probe(ByteSpan(good).first(good.size() * twentieth / 20));
        EXPECT_FALSE(result.error.empty() && result.warnings.empty()) << twentieth;
    }
}

} // namespace velk::test
