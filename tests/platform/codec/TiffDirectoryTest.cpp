#include "platform/codec/TiffDirectory.h"

#include "platform/codec/TiffExifBlock.h"
#include "platform/codec/TiffMetadata.h"
#include "platform/codec/TiffReferences.h"
#include "platform/codec/TiffTestFiles.h"

#include <gtest/gtest.h>

#include <cmath>

namespace velk::codec::tiff {

using test::kBig;
using test::kBig64;
using test::kLittle;
using test::kLittle64;

namespace {

constexpr std::array kFormats = {kLittle, kBig, kLittle64, kBig64};

// A file of nothing but directories; each is given by its fields and followed by the next.
Bytes directoriesOnly(Format format, std::vector<std::vector<Field>> const& directories)
{
    Bytes file(format.headerSize());
    std::uint64_t next = 0;
    for (auto fields = directories.rbegin(); fields != directories.rend(); ++fields) {
        DirectoryBuilder builder(format);
        for (auto const& field : *fields)
            builder.set(field);
        auto const layout = builder.serialise(file.size(), next);
        append(file, ByteSpan(layout.bytes));
        file.resize(file.size() + file.size() % 2);
        next = layout.directoryOffset;
    }
    auto const header = fileHeader(format, next);
    std::copy(header.begin(), header.end(), file.begin());
    return file;
}

int countDirectories(DirectoryReader const& reader)
{
    int count = 0;
    reader.forEachDirectory([&](Directory const&) { ++count; });
    return count;
}

std::string name(Format format)
{
    return fmt::format(
        "{}{}", format.isBig ? "BigTIFF " : "TIFF ", format.order == ByteOrder::Big ? "MM" : "II");
}

} // namespace

TEST(TiffDirectory, ReadsBackWhatItWritesInEveryFormat)
{
    for (auto const format : kFormats) {
        SCOPED_TRACE(name(format));
        Field const floats {5, FieldType::Float, 1, {}};
        auto numbers = floats;
        append(numbers.values, std::bit_cast<std::uint32_t>(2.5f), format.order);
        Field negative {6, FieldType::SShort, 2, {}};
        append(negative.values, std::int16_t {-7}, format.order);
        append(negative.values, std::int16_t {9}, format.order);
        auto const file = directoriesOnly(format,
            {{longField(1, 70000, format.order), shortField(2, {1, 2, 3, 4, 5}, format.order),
                 textField(3, "a text that is long"), rationalField(4, {72, 0.3127, 1.0 / 3}, format.order),
                 numbers, negative},
                {longField(1, 5, format.order)}});
        auto const reader = DirectoryReader::open(ByteSpan(file)).value();
        EXPECT_EQ(reader.format(), format);
        EXPECT_EQ(countDirectories(reader), 2);
        auto const first = reader.directory(reader.firstDirectory()).value();
        EXPECT_EQ(reader.integer(first.find(1)), 70000u);
        EXPECT_EQ(reader.integers(first.find(2), 9), (std::vector<std::uint64_t> {1, 2, 3, 4, 5}));
        EXPECT_TRUE(reader.integers(first.find(2), 4).empty());
        EXPECT_EQ(reader.text(first.find(3)), "a text that is long");
        auto const fractions = reader.numbers(first.find(4), 3);
        ASSERT_EQ(fractions.size(), 3u);
        EXPECT_EQ(fractions[0], 72);
        EXPECT_EQ(fractions[1], 0.3127);
        EXPECT_NEAR(fractions[2], 1.0 / 3, 1e-6);
        EXPECT_EQ(reader.numbers(first.find(5), 1), std::vector<double> {2.5});
        EXPECT_EQ(reader.numbers(first.find(6), 2), (std::vector<double> {-7, 9}));
        EXPECT_EQ(reader.integer(first.find(99)), std::nullopt);
    }
}

TEST(TiffDirectory, TextBecomesUtf8WithoutPadding)
{
    struct Row {
        std::string_view stored;
        std::string_view expected;
    };
    for (auto const& [stored, expected] :
        {Row {"Canon   ", "Canon"}, Row {std::string_view("ab\0cd", 5), "ab"},
            Row {"M\xFCller", "M\xC3\xBCller"}, Row {"M\xC3\xBCller", "M\xC3\xBCller"},
            Row {"\xE2\x82\xAC", "\xE2\x82\xAC"}, Row {"\xF5\x80", "\xC3\xB5\xC2\x80"}, Row {"   ", ""}}) {
        auto const file = directoriesOnly(kLittle, {{textField(tag::kMake, stored)}});
        auto const reader = DirectoryReader::open(ByteSpan(file)).value();
        auto const directory = reader.directory(reader.firstDirectory()).value();
        EXPECT_EQ(reader.text(directory.find(tag::kMake)), expected) << stored;
    }
}

TEST(TiffDirectory, NumbersThatNoFractionHoldsStayInRange)
{
    auto const field = rationalField(1, {NAN, -3, 1e30, 4294967295.0}, ByteOrder::Little);
    std::array<double, 4> values {};
    for (std::size_t i = 0; i < 4; ++i)
        values[i] = static_cast<double>(loadLE32(field.values.data() + 8 * i))
            / loadLE32(field.values.data() + 8 * i + 4);
    EXPECT_EQ(values, (std::array<double, 4> {0, 0, 4294967295.0, 4294967295.0}));
}

TEST(TiffDirectory, ChainsThatNeverEndAreLeft)
{
    for (auto const format : kFormats) {
        SCOPED_TRACE(name(format));
        auto file =
            directoriesOnly(format, {{longField(1, 1, format.order)}, {longField(1, 2, format.order)}});
        auto const reader = DirectoryReader::open(ByteSpan(file)).value();
        auto const second = reader.directory(reader.firstDirectory()).value().next;
        // The last directory points back at the first, then at itself.
        for (auto const target : {reader.firstDirectory(), second}) {
            format.storeOffset(file.data() + second + format.countSize() + format.entrySize(), target);
            EXPECT_EQ(countDirectories(reader), 2);
        }
    }
}

// A rewritten file does not keep such an entry, so it must not mean anything before either.
TEST(TiffDirectory, OfValuesBeyondTheEndNoneCounts)
{
    auto file = directoriesOnly(kLittle, {{shortField(tag::kSamplesPerPixel, {3, 3, 3}, kLittle.order)}});
    auto const samples = [&] {
        auto const reader = DirectoryReader::open(ByteSpan(file)).value();
        auto const directory = reader.directory(reader.firstDirectory()).value();
        return reader.integer(directory.find(tag::kSamplesPerPixel));
    };
    EXPECT_EQ(samples(), 3);
    auto const directory = DirectoryReader::open(ByteSpan(file)).value().firstDirectory();
    file[directory + 2 + 4 + 3] = 0x80; // the count
    EXPECT_EQ(samples(), std::nullopt);
}

TEST(TiffDirectory, RefusesWhatCannotBeThere)
{
    auto const good = directoriesOnly(kLittle, {{textField(tag::kMake, "a long enough name")}});
    auto const offset = DirectoryReader::open(ByteSpan(good)).value().firstDirectory();
    struct Row {
        std::size_t at;
        Bytes bytes;
    };
    // Number of entries: none, absurd, more than there are. Values: count, offset and type that lie outside.
    for (auto const& [at, bytes] : {Row {offset, {0, 0}}, Row {offset, {0xFF, 0xFF}}, Row {offset, {9, 0}},
             Row {offset + 6, {0xFF, 0xFF, 0xFF, 0xFF}}, Row {offset + 10, {0xFF, 0xFF, 0xFF, 0x7F}},
             Row {offset + 4, {99, 0}}}) {
        auto file = good;
        std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<std::ptrdiff_t>(at));
        auto const reader = DirectoryReader::open(ByteSpan(file)).value();
        auto const directory = reader.directory(reader.firstDirectory());
        EXPECT_TRUE(!directory || !reader.value(*directory->find(tag::kMake), 1000)) << at;
        EXPECT_TRUE(!directory || reader.text(directory->find(tag::kMake)).empty()) << at;
    }
    for (std::size_t size = 0; size < good.size() - 4; ++size) {
        auto const reader = DirectoryReader::open(ByteSpan(good).first(size));
        EXPECT_FALSE(reader && reader->directory(reader->firstDirectory())) << size;
    }
}

