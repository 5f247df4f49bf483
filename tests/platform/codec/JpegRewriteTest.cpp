#include "base/Md5.h"
#include "platform/codec/JpegPreview.h"
#include "platform/codec/JpegTestFiles.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace velk::codec {

using namespace graphics;
using namespace test;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

namespace {

std::string const kExif = "II*\0\x08\0\0\0\0\0\0\0\0\0"s;
std::string const kXmpSignature = "http://ns.adobe.com/xap/1.0/\0"s;
std::string const kExtensionSignature = "http://ns.adobe.com/xmp/extension/\0"s;

std::string chunk(std::string_view guid, std::uint32_t fullSize, std::uint32_t offset, std::string_view part)
{
    Bytes numbers;
    appendBE32(numbers, fullSize);
    appendBE32(numbers, offset);
    return kExtensionSignature + std::string(guid) + std::string(asText(numbers)) + std::string(part);
}

std::string packet(std::string_view attributes, std::string_view content = {})
{
    return fmt::format("<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF xmlns:rdf=\"r\"><rdf:Description{}/>{}"
                       "</rdf:RDF></x:xmpmeta>",
        attributes, content);
}

std::string resource(std::string_view id, std::string_view data)
{
    Bytes size;
    appendBE32(size, static_cast<std::uint32_t>(data.size()));
    return "8BIM" + std::string(id) + "\0\0"s + std::string(asText(size)) + std::string(data)
        + std::string(data.size() & 1, '\0');
}

// An index of two pictures: this one, and one at `offset` from the index's own start.
std::string pictureIndex(std::uint32_t ownSize, std::uint32_t offset, std::uint32_t size)
{
    auto bytes = Bytes {'M', 'P', 'F', 0, 'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 0xB0, 0x02, 0, 7, 0, 0, 0, 32, 0,
        0, 0, 26, 0, 0, 0, 0};
    for (auto const value : {0x30000u, ownSize, 0u, 0u, 0x20002u, size, offset, 0u})
        appendBE32(bytes, value);
    return std::string(asText(bytes));
}

struct FileOnDisk {
    TemporaryDirectory directory;
    std::shared_ptr<ImageSource const> source;

    explicit FileOnDisk(Bytes const& bytes)
        : source(openBytes(directory / "in.jpg", bytes))
    {
    }

    RewriteJob job() const { return {.source = *source, .metadata = source->metadata()}; }

    Bytes rewritten(RewriteJob const& job) const
    {
        auto const* codec = codecForType("public.jpeg");
        EXPECT_TRUE(codec->canRewrite(job));
        auto const path = directory / "out.jpg";
        auto output = AtomicFile::create(path).value();
        auto const done = codec->rewrite(job, output);
        EXPECT_TRUE(done) << done.error().message;
        std::filesystem::remove(path); // replacing a file waits for the disk
        EXPECT_TRUE(output.commit(path));
        return readBytes(path);
    }

    std::shared_ptr<ImageSource const> reopened(Bytes const& bytes) const
    {
        return openBytes(directory / "again.jpg", bytes);
    }
};

Bytes photo()
{
    return makeJpeg(jpegVariants().front(), {64, 48});
}

Bytes from(Bytes const& bytes, std::size_t offset)
{
    return {bytes.begin() + static_cast<std::ptrdiff_t>(offset), bytes.end()};
}

bool contains(Bytes const& bytes, std::string_view part)
{
    return asText(bytes).find(part) != std::string_view::npos;
}

// Every kind of segment, some twice, in an unusual order, with stray bytes, and data behind the image.
Bytes crowdedPhoto()
{
    Bytes segments = segment(0xFE, "first comment");
    append(segments, segment(0xE1, "Exif\0\0"s + kExif));
    append(segments, Bytes {0xFF, 0xFF});
    append(segments, segment(0xE5, "vendor data"));
    append(segments, segment(0xE2, "ICC_PROFILE\0\2\2BB"s));
    append(segments, segment(0xE2, "ICC_PROFILE\0\1\2AA"s));
    append(segments, segment(0xE1, kXmpSignature + packet("")));
    append(segments,
        segment(0xED,
            "Photoshop 3.0\0"s + resource("\x03\xE8", "other")
                + resource("\x04\x04",
                    "\x1C\x02"
                    "old")));
    append(segments, segment(0xE2, "FPXR\0 flash"s));
    auto jpeg = withSegments(photo(), segments);
    append(jpeg, std::string_view("appended film"));
    return jpeg;
}

// A photo with `before`, an index, and the second picture that it tells of.
Bytes twoPictures(Bytes const& before, Bytes const& second)
{
    auto const withIndex = [&](std::uint32_t ownSize, std::uint32_t offset) {
        auto segments = before;
        append(segments,
            segment(0xE2, pictureIndex(ownSize, offset, static_cast<std::uint32_t>(second.size()))));
        return withSegments(photo(), segments);
    };
    auto const size = withIndex(0, 0).size();
    auto const indexStart = std::size_t {2} + before.size() + 4 + 4;
    auto jpeg = withIndex(static_cast<std::uint32_t>(size), static_cast<std::uint32_t>(size - indexStart));
    append(jpeg, second);
    return jpeg;
}

void expectSoundIndex(Bytes const& jpeg, Bytes const& second)
{
    auto const index = asText(jpeg).find("MPF") + 4;
    EXPECT_EQ(from(jpeg, index + loadBE32(&jpeg[index + 26 + 16 + 8])), second);
    EXPECT_EQ(loadBE32(&jpeg[index + 26 + 4]), jpeg.size() - second.size());
}

} // namespace

