#include "platform/codec/TiffWriter.h"

#include "platform/codec/PropertyKeys.h"
#include "platform/codec/TiffExifBlock.h"
#include "platform/codec/TiffStripEncoder.h"
#include "platform/codec/TiffStructure.h"

#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace velk::codec::tiff {

using namespace graphics;

namespace {

constexpr std::uint64_t kStripBytes = 128 << 10;
// JPEG strips carry their tables, which should not weigh much.
constexpr std::uint64_t kJpegStripBytes = 512 << 10;
constexpr std::int32_t kJpegUnitRows = 16;
constexpr int kDefaultJpegQuality = 85;
constexpr std::int32_t kLargestJpegSide = 65500;
constexpr std::int32_t kLargestWebpSide = 16383;
// Leaves room for what compression may add, and for directory and metadata.
constexpr std::uint64_t kLargestClassicPixels = 3'900'000'000;

// --- Choosing the coding -----------------------------------------------------------------------------------

bool isBilevel(PixelFormat format, int bits)
{
    return format.model == ColorModel::Gray && !format.hasAlpha() && bits == 1;
}

bool suitsFax(PixelFormat format, int bits, Size)
{
    return isBilevel(format, bits);
}

bool suitsJpeg(PixelFormat format, int bits, Size size)
{
    return bits == 8 && !format.hasAlpha()
        && (format.model == ColorModel::Gray || format.model == ColorModel::RGB
            || format.model == ColorModel::CMYK)
        && size.width <= kLargestJpegSide;
}

bool suitsWebp(PixelFormat format, int bits, Size size)
{
    return bits == 8 && format.model == ColorModel::RGB && size.width <= kLargestWebpSide;
}

bool suitsAll(PixelFormat, int, Size)
{
    return true;
}

struct CompressionRow {
    int scheme;
    bool hasPredictor;
    bool (*suits)(PixelFormat format, int bits, Size size);
};
constexpr std::array kCompressions = {
    CompressionRow {compression::kNone, false, suitsAll},
    CompressionRow {compression::kCcittRle, false, suitsFax},
    CompressionRow {compression::kCcittFax3, false, suitsFax},
    CompressionRow {compression::kCcittFax4, false, suitsFax},
    CompressionRow {compression::kLzw, true, suitsAll},
    CompressionRow {compression::kJpeg, false, suitsJpeg},
    CompressionRow {compression::kAdobeDeflate, true, suitsAll},
    CompressionRow {compression::kDeflate, true, suitsAll},
    CompressionRow {compression::kPackBits, false, suitsAll},
    CompressionRow {compression::kLzma, true, suitsAll},
    CompressionRow {compression::kZstd, true, suitsAll},
    CompressionRow {compression::kWebp, false, suitsWebp},
};

CompressionRow chooseCompression(std::optional<int> wanted, PixelFormat format, int bits, Size size)
{
    auto const byScheme = [](int scheme) {
        return std::ranges::find(kCompressions, scheme, &CompressionRow::scheme);
    };
    auto const found = byScheme(wanted.value_or(compression::kLzw));
    bool const isPossible = found != kCompressions.end() && found->suits(format, bits, size)
        && TIFFIsCODECConfigured(static_cast<std::uint16_t>(found->scheme));
    return isPossible ? *found : *byScheme(compression::kLzw);
}

Photometric photometricFor(PixelFormat format, int scheme)
{
    switch (format.model) {
    case ColorModel::Gray: {
        bool const isFax = scheme >= compression::kCcittRle && scheme <= compression::kCcittFax4;
        return isFax ? Photometric::MinIsWhite : Photometric::MinIsBlack;
    }
    case ColorModel::RGB:
        return scheme == compression::kJpeg ? Photometric::YCbCr : Photometric::Rgb;
    case ColorModel::CMYK:
        return Photometric::Separated;
    case ColorModel::Lab:
        return Photometric::CieLab;
    case ColorModel::Indexed:
        return Photometric::Palette;
    }
    return Photometric::MinIsBlack;
}

// Differences between neighbours pay off for continuous tones only.
int predictorFor(PixelFormat format, int bits, bool isPossible)
{
    if (!isPossible || bits < 8 || format.model == ColorModel::Indexed)
        return 1;
    return format.componentType == ComponentType::Float32 ? 3 : 2;
}

std::int32_t rowsPerStrip(StripCoding const& coding)
{
    bool const isJpeg = coding.compression == compression::kJpeg;
    auto const rows = std::clamp<std::uint64_t>(
        (isJpeg ? kJpegStripBytes : kStripBytes) / coding.rowBytes, 1, kLargestWebpSide);
    auto const whole = isJpeg ? (rows + kJpegUnitRows - 1) / kJpegUnitRows * kJpegUnitRows : rows;
    return static_cast<std::int32_t>(
        std::min<std::uint64_t>(whole, static_cast<std::uint64_t>(coding.size.height)));
}

StripCoding planStrips(EncodeJob const& job)
{
    auto const format = job.rows.format();
    auto const size = job.rows.size();
    auto const chosen = chooseCompression(job.options.tiffCompression, format, job.bitsPerComponent, size);
    StripCoding coding {
        .size = size, .bitsPerSample = job.bitsPerComponent, .samplesPerPixel = format.channels()};
    coding.isFloat = format.componentType == ComponentType::Float32;
    coding.compression = chosen.scheme;
    coding.photometric = photometricFor(format, chosen.scheme);
    coding.predictor = predictorFor(format, job.bitsPerComponent, chosen.hasPredictor);
    coding.jpegQuality = job.options.quality
        ? std::clamp(static_cast<int>(std::lround(*job.options.quality * 100)), 1, 100)
        : kDefaultJpegQuality;
    coding.chromaSubsampling = job.options.noChromaSubsampling ? 1 : 2;
    coding.rowBytes =
        (static_cast<std::uint64_t>(size.width) * static_cast<std::uint64_t>(coding.samplesPerPixel)
                * static_cast<std::uint64_t>(coding.bitsPerSample)
            + 7)
        / 8;
    coding.rowsPerStrip = rowsPerStrip(coding);
    return coding;
}

// --- From rows to stored rows ------------------------------------------------------------------------------

// Packs values of 1, 2 or 4 bits, most significant first.
template <typename ValueOf>
void packBits(
    std::uint8_t const* from, std::int32_t count, int bits, std::uint8_t* to, ValueOf const& valueOf)
{
    auto const perByte = 8 / bits;
    for (std::int32_t x = 0; x < count; x += perByte) {
        unsigned packed = 0;
        for (std::int32_t i = x; i < x + perByte; ++i)
            packed = packed << bits | (i < count ? valueOf(from[i]) : 0u);
        *to++ = static_cast<std::uint8_t>(packed);
    }
}

// Signed a and b as TIFF stores them for photometric interpretation 8.
void signChroma8(std::uint8_t* row, std::int32_t width, int channels)
{
    for (std::int32_t x = 0; x < width; ++x, row += channels) {
        row[1] ^= 0x80;
        row[2] ^= 0x80;
    }
}

void signChroma16(std::uint8_t* row, std::int32_t width, int channels)
{
    auto const convert = [](std::uint8_t* at) {
        std::uint16_t encoded;
        std::memcpy(&encoded, at, sizeof(encoded));
        // 257 codes a unit, offset by 128 units, become 256 codes a unit.
        auto const code = static_cast<int>(std::lround(encoded * 256.0 / 257)) - 0x8000;
        auto const stored = static_cast<std::int16_t>(std::min(code, 0x7FFF));
        std::memcpy(at, &stored, sizeof(stored));
    };
    for (std::int32_t x = 0; x < width; ++x, row += channels * 2) {
        convert(row + 2);
        convert(row + 4);
    }
}

class StripFiller {
public:
    StripFiller(EncodeJob const& job, StripCoding const& coding)
        : m_rows(job.rows)
        , m_coding(coding)
        , m_format(job.rows.format())
        , m_unpacked(coding.bitsPerSample < 8 ? job.rows.rowBytes() : 0)
    {
    }

