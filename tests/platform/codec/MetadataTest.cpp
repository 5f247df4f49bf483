#include "platform/codec/Metadata.h"

#include "platform/codec/ExifEditor.h"
#include "platform/codec/ExifValues.h"
#include "platform/codec/PropertyKeys.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace velk::codec {

namespace {

Bytes canonExif()
{
    return test::readBytes(test::dataFile("canon.exif"));
}

Metadata canonMetadata()
{
    Metadata metadata;
    metadata.setExif(canonExif());
    return metadata;
}

PropertyDictionary described(Metadata const& metadata)
{
    PropertyDictionary properties;
    metadata.describe(properties);
    return properties;
}

PropertyValue const* entry(
    PropertyDictionary const& properties, std::string_view dictionary, std::string_view key)
{
    auto const* const found = findDictionary(properties, dictionary);
    return found ? find(*found, key) : nullptr;
}

std::string text(Metadata const& metadata, std::string_view dictionary, std::string_view key)
{
    auto const properties = described(metadata);
    auto const* const value = entry(properties, dictionary, key);
    return value && value->asString() ? *value->asString() : "(none)";
}

bool contains(ByteSpan bytes, std::string_view content)
{
    return asText(bytes).find(content) != std::string_view::npos;
}

Bytes jpegOfSize(std::size_t size)
{
    Bytes jpeg(size, 0x55);
    jpeg[0] = 0xFF;
    jpeg[1] = 0xD8;
    return jpeg;
}

constexpr ByteOrder kOrders[] = {ByteOrder::Little, ByteOrder::Big};

OwnedExifValue ascii(std::string_view content)
{
    OwnedExifValue value {ExifType::Ascii, static_cast<std::uint32_t>(content.size()), {}};
    append(value.bytes, content);
    return value;
}

} // namespace

TEST(Metadata, DescribesACamerasTagsUnderTheStandardsNames)
{
    auto const properties = described(canonMetadata());
    struct {
        std::string_view dictionary, key;
        PropertyValue value;
    } const expected[] = {
        {key::kTiff, "Make", "Canon"},
        {key::kTiff, "Orientation", 1},
        {key::kTiff, "XResolution", 180.0},
        {key::kExif, "ExposureTime", 1 / 500.0},
        {key::kExif, "DateTimeDigitized", "2003:12:14 12:01:44"},
        {key::kExif, "ExifVersion", "0220"},
        {key::kExif, "ComponentsConfiguration", PropertyArray {1, 2, 3, 0}},
        {key::kExif, "FileSource", 3},
        {key::kExif, "ColorSpace", 1},
        {key::kExif, "PixelXDimension", 2272},
        {key::kExif, "ExposureBiasValue", 0.0},
    };
    for (auto const& row : expected) {
        auto const* const value = entry(properties, row.dictionary, row.key);
        ASSERT_TRUE(value) << row.key;
        EXPECT_EQ(*value, row.value) << row.key;
    }
    EXPECT_EQ(*find(properties, key::kOrientation), PropertyValue(1));
    EXPECT_FALSE(entry(properties, key::kExif, "MakerNote"));
    // The camera wrote only zeros after the comment's character code.
    EXPECT_FALSE(entry(properties, key::kExif, "UserComment"));
    EXPECT_FALSE(find(properties, key::kGps));
}

TEST(Metadata, EditsNothingButWhatItIsAskedTo)
{
    auto const before = canonExif();
    auto const original = ExifBlock::parse(before);
    auto metadata = canonMetadata();
    EXPECT_FALSE(
        metadata.apply({{"{TIFF}", "Make", PropertyValue("Canon")}, {"{TIFF}", "Colour", PropertyValue(1)},
            {"{PNG}", "Artist", PropertyValue("A")}, {"{Exif}", "Gamma", std::nullopt}}));
    EXPECT_EQ(metadata.exif(), before);
    ASSERT_TRUE(metadata.apply({{"{TIFF}", "Artist", PropertyValue("Ännchen von Tharau")}}));
    EXPECT_EQ(text(metadata, "{TIFF}", "Artist"), "Ännchen von Tharau");

    auto const after = metadata.exif();
    auto const edited = ExifBlock::parse(after);
    ASSERT_TRUE(edited);
    for (std::size_t i = 0; i < kExifDirectoryCount; ++i) {
        auto const directory = static_cast<ExifDirectory>(i);
        for (auto const& field : original->directory(directory).entries) {
            auto const old = *original->value(directory, field.tag);
            auto const now = edited->value(directory, field.tag);
            ASSERT_TRUE(now) << field.tag;
            EXPECT_TRUE(std::ranges::equal(old.bytes, now->bytes) && old.type == now->type) << field.tag;
        }
    }
    // The offsets inside a maker note count from the block's start, so it must not move.
    auto const offsetOf = [](ExifBlock const& block, ByteSpan bytes) {
        return block.value(ExifDirectory::Photo, tag::kMakerNote)->bytes.data() - bytes.data();
    };
    EXPECT_EQ(offsetOf(*original, before), offsetOf(*edited, after));
    EXPECT_EQ(canonMetadata().preview(), metadata.preview());
}