TEST(JpegRewrite, CopiesEveryByteWhenNothingChanges)
{
    auto const bytes = crowdedPhoto();
    FileOnDisk const file(bytes);
    EXPECT_EQ(file.rewritten(file.job()), bytes);
}

TEST(JpegRewrite, ReplacesBlocksInPlaceAndKeepsAllElse)
{
    auto const bytes = crowdedPhoto();
    FileOnDisk const file(bytes);
    auto job = file.job();
    job.metadata.setExif(asBytes(kExif + "more"));
    job.metadata.setXmp("<x:xmpmeta>new</x:xmpmeta>");
    job.metadata.setIptc(asBytes("\x1C\x02"
                                 "new"));
    job.metadataChanged = true;
    job.profile = shareBytes(asBytes("another profile"));
    job.profileChanged = true;
    auto const result = file.rewritten(job);
    EXPECT_EQ(from(result, scanOffset(result)), from(bytes, scanOffset(bytes)));
    EXPECT_THAT(markers(result),
        ElementsAre(
            0xFE, 0xE1, 0xE5, 0xE2, 0xE1, 0xED, 0xE2, 0xE0, 0xDB, 0xDB, 0xC0, 0xC4, 0xC4, 0xC4, 0xC4));
    auto const again = file.reopened(result);
    EXPECT_EQ(again->metadata().exif(), job.metadata.exif());
    EXPECT_EQ(again->metadata().xmp(), job.metadata.xmp());
    EXPECT_EQ(again->metadata().iptc(), job.metadata.iptc());
    EXPECT_TRUE(contains(result, "ICC_PROFILE\0\1\1another profile"s));
    EXPECT_FALSE(contains(result, "AA"));
    for (auto const* kept : {"first comment", "vendor data", "FPXR", "other", "appended film"})
        EXPECT_TRUE(contains(result, kept)) << kept;
}

TEST(JpegRewrite, RemovesBlocks)
{
    FileOnDisk const file(crowdedPhoto());
    auto job = file.job();
    job.metadata = {};
    job.metadataChanged = job.profileChanged = true;
    auto const result = file.rewritten(job);
    EXPECT_TRUE(file.reopened(result)->metadata().isEmpty());
    for (auto const* gone : {"Exif", "ICC_PROFILE", "ns.adobe.com"})
        EXPECT_FALSE(contains(result, gone)) << gone;
    EXPECT_TRUE(contains(result, "other"));
}

// A reader knows the format by the marker that follows the first one.
TEST(JpegRewrite, LetsNoStrayBytesComeFirst)
{
    auto const second = photo();
    auto leading = segment(0xE2, "ICC_PROFILE\0\1\1AA"s);
    append(leading, std::string_view("stray"));
    for (auto const& jpeg : {twoPictures(leading, second), withSegments(photo(), leading)}) {
        FileOnDisk const file(jpeg);
        auto job = file.job();
        job.profileChanged = true;
        auto const result = file.rewritten(job);
        EXPECT_EQ(result.size(), jpeg.size() - leading.size());
        EXPECT_EQ(result[2], 0xFF);
        EXPECT_FALSE(contains(result, "stray"));
        if (contains(jpeg, "MPF"))
            expectSoundIndex(result, second);
    }
}

TEST(JpegRewrite, PutsNewBlocksWhereReadersExpectThem)
{
    FileOnDisk const file(photo());
    auto job = file.job();
    job.profile = shareBytes(asBytes("profile"));
    job.profileChanged = true;
    job.metadata.setIptc(asBytes("\x1C\x02"));
    job.metadata.setXmp("<xmp/>");
    job.metadata.setExif(asBytes(kExif));
    job.metadataChanged = true;
    auto const found = markers(file.rewritten(job));
    EXPECT_THAT(
        std::vector(found.begin(), found.begin() + 6), ElementsAre(0xE0, 0xE1, 0xE1, 0xED, 0xE2, 0xDB));
}