TEST(TiffReferences, DifferenceOfSpans)
{
    using Spans = std::vector<std::pair<int, int>>;
    auto const toRanges = [](Spans const& spans) {
        std::vector<Range> ranges;
        for (auto const& [from, to] : spans)
            ranges.push_back({static_cast<std::uint64_t>(from), static_cast<std::uint64_t>(to - from)});
        return ranges;
    };
    struct Row {
        Spans ranges, without, left;
    };
    for (auto const& [ranges, without, left] : {Row {{{0, 10}}, {}, {{0, 10}}},
             Row {{{0, 10}}, {{0, 10}}, {}}, Row {{{0, 10}}, {{3, 5}}, {{0, 3}, {5, 10}}},
             Row {{{0, 10}, {20, 30}}, {{5, 25}}, {{0, 5}, {25, 30}}},
             Row {{{5, 10}, {12, 14}}, {{0, 6}, {8, 9}, {13, 99}}, {{6, 8}, {9, 10}, {12, 13}}}}) {
        auto const result = difference(toRanges(ranges), toRanges(without));
        auto const expected = toRanges(left);
        ASSERT_EQ(result.size(), expected.size());
        for (std::size_t i = 0; i < result.size(); ++i) {
            EXPECT_EQ(result[i].offset, expected[i].offset);
            EXPECT_EQ(result[i].length, expected[i].length);
        }
    }
}