TEST(Metadata, EditsInPlaceWhatKeepsItsSize)
{
    auto metadata = canonMetadata();
    metadata.setOrientation(6);
    metadata.setPixelSize({1136, 852});
    metadata.setResolution({300, 300});
    auto const exif = metadata.exif();
    EXPECT_EQ(exif.size(), canonExif().size());
    EXPECT_EQ(metadata.orientation(), 6);
    EXPECT_EQ(metadata.resolution(), (Resolution {300, 300}));
    auto const block = ExifBlock::parse(exif);
    EXPECT_EQ(block->integer(ExifDirectory::Photo, tag::kPixelXDimension), 1136u);
    EXPECT_EQ(block->integer(ExifDirectory::Interop, tag::kRelatedImageLength), 852u);
    EXPECT_EQ(block->value(ExifDirectory::Photo, tag::kPixelYDimension)->type, ExifType::Short);
    EXPECT_FALSE(block->value(ExifDirectory::Image, tag::kImageWidth));
}

TEST(Metadata, LeavesNoTraceOfWhatIsRemoved)
{
    auto metadata = canonMetadata();
    metadata.apply({{"{TIFF}", "Artist", PropertyValue("Somebody Secret")},
        {"{GPS}", "GPSMapDatum", PropertyValue("Secret Place")}});
    ASSERT_TRUE(contains(metadata.exif(), "Secret Place"));
    EXPECT_TRUE(metadata.apply({{"{TIFF}", "Artist", std::nullopt}, {"{GPS}", "GPSMapDatum", std::nullopt},
        {"{GPS}", "GPSVersionID", std::nullopt}}));
    EXPECT_FALSE(contains(metadata.exif(), "Secret"));
    EXPECT_FALSE(find(described(metadata), key::kGps));
    EXPECT_EQ(described(metadata), described(canonMetadata()));
}

