#include "platform/codec/PngTestFiles.h"
#include "platform/codec/PngText.h"
#include "platform/codec/PropertyKeys.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velk::codec {

using namespace graphics;
using namespace test;

namespace {

std::string const kExif("II*\0\10\0\0\0\0\0\0\0\0\0", 14);

TestChunk textChunk(std::string const& keyword, std::string const& text)
{
    return chunk("tEXt", keyword + std::string(1, '\0') + text);
}

TestChunk rawProfileChunk(std::string_view name, std::string_view block)
{
    Bytes bytes;
    appendRawProfile(bytes, name, asBytes(block));
    return chunk("zTXt", asText(ByteSpan(bytes).subspan(8, bytes.size() - 12)));
}

Bytes profile()
{
    Bytes bytes(132);
    std::ranges::copy(std::string_view("RGB "), bytes.begin() + 16);
    std::ranges::copy(std::string_view("acsp"), bytes.begin() + 36);
    return bytes;
}

std::string typesIn(Bytes const& file)
{
    return typesOf(chunksOf(file));
}

class PngRewrite : public testing::Test {
protected:
    // A palette image with `head` in front of the palette, `middle` behind it, `tail` behind the pixels,
    // which lie in two chunks.
    void makeFile(std::vector<TestChunk> const& head, std::vector<TestChunk> const& middle = {},
        std::vector<TestChunk> const& tail = {})
    {
        PngHeader const header {{8, 8}, 2, PngColorType::Indexed, false};
        auto const data =
            imageData(header, [](int x, int y, int) { return static_cast<unsigned>(x ^ y) & 3; }).data;
        std::vector<TestChunk> chunks = {headerChunk(header)};
        chunks.insert(chunks.end(), head.begin(), head.end());
        chunks.push_back(chunk("PLTE", "aaabbbcccddd"));
        chunks.insert(chunks.end(), middle.begin(), middle.end());
        chunks.push_back({"IDAT", Bytes(data.begin(), data.begin() + 5)});
        chunks.push_back({"IDAT", Bytes(data.begin() + 5, data.end())});
        chunks.insert(chunks.end(), tail.begin(), tail.end());
        chunks.push_back({"IEND", {}});
        setFile(pngFile(chunks));
    }

    void setFile(Bytes bytes)
    {
        m_original = std::move(bytes);
        writeBytes(m_directory / "in.png", m_original);
        m_source = openImage(m_directory / "in.png").value();
    }

    RewriteJob job() const { return {.source = *m_source, .metadata = m_source->metadata()}; }

    Bytes rewritten(RewriteJob const& job) const
    {
        auto const* codec = codecForType("public.png");
        EXPECT_TRUE(codec->canRewrite(job));
        auto output = AtomicFile::create(m_directory / "out.png").value();
        EXPECT_TRUE(codec->rewrite(job, output));
        EXPECT_TRUE(output.commit(m_directory / "out.png"));
        return readBytes(m_directory / "out.png");
    }

    TemporaryDirectory m_directory;
    Bytes m_original;
    std::shared_ptr<ImageSource const> m_source;
};

} // namespace

TEST_F(PngRewrite, WithoutChangesEveryByteStays)
{
    makeFile({chunk("gAMA", std::string("\0\0\xB1\x8F", 4)), textChunk("Title", "x")}, {chunk("prVt", "?")},
        {chunk("eXIf", kExif), textChunk("Comment", "late")});
    EXPECT_EQ(rewritten(job()), m_original);
    // Metadata that counts as changed and is the same; bytes behind the end; a file cut in its pixels.
    auto same = job();
    same.metadataChanged = true;
    EXPECT_EQ(rewritten(same), m_original);
    auto const whole = m_original;
    auto longer = whole;
    append(longer, std::string_view("something behind"));
    setFile(longer);
    EXPECT_EQ(rewritten(job()), longer);
    setFile(Bytes(whole.begin(), whole.end() - 70));
    EXPECT_EQ(rewritten(job()), m_original);
}

