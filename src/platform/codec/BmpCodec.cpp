#include "platform/codec/BmpHeader.h"
#include "platform/codec/BmpRunLength.h"
#include "platform/codec/Codecs.h"
#include "platform/codec/EncoderAbilities.h"
#include "platform/codec/PixelPacking.h"
#include "platform/codec/StoredRows.h"
#include "platform/color/IccProfile.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::string_view kType = "com.microsoft.bmp";
constexpr std::string_view kDictionary = "{BMP}";

bool matches(ByteSpan head, InputFile const&)
{
    auto const isBitmap = [](ByteSpan at) {
        if (at.size() < kBmpFileHeaderSize + 4 || !startsWith(at, "BM"))
            return false;
        auto const headerSize = loadLE32(at.data() + kBmpFileHeaderSize);
        return headerSize >= kBmpCoreHeaderSize && headerSize <= 4096;
    };
    if (startsWith(head, "BA") && head.size() > kBmpFileHeaderSize)
        return isBitmap(head.subspan(kBmpFileHeaderSize));
    return isBitmap(head);
}

// Reading

// Indices that the palette does not know count as 0.
RowDecoder decodeIndices(BmpHeader const& header, bool packed)
{
    return [width = static_cast<std::size_t>(header.size.width), bits = packed ? header.bitsPerPixel : 8,
               colors = header.palette.entries.size()](std::span<Bytes> planes, std::uint8_t* row) {
        unpackSamples(planes[0].data(), bits, width, row);
        std::replace_if(
            row, row + width, [&](std::uint8_t index) { return index >= colors; }, std::uint8_t {0});
    };
}

RowDecoder decodeBgr(std::size_t width, std::size_t storedPixelBytes)
{
    return [=](std::span<Bytes> planes, std::uint8_t* row) {
        auto const* from = planes[0].data();
        for (std::size_t x = 0; x < width; ++x, from += storedPixelBytes, row += 3) {
            row[0] = from[2];
            row[1] = from[1];
            row[2] = from[0];
        }
    };
}

// One component of a pixel on the scale 0..full; those of few bits are looked up.
class FieldScale {
public:
    FieldScale(BmpField const& field, std::uint32_t full)
        : m_field(field)
        , m_full(full)
    {
        if (field.bits <= 12) {
            for (std::uint32_t value = 0; value <= field.maximum(); ++value)
                m_table.push_back(static_cast<std::uint16_t>(scale(value)));
        }
    }
    std::uint16_t operator()(std::uint32_t pixel) const
    {
        auto const value = m_field.value(pixel);
        return m_table.empty() ? static_cast<std::uint16_t>(scale(value)) : m_table[value];
    }

private:
    std::uint32_t scale(std::uint32_t value) const
    {
        return m_field.bits == 0 ? 0 : scaleSample(value, m_field.maximum(), m_full);
    }

    BmpField m_field;
    std::uint32_t m_full;
    std::vector<std::uint16_t> m_table;
};

template <typename Component> RowDecoder decodeFields(BmpHeader const& header, std::size_t channels)
{
    std::vector<FieldScale> scales;
    for (std::size_t i = 0; i < channels; ++i)
        scales.emplace_back(header.fields[i], std::numeric_limits<Component>::max());
    return [scales = std::move(scales), width = header.size.width, bytes = header.bitsPerPixel / 8](
               std::span<Bytes> planes, std::uint8_t* row) {
        auto const* from = planes[0].data();
        for (std::int32_t x = 0; x < width; ++x, from += bytes) {
            std::uint32_t const pixel = bytes == 2 ? loadLE16(from) : loadLE32(from);
            for (auto const& scale : scales) {
                auto const component = static_cast<Component>(scale(pixel));
                std::memcpy(row, &component, sizeof(component));
                row += sizeof(component);
            }
        }
    };
}

bool isPlainBgrx(BmpHeader const& header)
{
    return header.bitsPerPixel == 32 && header.fields[0].mask == 0x00FF0000
        && header.fields[1].mask == 0x0000FF00 && header.fields[2].mask == 0x000000FF
        && header.fields[3].mask == 0;
}

int widestField(BmpHeader const& header)
{
    return std::ranges::max(header.fields, {}, &BmpField::bits).bits;
}

class BmpSource final : public RawImageSource {
public:
    BmpSource(InputFile file, BmpHeader header)
        : RawImageSource(kType, std::move(file))
        , m_header(std::move(header))
    {
    }