    Result<void> fill(std::int32_t strip, std::span<std::uint8_t> to)
    {
        auto const count = m_coding.rowsIn(strip);
        if (m_coding.bitsPerSample < 8)
            return packRows(count, to.data());
        TRY(m_rows.read({to.data(), m_coding.rowBytes, count}));
        if (m_format.model != ColorModel::Lab || m_coding.isFloat)
            return {};
        auto const convert = m_coding.bitsPerSample == 8 ? signChroma8 : signChroma16;
        for (std::int32_t i = 0; i < count; ++i)
            convert(to.data() + static_cast<std::uint64_t>(i) * m_coding.rowBytes, m_coding.size.width,
                m_format.channels());
        return {};
    }

private:
    Result<void> packRows(std::int32_t count, std::uint8_t* to)
    {
        auto const bits = m_coding.bitsPerSample;
        auto const largest = (1u << bits) - 1;
        auto const inverted = m_coding.photometric == Photometric::MinIsWhite ? largest : 0;
        for (std::int32_t i = 0; i < count; ++i, to += m_coding.rowBytes) {
            TRY(m_rows.read({m_unpacked.data(), m_unpacked.size(), 1}));
            if (m_format.model == ColorModel::Indexed)
                packBits(m_unpacked.data(), m_coding.size.width, bits, to,
                    [&](std::uint8_t index) { return std::min<unsigned>(index, largest); });
            else
                packBits(m_unpacked.data(), m_coding.size.width, bits, to,
                    [&](std::uint8_t gray) { return (gray * largest + 127) / 255 ^ inverted; });
        }
        return {};
    }