TEST(JpegRewrite, ChangesTheDensityAlone)
{
    struct Case {
        Resolution resolution;
        std::uint8_t unit;
        int x, y;
    };
    auto const bytes = photo();
    FileOnDisk const file(bytes);
    // 299.72 per inch is exactly 118 per centimetre.
    for (auto const& testCase : {Case {{300, 200}, 1, 300, 200}, Case {{299.72, 299.72}, 2, 118, 118},
             Case {{0.2, 1e6}, 1, 1, 65535}}) {
        auto job = file.job();
        job.resolution = testCase.resolution;
        auto const result = file.rewritten(job);
        ASSERT_EQ(result.size(), bytes.size());
        EXPECT_EQ(result[13], testCase.unit);
        EXPECT_EQ(loadBE16(&result[14]), testCase.x);
        EXPECT_EQ(loadBE16(&result[16]), testCase.y);
        EXPECT_EQ(from(result, 18), from(bytes, 18));
    }
    auto job = file.job();
    job.changes = {{"{JFIF}", "XDensity", 7}, {"{JFIF}", "DensityUnit", 5}, {"{PNG}", "YDensity", 9}};
    auto const result = file.rewritten(job);
    EXPECT_EQ(loadBE16(&result[14]), 7);
    EXPECT_EQ(result[13], bytes[13]);
}

TEST(JpegRewrite, AddsADensityOnlyWhereJfifMayStand)
{
    struct Case {
        JpegVariant variant;
        bool expected;
    };
    JpegVariant rgb {.name = "", .coded = JCS_RGB, .horizontal = 1, .vertical = 1};
    JpegVariant rgbByAdobe = rgb;
    rgbByAdobe.adobeMarker = true;
    for (auto const& [variant, expected] :
        {Case {jpegVariants().front(), true}, Case {rgb, false}, Case {rgbByAdobe, false}}) {
        auto bytes = makeJpeg(variant, {16, 16});
        if (bytes[3] == 0xE0)
            bytes.erase(bytes.begin() + 2, bytes.begin() + 20);
        FileOnDisk const file(bytes);
        auto const before = collect(file.source->open({}).value());
        auto job = file.job();
        job.resolution = Resolution {150, 150};
        auto const again = file.reopened(file.rewritten(job));
        EXPECT_EQ(again->description().resolution.has_value(), expected);
        EXPECT_EQ(largestDifference(collect(again->open({}).value()), before), 0);
    }
}

TEST(JpegRewrite, DeclinesWhatNeedsNewCompression)
{
    FileOnDisk const file(photo());
    for (auto const& options :
        {EncodeOptions {.quality = 0.5F}, EncodeOptions {.noChromaSubsampling = true}}) {
        auto job = file.job();
        job.options = options;
        EXPECT_FALSE(codecForType("public.jpeg")->canRewrite(job));
    }
}

TEST(JpegRewrite, KeepsTheIndexOfFurtherPicturesRight)
{
    auto const second = photo();
    auto jpeg = twoPictures({}, second);
    FileOnDisk const file(jpeg);
    auto job = file.job();
    job.metadata.setExif(asBytes(kExif)); // before the index
    job.profile = shareBytes(Bytes(999)); // behind it or not
    job.metadataChanged = job.profileChanged = true;
    expectSoundIndex(file.rewritten(job), second);

    // A turn leaves out what it cannot turn.
    auto turning = file.job();
    turning.turn = Turn::Rotate180;
    append(jpeg, std::string_view("film"));
    FileOnDisk const withFilm(jpeg);
    RewriteJob const filmJob {.source = *withFilm.source, .turn = Turn::Rotate180};
    auto const turned = withFilm.rewritten(filmJob);
    EXPECT_FALSE(contains(turned, "MPF"));
    EXPECT_TRUE(asText(turned).ends_with("\xFF\xD9"
                                         "film"));
}

