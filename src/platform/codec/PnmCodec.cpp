#include "platform/codec/Codecs.h"
#include "platform/codec/EncoderAbilities.h"
#include "platform/codec/PixelPacking.h"
#include "platform/codec/PnmFile.h"
#include "platform/codec/StoredRows.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::string_view kType = "public.pbm";

bool matches(ByteSpan head, InputFile const&)
{
    return startsLikePnm(head);
}

// Reading

// The numbers of a text file as binary samples of one byte, or of two with the most significant first.
class TextRows final : public StoredRows {
public:
    TextRows(InputFile const& file, PnmHeader const& header)
        : m_reader(file, header.dataOffset)
        , m_isBits(header.coding == PnmCoding::TextBits)
        , m_sampleBytes(header.sampleBytes())
    {
    }

    Result<std::size_t> next(std::span<std::uint8_t> row) override
    {
        std::size_t done = 0;
        for (; done < row.size(); done += m_sampleBytes) {
            auto const sample = nextSample();
            if (!sample)
                break;
            if (m_sampleBytes == 1)
                row[done] = static_cast<std::uint8_t>(std::min(*sample, 255u));
            else
                storeInteger(
                    &row[done], static_cast<std::uint16_t>(std::min(*sample, 65535u)), ByteOrder::Big);
        }
        std::fill(row.begin() + static_cast<std::ptrdiff_t>(done), row.end(), std::uint8_t {0});
        return done;
    }

private:
    static bool isDigit(std::uint8_t byte) { return byte >= '0' && byte <= '9'; }

    std::optional<std::uint8_t> firstDigit()
    {
        while (auto const byte = m_reader.byte()) {
            if (isDigit(*byte))
                return byte;
            if (*byte == '#') {
                for (auto skipped = m_reader.byte(); skipped && *skipped != '\n';)
                    skipped = m_reader.byte();
            } else if (!std::isspace(*byte)) {
                break;
            }
        }
        return std::nullopt;
    }

    // Nothing at the end, and from the first thing on that is no number.
    std::optional<std::uint32_t> nextSample()
    {
        auto const first = m_ended ? std::nullopt : firstDigit();
        if (!first) {
            m_ended = true;
            return std::nullopt;
        }
        std::uint32_t value = *first - '0';
        if (m_isBits)
            return value;
        auto byte = m_reader.byte();
        for (; byte && isDigit(*byte); byte = m_reader.byte())
            value = std::min(value * 10 + (*byte - '0'), 1000000u);
        if (byte && *byte == '#')
            m_reader.seek(m_reader.position() - 1);
        else if (byte && !std::isspace(*byte))
            m_ended = true;
        return value;
    }

    BufferedReader m_reader;
    bool m_isBits;
    std::size_t m_sampleBytes;
    bool m_ended = false;
};

// Samples of 0..maximum to full range, in the type that holds them; larger ones count as the maximum.
class SampleScale {
public:
    SampleScale(PnmHeader const& header, bool inverted)
        : m_maximum(header.maximum)
        , m_full(header.maximum > 255 ? 65535 : 255)
    {
        if (header.maximum > 255)
            return;
        for (std::uint32_t value = 0; value <= 255; ++value) {
            auto const scaled = scaleSample(value, m_maximum, m_full);
            m_table[value] = static_cast<std::uint8_t>(inverted ? m_full - scaled : scaled);
        }
    }

    void convert8(std::uint8_t const* from, std::size_t count, std::uint8_t* to) const
    {
        std::transform(from, from + count, to, [&](std::uint8_t value) { return m_table[value]; });
    }
    void convert16(std::uint8_t const* from, std::size_t count, std::uint8_t* to) const
    {
        for (std::size_t i = 0; i < count; ++i) {
            auto const scaled =
                static_cast<std::uint16_t>(scaleSample(loadBE16(from + 2 * i), m_maximum, m_full));
            std::memcpy(to + 2 * i, &scaled, 2);
        }
    }

private:
    std::uint32_t m_maximum, m_full;
    std::array<std::uint8_t, 256> m_table = {};
};

