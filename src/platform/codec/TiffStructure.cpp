#include "platform/codec/TiffStructure.h"

#include <algorithm>
#include <limits>

namespace velk::codec::tiff {

namespace {

constexpr std::uint64_t kMaximumSamples = 65535;
constexpr std::uint64_t kMaximumBits = 64;

// The integer entries of one directory, with defaults for those that are missing.
class Fields {
public:
    Fields(DirectoryReader const& reader, Directory const& directory)
        : m_reader(reader)
        , m_directory(directory)
    {
    }

    std::uint64_t get(std::uint16_t tag, std::uint64_t missing) const
    {
        return m_reader.integer(m_directory.find(tag)).value_or(missing);
    }
    std::vector<std::uint64_t> all(std::uint16_t tag) const
    {
        return m_reader.integers(m_directory.find(tag), kMaximumSamples);
    }
    bool has(std::uint16_t tag) const { return m_directory.find(tag) != nullptr; }

private:
    DirectoryReader const& m_reader;
    Directory const& m_directory;
};

// Integers beyond the range of int become -1, which no check accepts.
int asInt(std::uint64_t value)
{
    return value <= static_cast<std::uint64_t>(std::numeric_limits<int>::max()) ? static_cast<int>(value)
                                                                                : -1;
}

bool hasOneValue(std::vector<std::uint64_t> const& values)
{
    return std::ranges::adjacent_find(values, std::ranges::not_equal_to()) == values.end();
}

Result<void> readSize(Structure& structure, Fields const& fields)
{
    auto const width = fields.get(tag::kImageWidth, 0);
    auto const height = fields.get(tag::kImageLength, 0);
    structure.size = {asInt(width), asInt(height)};
    if (!graphics::isPossible(structure.size))
        return fail("a TIFF image of {} x {} pixels is not possible", width, height);
    return {};
}

// Old JPEG-in-TIFF writers leave the layout to the JPEG stream; 8-bit YCbCr is what it is then.
bool leavesLayoutToJpeg(Structure const& structure, Fields const& fields)
{
    return structure.compression == compression::kOldJpeg && !fields.has(tag::kBitsPerSample);
}

Photometric guessedPhotometric(Structure const& structure)
{
    if (structure.samplesPerPixel >= 3)
        return Photometric::Rgb;
    bool const isFax =
        structure.compression >= compression::kCcittRle && structure.compression <= compression::kCcittFax4;
    return isFax ? Photometric::MinIsWhite : Photometric::MinIsBlack;
}

Result<void> readSamples(Structure& structure, Fields const& fields)
{
    structure.compression = asInt(fields.get(tag::kCompression, compression::kNone));
    bool const fromJpeg = leavesLayoutToJpeg(structure, fields);
    auto const samples = fields.get(tag::kSamplesPerPixel, fromJpeg ? 3 : 1);
    if (samples == 0 || samples > kMaximumSamples)
        return fail("a TIFF image with {} samples per pixel", samples);
    structure.samplesPerPixel = asInt(samples);

    auto bits = fields.all(tag::kBitsPerSample);
    if (bits.empty())
        bits = {fromJpeg ? 8u : 1u};
    if (!hasOneValue(bits))
        return fail("TIFF images whose samples differ in depth are not supported");
    if (bits[0] == 0 || bits[0] > kMaximumBits)
        return fail("a TIFF image with {} bits per sample", bits[0]);
    structure.bitsPerSample = asInt(bits[0]);

    auto const formats = fields.all(tag::kSampleFormat);
    if (!hasOneValue(formats))
        return fail("TIFF images whose samples differ in format are not supported");
    auto const format = formats.empty() ? 1 : asInt(formats[0]);
    if (format < 1 || format > 4)
        return fail("TIFF images of complex numbers are not supported");
    structure.sampleFormat = SampleFormat {format};

    for (auto const meaning : fields.all(tag::kExtraSamples))
        structure.extraSamples.push_back(asInt(meaning));
    structure.photometric = fields.has(tag::kPhotometric)
        ? Photometric {asInt(fields.get(tag::kPhotometric, 1))}
        : guessedPhotometric(structure);
    structure.isPlanar = samples > 1 && fields.get(tag::kPlanarConfiguration, 1) == 2;
    structure.isBitReversed = fields.get(tag::kFillOrder, 1) == 2;
    structure.inkCount = asInt(fields.get(tag::kNumberOfInks, 4));
    return {};
}

Result<void> readTiling(Structure& structure, Fields const& fields)
{
    structure.isTiled = fields.has(tag::kTileWidth);
    if (structure.isTiled) {
        structure.tileWidth = asInt(fields.get(tag::kTileWidth, 0));
        structure.tileHeight = asInt(fields.get(tag::kTileLength, 0));
        if (!graphics::isPossible({structure.tileWidth, structure.tileHeight}))
            return fail("a TIFF image with tiles of an impossible size");
    }
    auto const rows = fields.get(tag::kRowsPerStrip, ~std::uint64_t {0});
    auto const height = static_cast<std::uint64_t>(structure.size.height);
    structure.rowsPerStrip = rows == 0 || rows > height ? structure.size.height : asInt(rows);

    auto const subsampling = fields.all(tag::kYCbCrSubsampling);
    if (subsampling.size() >= 2)
        structure.subsampling = {asInt(subsampling[0]), asInt(subsampling[1])};
    return {};
}

// Spans of structural tags, both ends included, in ascending order. Orientation, resolution and the text tags
// lie between them.
struct TagSpan {
    std::uint16_t first;
    std::uint16_t last;
};
constexpr std::array kStructuralTags = {
    TagSpan {254, 259}, // subfile types, size, depth, compression
    TagSpan {262, 266}, // photometric interpretation, threshholding, cells, fill order
    TagSpan {273, 273}, // strip offsets
    TagSpan {277, 281}, // samples, strips, smallest and largest values
    TagSpan {284, 284}, // planar configuration
    TagSpan {288, 293}, // free areas, grey response, fax options
    TagSpan {297, 297}, // page number
    TagSpan {301, 301}, // transfer function
    TagSpan {
        317, 347}, // predictor, colour map, halftones, tiles, sub-directories, inks, samples, JPEG tables
    TagSpan {351, 351}, // OPI proxy
    TagSpan {400, 404}, // profiles of TIFF-FX
    TagSpan {433, 435}, // decode
    TagSpan {512, 521}, // old JPEG
    TagSpan {529, 532}, // YCbCr, reference black and white
    TagSpan {559, 559}, // strip row counts
    TagSpan {700, 700}, // XMP
    TagSpan {32995, 32998}, // matteing, data type, depth
    TagSpan {33421, 33422}, // colour filter array
    TagSpan {33723, 33723}, // IPTC
    TagSpan {34377, 34377}, // Photoshop resources
    TagSpan {34665, 34665}, // Exif directory
    TagSpan {34675, 34675}, // ICC profile
    TagSpan {34853, 34853}, // GPS directory
    TagSpan {37724, 37724}, // Photoshop layers
    TagSpan {50674, 50674}, // LERC parameters
    TagSpan {50706, 51200}, // DNG
};

} // namespace

Result<Structure> readStructure(DirectoryReader const& reader, Directory const& directory)
{
    Fields const fields(reader, directory);
    Structure structure;
    TRY(readSize(structure, fields));
    TRY(readSamples(structure, fields));
    TRY(readTiling(structure, fields));
    return structure;
}

bool isStructural(std::uint16_t tag)
{
    return std::ranges::any_of(
        kStructuralTags, [tag](auto const& span) { return tag >= span.first && tag <= span.last; });
}

} // namespace velk::codec::tiff