TEST(PhotoshopResources, IptcIsFoundAndReplaced)
{
    Bytes resources;
    auto const add = [&](std::uint16_t identifier, std::string_view paddedName, std::string_view content) {
        append(resources, std::string_view("8BIM"));
        appendBE16(resources, identifier);
        append(resources, paddedName);
        appendBE32(resources, static_cast<std::uint32_t>(content.size()));
        append(resources, content);
        resources.resize(resources.size() + resources.size() % 2);
    };
    add(0x03ED, std::string_view("\0\0", 2), "resolution");
    add(kPhotoshopIptc, std::string_view("\3abc", 4), "\x1C\x02\x05old");
    add(0x0425, std::string_view("\0\0", 2), "digest of 16 b..");
    add(0x0BB7, std::string_view("\0\0", 2), "path");
    EXPECT_EQ(asText(photoshopResource(resources, kPhotoshopIptc)), "\x1C\x02\x05old");
    EXPECT_TRUE(photoshopResource(resources, 0x1234).empty());

    auto const replaced = replacingPhotoshopIptc(resources, asBytes("\x1C\x02\x05newer"));
    EXPECT_EQ(asText(photoshopResource(replaced, kPhotoshopIptc)), "\x1C\x02\x05newer");
    EXPECT_TRUE(photoshopResource(replaced, 0x0425).empty());
    EXPECT_EQ(asText(photoshopResource(replaced, 0x0BB7)), "path");
    auto const removed = replacingPhotoshopIptc(resources, {});
    EXPECT_TRUE(photoshopResource(removed, kPhotoshopIptc).empty());
    EXPECT_EQ(asText(photoshopResource(removed, 0x03ED)), "resolution");
    // Cut off anywhere, it is searched as far as it goes.
    for (std::size_t size = 0; size < resources.size(); ++size)
        photoshopResource(ByteSpan(resources).first(size), 0x0BB7);
}