TEST_F(PngRewrite, NewChunksGoToTheirPlacesAndNothingElseChanges)
{
    makeFile({}, {chunk("prVt", "?")}, {chunk("prVT", "!")});
    auto changed = job();
    changed.profile = shareBytes(profile());
    changed.profileChanged = true;
    changed.metadata.setExif(asBytes(kExif));
    changed.metadata.setXmp("<x:xmpmeta/>");
    changed.metadata.setIptc(asBytes(std::string("\x1C\2\5\0\3Hey", 8)));
    changed.metadataChanged = true;
    changed.resolution = Resolution {300, 300};
    changed.changes = {{"{PNG}", "Title", PropertyValue("new")}};
    auto const result = rewritten(changed);
    EXPECT_EQ(typesIn(result), "IHDR iCCP PLTE prVt tEXt pHYs eXIf iTXt zTXt IDAT IDAT prVT IEND");
    auto const before = chunksOf(m_original), after = chunksOf(result);
    for (auto const& old : before)
        EXPECT_THAT(after, testing::Contains(old));
    auto const reread = openImage(m_directory / "out.png").value();
    EXPECT_EQ(*reread->image().space().profile(), profile());
    EXPECT_EQ(reread->metadata().exif(), changed.metadata.exif());
    EXPECT_EQ(reread->metadata().iptc(), changed.metadata.iptc());
    EXPECT_EQ(reread->resolution(), changed.resolution);

    // And out again, which leads back to the file as it was.
    m_source = reread;
    auto removed = job();
    removed.profileChanged = removed.metadataChanged = true;
    removed.metadata = {};
    removed.changes = {{"{PNG}", "Title", std::nullopt}};
    EXPECT_EQ(typesIn(rewritten(removed)), "IHDR PLTE prVt pHYs IDAT IDAT prVT IEND");
}

TEST_F(PngRewrite, ReplacedChunksKeepTheirPlace)
{
    makeFile({textChunk("Title", "one")},
        {chunk("pHYs", std::string("\0\0\1\0\0\0\1\0\1", 9)), chunk("sPLT", "?")},
        {textChunk("Comment", "late"), chunk("eXIf", kExif), textChunk("Title", "two")});
    auto changed = job();
    changed.metadata.setExif(asBytes(kExif + "more"));
    changed.metadataChanged = true;
    changed.resolution = Resolution {72, 72};
    changed.changes = {{"{PNG}", "Title", PropertyValue("1")}, {"{PNG}", "Comment", PropertyValue("\u03a9")}};
    auto const chunks = chunksOf(rewritten(changed));
    EXPECT_EQ(typesOf(chunks), "IHDR tEXt PLTE pHYs sPLT IDAT IDAT iTXt eXIf IEND");
    EXPECT_EQ(chunks[1], textChunk("Title", "1"));
    EXPECT_EQ(chunks[3], chunk("pHYs", std::string("\0\0\x0B\x13\0\0\x0B\x13\1", 9)));
    EXPECT_EQ(chunks[8], chunk("eXIf", kExif + "more"));
}

TEST_F(PngRewrite, AProfileReplacesWhatElseDescribesColours)
{
    auto const gamma = chunk("gAMA", std::string("\0\0\xB1\x8F", 4));
    std::vector<TestChunk> const colors = {
        gamma, chunk("cHRM", std::string(32, '\1')), chunk("sRGB", std::string(1, '\0'))};
    auto changed = colors;
    changed.push_back(chunk("iCCP", std::string("old\0\0", 5) + std::string(asText(deflateZlib(profile())))));
    makeFile(changed);
    auto replacing = job();
    replacing.profile = shareBytes(profile());
    replacing.profileChanged = true;
    // The properties lose what the profile takes over.
    replacing.changes = {{"{PNG}", "Gamma", std::nullopt}};
    EXPECT_EQ(typesIn(rewritten(replacing)), "IHDR iCCP PLTE IDAT IDAT IEND");

    auto removing = job();
    removing.profileChanged = true;
    EXPECT_EQ(typesIn(rewritten(removing)), "IHDR gAMA cHRM sRGB PLTE IDAT IDAT IEND");

    auto editing = job();
    editing.changes = {{"{PNG}", "Gamma", PropertyValue(1.0)}, {"{PNG}", "sRGBIntent", std::nullopt},
        {"{PNG}", "Chromaticities", std::nullopt}, {"{PNG}", "InterlaceType", PropertyValue(1)}};
    auto const chunks = chunksOf(rewritten(editing));
    EXPECT_EQ(typesOf(chunks), "IHDR gAMA iCCP PLTE IDAT IDAT IEND");
    EXPECT_EQ(chunks[1], chunk("gAMA", std::string("\0\1\x86\xA0", 4)));
}

TEST_F(PngRewrite, TextsDoNotContradictTheirTwinsInTiff)
{
    makeFile({textChunk("Author", "old"), textChunk("Software", "old"), textChunk("Copyright", "old")});
    auto changed = job();
    changed.changes = {
        {"{TIFF}", "Artist", PropertyValue("new")},
        {"{TIFF}", "Software", std::nullopt},
        {"{TIFF}", "ImageDescription", PropertyValue("stands in Exif alone")},
        {"{TIFF}", "Copyright", PropertyValue("two")},
        {"{PNG}", "Copyright", PropertyValue("one")},
    };
    auto const chunks = chunksOf(rewritten(changed));
    EXPECT_EQ(typesOf(chunks), "IHDR tEXt tEXt PLTE IDAT IDAT IEND");
    EXPECT_EQ(chunks[1], textChunk("Author", "new"));
    EXPECT_EQ(chunks[2], textChunk("Copyright", "one"));
}