    Result<void> load()
    {
        TRY(checkPixels());
        if (m_header.alphaIsDoubtful && !TRY(hasAnyAlpha()))
            m_header.fields[3] = {};
        auto& info = editDescription().info;
        info.layout = {m_header.size, format(), space()};
        info.bitsPerComponent = bitsPerComponent();
        editDescription().resolution = m_header.resolution;
        describeFormat(subDictionary(editDescription().formatProperties, kDictionary));
        return {};
    }

private:
    bool isRunLengthCoded() const { return m_header.compression != BmpCompression::None; }
    bool isDeep() const { return widestField(m_header) > 8; }

    // Two bytes of run-length code make at most 255 pixels.
    Result<void> checkPixels() const
    {
        auto const pixels = static_cast<std::uint64_t>(m_header.size.pixelCount());
        auto const height = static_cast<std::uint64_t>(m_header.size.height);
        auto const needed = isRunLengthCoded()
            ? PixelDataSize {2, pixels / 128}
            : PixelDataSize {m_header.rowBytes(), m_header.stride() * height};
        return checkPixelData(file(), m_header.size, m_header.pixelOffset, needed);
    }

    PixelFormat format() const
    {
        if (m_header.isIndexed())
            return {ComponentType::UInt8, ColorModel::Indexed, Alpha::None};
        return {isDeep() ? ComponentType::UInt16 : ComponentType::UInt8, ColorModel::RGB,
            m_header.fields[3].mask ? Alpha::Straight : Alpha::None};
    }

    ColorSpace space() const
    {
        auto const base = colorSpaceWithProfile(ColorModel::RGB, m_header.profile);
        return m_header.isIndexed() ? ColorSpace::indexed(base, m_header.palette) : base;
    }

    int bitsPerComponent() const
    {
        if (m_header.isIndexed())
            return m_header.bitsPerPixel;
        if (!isDeep())
            return 8;
        auto const widest = widestField(m_header);
        return widest <= 10 ? 10 : widest <= 12 ? 12 : 16;
    }

    void describeFormat(PropertyDictionary& properties) const
    {
        constexpr std::string_view kCompressionNames[] = {"None", "RLE4", "RLE8", "RLE24"};
        set(properties, "BitsPerPixel", m_header.bitsPerPixel);
        set(properties, "Compression", kCompressionNames[static_cast<int>(m_header.compression)]);
        set(properties, "HeaderSize", static_cast<std::int64_t>(m_header.headerSize));
        if (m_header.isLabelledSrgb)
            set(properties, "ColorSpace", "sRGB");
    }

    // Whether any pixel is not wholly transparent. The first one is, or tells, in nearly every file.
    Result<bool> hasAnyAlpha() const
    {
        VerbatimRows rows(file(), place());
        Bytes row(m_header.rowBytes());
        for (std::int32_t y = 0; y < m_header.size.height; ++y) {
            if (TRY(rows.next(row)) < row.size())
                break;
            for (std::size_t at = 0; at < row.size(); at += 4) {
                if (m_header.fields[3].value(loadLE32(row.data() + at)) != 0)
                    return true;
            }
        }
        return false;
    }

    VerbatimRows::Place place() const
    {
        return {m_header.pixelOffset, m_header.stride(), m_header.size.height, !m_header.topDown};
    }

    RowDecoder decoder() const
    {
        auto const width = static_cast<std::size_t>(m_header.size.width);
        if (m_header.isIndexed())
            return decodeIndices(m_header, !isRunLengthCoded());
        if (m_header.bitsPerPixel == 24)
            return decodeBgr(width, 3);
        if (isPlainBgrx(m_header))
            return decodeBgr(width, 4);
        auto const channels = static_cast<std::size_t>(format().channels());
        return isDeep() ? decodeFields<std::uint16_t>(m_header, channels)
                        : decodeFields<std::uint8_t>(m_header, channels);
    }

    Result<StoredImage> openStored() const override
    {
        StoredImage stored {.rowBytes = static_cast<std::size_t>(m_header.rowBytes()), .decode = decoder()};
        if (isRunLengthCoded()) {
            stored.rowBytes = static_cast<std::size_t>(m_header.size.width) * format().bytesPerPixel();
            stored.planes.push_back(bmpRunLengthRows(file(), m_header));
        } else {
            stored.planes.push_back(std::make_unique<VerbatimRows>(file(), place()));
        }
        return stored;
    }