namespace {

// An Exif block with a maker note that knows its own place, and a preview.
struct ExifSample {
    Bytes bytes;
    std::uint64_t makerNoteAt = 0;
};

ExifSample exifSample()
{
    ExifSample sample;
    auto& bytes = sample.bytes;
    bytes.resize(8);
    DirectoryBuilder exif(kLittle), preview(kLittle), main(kLittle);
    exif.set(bytesField(tag::kMakerNote, FieldType::Undefined, asBytes("maker note with offsets")));
    exif.set(textField(36867, "2001:02:03 04:05:06"));
    auto const exifLayout = exif.serialise(bytes.size(), 0);
    append(bytes, ByteSpan(exifLayout.bytes));

    main.set(textField(tag::kMake, "Some Camera Maker"));
    main.set(
        longField(tag::kExifIfd, static_cast<std::uint32_t>(exifLayout.directoryOffset), ByteOrder::Little));
    main.set(shortField(531, {1}, ByteOrder::Little));
    auto const mainSize = main.serialise(bytes.size(), 0).bytes.size();
    auto const previewAt = bytes.size() + mainSize + mainSize % 2;
    preview.set(longField(
        tag::kJpegInterchangeFormat, static_cast<std::uint32_t>(previewAt + 50), ByteOrder::Little));
    preview.set(longField(tag::kJpegInterchangeFormatLength, 7, ByteOrder::Little));
    auto const mainLayout = main.serialise(bytes.size(), previewAt);
    append(bytes, ByteSpan(mainLayout.bytes));
    bytes.resize(previewAt);
    append(bytes, ByteSpan(preview.serialise(previewAt, 0).bytes));
    bytes.resize(previewAt + 50);
    append(bytes, std::string_view("PREVIEW"));
    auto const header = fileHeader(kLittle, mainLayout.directoryOffset);
    std::copy(header.begin(), header.end(), bytes.begin());
    sample.makerNoteAt = asText(bytes).find("maker note");
    return sample;
}

} // namespace

TEST(TiffExifBlock, BecomesTheStartOfAFileOfEitherKind)
{
    auto const sample = exifSample();
    for (auto const format : {kLittle, kLittle64}) {
        SCOPED_TRACE(name(format));
        ExifBlock const block(sample.bytes, format);
        EXPECT_EQ(asText(block.bytes()).find("PREVIEW"), std::string_view::npos);
        EXPECT_LT(block.bytes().size(), sample.bytes.size());

        DirectoryBuilder directory(format);
        auto file = block.bytes();
        append(file, ByteSpan(block.addTo(directory, file.size())));
        file.resize(file.size() + file.size() % 2);
        auto const layout = directory.serialise(file.size(), 0);
        append(file, ByteSpan(layout.bytes));
        auto const header = fileHeader(format, layout.directoryOffset);
        std::copy(header.begin(), header.end(), file.begin());

        auto const reader = DirectoryReader::open(ByteSpan(file)).value();
        auto const first = reader.directory(reader.firstDirectory()).value();
        EXPECT_EQ(reader.text(first.find(tag::kMake)), "Some Camera Maker");
        EXPECT_EQ(first.find(531), nullptr);
        auto const exif = reader.directoryAt(first.find(tag::kExifIfd)).value();
        EXPECT_EQ(reader.text(exif.find(36867)), "2001:02:03 04:05:06");
        auto const makerNote = reader.outside(*exif.find(tag::kMakerNote)).value();
        EXPECT_EQ(makerNote.offset, sample.makerNoteAt);
        EXPECT_EQ(asText(reader.value(*exif.find(tag::kMakerNote), 100).value()), "maker note with offsets");
        EXPECT_EQ(countDirectories(reader), 1);
    }
}

TEST(TiffExifBlock, RubbishIsNoExif)
{
    auto const sample = exifSample();
    for (auto const& bytes : {Bytes(), Bytes(3), Bytes(sample.bytes.begin(), sample.bytes.begin() + 40)}) {
        ExifBlock const block(bytes, kLittle);
        DirectoryBuilder directory(kLittle);
        EXPECT_EQ(block.bytes(), Bytes(8));
        EXPECT_TRUE(block.addTo(directory, 8).empty());
        EXPECT_TRUE(directory.isEmpty());
    }
}

} // namespace velk::codec::tiff
