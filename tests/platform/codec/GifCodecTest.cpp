#include "platform/codec/CodecProbe.h"
#include "platform/codec/GifSource.h"
#include "platform/codec/PropertyKeys.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

namespace velk::test {

using namespace codec;
using namespace graphics;

namespace {

constexpr std::string_view kType = "com.compuserve.gif";
constexpr std::string_view kXmp = "<x:xmpmeta xmlns:x='adobe:ns:meta/'/>";

// Offsets in the image descriptor behind its introducer.
constexpr std::size_t kLeft = 1, kTop = 3, kFlags = 9;

void setLE16(Bytes& file, std::size_t at, int value)
{
    storeInteger(&file.at(at), static_cast<std::uint16_t>(value), ByteOrder::Little);
}

std::shared_ptr<GifSource const> openGif(std::string const& path)
{
    auto source = openImage(path);
    EXPECT_TRUE(source) << source.error().message;
    return source ? std::dynamic_pointer_cast<GifSource const>(*source) : nullptr;
}

GifContents contentsOf(Bytes const& file)
{
    TemporaryDirectory const directory;
    writeBytes(directory / "a.gif", file);
    return openGif(directory / "a.gif")->contents();
}

PropertyDictionary gifProperties(ImageSource const& source)
{
    return *findDictionary(source.description().formatProperties, key::kGif);
}

// From the image descriptor to the end of the image.
Bytes imageBlock(Bytes const& file)
{
    auto const from = static_cast<std::ptrdiff_t>(contentsOf(file).frame.offset);
    return {file.begin() + from, file.end() - 1};
}

// Three times the same image, in an animation that runs twice.
Bytes animation(PixelBufferPointer const& picture)
{
    auto const still = encoded(kType, picture);
    auto const image = imageBlock(still);
    Bytes file(still.begin(), still.begin() + static_cast<std::ptrdiff_t>(contentsOf(still).headerEnd));
    append(file, gifLoopExtension(2));
    for (int i = 0; i < 3; ++i) {
        append(file, Bytes {0x21, 0xF9, 4, 0, 25, 0, 0, 0});
        append(file, image);
    }
    file.push_back(0x3B);
    return file;
}

} // namespace

TEST(GifCodec, KeepsPalettes)
{
    for (int const entries : {2, 3, 4, 16, 17, 200, 256}) {
        for (bool const withAlpha : {false, true}) {
            auto const painted = indexedImage({37, 23}, entries, false);
            auto palette = *painted->layout().space.palette();
            if (withAlpha)
                palette.entries[1][3] = 0;
            auto const space = ColorSpace::indexed(ColorSpace::device(ColorModel::RGB), palette);
            auto const picture = paint(
                {37, 23}, painted->format(), [&](int x, int y, int) { return component(*painted, x, y, 0); },
                &space);
            auto const result = probe(encoded(kType, picture));
            ASSERT_TRUE(result.pixels) << result.error;
            EXPECT_EQ(result.warnings, "");
            EXPECT_EQ(result.pixels->format().model, ColorModel::Indexed);
            EXPECT_EQ(colorsOf(*result.pixels), colorsOf(*picture)) << entries;
        }
    }
}

TEST(GifCodec, MergesTransparentEntries)
{
    Palette const palette {{{1, 2, 3, 255}, {4, 5, 6, 0}, {7, 8, 9, 255}, {10, 11, 12, 0}}};
    auto const space = ColorSpace::indexed(ColorSpace::device(ColorModel::RGB), palette);
    auto const picture = paint(
        {4, 1}, {.model = ColorModel::Indexed}, [](int x, int, int) { return x / 255.0; }, &space);
    auto const result = probe(encoded(kType, picture));
    auto const colors = colorsOf(*result.pixels);
    EXPECT_EQ(colors[0], (std::array<std::uint8_t, 4> {1, 2, 3, 255}));
    EXPECT_EQ(colors[1][3], 0);
    EXPECT_EQ(colors[2], (std::array<std::uint8_t, 4> {7, 8, 9, 255}));
    EXPECT_EQ(colors[3][3], 0);
}

TEST(GifCodec, KeepsGreys)
{
    for (int const bits : {1, 2, 4, 8}) {
        auto const largest = (1 << bits) - 1;
        auto const picture = paint({40, 11}, {.model = ColorModel::Gray},
            [=](int x, int y, int) { return (x * 3 + y) % (largest + 1) / static_cast<double>(largest); });
        auto const result = probe(encoded(kType, picture, {.bitsPerComponent = bits}));
        EXPECT_EQ(colorsOf(*result.pixels), colorsOf(*picture)) << bits;
        EXPECT_EQ(result.pixels->layout().space.palette()->entries.size(), 1u << bits);
    }
}

TEST(GifCodec, AsksForPixelsThatItCanHold)
{
    auto const negotiate = codecForType(kType)->negotiate;
    auto const formatFor = [&](PixelFormat format, ColorSpace const& space) {
        return negotiate({{{4, 4}, format, space}, 8}, {}).format;
    };
    auto const indexed = [](std::uint8_t alpha) {
        return ColorSpace::indexed(ColorSpace::device(ColorModel::RGB), {{{0, 0, 0, alpha}}});
    };
    auto const grey = ColorSpace::device(ColorModel::Gray);
    struct {
        PixelFormat format;
        ColorSpace space;
        PixelFormat expected;
    } const cases[] = {
        {{.model = ColorModel::Indexed}, indexed(0), {.model = ColorModel::Indexed}},
        {{.model = ColorModel::Indexed}, indexed(128), {.alpha = Alpha::Straight}},
        {{ComponentType::UInt16, ColorModel::Gray}, grey, {.model = ColorModel::Gray}},
        {{.model = ColorModel::Gray, .alpha = Alpha::Straight}, grey, {.alpha = Alpha::Straight}},
        // A grey profile cannot be stored.
        {{.model = ColorModel::Gray}, ColorSpace::withProfile(ColorModel::Gray, profileFor("GRAY")), {}},
        {{ComponentType::Float32, ColorModel::CMYK}, ColorSpace::device(ColorModel::CMYK), {}},
    };
    for (auto const& [format, space, expected] : cases)
        EXPECT_EQ(formatFor(format, space), expected);
}

TEST(GifCodec, KeepsFewColorsExactly)
{
    // 255 colours and transparency are just what fits; one more is too many.
    for (int const count : {1, 255, 256}) {
        auto const picture = paint({32, 16}, {.alpha = Alpha::Straight}, [=](int x, int y, int channel) {
            auto const color = (x + 32 * y) % count;
            double const values[] = {color / 255.0, 1 - color / 255.0, 0.2, y == 3 ? 0.0 : 1.0};
            return values[channel];
        });
        auto const result = probe(encoded(kType, picture));
        auto const before = colorsOf(*picture), after = colorsOf(*result.pixels);
        int wrong = 0;
        for (std::size_t i = 0; i < before.size(); ++i)
            wrong += before[i][3] != after[i][3] || (before[i][3] == 255 && before[i] != after[i]);
        EXPECT_EQ(wrong == 0, count < 256) << count;
    }
}

TEST(GifCodec, ReducesPhotosToGoodPalettes)
{
    auto const picture = photoLike({160, 120}, {.alpha = Alpha::Straight});
    auto const result = probe(encoded(kType, picture));
    auto const before = colorsOf(*picture), after = colorsOf(*result.pixels);
    double sum = 0;
    std::size_t opaque = 0;
    for (std::size_t i = 0; i < before.size(); ++i) {
        ASSERT_EQ(after[i][3], before[i][3] < 128 ? 0 : 255);
        for (std::size_t channel = 0; after[i][3] && channel < 3; ++channel)
            sum += std::abs(before[i][channel] - after[i][channel]);
        opaque += after[i][3] ? 1 : 0;
    }
    EXPECT_GT(opaque, before.size() / 2);
    EXPECT_LT(sum / static_cast<double>(3 * opaque), 8);
}

TEST(GifCodec, PutsTheFirstFrameOnTheScreen)
{
    auto const indexed = [](int entries) { return indexedImage({8, 4}, entries, false); };
    struct {
        PixelBufferPointer picture;
        Size screen;
        int left, top;
        Size expected;
        ColorModel model;
        std::size_t entries;
    } const cases[] = {
        {indexed(4), {20, 10}, 5, 3, {20, 10}, ColorModel::Indexed, 5},
        {indexed(256), {20, 10}, 5, 3, {20, 10}, ColorModel::RGB, 0},
        {indexed(256), {8, 4}, 0, 0, {8, 4}, ColorModel::Indexed, 256},
        // A frame beyond the screen widens it, an empty screen is that of the frame.
        {indexed(16), {10, 10}, 5, 3, {13, 10}, ColorModel::Indexed, 17},
        {indexed(16), {0, 0}, 0, 0, {8, 4}, ColorModel::Indexed, 16},
    };
    for (auto const& [picture, screen, left, top, expected, model, entries] : cases) {
        auto file = encoded(kType, picture);
        auto const descriptor = contentsOf(file).frame.offset;
        setLE16(file, 6, screen.width);
        setLE16(file, 8, screen.height);
        setLE16(file, descriptor + kLeft, left);
        setLE16(file, descriptor + kTop, top);
        auto const result = probe(file);
        ASSERT_TRUE(result.pixels) << result.error;
        EXPECT_EQ(result.pixels->size(), expected);
        EXPECT_EQ(result.pixels->format().model, model);
        auto const* palette = result.pixels->layout().space.palette();
        EXPECT_EQ(palette ? palette->entries.size() : 0, entries);
        auto const colors = colorsOf(*result.pixels), frame = colorsOf(*picture);
        for (int y = 0; y < expected.height; ++y) {
            for (int x = 0; x < expected.width; ++x) {
                auto const& color = colors[static_cast<std::size_t>(y * expected.width + x)];
                bool const isInside = x >= left && x < left + 8 && y >= top && y < top + 4;
                if (isInside) {
                    EXPECT_EQ(color, frame[static_cast<std::size_t>((y - top) * 8 + x - left)]);
                } else {
                    EXPECT_EQ(color[3], 0);
                }
            }
        }
    }
}

TEST(GifCodec, SortsInterlacedRows)
{
    for (int const height : {1, 5, 21}) {
        auto const picture = indexedImage({6, height}, 50, false);
        auto file = encoded(kType, picture);
        file[contentsOf(file).frame.offset + kFlags] |= 0x40;
        std::vector<int> order;
        for (auto const& [first, step] :
            {std::pair(0, 8), std::pair(4, 8), std::pair(2, 4), std::pair(1, 2)}) {
            for (int y = first; y < height; y += step)
                order.push_back(y);
        }
        auto const result = probe(file);
        ASSERT_TRUE(result.pixels);
        for (int stored = 0; stored < height; ++stored)
            EXPECT_EQ(component(*result.pixels, 2, order[static_cast<std::size_t>(stored)], 0),
                component(*picture, 2, stored, 0));
    }
}

TEST(GifCodec, ManagesWithoutEnoughColors)
{
    auto const picture = indexedImage({16, 2}, 16, false);
    auto const whole = encoded(kType, picture);
    // Without any table, and with one of two colours for indices up to 15.
    for (int const kept : {0, 2}) {
        auto file = whole;
        file[10] = kept == 0 ? 0 : 0x80;
        file.erase(file.begin() + 13 + kept * 3, file.begin() + 13 + 16 * 3);
        auto const result = probe(file);
        ASSERT_TRUE(result.pixels) << result.error;
        auto const& entries = result.pixels->layout().space.palette()->entries;
        EXPECT_EQ(entries.size(), kept == 0 ? 256u : 16u);
        EXPECT_EQ(component(*result.pixels, 15, 0, 0), 15 / 255.0);
        EXPECT_EQ(colorsOf(*result.pixels)[15][0], kept == 0 ? 15 : 0);
    }
}

TEST(GifCodec, CarriesXmpProfileAndComment)
{
    TemporaryDirectory const directory;
    EncodeExtras extras {.profile = profileFor("RGB ")};
    extras.metadata.setXmp(kXmp);
    std::string const comment = std::string(300, 'x') + "\xC3\xA9";
    set(subDictionary(extras.properties, key::kGif), kGifComment, comment);
    ASSERT_TRUE(encode(kType, indexedImage({9, 9}, 5, false), directory / "a.gif", extras));
    auto const source = openGif(directory / "a.gif");
    EXPECT_EQ(source->metadata().xmp(), kXmp);
    EXPECT_EQ(*source->image().space().profile(), *profileFor("RGB "));
    auto const properties = gifProperties(*source);
    EXPECT_EQ(*find(properties, kGifComment)->asString(), comment);
    EXPECT_EQ(*find(properties, kGifHasGlobalColorMap)->asBoolean(), true);
    EXPECT_EQ(find(properties, kGifLoopCount), nullptr);
}

TEST(GifCodec, ReadsCommentsInLatin1)
{
    auto file = encoded(kType, indexedImage({9, 9}, 4, false));
    auto const comment = gifCommentExtension("caf\xE9");
    file.insert(file.begin() + 13 + 12, comment.begin(), comment.end());
    TemporaryDirectory const directory;
    writeBytes(directory / "a.gif", file);
    EXPECT_EQ(*find(gifProperties(*openGif(directory / "a.gif")), kGifComment)->asString(), "caf\xC3\xA9");
}

TEST(GifCodec, ReadsXmpInSubBlocks)
{
    std::string const packet = std::string(kXmp) + std::string(600, ' ');
    Bytes extension = {0x21, 0xFF, 11};
    append(extension, kGifXmpApplication);
    for (std::size_t at = 0; at < packet.size(); at += 200) {
        auto const part = std::string_view(packet).substr(at, 200);
        extension.push_back(static_cast<std::uint8_t>(part.size()));
        append(extension, part);
    }
    extension.push_back(0);
    auto file = encoded(kType, indexedImage({9, 9}, 4, false));
    file.insert(file.begin() + 13 + 12, extension.begin(), extension.end());
    TemporaryDirectory const directory;
    writeBytes(directory / "a.gif", file);
    EXPECT_EQ(openGif(directory / "a.gif")->metadata().xmp(), packet);
    EXPECT_EQ(openGif(directory / "a.gif")->imageCount(), 1);
}

TEST(GifCodec, ForgivesStrayBytesAndAMissingEnd)
{
    auto const picture = indexedImage({9, 9}, 5, false);
    auto const still = encoded(kType, picture);
    auto const image = imageBlock(still);
    Bytes file(still.begin(), still.end() - 1);
    append(file, Bytes {0, 0});
    append(file, image);
    append(file, ByteSpan(image).first(image.size() / 2));
    auto const result = probe(file);
    ASSERT_TRUE(result.pixels) << result.error;
    EXPECT_EQ(result.warnings, "");
    EXPECT_EQ(colorsOf(*result.pixels), colorsOf(*picture));
    EXPECT_EQ(contentsOf(file).frameCount, 3);
}

TEST(GifCodec, DescribesAnimations)
{
    TemporaryDirectory const directory;
    writeBytes(directory / "a.gif", animation(indexedImage({9, 9}, 5, false)));
    auto const source = openGif(directory / "a.gif");
    EXPECT_EQ(source->imageCount(), 3);
    auto const properties = gifProperties(*source);
    EXPECT_EQ(find(properties, kGifFrameCount)->number(), 3);
    EXPECT_EQ(find(properties, kGifLoopCount)->number(), 2);
    EXPECT_EQ(find(properties, kGifDelayTime)->number(), 0.25);
}

// Sub-blocks end at a zero: one inside of the packet would cut off the images behind it.
TEST(GifCodec, KeepsTheImagesWhateverThePacketHolds)
{
    TemporaryDirectory const directory;
    auto const path = directory / "a.gif";
    writeBytes(path, animation(indexedImage({9, 9}, 5, false)));
    std::string const packet(kXmp);
    std::pair<std::string, std::string> const packets[] = {
        {packet + std::string(3, '\0'), packet}, {packet + '\0' + packet, ""}, {std::string(4, '\0'), ""}};
    for (auto const& [given, expected] : packets) {
        ASSERT_TRUE(rewrite(path, directory / "b.gif", [&given = given](RewriteJob& job) {
            job.metadata.setXmp(given);
            job.metadataChanged = true;
        }));
        auto const source = openGif(directory / "b.gif");
        EXPECT_EQ(source->metadata().xmp(), expected);
        EXPECT_EQ(source->imageCount(), 3);
    }
}

TEST(GifCodec, RewritesAroundTheImages)
{
    TemporaryDirectory const directory;
    auto const path = directory / "a.gif";
    auto original = animation(indexedImage({9, 9}, 5, false));
    original[4] = '7';
    append(original, std::string_view("behind the trailer"));
    writeBytes(path, original);
    ASSERT_TRUE(rewrite(path, directory / "b.gif", [](RewriteJob& job) {
        job.metadata.setXmp(kXmp);
        job.profile = profileFor("RGB ");
        job.metadataChanged = job.profileChanged = true;
        std::string const gif(key::kGif);
        job.changes = {{gif, std::string(kGifComment), PropertyValue("hello")},
            {gif, std::string(kGifLoopCount), PropertyValue(0)}};
    }));
    auto const source = openGif(directory / "b.gif");
    EXPECT_EQ(source->metadata().xmp(), kXmp);
    EXPECT_EQ(*source->image().space().profile(), *profileFor("RGB "));
    EXPECT_EQ(source->imageCount(), 3);
    EXPECT_EQ(*find(gifProperties(*source), kGifComment)->asString(), "hello");
    EXPECT_EQ(find(gifProperties(*source), kGifLoopCount)->number(), 0);
    auto const rewritten = readBytes(directory / "b.gif");
    EXPECT_TRUE(startsWith(rewritten, "GIF89a"));
    auto const firstControl = contentsOf(original).frame.offset - 8;
    EXPECT_TRUE(holds(rewritten, ByteSpan(original).subspan(firstControl)));

    // Taking everything out again leaves what was there, but for the version.
    ASSERT_TRUE(rewrite(directory / "b.gif", directory / "c.gif", [](RewriteJob& job) {
        job.metadata = {};
        job.metadataChanged = job.profileChanged = true;
        std::string const gif(key::kGif);
        job.changes = {{gif, std::string(kGifComment), std::nullopt},
            {gif, std::string(kGifLoopCount), PropertyValue(2)}};
    }));
    original[4] = '9';
    EXPECT_EQ(readBytes(directory / "c.gif"), original);
}

TEST(GifCodec, DeliversTheRowsOfATruncatedFile)
{
    auto const picture = paint({300, 100}, {.model = ColorModel::Gray},
        [](int x, int y, int) { return ((x * 7 ^ y * 13) % 200 + 30) / 255.0; });
    for (std::uint8_t const interlaced : {0x00, 0x40}) {
        auto whole = encoded(kType, picture);
        whole[contentsOf(whole).frame.offset + kFlags] |= interlaced;
        auto const result = probe(ByteSpan(whole).first(whole.size() / 2));
        ASSERT_TRUE(result.pixels) << result.error;
        EXPECT_EQ(std::ranges::count(result.warnings, '\n'), 1);
        EXPECT_EQ(component(*result.pixels, 20, 0, 0), component(*picture, 20, 0, 0));
        EXPECT_EQ(component(*result.pixels, 20, 99, 0), 0);
    }
}

TEST(GifCodec, SurvivesHostileFiles)
{
    EncodeExtras extras {.profile = profileFor("RGB ")};
    extras.metadata.setXmp(kXmp);
    auto interlaced = encoded(kType, indexedImage({20, 20}, 9, false), extras);
    interlaced[contentsOf(interlaced).frame.offset + kFlags] |= 0x40;
    Bytes const files[] = {interlaced, animation(indexedImage({30, 20}, 40, false))};
    for (auto const& file : files) {
        for (auto const& version : hostileVersions(file, 60)) {
            auto const result = probe(version);
            EXPECT_TRUE(result.pixels || !result.error.empty());
        }
    }
    auto const still = encoded(kType, indexedImage({8, 4}, 4, false));
    auto const descriptor = contentsOf(still).frame.offset;
    struct {
        std::size_t at;
        int width, height;
        std::string_view error;
    } const cases[] = {
        {descriptor + 5, 0, 4, "no pixels"},
        {descriptor + 5, 8, 0, "no pixels"},
        {descriptor + 5, 65535, 65535, "not possible"},
        {6, 65535, 65535, "not possible"},
    };
    for (auto const& [at, width, height, error] : cases) {
        auto file = still;
        setLE16(file, at, width);
        setLE16(file, at + 2, height);
        EXPECT_NE(probe(file).error.find(error), std::string::npos) << width << " x " << height;
    }
    EXPECT_NE(probe(ByteSpan(still).first(descriptor)).error.find("holds no image"), std::string::npos);
}

} // namespace velk::test