TEST_F(PngRewrite, HexadecimalExifBecomesAChunkOfItsOwn)
{
    makeFile({rawProfileChunk("exif", std::string("Exif\0\0", 6) + kExif),
        rawProfileChunk("xmp", "<x:xmpmeta/>")});
    EXPECT_EQ(rewritten(job()), m_original);
    auto changed = job();
    changed.metadataChanged = true;
    changed.metadata.setXmp("<x:xmpmeta></x:xmpmeta>");
    auto const chunks = chunksOf(rewritten(changed));
    EXPECT_EQ(typesOf(chunks), "IHDR eXIf iTXt PLTE IDAT IDAT IEND");
    EXPECT_EQ(chunks[1], chunk("eXIf", kExif));
}

TEST_F(PngRewrite, ChangedIptcLeavesOtherPhotoshopResources)
{
    std::string const other("8BIM\x03\xED\0\0\0\0\0\3abc\0", 16);
    std::string const oldIptc("\x1C\2\5\0\3Old", 8), newIptc("\x1C\2\5\0\3New", 8);
    auto const resources = [&](std::string const& iptc) {
        return rawProfileChunk("iptc", asText(resourcesWithIptc(asBytes(iptc), asBytes(other))));
    };
    makeFile({resources(oldIptc)});
    auto changed = job();
    changed.metadataChanged = true;
    changed.metadata.setIptc(asBytes(newIptc));
    EXPECT_EQ(chunksOf(rewritten(changed))[1], resources(newIptc));
    changed.metadata.setIptc({});
    EXPECT_EQ(chunksOf(rewritten(changed))[1], resources(""));
}

TEST_F(PngRewrite, AnimationsKeepTheirFrames)
{
    makeFile({chunk("acTL", std::string("\0\0\0\2\0\0\0\0", 8))}, {chunk("fcTL", std::string(26, '\0'))},
        {chunk("fcTL", std::string(26, '\1')), chunk("fdAT", "frame")});
    EXPECT_EQ(m_source->imageCount(), 2);
    auto changed = job();
    changed.changes = {{"{PNG}", "Title", PropertyValue("t")}};
    EXPECT_EQ(typesIn(rewritten(changed)), "IHDR acTL PLTE fcTL tEXt IDAT IDAT fcTL fdAT IEND");
}

TEST_F(PngRewrite, PixelsThatChangeAreNotRewritten)
{
    makeFile({});
    auto const* codec = codecForType("public.png");
    auto turned = job();
    turned.turn = Turn::Rotate180;
    EXPECT_FALSE(codec->canRewrite(turned));
    auto compressed = job();
    compressed.options.quality = 0.5f;
    EXPECT_TRUE(codec->canRewrite(compressed));
}

TEST(PngText, KeywordsAndTextsStayWithinWhatPngAllows)
{
    struct Case {
        std::string_view keyword, text, chunks;
    };
    Case const cases[] = {
        {"Title", "plain", "tEXt"},
        {"Title", "\u00e9", "tEXt"},
        {"Title", "\u03a9", "iTXt"},
        {"Title", "broken \xff", "iTXt"},
        {"Title", std::string_view("a\0b", 3), "tEXt"},
        {"", "x", ""},
        {" Title", "x", ""},
        {"two  spaces", "x", ""},
        {"\u03a9", "x", ""},
        {"eighty letters are one letter more than a keyword of a text chunk in PNG can have", "x", ""},
    };
    for (auto const& row : cases) {
        Bytes file(kPngSignature.begin(), kPngSignature.end());
        appendPngText(file, {std::string(row.keyword), std::string(row.text)});
        EXPECT_EQ(typesIn(file), row.chunks) << row.keyword;
    }
    EXPECT_EQ(latin1Keyword("  \u03a9mega   RGB \u2013 2\u00e9 "), "?mega RGB ? 2\xE9");
    EXPECT_EQ(latin1Keyword(std::string(100, 'x')).size(), 79u);
}

TEST(PngText, DamagedHexadecimalBlocksAreNone)
{
    EXPECT_EQ(decodeRawProfile("\nexif\n       3\n0a0B0c\n"), (Bytes {10, 11, 12}));
    for (auto const* text : {"", "\n", "\nexif\n", "\nexif\nlots\n0a", "\nexif\n 4\n0a0b0c\n",
             "\nexif\n 99999999999999999999999\n0a"})
        EXPECT_TRUE(decodeRawProfile(text).empty()) << text;
    // Photoshop resources whose lengths lie.
    EXPECT_TRUE(iptcInResources(asBytes(std::string("8BIM\4\4\0\0\xFF\xFF\xFF\xFF...", 15))).empty());
    EXPECT_TRUE(iptcInResources(asBytes(std::string("8BIM\4\4\xFF\0\0\0\0\0", 12))).empty());
}

} // namespace velk::codec