TEST(JpegXmp, JoinsAPacketAndItsExtension)
{
    auto const guid = std::string(32, 'A');
    auto const extension = packet("", "<rdf:Description big=\"yes\"/>");
    auto const size = static_cast<std::uint32_t>(extension.size());
    auto const main = packet(" xmpNote:HasExtendedXMP=\"" + guid + "\"");
    Bytes segments = segment(0xE1, kXmpSignature + main);
    // Out of order, and among chunks of another extension.
    append(segments, segment(0xE1, chunk(guid, size, 50, std::string_view(extension).substr(50))));
    append(segments, segment(0xE1, chunk(std::string(32, 'B'), 5, 0, "other")));
    append(segments, segment(0xE1, chunk(guid, size, 0, std::string_view(extension).substr(0, 50))));
    FileOnDisk const file(withSegments(photo(), segments));
    auto const xmp = file.source->metadata().xmp();
    EXPECT_THAT(xmp, HasSubstr("big=\"yes\""));
    EXPECT_EQ(xmp.find("HasExtendedXMP"), std::string::npos);

    // An edit of the whole puts everything into one packet.
    auto job = file.job();
    job.metadata.setXmp(xmp + " ");
    job.metadataChanged = true;
    auto const result = file.rewritten(job);
    EXPECT_FALSE(contains(result, kExtensionSignature));
    EXPECT_EQ(file.reopened(result)->metadata().xmp(), xmp + " ");
}

TEST(JpegXmp, KeepsAnExtensionThatItCannotJoin)
{
    auto const guid = std::string(32, 'A');
    auto const main = packet(" xmpNote:HasExtendedXMP='" + guid + "'");
    for (auto const& damaged :
        {chunk(guid, 5000, 0, "cut"), chunk(guid, 3, 0, "<a>"), chunk(guid, 9, 0xFFFFFFF0u, "x")}) {
        Bytes segments = segment(0xE1, kXmpSignature + main);
        append(segments, segment(0xE1, damaged));
        FileOnDisk const file(withSegments(photo(), segments));
        EXPECT_EQ(file.source->metadata().xmp(), main);
        auto job = file.job();
        job.metadata.setXmp(main + "edited");
        job.metadataChanged = true;
        EXPECT_TRUE(contains(file.rewritten(job), damaged));
        job.metadata.setXmp(packet(""));
        EXPECT_FALSE(contains(file.rewritten(job), kExtensionSignature));
    }
}

TEST(JpegXmp, SplitsALongPacket)
{
    auto const lengthy = packet("", "<rdf:Description text=\"" + std::string(200'000, 'x') + "\"/>");
    FileOnDisk const file(photo());
    auto job = file.job();
    job.metadata.setXmp("<?xpacket begin?>" + lengthy + std::string(3000, ' ') + "<?xpacket end?>");
    job.metadataChanged = true;
    auto const result = file.rewritten(job);
    EXPECT_EQ(std::ranges::count(markers(result), 0xE1), 5);
    EXPECT_THAT(file.reopened(result)->metadata().xmp(), HasSubstr(std::string(200'000, 'x')));
}

TEST(JpegXmp, NamesExtensionsByTheirDigest)
{
    auto const hex = [](std::string_view text) {
        std::string digest;
        for (auto const byte : md5(asBytes(text)))
            digest += fmt::format("{:02x}", byte);
        return digest;
    };
    // RFC 1321, A.5.
    EXPECT_EQ(hex(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(hex("abcdefghijklmnopqrstuvwxyz"), "c3fcd3d76192e4007dfb496cca67e13b");
    EXPECT_EQ(hex("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
        "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(JpegRewrite, LeavesOutExifThatNoSegmentHolds)
{
    FileOnDisk const file(photo());
    auto job = file.job();
    job.metadata.setExif(asBytes(kExif + std::string(70'000, 'x')));
    job.metadataChanged = true;
    CaptureStderr();
    auto const result = file.rewritten(job);
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("in.jpg: the Exif data is too large"));
    EXPECT_EQ(file.reopened(result)->metadata().exif().size(), 0u);
}

TEST(JpegRewrite, ReadsExifThatIsSpreadOverSegments)
{
    Bytes segments = segment(0xE1, "Exif\0\0"s + kExif + std::string(60'000, 'a'));
    append(segments, segment(0xE1, "Exif\0\0"s + std::string(60'000, 'b')));
    append(segments, segment(0xE1, "Exif\0\0"s + kExif));
    FileOnDisk const file(withSegments(photo(), segments));
    EXPECT_EQ(file.source->metadata().exif().size(), kExif.size() + 120'000);
}

TEST(JpegPreview, MakesSmallPicturesWithoutApplicationSegments)
{
    TemporaryDirectory const directory;
    for (auto const model : {ColorModel::Gray, ColorModel::RGB}) {
        auto const picture = photoLike({160, 120}, {.model = model});
        auto const bytes = encodeSmallJpeg(*picture, 80).value();
        EXPECT_EQ(markers(bytes).front(), 0xDB);
        EXPECT_GT(psnr(collect(openBytes(directory / "small.jpg", bytes)->open({}).value()), *picture), 33);
    }
    EXPECT_FALSE(encodeSmallJpeg(*photoLike({16, 16}, {.model = ColorModel::CMYK}), 80));
}

} // namespace velk::codec
