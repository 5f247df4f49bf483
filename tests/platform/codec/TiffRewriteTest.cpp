#include "platform/codec/TiffTestFiles.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace velk::codec {

using namespace test;

namespace {

constexpr std::array kFormats = {kLittle, kBig, kLittle64, kBig64};

struct Reader {
    Bytes bytes;
    tiff::DirectoryReader reader;
    tiff::Directory first;

    explicit Reader(std::string const& path)
        : bytes(readBytes(path))
        , reader(tiff::DirectoryReader::open(ByteSpan(bytes)).value())
        , first(reader.directory(reader.firstDirectory()).value())
    {
    }
    std::string text(std::uint16_t tag) const { return reader.text(first.find(tag)); }
    std::vector<double> numbers(std::uint16_t tag) const { return reader.numbers(first.find(tag), 9); }
    bool holds(std::string_view text) const { return asText(bytes).find(text) != std::string_view::npos; }
};

// A photo with texts, XMP, a private tag, and Exif and GPS directories put before the pixels.
Bytes photo(Format format)
{
    Bytes pixels = {1, 2, 3, 4};
    auto const start = format.headerSize();
    auto const put = [&](tiff::DirectoryBuilder const& builder) {
        pixels.resize(pixels.size() + pixels.size() % 2);
        auto const layout = builder.serialise(start + pixels.size(), 0);
        append(pixels, ByteSpan(layout.bytes));
        return layout.directoryOffset;
    };
    tiff::DirectoryBuilder exif(format), gps(format);
    exif.set(tiff::textField(36867, "2001:02:03 04:05:06"));
    exif.set(tiff::bytesField(tag::kMakerNote, tiff::FieldType::Undefined, asBytes("the maker's own note")));
    gps.set(tiff::textField(1, "N"));
    gps.set(tiff::rationalField(2, {48, 51, 29.6}, format.order));
    HandMadeImage image {.format = format, .width = 2, .height = 2};
    image.fields = {tiff::offsetsField(tag::kExifIfd, {put(exif)}, format),
        tiff::offsetsField(tag::kGpsIfd, {put(gps)}, format), tiff::textField(tag::kMake, "Old Camera Maker"),
        tiff::textField(tag::kArtist, "Somebody Else"),
        tiff::bytesField(tag::kXmp, tiff::FieldType::Byte, asBytes("<x:xmpmeta old='1'/>")),
        tiff::bytesField(65000, tiff::FieldType::Undefined, asBytes("a private tag"))};
    image.integers = {{tag::kStripByteCounts, {4}}};
    image.pixels = pixels;
    return handMade(image);
}

PropertyChange tiffChange(std::string key, std::optional<PropertyValue> value)
{
    return {"{TIFF}", std::move(key), std::move(value)};
}

Result<void> rewritten(
    ImageSource const& source, std::string const& path, std::function<void(RewriteJob&)> const& change)
{
    RewriteJob job {.source = source, .metadata = source.metadata()};
    change(job);
    auto const* const codec = codecForType("public.tiff");
    EXPECT_TRUE(codec->canRewrite(job));
    auto output = TRY(AtomicFile::create(path));
    TRY(codec->rewrite(job, output));
    return output.commit(path);
}

class TiffRewrite : public testing::Test {
protected:
    std::shared_ptr<ImageSource const> open(ByteSpan bytes)
    {
        writeBytes(m_directory / "in.tif", bytes);
        return openImage(m_directory / "in.tif").value();
    }
    std::string out() const { return m_directory / "out.tif"; }

    TemporaryDirectory m_directory;
};

} // namespace