    BmpHeader m_header;
};

Result<std::shared_ptr<ImageSource>> open(InputFile file)
{
    auto header = TRY(readBmpHeader(file));
    auto source = std::make_shared<BmpSource>(std::move(file), std::move(header));
    TRY(source->load());
    return source;
}

// Writing

constexpr ColorModel kModels[] = {ColorModel::Gray, ColorModel::RGB};
constexpr ColorModel kModelsWithAlpha[] = {ColorModel::RGB};
constexpr int kGrayDepths[] = {1, 8};
constexpr int kIndexDepths[] = {1, 4, 8};
constexpr EncoderAbilities kAbilities = {
    .models = kModels,
    .modelsWithAlpha = kModelsWithAlpha,
    .grayDepths = kGrayDepths,
    .indexDepths = kIndexDepths,
};

EncodeTarget negotiate(ImageInfo const& info, EncodeOptions const&)
{
    return nearestTarget(info, kAbilities);
}

// The file around the pixels that are to be written.
struct BmpPlan {
    Size size;
    int bitsPerPixel = 24;
    bool hasAlpha = false;
    Palette palette;
    SharedBytes profile;
    std::optional<Resolution> resolution;

    bool needsV5() const { return hasAlpha || profile; }
    std::uint32_t headerSize() const { return needsV5() ? kBmpV5HeaderSize : kBmpInfoHeaderSize; }
    std::uint64_t stride() const
    {
        return (static_cast<std::uint64_t>(size.width) * static_cast<unsigned>(bitsPerPixel) + 31) / 32 * 4;
    }
    std::uint64_t pixelOffset() const
    {
        return kBmpFileHeaderSize + headerSize() + palette.entries.size() * 4;
    }
    std::uint64_t pixelBytes() const { return stride() * static_cast<std::uint64_t>(size.height); }
    std::uint64_t fileSize() const { return pixelOffset() + pixelBytes() + (profile ? profile->size() : 0); }
};

Palette grayPalette(int bits)
{
    Palette palette;
    for (int i = 0, last = (1 << bits) - 1; i <= last; ++i) {
        auto const level = static_cast<std::uint8_t>(i * 255 / last);
        palette.entries.push_back({level, level, level, 255});
    }
    return palette;
}

BmpPlan planFor(EncodeJob const& job)
{
    auto const format = job.rows.format();
    BmpPlan plan {.size = job.rows.size(), .hasAlpha = format.hasAlpha(), .resolution = job.resolution};
    plan.bitsPerPixel = format.channels() == 1 ? job.bitsPerComponent : format.channels() * 8;
    if (auto const* palette = job.rows.layout().space.palette())
        plan.palette = *palette;
    else if (format.model == ColorModel::Gray)
        plan.palette = grayPalette(job.bitsPerComponent);
    // Whatever its palette looks like, a bitmap's colours are red, green and blue.
    if (job.profile && color::profileColorModel(*job.profile) == ColorModel::RGB)
        plan.profile = job.profile;
    return plan;
}

std::uint32_t pixelsPerMetre(double pixelsPerInch)
{
    auto const value = std::round(pixelsPerInch / kMetresPerInch);
    return value >= 1 && value <= std::numeric_limits<std::int32_t>::max() ? static_cast<std::uint32_t>(value)
                                                                           : 0;
}

void appendV5Fields(Bytes& bytes, BmpPlan const& plan)
{
    constexpr std::uint32_t kIntentImages = 4; // perceptual
    constexpr std::size_t kEndpointsAndGamma = 48;
    auto const mask = [&](std::uint32_t value) { appendLE32(bytes, plan.hasAlpha ? value : 0); };
    mask(0x00FF0000);
    mask(0x0000FF00);
    mask(0x000000FF);
    mask(0xFF000000);
    appendLE32(bytes, plan.profile ? kBmpProfileEmbedded : kBmpSrgb);
    bytes.resize(bytes.size() + kEndpointsAndGamma);
    appendLE32(bytes, kIntentImages);
    auto const profileOffset = plan.pixelOffset() - kBmpFileHeaderSize + plan.pixelBytes();
    appendLE32(bytes, plan.profile ? static_cast<std::uint32_t>(profileOffset) : 0);
    appendLE32(bytes, plan.profile ? static_cast<std::uint32_t>(plan.profile->size()) : 0);
    appendLE32(bytes, 0);
}