RowDecoder decodePackedBits(std::size_t width)
{
    return [width](std::span<Bytes> planes, std::uint8_t* row) {
        unpackSamples(planes[0].data(), 1, width, row);
        expandToFullRange(row, 1, width);
        invertComponents(row, width, 1);
    };
}

RowDecoder decodeFloats(std::size_t count, ByteOrder order)
{
    return [=](std::span<Bytes> planes, std::uint8_t* row) {
        for (std::size_t i = 0; i < count; ++i) {
            auto const bits = loadInteger<std::uint32_t>(planes[0].data() + 4 * i, order);
            std::memcpy(row + 4 * i, &bits, 4);
        }
    };
}

RowDecoder decodeSamples(PnmHeader const& header, std::size_t channels)
{
    auto const width = static_cast<std::size_t>(header.size.width);
    auto const stored = static_cast<std::size_t>(header.storedChannels);
    auto const bytes = header.sampleBytes();
    SampleScale const scale(header, header.coding == PnmCoding::TextBits);
    return [=](std::span<Bytes> planes, std::uint8_t* row) {
        auto const convert = [&](std::uint8_t const* from, std::size_t count, std::uint8_t* to) {
            if (bytes == 1)
                scale.convert8(from, count, to);
            else
                scale.convert16(from, count, to);
        };
        if (stored == channels) {
            convert(planes[0].data(), width * channels, row);
            return;
        }
        for (std::size_t x = 0; x < width; ++x)
            convert(planes[0].data() + x * stored * bytes, channels, row + x * channels * bytes);
    };
}

class PnmSource final : public RawImageSource {
public:
    PnmSource(InputFile file, PnmHeader const& header)
        : RawImageSource(kType, std::move(file))
        , m_header(header)
    {
    }

    Result<void> load()
    {
        // A row of text takes at least a digit a sample.
        auto const shortest =
            m_header.isText() ? m_header.rowBytes() / m_header.sampleBytes() : m_header.rowBytes();
        auto const complete = shortest * static_cast<std::uint64_t>(m_header.size.height);
        TRY(checkPixelData(file(), m_header.size, m_header.dataOffset, {shortest, complete}));
        auto& info = editDescription().info;
        info.layout = {m_header.size, format(), ColorSpace::device(format().model)};
        info.bitsPerComponent = bitsPerComponent();
        editDescription().imageCount = countPnmImages(file(), m_header);
        return {};
    }

private:
    PixelFormat format() const
    {
        constexpr ColorModel kModels[] = {ColorModel::Gray, ColorModel::RGB, ColorModel::CMYK};
        auto const type = m_header.coding == PnmCoding::Floats ? ComponentType::Float32
            : m_header.maximum > 255                           ? ComponentType::UInt16
                                                               : ComponentType::UInt8;
        return {type, kModels[static_cast<int>(m_header.colors)],
            m_header.hasAlpha ? Alpha::Straight : Alpha::None};
    }

    // The depth whose full range the samples have; grey alone may have less than eight bits.
    int bitsPerComponent() const
    {
        if (m_header.coding == PnmCoding::Floats)
            return 32;
        bool const isPlainGray = m_header.colors == PnmColors::Gray && !m_header.hasAlpha;
        for (int const bits : {1, 2, 4, 8, 10, 12}) {
            if (m_header.maximum <= (1u << bits) - 1 && (bits >= 8 || isPlainGray))
                return bits;
        }
        return 16;
    }

    RowDecoder decoder() const
    {
        auto const width = static_cast<std::size_t>(m_header.size.width);
        auto const channels = static_cast<std::size_t>(format().channels());
        if (m_header.coding == PnmCoding::PackedBits)
            return decodePackedBits(width);
        if (m_header.coding == PnmCoding::Floats)
            return decodeFloats(width * channels, m_header.floatOrder);
        return decodeSamples(m_header, channels);
    }