TEST(Metadata, ReplacesThePreviewAgainAndAgainWithoutGrowing)
{
    auto metadata = canonMetadata();
    auto const large = jpegOfSize(6000), small = jpegOfSize(500);
    metadata.setPreview(large);
    auto const size = metadata.exif().size();
    for (int i = 0; i < 10; ++i) {
        metadata.setPreview(small);
        ASSERT_EQ(metadata.preview(), small);
        metadata.setPreview(large);
        ASSERT_EQ(metadata.preview(), large);
    }
    EXPECT_LE(metadata.exif().size(), size + 16);
    metadata.setPreview({});
    EXPECT_TRUE(metadata.preview().empty());
    EXPECT_LE(metadata.exif().size(), canonExif().size());
    EXPECT_EQ(described(metadata), described(canonMetadata()));

    Metadata fresh;
    fresh.setPreview(small);
    EXPECT_EQ(fresh.preview(), small);
    // A preview that makes the block too large for a JPEG is given up.
    metadata.setPreview(jpegOfSize(70'000));
    EXPECT_TRUE(metadata.preview().empty());
    EXPECT_EQ(described(metadata), described(canonMetadata()));
}

TEST(Metadata, WritesEachKindOfValueAndReadsItBack)
{
    auto const blob = PropertyValue(shareBytes(asBytes("\x01\x02\x03\x04\x05\x06")));
    struct {
        std::string_view dictionary, key;
        PropertyValue in;
        std::optional<PropertyValue> out;
    } const cases[] = {
        {"{TIFF}", "Artist", "Ω 摄影师", "Ω 摄影师"},
        {"{TIFF}", "Artist", "ab", "ab"},
        {"{TIFF}", "DateTime", PropertyDate {2024, 2, 29, 23, 5, 9}, "2024:02:29 23:05:09"},
        {"{TIFF}", "Orientation", 8, 8},
        {"{TIFF}", "Orientation", 9, std::nullopt},
        {"{TIFF}", "Orientation", "8", std::nullopt},
        {"{TIFF}", "WhitePoint", PropertyArray {0.3127, 0.329}, PropertyArray {0.3127, 0.329}},
        {"{TIFF}", "WhitePoint", PropertyArray {0.3127}, std::nullopt},
        {"{TIFF}", "XPTitle", "Grüße 😀", "Grüße 😀"},
        {"{Exif}", "ExposureTime", 0.0125f, 0.0125},
        {"{Exif}", "ExposureBiasValue", -1.5, -1.5},
        {"{Exif}", "FNumber", -1.5, std::nullopt},
        {"{Exif}", "FNumber", 8, 8.0},
        {"{Exif}", "FNumber", "f/8", std::nullopt},
        {"{Exif}", "ISOSpeedRatings", PropertyArray {100, 200}, PropertyArray {100, 200}},
        {"{Exif}", "ISOSpeedRatings", 70000, std::nullopt},
        {"{Exif}", "PixelXDimension", 70000.0, 70000},
        {"{Exif}", "Flash", 1.5, std::nullopt},
        {"{Exif}", "UserComment", "plain", "plain"},
        {"{Exif}", "UserComment", "Grüße 😀", "Grüße 😀"},
        {"{Exif}", "ExifVersion", "0231", "0231"},
        {"{Exif}", "ExifVersion", "2.31", "2.31"},
        {"{Exif}", "ExifVersion", "1", std::nullopt},
        {"{Exif}", "SceneType", 1, 1},
        {"{Exif}", "CFAPattern", blob, blob},
        {"{Exif}", "LensSpecification", PropertyArray {24, 70, 2.8, 4}, PropertyArray {24.0, 70.0, 2.8, 4.0}},
        {"{GPS}", "GPSLatitude", PropertyArray {48, 8, 15.25}, PropertyArray {48.0, 8.0, 15.25}},
        {"{GPS}", "GPSLatitudeRef", "N", "N"},
        {"{GPS}", "GPSAltitudeRef", 1, 1},
        {"{GPS}", "GPSProcessingMethod", "GPS", "GPS"},
        {"{IPTC}", "Caption", "Straße", "Straße"},
        {"{IPTC}", "Keywords", PropertyArray {"one", "zwölf"}, PropertyArray {"one", "zwölf"}},
        {"{IPTC}", "Keywords", "one", PropertyArray {"one"}},
        {"{IPTC}", "City", PropertyArray {"one", "two"}, std::nullopt},
        {"{IPTC}", "Urgency", 5, "5"},
    };
    for (auto const order : kOrders) {
        for (auto const& row : cases) {
            ExifEditor seed({}, order);
            seed.set(ExifDirectory::Image, tag::kMake, ascii(std::string_view("Maker\0", 6)));
            Metadata metadata;
            metadata.setExif(seed.finish());
            PropertyChange const change {std::string(row.dictionary), std::string(row.key), row.in};
            EXPECT_EQ(metadata.apply({change}), row.out.has_value()) << row.key;
            auto const properties = described(metadata);
            auto const* const value = entry(properties, row.dictionary, row.key);
            ASSERT_EQ(value != nullptr, row.out.has_value()) << row.key;
            if (!value)
                continue;
            EXPECT_EQ(*value, *row.out) << row.key;
            EXPECT_EQ(metadata.exif()[0], order == ByteOrder::Little ? 'I' : 'M');
            EXPECT_FALSE(metadata.apply({change})) << row.key;
        }
    }
}

TEST(Metadata, FindsGoodFractions)
{
    struct {
        double number;
        std::uint32_t numerator, denominator;
    } const cases[] = {{0.008, 1, 125}, {1 / 3.0, 1, 3}, {5.6, 28, 5}, {72, 72, 1}, {0, 0, 1},
        {4294967295.0, 0xFFFFFFFF, 1}, {29.97, 2997, 100}};
    for (auto const& row : cases) {
        auto const value = exifRational(row.number, ExifType::Rational, ByteOrder::Big);
        ASSERT_TRUE(value) << row.number;
        EXPECT_EQ(loadBE32(value->bytes.data()), row.numerator) << row.number;
        EXPECT_EQ(loadBE32(value->bytes.data() + 4), row.denominator) << row.number;
    }
    for (auto const number : {3.14159265358979, 1e-7, 48.1374823, 123456.789})
        EXPECT_NEAR(*exifNumber(*exifRational(number, ExifType::SignedRational, ByteOrder::Little), 0,
                        ByteOrder::Little),
            number, number * 1e-8);
    for (auto const number : {-1.0, 1e10, std::nan(""), HUGE_VAL})
        EXPECT_FALSE(exifRational(number, ExifType::Rational, ByteOrder::Little)) << number;
}

TEST(Metadata, ReadsTextAsItsWriterMeantIt)
{
    using namespace std::string_view_literals;
    struct {
        std::uint16_t tag;
        ExifType type;
        std::string_view bytes;
        std::string_view key, expected;
    } const cases[] = {
        {0x013B, ExifType::Ascii, "J\xF6rg \0"sv, "Artist", "Jörg"},
        {0x013B, ExifType::Ascii, "J\xC3\xB6rg\0rubbish\0"sv, "Artist", "Jörg"},
        {0x013B, ExifType::Byte, "Joe\0"sv, "Artist", "Joe"},
        {0x8298, ExifType::Ascii, "Ann\0Ed\0"sv, "Copyright", "Ann; Ed"},
        {0x8298, ExifType::Ascii, " \0Ed\0"sv, "Copyright", "Ed"},
        {0x9286, ExifType::Undefined, "UNICODE\0\0G\0o"sv, "UserComment", "Go"},
        {0x9286, ExifType::Undefined, "UNICODE\0G\0o\0"sv, "UserComment", "Go"},
        {0x9286, ExifType::Undefined, "\0\0\0\0\0\0\0\0bare  "sv, "UserComment", "bare"},
        {0x9286, ExifType::Undefined, "ASCII\0\0\0text\0\0"sv, "UserComment", "text"},
        {0x9286, ExifType::Undefined, "JIS\0\0\0\0\0\x1b$B"sv, "UserComment", "\x1b$B"},
    };
    for (auto const order : kOrders) {
        for (auto const& row : cases) {
            bool const isPhoto = row.tag == 0x9286;
            auto value = ascii(row.bytes);
            value.type = row.type;
            ExifEditor editor({}, order);
            editor.set(isPhoto ? ExifDirectory::Photo : ExifDirectory::Image, row.tag, value);
            Metadata metadata;
            metadata.setExif(editor.finish());
            EXPECT_EQ(text(metadata, isPhoto ? "{Exif}" : "{TIFF}", row.key), row.expected);
        }
    }
}

TEST(Metadata, UnderstandsResolutionsOnlyWhereTheyMakeSense)
{
    struct {
        std::optional<double> x, y;
        std::optional<std::uint32_t> unit;
        std::optional<Resolution> expected;
    } const cases[] = {
        {300, 150, 2, Resolution {300, 150}},
        {100, 100, 3, Resolution {254, 254}},
        {300, 300, std::nullopt, Resolution {300, 300}},
        {std::nullopt, 96, 2, Resolution {96, 96}},
        {4, 3, 1, std::nullopt},
        {0, 0, 2, std::nullopt},
        {std::nullopt, std::nullopt, 2, std::nullopt},
    };
    for (auto const& row : cases) {
        ExifEditor editor({});
        auto const setNumber = [&](std::uint16_t tag, std::optional<double> number) {
            if (number)
                editor.set(
                    ExifDirectory::Image, tag, *exifRational(*number, ExifType::Rational, editor.order()));
        };
        setNumber(tag::kXResolution, row.x);
        setNumber(tag::kYResolution, row.y);
        if (row.unit)
            editor.setInteger(ExifDirectory::Image, tag::kResolutionUnit, ExifType::Short, *row.unit);
        Metadata metadata;
        metadata.setExif(editor.finish());
        EXPECT_EQ(metadata.resolution(), row.expected);
    }
}

TEST(Metadata, TakesOnlyWhatDescribesAPictureFromATiffFile)
{
    for (auto const order : kOrders) {
        ExifEditor file({}, order);
        for (auto const tag :
            {0x0100, 0x0101, 0x0103, 0x0106, 0x0111, 0x0116, 0x0117, 0x011C, 0x014A, 0x02BC, 0xC612})
            file.setInteger(ExifDirectory::Image, static_cast<std::uint16_t>(tag), ExifType::Long, 7);
        file.set(ExifDirectory::Image, tag::kMake, ascii(std::string_view("Maker of things\0", 16)));
        file.setInteger(ExifDirectory::Image, tag::kOrientation, ExifType::Short, 3);
        file.set(ExifDirectory::Photo, 0x829A, *exifRational(0.5, ExifType::Rational, order));
        file.set(ExifDirectory::Gps, 0x0001, ascii(std::string_view("N\0", 2)));
        file.setPreview(jpegOfSize(100)); // a second page as far as a TIFF reader knows

        Metadata metadata;
        metadata.setExifFromTiffFile(file.finish());
        auto const exif = metadata.exif();
        auto const block = ExifBlock::parse(exif);
        ASSERT_TRUE(block);
        EXPECT_EQ(block->order(), order);
        std::vector<std::uint16_t> tags;
        for (auto const& field : block->directory(ExifDirectory::Image).entries)
            tags.push_back(field.tag);
        EXPECT_EQ(tags,
            (std::vector<std::uint16_t> {
                tag::kMake, tag::kOrientation, tag::kExifPointer, tag::kGpsPointer}));
        EXPECT_TRUE(block->directory(ExifDirectory::Preview).entries.empty());
        EXPECT_EQ(text(metadata, "{TIFF}", "Make"), "Maker of things");
        EXPECT_EQ(*entry(described(metadata), "{Exif}", "ExposureTime"), PropertyValue(0.5));

        Metadata little;
        little.setExif(metadata.exifLittleEndian());
        EXPECT_EQ(little.exif()[0], 'I');
        EXPECT_EQ(described(little), described(metadata));
        metadata.setPreview(jpegOfSize(77));
        little.setExif(metadata.exifLittleEndian());
        EXPECT_EQ(little.preview(), jpegOfSize(77));
    }
}

TEST(Metadata, TakesMakerNotesFromATiffFile)
{
    // A camera's block, with the fields of a TIFF file's pixels around it.
    ExifEditor file(canonExif());
    file.setInteger(ExifDirectory::Image, 0x0111, ExifType::Long, 8);
    file.setInteger(ExifDirectory::Image, 0x0117, ExifType::Long, 100);
    Metadata metadata;
    metadata.setExifFromTiffFile(file.finish());
    auto const exif = metadata.exif();
    auto const block = ExifBlock::parse(exif);
    ASSERT_TRUE(block);
    EXPECT_FALSE(block->value(ExifDirectory::Image, 0x0111));
    auto const note = block->value(ExifDirectory::Photo, tag::kMakerNote);
    ASSERT_TRUE(note);
    EXPECT_TRUE(contains(note->bytes, "IMG:PowerShot S40 JPEG"));
    EXPECT_TRUE(contains(note->bytes, "Andreas Huggel"));
    EXPECT_EQ(*entry(described(metadata), "{Exif}", "ExposureTime"), PropertyValue(1 / 500.0));
}

TEST(Metadata, KeepsTheOtherDataSetsOfIptc)
{
    using namespace std::string_view_literals;
    // Latin-1 caption, an unknown data set of record 3, and an unnamed one of record 2.
    auto const iim =
        "\x1C\x02\x00\x00\x02\x00\x04\x1C\x02\x78\x00\x04gr\xFCn\x1C\x02\xC8\x00\x02xy\x1C\x03\x0A\x00\x01z\0\0"sv;
    Metadata metadata;
    metadata.setIptc(asBytes(iim));
    EXPECT_EQ(metadata.iptc().size(), iim.size());
    EXPECT_EQ(text(metadata, "{IPTC}", "Caption"), "grün");

    ASSERT_TRUE(metadata.apply({{"{IPTC}", "City", PropertyValue("Bonn")}}));
    EXPECT_TRUE(contains(metadata.iptc(),
        "\x1C\x02\x5A\x00\x04"
        "Bonn\x1C\x02\x78\x00\x04gr\xFCn"sv));
    EXPECT_TRUE(contains(metadata.iptc(), "\x1C\x02\xC8\x00\x02xy\x1C\x03\x0A\x00\x01z"sv));
    // One text in UTF-8 makes all of them so, and says it.
    ASSERT_TRUE(metadata.apply({{"{IPTC}", "City", PropertyValue("Köln")}}));
    EXPECT_TRUE(contains(metadata.iptc(), "\x1C\x01\x5A\x00\x03\x1B%G"sv));
    EXPECT_TRUE(contains(metadata.iptc(), "grün"));
    EXPECT_EQ(text(metadata, "{IPTC}", "Caption"), "grün");

    Metadata fresh;
    ASSERT_TRUE(fresh.apply({{"{IPTC}", "Caption", PropertyValue("one")}}));
    EXPECT_EQ(asText(fresh.iptc()), "\x1C\x02\x00\x00\x02\x00\x04\x1C\x02\x78\x00\x03one"sv);
    ASSERT_TRUE(fresh.apply({{"{IPTC}", "Caption", std::nullopt}}));
    EXPECT_TRUE(fresh.isEmpty());
}

TEST(Metadata, KeepsXmpInLineWithTurnsAndSizes)
{
    Metadata metadata;
    metadata.setXmp(
        "<d xmp:CreatorTool='tiff:Orientation' tiff:Orientation=\"6\" tiff:ImageWidth = '100'>"
        "<exif:PixelXDimension>100</exif:PixelXDimension><tiff:ImageLengthX>5</tiff:ImageLengthX></d>");
    metadata.setOrientation(1);
    metadata.setPixelSize({1234, 5});
    EXPECT_EQ(metadata.xmp(),
        "<d xmp:CreatorTool='tiff:Orientation' tiff:Orientation=\"1\" tiff:ImageWidth = '1234'>"
        "<exif:PixelXDimension>1234</exif:PixelXDimension><tiff:ImageLengthX>5</tiff:ImageLengthX></d>");
    EXPECT_TRUE(metadata.exif().empty());

    metadata.setXmp("<d tiff:Orientation='6'/>");
    metadata.apply({{"{TIFF}", "Artist", PropertyValue("Ann")}});
    EXPECT_EQ(metadata.xmp(), "<d tiff:Orientation='6'/>");
    metadata.apply({{"{TIFF}", "Orientation", PropertyValue(3)}});
    EXPECT_EQ(metadata.xmp(), "<d tiff:Orientation='3'/>");
}

TEST(Metadata, CopiesAreIndependent)
{
    auto const original = canonMetadata();
    auto copy = original;
    copy.setOrientation(3);
    EXPECT_EQ(original.orientation(), 1);
    EXPECT_EQ(original.exif(), canonExif());
    auto const moved = std::move(copy);
    EXPECT_EQ(moved.orientation(), 3);
}

TEST(Metadata, SurvivesBrokenBlocks)
{
    auto const exercise = [](Bytes const& block, bool asFile) {
        Metadata metadata;
        if (asFile)
            metadata.setExifFromTiffFile(block);
        else
            metadata.setExif(block);
        metadata.setIptc(block);
        (void)described(metadata);
        (void)metadata.preview();
        metadata.setPixelSize({10, 10});
        metadata.apply({{"{TIFF}", "Artist", PropertyValue("A somewhat longer name")},
            {"{TIFF}", "Make", std::nullopt}, {"{Exif}", "UserComment", PropertyValue("x")},
            {"{GPS}", "GPSLatitudeRef", PropertyValue("S")}, {"{IPTC}", "City", PropertyValue("Köln")}});
        EXPECT_EQ(text(metadata, "{TIFF}", "Artist"), "A somewhat longer name");
        metadata.setPreview(jpegOfSize(300));
        EXPECT_EQ(metadata.preview().size(), 300u);
        metadata.setPreview({});
        EXPECT_EQ(text(metadata, "{GPS}", "GPSLatitudeRef"), "S");
        (void)metadata.exifLittleEndian();
    };
    auto const whole = canonExif();
    for (std::size_t length = 0; length < 1000; length += 3)
        exercise(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)), length % 2 == 0);
    std::mt19937 random(4711);
    for (int i = 0; i < 1500; ++i) {
        auto block = whole;
        // Most of the structure lies in the first kilobyte.
        for (unsigned change = 0; change < 1 + random() % 12; ++change)
            block[4 + random() % 1000] = static_cast<std::uint8_t>(random() % 4 == 0 ? 0xFF : random());
        exercise(block, i % 8 == 0);
    }
}

} // namespace velk::codec