TEST_F(TiffRewrite, ChangesTextsAndNothingElse)
{
    for (auto const format : kFormats) {
        auto const original = photo(format);
        auto const source = open(original);
        ASSERT_TRUE(rewritten(*source, out(), [](RewriteJob& job) {
            job.changes = {tiffChange("Make", std::nullopt), tiffChange("Artist", "Jane Doe"),
                tiffChange("Copyright", "\xC2\xA9 2024 Jane Doe"), tiffChange("Orientation", 6),
                tiffChange("WhitePoint", PropertyArray {0.3127, 0.329}), tiffChange("Compression", 1),
                {"{Other}", "Model", "no"}, tiffChange("Model", 5)};
        }));
        Reader const result(out());
        EXPECT_EQ(result.first.find(tag::kMake), nullptr);
        EXPECT_EQ(result.first.find(tag::kModel), nullptr);
        EXPECT_EQ(result.text(tag::kArtist), "Jane Doe");
        EXPECT_EQ(result.text(tag::kCopyright), "\xC2\xA9 2024 Jane Doe");
        EXPECT_EQ(result.numbers(tag::kOrientation), std::vector<double> {6});
        EXPECT_EQ(result.numbers(tag::kWhitePoint), (std::vector<double> {0.3127, 0.329}));
        EXPECT_EQ(result.text(65000), "a private tag");
        EXPECT_TRUE(result.holds("the maker's own note"));
        EXPECT_TRUE(result.holds("2001:02:03"));
        // What was removed or replaced is not left behind.
        EXPECT_FALSE(result.holds("Old Camera"));
        EXPECT_FALSE(result.holds("Somebody"));
        // Everything before the old directory's values stays where it was, the header's pointer aside.
        auto const pixelsAt = static_cast<std::ptrdiff_t>(format.headerSize());
        auto const values = static_cast<std::ptrdiff_t>(asText(original).find("Old Camera"));
        EXPECT_TRUE(std::equal(
            original.begin() + pixelsAt, original.begin() + values, result.bytes.begin() + pixelsAt));
        EXPECT_EQ(codedData(out()), (std::vector<Bytes> {{1, 2, 3, 4}}));
        EXPECT_TRUE(std::is_sorted(result.first.entries.begin(), result.first.entries.end(),
            [](auto const& a, auto const& b) { return a.tag < b.tag; }));
        EXPECT_EQ(result.first.offset % 2, 0u);
    }
}

TEST_F(TiffRewrite, ExifIsChangedEntryByEntry)
{
    int tested = 0;
    for (auto const format : kFormats) {
        auto const source = open(photo(format));
        if (source->metadata().exif().empty())
            continue;
        ++tested;
        auto const makerNoteAt = asText(readBytes(m_directory / "in.tif")).find("the maker's own");
        ASSERT_TRUE(rewritten(*source, out(), [&](RewriteJob& job) {
            // The block that edited metadata hand out: with another date, a description, a new entry and
            // without GPS, in the byte order of its own.
            Bytes block(8);
            tiff::DirectoryBuilder exif(kLittle), main(kLittle);
            exif.set(tiff::textField(36867, "2022:02:22 22:22:22"));
            exif.set(tiff::rationalField(42240, {2.2}, ByteOrder::Little));
            exif.set(
                tiff::bytesField(tag::kMakerNote, tiff::FieldType::Undefined, asBytes("moved maker note")));
            auto const exifLayout = exif.serialise(block.size(), 0);
            append(block, ByteSpan(exifLayout.bytes));
            block.resize(block.size() + block.size() % 2);
            main.set(tiff::textField(tag::kImageDescription, "A description"));
            main.set(tiff::textField(tag::kArtist, "Jane Doe"));
            main.set(tiff::shortField(tag::kImageWidth, {999}, ByteOrder::Little));
            main.set(tiff::longField(
                tag::kExifIfd, static_cast<std::uint32_t>(exifLayout.directoryOffset), ByteOrder::Little));
            auto const layout = main.serialise(block.size(), 0);
            append(block, ByteSpan(layout.bytes));
            std::ranges::copy(tiff::fileHeader(kLittle, layout.directoryOffset), block.begin());

            job.metadata.setExif(block);
            job.metadataChanged = true;
        }));
        Reader const result(out());
        EXPECT_EQ(result.text(tag::kImageDescription), "A description");
        EXPECT_EQ(result.text(tag::kArtist), "Jane Doe");
        EXPECT_EQ(result.numbers(tag::kImageWidth), std::vector<double> {2});
        auto const exif = result.reader.directoryAt(result.first.find(tag::kExifIfd)).value();
        EXPECT_EQ(result.reader.text(exif.find(36867)), "2022:02:22 22:22:22");
        EXPECT_EQ(result.reader.numbers(exif.find(42240), 1), std::vector<double> {2.2});
        EXPECT_EQ(result.reader.outside(*exif.find(tag::kMakerNote)).value().offset, makerNoteAt);
        EXPECT_TRUE(result.holds("the maker's own note"));
        EXPECT_FALSE(result.holds("2001:02:03"));
        EXPECT_FALSE(result.holds("Somebody"));
        EXPECT_EQ(result.first.find(tag::kGpsIfd), nullptr);
        EXPECT_EQ(codedData(out()), (std::vector<Bytes> {{1, 2, 3, 4}}));
    }
    EXPECT_GE(tested, 4);
}