Bytes headerOf(BmpPlan const& plan)
{
    constexpr std::uint32_t kBitFields = 3;
    Bytes bytes;
    append(bytes, "BM");
    appendLE32(bytes, static_cast<std::uint32_t>(plan.fileSize()));
    appendLE32(bytes, 0);
    appendLE32(bytes, static_cast<std::uint32_t>(plan.pixelOffset()));

    appendLE32(bytes, plan.headerSize());
    appendLE32(bytes, static_cast<std::uint32_t>(plan.size.width));
    appendLE32(bytes, static_cast<std::uint32_t>(plan.size.height));
    appendLE16(bytes, 1);
    appendLE16(bytes, static_cast<std::uint16_t>(plan.bitsPerPixel));
    appendLE32(bytes, plan.hasAlpha ? kBitFields : 0);
    appendLE32(bytes, static_cast<std::uint32_t>(plan.pixelBytes()));
    appendLE32(bytes, plan.resolution ? pixelsPerMetre(plan.resolution->x) : 0);
    appendLE32(bytes, plan.resolution ? pixelsPerMetre(plan.resolution->y) : 0);
    appendLE32(bytes, static_cast<std::uint32_t>(plan.palette.entries.size()));
    appendLE32(bytes, 0);
    if (plan.needsV5())
        appendV5Fields(bytes, plan);
    for (auto const& entry : plan.palette.entries)
        append(bytes, Bytes {entry[2], entry[1], entry[0], 0});
    return bytes;
}

void packRow(PixelLayout const& layout, int bits, std::uint8_t* row, std::uint8_t* stored)
{
    auto const width = static_cast<std::size_t>(layout.size.width);
    if (layout.format.model == ColorModel::Gray)
        reduceFromFullRange(row, bits, width, row);
    if (layout.format.channels() == 1) {
        packSamples(row, bits, width, stored);
        return;
    }
    auto const channels = static_cast<std::size_t>(layout.format.channels());
    for (std::size_t at = 0; at < width * channels; at += channels) {
        stored[at] = row[at + 2];
        stored[at + 1] = row[at + 1];
        stored[at + 2] = row[at];
        if (channels == 4)
            stored[at + 3] = row[at + 3];
    }
}

// Rows come from the top and lie in the file from the bottom: whole blocks are put where they belong.
Result<void> writePixels(EncodeJob const& job, BmpPlan const& plan, AtomicFile& output)
{
    constexpr std::uint64_t kBlockBytes = 1024 * 1024;
    auto const height = plan.size.height;
    auto const stride = static_cast<std::size_t>(plan.stride());
    auto const blockRows = static_cast<std::int32_t>(
        std::clamp<std::uint64_t>(kBlockBytes / stride, 1, static_cast<std::uint64_t>(height)));
    Bytes block(static_cast<std::size_t>(blockRows) * stride);
    Bytes row(job.rows.rowBytes());
    for (std::int32_t y = 0; y < height; y += blockRows) {
        auto const count = std::min(blockRows, height - y);
        for (std::int32_t i = 0; i < count; ++i) {
            TRY(job.rows.read({row.data(), row.size(), 1}));
            packRow(job.rows.layout(), job.bitsPerComponent, row.data(),
                block.data() + static_cast<std::size_t>(count - 1 - i) * stride);
        }
        auto const stored = static_cast<std::uint64_t>(height - y - count);
        TRY(output.writeAt(plan.pixelOffset() + stored * stride,
            ByteSpan(block).first(static_cast<std::size_t>(count) * stride)));
    }
    return {};
}

Result<void> encode(EncodeJob const& job, AtomicFile& output)
{
    auto const plan = planFor(job);
    if (plan.fileSize() > std::numeric_limits<std::uint32_t>::max())
        return fail("the image is too large for a bitmap file (4 GB)");
    TRY(output.write(headerOf(plan)));
    TRY(writePixels(job, plan, output));
    return plan.profile ? output.write(*plan.profile) : Result<void> {};
}

} // namespace

constinit Codec const kBmpCodec = {
    .type = kType,
    .carries = {.profile = true, .resolution = true},
    .matches = matches,
    .open = open,
    .negotiate = negotiate,
    .encode = encode,
};

} // namespace velk::codec