    Result<StoredImage> openStored() const override
    {
        StoredImage stored {.rowBytes = static_cast<std::size_t>(m_header.rowBytes()), .decode = decoder()};
        if (m_header.isText())
            stored.planes.push_back(std::make_unique<TextRows>(file(), m_header));
        else
            stored.planes.push_back(std::make_unique<VerbatimRows>(file(),
                VerbatimRows::Place {m_header.dataOffset, m_header.rowBytes(), m_header.size.height,
                    m_header.coding == PnmCoding::Floats}));
        return stored;
    }

    PnmHeader m_header;
};

Result<std::shared_ptr<ImageSource>> open(InputFile file)
{
    BufferedReader reader(file, 0, 4096);
    auto const header = TRY(readPnmHeader(reader));
    auto source = std::make_shared<PnmSource>(std::move(file), header);
    TRY(source->load());
    return source;
}

// Writing

constexpr ColorModel kModels[] = {ColorModel::Gray, ColorModel::RGB, ColorModel::CMYK};
constexpr int kGrayDepths[] = {1, 2, 4, 8};
constexpr EncoderAbilities kAbilities = {
    .models = kModels,
    .modelsWithAlpha = kModels,
    .grayDepths = kGrayDepths,
    .sixteenBits = true,
};

EncodeTarget negotiate(ImageInfo const& info, EncodeOptions const&)
{
    return nearestTarget(info, kAbilities);
}

std::string headerOf(PixelLayout const& layout, int bits)
{
    auto const& [width, height] = layout.size;
    auto const format = layout.format;
    auto const maximum = (1u << bits) - 1;
    if (format.hasAlpha() || format.model == ColorModel::CMYK) {
        constexpr std::string_view kNames[] = {"GRAYSCALE", "RGB", "CMYK"};
        return fmt::format("P7\nWIDTH {}\nHEIGHT {}\nDEPTH {}\nMAXVAL {}\nTUPLTYPE {}{}\nENDHDR\n", width,
            height, format.channels(), maximum, kNames[static_cast<int>(format.model)],
            format.hasAlpha() ? "_ALPHA" : "");
    }
    if (bits == 1)
        return fmt::format("P4\n{} {}\n", width, height);
    return fmt::format("P{}\n{} {}\n{}\n", format.model == ColorModel::Gray ? 5 : 6, width, height, maximum);
}

// Turns a row into what the file holds, in place; returns the number of bytes.
std::size_t packRow(PixelLayout const& layout, int bits, std::uint8_t* row)
{
    auto const width = static_cast<std::size_t>(layout.size.width);
    auto const count = width * static_cast<std::size_t>(layout.format.channels());
    if (bits == 16) {
        swapBigEndian(row, count, 2, row);
        return count * 2;
    }
    if (bits < 8)
        reduceFromFullRange(row, bits, count, row);
    if (bits > 1)
        return count;
    std::transform(row, row + width, row, [](std::uint8_t white) { return white ^ 1; });
    packSamples(row, 1, width, row);
    return (width + 7) / 8;
}

Result<void> encode(EncodeJob const& job, AtomicFile& output)
{
    auto const& layout = job.rows.layout();
    TRY(output.write(asBytes(headerOf(layout, job.bitsPerComponent))));
    Bytes row(layout.rowBytes());
    while (job.rows.rowsLeft() > 0) {
        TRY(job.rows.read({row.data(), row.size(), 1}));
        auto const size = packRow(layout, job.bitsPerComponent, row.data());
        TRY(output.write(ByteSpan(row).first(size)));
    }
    return {};
}

} // namespace

constinit Codec const kPnmCodec = {
    .type = kType,
    .carries = {},
    .matches = matches,
    .open = open,
    .negotiate = negotiate,
    .encode = encode,
};

} // namespace velk::codec