TEST_F(TiffRewrite, BlocksAreReplacedAndRemoved)
{
    for (auto const format : kFormats) {
        auto const source = open(photo(format));
        Bytes const iptc = {0x1C, 2, 0x19, 0, 3, 'o', 'n', 'e'};
        ASSERT_TRUE(rewritten(*source, out(), [&](RewriteJob& job) {
            job.metadata.setXmp("<x:xmpmeta new='1'/>");
            job.metadata.setIptc(iptc);
            job.metadataChanged = true;
            job.profile = shareBytes(asBytes("as good as a profile"));
            job.profileChanged = true;
            job.resolution = Resolution {300, 150.5};
        }));
        Reader const result(out());
        EXPECT_TRUE(result.holds("<x:xmpmeta new='1'/>"));
        EXPECT_FALSE(result.holds("old='1'"));
        EXPECT_EQ(result.reader.value(*result.first.find(tag::kIptc), 99).value(), iptc);
        EXPECT_TRUE(result.holds("as good as a profile"));
        EXPECT_EQ(result.numbers(tag::kYResolution), std::vector<double> {150.5});
        EXPECT_EQ(result.numbers(tag::kResolutionUnit), std::vector<double> {2});

        auto const again = openImage(out()).value();
        ASSERT_TRUE(rewritten(*again, m_directory / "third.tif", [&](RewriteJob& job) {
            job.metadata.setXmp("");
            job.metadata.setIptc({});
            job.metadataChanged = true;
            job.profileChanged = true;
        }));
        Reader const last(m_directory / "third.tif");
        for (auto const removed : {tag::kXmp, tag::kIptc, tag::kIccProfile})
            EXPECT_EQ(last.first.find(removed), nullptr);
        EXPECT_FALSE(last.holds("xmpmeta"));
        EXPECT_FALSE(last.holds("profile"));
        EXPECT_EQ(codedData(m_directory / "third.tif"), (std::vector<Bytes> {{1, 2, 3, 4}}));
    }
}

TEST_F(TiffRewrite, IptcInPhotoshopResourcesFollows)
{
    Bytes const iptc = {0x1C, 2, 0x19, 0, 3, 'o', 'n', 'e'};
    Bytes resources;
    append(resources, std::string_view("8BIM\x04\x04\0\0\0\0\0\x08", 12));
    append(resources, ByteSpan(iptc));
    append(resources, std::string_view("8BIM\x0B\xB7\0\0\0\0\0\4path", 16));
    auto const source = open(handMade(
        {.fields = {tiff::bytesField(tag::kPhotoshop, tiff::FieldType::Byte, resources)}, .pixels = {1}}));
    Bytes const edited = {0x1C, 2, 0x19, 0, 3, 't', 'w', 'o'};
    ASSERT_TRUE(rewritten(*source, out(), [&](RewriteJob& job) {
        job.metadata.setIptc(edited);
        job.metadataChanged = true;
    }));
    EXPECT_EQ(openImage(out()).value()->metadata().iptc(), edited);
    Reader const result(out());
    EXPECT_FALSE(result.holds("one"));
    EXPECT_TRUE(result.holds("path"));
    EXPECT_EQ(result.first.find(tag::kIptc), nullptr);
}

TEST_F(TiffRewrite, OtherPagesAndTilesStay)
{
    auto const path = m_directory / "pages.tif";
    writeWithLibtiff(path, "wb", [](TIFF* tiff) {
        for (int page = 0; page < 3; ++page) {
            TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 40);
            TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 40);
            TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
            TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
            TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
            TIFFSetField(tiff, TIFFTAG_TILEWIDTH, 16);
            TIFFSetField(tiff, TIFFTAG_TILELENGTH, 16);
            TIFFSetField(tiff, TIFFTAG_ARTIST, "one artist for all");
            for (std::uint32_t tile = 0; tile < 9; ++tile) {
                Bytes pixels(256, static_cast<std::uint8_t>(page * 20 + static_cast<int>(tile)));
                TIFFWriteEncodedTile(tiff, tile, pixels.data(), 256);
            }
            TIFFWriteDirectory(tiff);
        }
    });
    auto const before = readBytes(path);
    auto const data = codedData(path);
    auto const source = openImage(path).value();
    ASSERT_TRUE(rewritten(
        *source, out(), [](RewriteJob& job) { job.changes = {tiffChange("Artist", std::nullopt)}; }));
    auto const result = openImage(out()).value();
    EXPECT_EQ(result->imageCount(), 3);
    EXPECT_EQ(codedData(out()), data);
    EXPECT_EQ(tiffProperty(*result, "Artist"), nullptr);
    // The other pages' directories are found at their old places.
    Reader const reader(out());
    int artists = 0;
    reader.reader.forEachDirectory([&](tiff::Directory const& directory) {
        artists += reader.reader.text(directory.find(tag::kArtist)) == "one artist for all";
    });
    EXPECT_EQ(artists, 2);
    EXPECT_EQ(test::decode(out()).value()->row(39)[39], 8);
}