    RowSource& m_rows;
    StripCoding const& m_coding;
    PixelFormat m_format;
    Bytes m_unpacked;
};

// --- The directory -----------------------------------------------------------------------------------------

struct WrittenStrips {
    std::vector<std::uint64_t> offsets;
    std::vector<std::uint64_t> lengths;
};

// TIFF colour maps are 16-bit: all reds, all greens, all blues.
Field colorMapField(Palette const& palette, int bits, ByteOrder order)
{
    auto const entries = std::size_t {1} << bits;
    std::vector<std::uint16_t> values(3 * entries);
    for (std::size_t i = 0; i < std::min(entries, palette.entries.size()); ++i) {
        for (std::size_t channel = 0; channel < 3; ++channel)
            values[channel * entries + i] = static_cast<std::uint16_t>(palette.entries[i][channel] * 257);
    }
    return shortField(tag::kColorMap, values, order);
}

void setStructure(DirectoryBuilder& directory, EncodeJob const& job, StripCoding const& coding,
    WrittenStrips const& strips, Format file)
{
    auto const order = file.order;
    auto const setShort = [&](std::uint16_t tag, int value) {
        directory.set(shortField(tag, {static_cast<std::uint16_t>(value)}, order));
    };
    auto const setLong = [&](std::uint16_t tag, std::int32_t value) {
        directory.set(longField(tag, static_cast<std::uint32_t>(value), order));
    };
    auto const samples = static_cast<std::size_t>(coding.samplesPerPixel);
    setLong(tag::kImageWidth, coding.size.width);
    setLong(tag::kImageLength, coding.size.height);
    directory.set(shortField(tag::kBitsPerSample,
        std::vector<std::uint16_t>(samples, static_cast<std::uint16_t>(coding.bitsPerSample)), order));
    setShort(tag::kCompression, coding.compression);
    setShort(tag::kPhotometric, static_cast<int>(coding.photometric));
    directory.set(offsetsField(tag::kStripOffsets, strips.offsets, file));
    setShort(tag::kSamplesPerPixel, coding.samplesPerPixel);
    setLong(tag::kRowsPerStrip, coding.rowsPerStrip);
    directory.set(offsetsField(tag::kStripByteCounts, strips.lengths, file));
    setShort(tag::kPlanarConfiguration, 1);
    if (coding.predictor != 1)
        setShort(tag::kPredictor, coding.predictor);
    if (coding.isFloat)
        directory.set(shortField(tag::kSampleFormat,
            std::vector<std::uint16_t>(samples, static_cast<std::uint16_t>(SampleFormat::Float)), order));
    if (job.rows.format().hasAlpha())
        setShort(tag::kExtraSamples, job.rows.format().alpha == Alpha::Premultiplied ? 1 : 2);
    if (coding.photometric == Photometric::Separated)
        setShort(tag::kInkSet, 1);
    if (auto const* palette = job.rows.layout().space.palette())
        directory.set(colorMapField(*palette, coding.bitsPerSample, order));
    if (coding.photometric == Photometric::YCbCr) {
        auto const factor = static_cast<std::uint16_t>(coding.chromaSubsampling);
        directory.set(shortField(tag::kYCbCrSubsampling, {factor, factor}, order));
        directory.set(rationalField(tag::kReferenceBlackWhite, {0, 255, 128, 255, 128, 255}, order));
    }
}

void setColorimetry(DirectoryBuilder& directory, EncodeJob const& job, ByteOrder order)
{
    auto const* const tiff = findDictionary(job.properties, key::kTiff);
    if (!tiff)
        return;
    for (auto const& [key, tag, count] : {std::tuple {"WhitePoint", tag::kWhitePoint, std::size_t {2}},
             std::tuple {"PrimaryChromaticities", tag::kPrimaryChromaticities, std::size_t {6}}}) {
        auto const* const value = find(*tiff, key);
        auto const* const numbers = value ? value->asArray() : nullptr;
        if (!numbers || numbers->size() != count)
            continue;
        std::vector<double> values;
        std::ranges::transform(*numbers, std::back_inserter(values), &PropertyValue::number);
        directory.set(rationalField(tag, values, order));
    }
}

void setBlocks(DirectoryBuilder& directory, EncodeJob const& job, ByteOrder order)
{
    constexpr std::uint16_t kInch = 2;
    if (job.resolution) {
        directory.set(rationalField(tag::kXResolution, {job.resolution->x}, order));
        directory.set(rationalField(tag::kYResolution, {job.resolution->y}, order));
        directory.set(shortField(tag::kResolutionUnit, {kInch}, order));
    }
    if (job.profile)
        directory.set(bytesField(tag::kIccProfile, FieldType::Undefined, *job.profile));
    if (auto const xmp = job.metadata.xmp(); !xmp.empty())
        directory.set(bytesField(tag::kXmp, FieldType::Byte, asBytes(xmp)));
    if (auto const iptc = job.metadata.iptc(); !iptc.empty())
        directory.set(bytesField(tag::kIptc, FieldType::Undefined, iptc));
}

Result<void> padToEven(AtomicFile& output)
{
    if (output.position() % 2)
        return output.write(Bytes(1));
    return {};
}

} // namespace

