#include "platform/codec/ExifEditor.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace velk::codec {

namespace {

using enum ExifDirectory;

constexpr std::uint16_t kArtist = 0x013B;
constexpr std::uint16_t kModel = 0x0110;
constexpr std::uint16_t kSoftware = 0x0131;

// Blocks by hand, little-endian: header, then IFD0 at 8.
struct RawEntry {
    std::uint16_t tag;
    ExifType type;
    std::uint32_t count, value;
};

Bytes rawBlock(std::vector<RawEntry> const& entries, std::string_view rest, std::uint32_t next = 0)
{
    Bytes block;
    append(block, std::string_view("II*\0\x08\0\0\0", 8));
    appendLE16(block, static_cast<std::uint16_t>(entries.size()));
    for (auto const& entry : entries) {
        appendLE16(block, entry.tag);
        appendLE16(block, static_cast<std::uint16_t>(entry.type));
        appendLE32(block, entry.count);
        appendLE32(block, entry.value);
    }
    appendLE32(block, next);
    append(block, rest);
    return block;
}

// Where the bytes after a directory of `entries` entries begin.
constexpr std::uint32_t after(std::size_t entries)
{
    return static_cast<std::uint32_t>(8 + 2 + 12 * entries + 4);
}

bool setText(ExifEditor& editor, std::uint16_t tag, std::string_view text)
{
    std::string const terminated = std::string(text) + '\0';
    return editor.set(
        Image, tag, {ExifType::Ascii, static_cast<std::uint32_t>(terminated.size()), asBytes(terminated)});
}

std::string textIn(ByteSpan block, std::uint16_t tag)
{
    auto const parsed = ExifBlock::parse(block);
    auto const value = parsed ? parsed->value(Image, tag) : std::nullopt;
    return value ? std::string(asText(value->bytes.first(value->bytes.size() - 1))) : "(none)";
}

} // namespace

TEST(ExifEditor, SparesBytesThatAnotherFieldShares)
{
    auto const block =
        rawBlock({{kModel, ExifType::Ascii, 8, after(2)}, {kArtist, ExifType::Ascii, 8, after(2)}},
            std::string_view("Shared!\0", 8));
    ExifEditor first(block);
    ASSERT_TRUE(setText(first, kArtist, "New one"));
    auto const edited = first.finish();
    EXPECT_EQ(textIn(edited, kModel), "Shared!");
    EXPECT_EQ(textIn(edited, kArtist), "New one");

    ExifEditor second(block);
    second.remove(Image, kArtist);
    second.remove(Image, kModel);
    setText(second, kSoftware, "x");
    EXPECT_EQ(asText(second.finish()).find("Shared"), std::string_view::npos);
}

// IFD1 begins in the value of the Exif directory's first field, and its only field is that one's second.
TEST(ExifEditor, MovesDirectoriesOutOfSharedBytes)
{
    auto const exif = after(1);
    std::string_view const directory("\x02\0"
                                     "\x27\x88\x04\0\x01\0\0\0\0\0\x01\0"
                                     "\x12\x01\x03\0\x01\0\0\0\x03\0\0\0"
                                     "\0\0\0\0",
        30);
    auto const block = rawBlock({{tag::kExifPointer, ExifType::Long, 1, exif}}, directory, exif + 12);
    ASSERT_EQ(ExifBlock::parse(block)->integer(Preview, tag::kOrientation), 3u);

    ExifEditor editor(block);
    editor.setInteger(Preview, tag::kOrientation, ExifType::Short, 6);
    auto const edited = editor.finish();
    auto const parsed = ExifBlock::parse(edited);
    EXPECT_EQ(parsed->integer(Preview, tag::kOrientation), 6u);
    EXPECT_EQ(parsed->integer(Photo, tag::kOrientation), 3u);
}

TEST(ExifEditor, KeepsDirectoriesSortedAndFieldsWithoutValues)
{
    // An unknown type, and a value beyond the end.
    auto const block = rawBlock(
        {{0x0200, static_cast<ExifType>(99), 1, 0x01020304}, {0x9000, ExifType::Long, 50, 7000}}, "");
    ExifEditor editor(block);
    setText(editor, kArtist, "In front");
    setText(editor, 0x8298, "Between");
    editor.setInteger(Image, 0xFFFF, ExifType::Short, 9);
    auto const edited = editor.finish();
    auto const parsed = ExifBlock::parse(edited);
    ASSERT_TRUE(parsed);
    auto const& entries = parsed->directory(Image).entries;
    ASSERT_EQ(entries.size(), 5u);
    EXPECT_TRUE(
        std::is_sorted(entries.begin(), entries.end(), [](auto& a, auto& b) { return a.tag < b.tag; }));
    EXPECT_EQ(loadLE32(entries[1].field.data()), 0x01020304u);
    EXPECT_EQ(entries[3].count, 50u);
    EXPECT_EQ(loadLE32(entries[3].field.data()), 7000u);
    EXPECT_FALSE(parsed->value(Image, 0x9000));
}