TEST_F(TiffRewrite, ValuesThatOthersShareAreNotCleared)
{
    // The texts of two tags lie in the same place.
    auto bytes = photo(kLittle);
    auto const reader = tiff::DirectoryReader::open(ByteSpan(bytes)).value();
    auto const first = reader.directory(reader.firstDirectory()).value();
    auto const entryAt = [&](std::uint16_t tag) {
        return first.offset + 2 + 12 * static_cast<std::size_t>(first.find(tag) - first.entries.data());
    };
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(entryAt(tag::kMake) + 2), 10,
        bytes.begin() + static_cast<std::ptrdiff_t>(entryAt(tag::kArtist) + 2));
    auto const source = open(bytes);
    ASSERT_TRUE(
        rewritten(*source, out(), [](RewriteJob& job) { job.changes = {tiffChange("Make", std::nullopt)}; }));
    EXPECT_EQ(Reader(out()).text(tag::kArtist), "Old Camera Maker");
}

TEST_F(TiffRewrite, AValueInTheHeaderDoesNotTakeItAlong)
{
    auto bytes = photo(kBig);
    auto const reader = tiff::DirectoryReader::open(ByteSpan(bytes)).value();
    auto const first = reader.directory(reader.firstDirectory()).value();
    auto const entry = static_cast<std::size_t>(first.find(tag::kMake) - first.entries.data());
    storeInteger(bytes.data() + first.offset + 2 + 12 * entry + 8, std::uint32_t {0}, ByteOrder::Big);
    auto const source = open(bytes);
    ASSERT_TRUE(
        rewritten(*source, out(), [](RewriteJob& job) { job.changes = {tiffChange("Make", std::nullopt)}; }));
    EXPECT_EQ(codedData(out()), (std::vector<Bytes> {{1, 2, 3, 4}}));
}

// What is appended to a file that was cut off lies where the missing part would be.
TEST_F(TiffRewrite, NewValuesDoNotTakeThePlaceOfMissingOnes)
{
    HandMadeImage image {.width = 4, .height = 9, .pixels = Bytes(36, 200)};
    image.fields = {tiff::bytesField(65000, tiff::FieldType::Undefined, asBytes("a private tag")),
        tiff::textField(65001, "whole text")};
    auto bytes = handMade(image);
    // The strip begins in the last four bytes of the file, the private values behind its end.
    auto const patch = [&](std::uint16_t wanted, std::size_t value) {
        auto const reader = tiff::DirectoryReader::open(ByteSpan(bytes)).value();
        auto const entries = reader.directory(reader.firstDirectory()).value().entries;
        auto const found = std::ranges::find(entries, wanted, &tiff::Entry::tag) - entries.begin();
        auto const at = reader.firstDirectory() + 2 + 12 * static_cast<std::size_t>(found) + 8;
        storeInteger(bytes.data() + at, static_cast<std::uint32_t>(value), ByteOrder::Little);
    };
    patch(65000, bytes.size() + 8);
    patch(tag::kStripOffsets, bytes.size() - 4);
    auto const source = open(bytes);
    auto const before = decode(source->path()).value();
    ASSERT_TRUE(rewritten(*source, out(), [](RewriteJob& job) {
        job.metadata.apply({tiffChange("Artist", "A name that is longer than what is missing of the strip")});
        job.metadataChanged = true;
    }));
    EXPECT_EQ(largestDifference(*before, *decode(out()).value()), 0);
    Reader const after(out());
    EXPECT_EQ(after.first.find(65000), nullptr);
    EXPECT_EQ(after.text(65001), "whole text");
}

TEST_F(TiffRewrite, IsRefusedWhereThePixelsWouldChange)
{
    auto const* const codec = codecForType("public.tiff");
    auto const check = [&](int compression, std::function<void(RewriteJob&)> const& change) {
        EncodeExtras extras;
        extras.options.tiffCompression = compression;
        EXPECT_TRUE(encode("public.tiff", photoLike({32, 32}, {}), m_directory / "in.tif", extras));
        auto const source = openImage(m_directory / "in.tif").value();
        RewriteJob job {.source = *source};
        change(job);
        return codec->canRewrite(job);
    };
    EXPECT_TRUE(check(5, [](RewriteJob&) {}));
    EXPECT_TRUE(check(5, [](RewriteJob& job) { job.options.tiffCompression = 5; }));
    EXPECT_TRUE(check(5, [](RewriteJob& job) { job.options.quality = 0.5f; }));
    EXPECT_FALSE(check(5, [](RewriteJob& job) { job.options.tiffCompression = 1; }));
    EXPECT_FALSE(check(7, [](RewriteJob& job) { job.options.quality = 0.5f; }));
    EXPECT_FALSE(check(5, [](RewriteJob& job) { job.turn = graphics::Turn::Rotate180; }));
}

} // namespace velk::codec