EncodeTarget negotiate(ImageInfo const& info, EncodeOptions const&)
{
    EncodeTarget target {info.layout.format, info.bitsPerComponent};
    auto& format = target.format;
    auto const* const palette = info.layout.space.palette();
    if (format.model == ColorModel::Indexed && (!palette || palette->hasAlpha() || format.hasAlpha())) {
        format = {ComponentType::UInt8, ColorModel::RGB, Alpha::Straight};
        target.bitsPerComponent = 8;
        return target;
    }
    switch (format.componentType) {
    case ComponentType::UInt8: {
        auto const bits = info.bitsPerComponent;
        bool const isPacked = (format.model == ColorModel::Gray || format.model == ColorModel::Indexed)
            && !format.hasAlpha() && bits < 8;
        target.bitsPerComponent = !isPacked ? 8 : bits <= 1 ? 1 : bits <= 2 ? 2 : bits <= 4 ? 4 : 8;
        if (palette) {
            while (palette->entries.size() > std::size_t {1} << target.bitsPerComponent)
                target.bitsPerComponent *= 2;
        }
        break;
    }
    case ComponentType::UInt16:
        target.bitsPerComponent = 16;
        break;
    case ComponentType::Float32:
        target.bitsPerComponent = 32;
        break;
    }
    return target;
}

Result<void> encode(EncodeJob const& job, AtomicFile& output)
{
    auto const coding = planStrips(job);
    auto const pixelBytes = coding.rowBytes * static_cast<std::uint64_t>(coding.size.height);
    Format const file {ByteOrder::Little, pixelBytes > kLargestClassicPixels};
    ExifBlock const exif(job.metadata.exifLittleEndian(), file);
    TRY(output.write(exif.bytes()));

    WrittenStrips strips;
    StripFiller filler(job, coding);
    auto const fill = [&](std::int32_t strip, std::span<std::uint8_t> to) { return filler.fill(strip, to); };
    auto const take = [&](ByteSpan coded) -> Result<void> {
        TRY(padToEven(output));
        strips.offsets.push_back(output.position());
        strips.lengths.push_back(coded.size());
        return output.write(coded);
    };
    TRY(encodeStrips(coding, fill, take));

    TRY(padToEven(output));
    DirectoryBuilder directory(file);
    auto const sub = exif.addTo(directory, output.position());
    TRY(output.write(sub));
    setStructure(directory, job, coding, strips, file);
    setColorimetry(directory, job, file.order);
    setBlocks(directory, job, file.order);
    TRY(padToEven(output));
    auto const layout = directory.serialise(output.position(), 0);
    TRY(output.write(layout.bytes));
    return output.writeAt(0, fileHeader(file, layout.directoryOffset));
}

} // namespace velk::codec::tiff
