// Writes the files that the fuzzers start from: velk_make_seeds DIRECTORY makes one directory for each codec,
// named after its type identifier, and one for each other fuzzer.
#include "platform/codec/PropertyKeys.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"
#include "support/TestNegative.h"
#include "support/TestProfiles.h"

#include <fmt/format.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <random>

using namespace velk;
using namespace velk::graphics;

namespace {

namespace files = std::filesystem;

/// The directory of one fuzzer's seeds.
class SeedDirectory {
public:
    SeedDirectory(files::path const& top, std::string_view name)
        : m_path(top / name)
    {
    }

    std::string nextPath()
    {
        files::create_directories(m_path);
        return m_path / fmt::format("seed-{:03}", m_count++);
    }
    void add(ByteSpan content) { test::writeBytes(nextPath(), content); }
    void add(std::string_view content) { add(asBytes(content)); }
    void addFile(files::path const& path) { add(test::readBytes(path)); }

private:
    files::path m_path;
    int m_count = 0;
};

constexpr Size kSizes[] = {{1, 1}, {37, 23}, {64, 48}};
constexpr PixelFormat kFormats[] = {
    {.model = ColorModel::Gray},
    {.model = ColorModel::RGB},
    {.model = ColorModel::CMYK},
    {.model = ColorModel::Lab},
    {.componentType = ComponentType::UInt16, .model = ColorModel::RGB},
    {.componentType = ComponentType::Float32, .model = ColorModel::RGB},
    {.model = ColorModel::Gray, .alpha = Alpha::Straight},
    {.model = ColorModel::RGB, .alpha = Alpha::Straight},
    {.model = ColorModel::RGB, .alpha = Alpha::Premultiplied},
};

constexpr std::string_view kXmp =
    "<?xpacket begin='' id='W5M0MpCehiHzreSzNTczkc9d'?><x:xmpmeta xmlns:x='adobe:ns:meta/'>"
    "<rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
    "<rdf:Description xmlns:tiff='http://ns.adobe.com/tiff/1.0/' tiff:Orientation='6'>"
    "<tiff:ImageWidth>40</tiff:ImageWidth></rdf:Description></rdf:RDF></x:xmpmeta><?xpacket end='w'?>";

// Record 1 with the UTF-8 declaration, two keywords and a headline.
Bytes iptcBlock()
{
    Bytes iim = {0x1C, 1, 90, 0, 3, 0x1B, '%', 'G'};
    for (auto const& [set, text] : std::initializer_list<std::pair<std::uint8_t, std::string_view>> {
             {25, "sea"}, {25, "größer"}, {105, "A headline"}, {55, "20260214"}}) {
        append(iim, Bytes {0x1C, 2, set, 0, static_cast<std::uint8_t>(text.size())});
        append(iim, text);
    }
    return iim;
}

test::EncodeExtras fullExtras()
{
    test::EncodeExtras extras;
    extras.profile = shareBytes(test::readBytes(test::dataFile("DisplayP3-v4.icc")));
    extras.metadata.setExif(test::readBytes(test::dataFile("canon.exif")));
    extras.metadata.setIptc(iptcBlock());
    extras.metadata.setXmp(kXmp);
    extras.resolution = codec::Resolution {300, 300};
    return extras;
}

void encodeInto(SeedDirectory& seeds, std::string_view type, test::PixelBufferPointer const& pixels,
    test::EncodeExtras const& extras)
{
    auto const path = seeds.nextPath();
    // Not every encoder takes every format, and not every module may be there.
    if (!test::encode(type, pixels, path, extras))
        files::remove(path);
}

void makeImages(SeedDirectory& seeds, std::string_view type)
{
    auto const full = fullExtras();
    for (auto const& format : kFormats) {
        encodeInto(seeds, type, test::photoLike(kSizes[1], format), {});
        auto extras = full;
        if (format.model != ColorModel::RGB)
            extras.profile = nullptr;
        encodeInto(seeds, type, test::photoLike(kSizes[1], format), extras);
    }
    for (auto const size : kSizes) {
        encodeInto(seeds, type, test::photoLike(size, {.model = ColorModel::RGB}), {});
        encodeInto(seeds, type, test::indexedImage(size, 5, true), full);
    }
}

// TIFF 6.0 tag 259: none, LZW, Deflate, PackBits, JPEG, Group 4.
void makeTiffs(SeedDirectory& seeds)
{
    for (int const compression : {1, 5, 8, 32773, 7, 4}) {
        test::EncodeExtras extras;
        extras.options.tiffCompression = compression;
        for (auto const& format : kFormats)
            encodeInto(seeds, "public.tiff", test::photoLike(kSizes[1], format), extras);
    }
}

void makeNegatives(SeedDirectory& seeds)
{
    seeds.add(test::TestNegative {}.file());
    seeds.add(test::TestNegative {.orientation = 6, .neutral = {0.5, 1, 0.7}}.file());
}

void makeDrawings(SeedDirectory& seeds)
{
    for (auto const* attributes :
        {"width='40' height='30'", "viewBox='0 0 20 10'", "width='1in' height='50%'",
            "width='2em' height='3mm' viewBox='-5 -5 40 30' preserveAspectRatio='none'"})
        seeds.add(fmt::format("<?xml version='1.0'?><svg xmlns='http://www.w3.org/2000/svg' {}>"
                              "<rect x='1' y='2' width='9' height='9' rx='2' fill='red'/>"
                              "<path d='M0 0 C5 5 9 1 12 8 Z' stroke='#00f' opacity='.5'/></svg>",
            attributes));
}

void sortExistingImages(files::path const& top)
{
    for (auto const& entry : files::recursive_directory_iterator(VELK_TEST_DATA)) {
        auto const source = entry.is_regular_file() ? codec::openImage(entry.path()) : fail("a directory");
        if (!source)
            continue;
        auto const directory = top / "codec" / (*source)->type().identifier;
        files::create_directories(directory);
        files::copy_file(
            entry.path(), directory / entry.path().filename(), files::copy_options::overwrite_existing);
    }
}

void makeCodecSeeds(files::path const& top)
{
    for (auto const* codec : codec::codecs()) {
        if (!codec->encode)
            continue;
        SeedDirectory seeds(top / "codec", codec->type);
        makeImages(seeds, codec->type);
        if (codec->type == "public.tiff")
            makeTiffs(seeds);
    }
    SeedDirectory negatives(top / "codec", "com.adobe.raw-image");
    makeNegatives(negatives);
    SeedDirectory drawings(top / "codec", "public.svg-image");
    makeDrawings(drawings);
    sortExistingImages(top);
}

void makeMetadataSeeds(files::path const& top)
{
    SeedDirectory seeds(top, "metadata");
    auto const add = [&](std::uint8_t kind, ByteSpan block) {
        Bytes seed = {kind};
        append(seed, block);
        seeds.add(seed);
    };
    codec::Metadata metadata;
    metadata.apply({{"{TIFF}", "Artist", PropertyValue("Nobody")},
        {"{GPS}", "LatitudeRef", PropertyValue("N")}, {"{Exif}", "FNumber", PropertyValue(2.8)}});
    metadata.setPreview(Bytes {0xFF, 0xD8, 0xFF, 0xD9});
    for (std::uint8_t const kind : {0, 1}) {
        add(kind, metadata.exif());
        add(kind, test::readBytes(test::dataFile("canon.exif")));
    }
    add(2, iptcBlock());
    add(3, asBytes(kXmp));
}

void makeProfileSeeds(files::path const& top)
{
    SeedDirectory seeds(top, "profile");
    for (auto const* name : {"AdobeCompat-v2.icc", "DisplayP3-v4.icc", "sGrey-v4.icc"})
        seeds.addFile(test::dataFile(name));
    for (std::uint32_t const version : {0x02100000u, 0x04300000u}) {
        seeds.add(test::matrixProfile(version).bytes());
        seeds.add(test::grayProfile(version).bytes());
        seeds.add(test::matrixProfile(version).tag("chad", Bytes(44, 1)).tag("cprt", Bytes {}).bytes());
        auto curve = test::gammaElement(2.2);
        curve[3] = 'a';
        seeds.add(
            test::matrixProfile(version).tag("rTRC", curve).sharedTag("gTRC", "rTRC").word(0, 7).bytes());
        for (auto const* type : {"mft1", "mft2", "mAB ", "mBA ", "mpet", "para", "mluc"}) {
            Bytes element(400);
            std::copy_n(type, 4, element.begin());
            element[8] = element[9] = 3;
            element[10] = 2;
            seeds.add(test::matrixProfile(version).tag("A2B0", element).tag("B2A0", element).bytes());
        }
    }
}

void makeTextSeeds(files::path const& top)
{
    SeedDirectory colors(top, "color_string");
    for (auto const* text : {"red", "#f00", "#ff0000", "#ff000080", "rgb(255 0 0)", "rgba(255, 0, 0, 0.5)",
             "hsl(120, 100%, 50%)", "hsla(120 100% 50% / 0.5)", "[1.0 0.5 0.25]", "255 0 0", "transparent",
             "12pt Helvetica", "2cm Times", ""})
        colors.add(std::string_view(text));

    SeedDirectory arguments(top, "arguments");
    using namespace std::string_view_literals;
    for (auto const text : {"-r\00090\0-o\0/tmp\0photo.jpg"sv, "-s\0format\0png\0--resampleWidth\000100"sv,
             "-g\0all\0-1\0/dev/null"sv, "-X\0desc\0/tmp/x\0--verify"sv,
             "-c\000100\000200\0--cropOffset\0-5\0007"sv, "--padColor\0FF00AA\0--debug\0-h"sv,
             "-d\0artist\0-e\0/x.icc\0-M\0/x.icc\0perceptual\0-i"sv})
        arguments.add(text);

    SeedDirectory texts(top, "text");
    for (auto const* text : {"0", "-12", " 7x", "99999999999", "1.5e3", "0x1F2e3D4c", "desc", "grün", ".5"})
        texts.add(std::string_view(text));
    texts.add(test::localizedElement({{"enUS", u"text"}, {"de", u"Wörter"}}));
    texts.add(test::descriptionElement("description"));
    texts.add(test::textElement("text"));
}

// The builders of values and property lists make something of any bytes.
void makeRandomSeeds(files::path const& top)
{
    std::mt19937 random(1);
    for (auto const* name : {"property_list", "script_values"}) {
        SeedDirectory seeds(top, name);
        for (std::size_t size = 8; size <= 1024; size *= 2) {
            Bytes seed(size);
            for (auto& byte : seed)
                byte = static_cast<std::uint8_t>(random());
            seeds.add(seed);
        }
    }
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 2) {
        std::fputs("velk_make_seeds DIRECTORY\n", stderr);
        return 2;
    }
    files::path const top = arguments[1];
    makeCodecSeeds(top);
    makeMetadataSeeds(top);
    makeProfileSeeds(top);
    makeTextSeeds(top);
    makeRandomSeeds(top);
}