TEST(ExifEditor, UsesSpaceAgain)
{
    ExifEditor start({});
    setText(start, kArtist, "Somebody with a name");
    setText(start, kModel, "M");
    auto block = start.finish();
    auto const size = block.size();
    for (int i = 0; i < 20; ++i) {
        ExifEditor shorter(block);
        setText(shorter, kArtist, "Short name");
        block = shorter.finish();
        ExifEditor longer(block);
        setText(longer, kArtist, i % 2 ? "Somebody with a name" : "Another one, as long");
        longer.remove(Image, kSoftware);
        block = longer.finish();
    }
    EXPECT_LE(block.size(), size + 24);
    EXPECT_EQ(textIn(block, kModel), "M");
}

TEST(ExifEditor, BuildsAndRemovesWholeDirectories)
{
    for (auto const order : {ByteOrder::Little, ByteOrder::Big}) {
        ExifEditor editor({}, order);
        editor.setInteger(Interop, 0x1001, ExifType::Long, 640);
        editor.setInteger(Photo, 0xA001, ExifType::Short, 1);
        editor.setInteger(Gps, 0x001E, ExifType::Short, 1);
        auto const block = editor.finish();
        auto const parsed = ExifBlock::parse(block);
        ASSERT_TRUE(parsed);
        EXPECT_EQ(parsed->order(), order);
        EXPECT_EQ(parsed->integer(Interop, 0x1001), 640u);
        EXPECT_EQ(parsed->integer(Gps, 0x001E), 1u);
        EXPECT_EQ(asText(parsed->value(Photo, tag::kExifVersion)->bytes), "0232");

        ExifEditor remover(block);
        EXPECT_TRUE(remover.remove(Interop, 0x1001));
        EXPECT_FALSE(remover.remove(Interop, 0x1001));
        remover.remove(Photo, 0xA001);
        remover.remove(Photo, tag::kExifVersion);
        remover.remove(Gps, 0x001E);
        remover.remove(Gps, tag::kGpsVersion);
        EXPECT_TRUE(remover.finish().empty());
    }
    EXPECT_TRUE(ExifEditor({}).finish().empty());
}

TEST(ExifEditor, CompletesDirectoriesThatTheEndCutsOff)
{
    auto block = rawBlock({{kModel, ExifType::Ascii, 2, 'M'}, {kArtist, ExifType::Ascii, 2, 'A'}}, "");
    block.resize(block.size() - 10); // the link and part of the second entry
    ExifEditor editor(block);
    setText(editor, kSoftware, "A long name of software");
    auto const edited = editor.finish();
    EXPECT_EQ(textIn(edited, kModel), "M");
    EXPECT_EQ(textIn(edited, kArtist), "(none)");
    EXPECT_EQ(textIn(edited, kSoftware), "A long name of software");
}

TEST(ExifBlock, GoesRoundNoLoops)
{
    // IFD0 is its own Exif directory and its own successor.
    auto const block = rawBlock(
        {{tag::kExifPointer, ExifType::Long, 1, 8}, {tag::kGpsPointer, ExifType::Long, 1, 8}}, "", 8);
    auto const parsed = ExifBlock::parse(block);
    ASSERT_TRUE(parsed);
    for (auto const directory : {Photo, Gps, Interop, Preview})
        EXPECT_TRUE(parsed->directory(directory).entries.empty());

    // Five thousand entries in a directory that claims ten times as many.
    Bytes large = rawBlock(std::vector<RawEntry>(5000, {kModel, ExifType::Ascii, 2, 'M'}), "");
    large[8] = large[9] = 0xFF;
    ASSERT_TRUE(ExifBlock::parse(large));
    ExifEditor editor(large);
    EXPECT_TRUE(setText(editor, tag::kMake, "still works"));
    EXPECT_EQ(textIn(editor.finish(), tag::kMake), "still works");
}

TEST(ExifBlock, ReadsNumbersOfEveryType)
{
    struct {
        ExifType type;
        std::uint32_t stored;
        std::int64_t expected;
    } const cases[] = {{ExifType::Byte, 0xFE, 0xFE}, {ExifType::SignedByte, 0xFE, -2},
        {ExifType::Short, 0xFFFE, 0xFFFE}, {ExifType::SignedShort, 0xFFFE, -2},
        {ExifType::Long, 0xFFFFFFFE, 0xFFFFFFFE}, {ExifType::SignedLong, 0xFFFFFFFE, -2},
        {ExifType::Ifd, 12, 12}};
    for (auto const& row : cases) {
        auto const block = rawBlock({{kModel, row.type, 1, row.stored}}, "");
        auto const parsed = ExifBlock::parse(block);
        EXPECT_EQ(exifInteger(*parsed->value(Image, kModel), 0, ByteOrder::Little), row.expected);
        EXPECT_EQ(parsed->integer(Image, kModel).has_value(), row.expected >= 0);
    }
    using namespace std::string_view_literals;
    for (auto const header : {""sv, "II"sv, "II*\0\x08\0"sv, "IM*\0\x08\0\0\0"sv, "II+\0\x08\0\0\0"sv})
        EXPECT_FALSE(ExifBlock::parse(asBytes(header)));
}

} // namespace velk::codec
