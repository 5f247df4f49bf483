#include "base/Reporting.h"
#include "platform/codec/Codecs.h"
#include "platform/codec/LinearRows.h"
#include "platform/codec/RadianceFile.h"
#include "platform/graphics/Turn.h"

#include <atomic>
#include <cstring>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::string_view kType = "public.radiance";
constexpr std::string_view kDictionary = "{Radiance}";
constexpr std::string_view kExposure = "Exposure";
constexpr PixelFormat kFormat = {ComponentType::Float32, ColorModel::RGB, Alpha::None};

bool matches(ByteSpan head, InputFile const&)
{
    return startsLikeRadiance(head);
}

// Reading

// XYZ becomes RGB of the usual primaries.
ColorSpace spaceOf(RadianceHeader const& header)
{
    return color::linearRgbSpace(header.isXyz ? color::kRec709 : header.primaries.value_or(color::kRec709));
}

class RadianceSource final : public ImageSource {
public:
    RadianceSource(InputFile file, RadianceHeader header)
        : ImageSource(kType, std::move(file))
        , m_header(std::move(header))
    {
    }

    Result<void> load()
    {
        // Repeated pixels pack a short scanline into any few bytes, never into none.
        constexpr std::uint64_t kLeastBytes = 4;
        auto const lines = static_cast<std::uint64_t>(m_header.stored.height);
        TRY(checkPixelData(file(), m_header.stored, m_header.dataOffset, {kLeastBytes, kLeastBytes * lines}));
        auto& info = editDescription().info;
        info.layout = {turnedSize(m_header.stored, m_header.turn), kFormat, spaceOf(m_header)};
        info.bitsPerComponent = 32;
        auto& properties = subDictionary(editDescription().formatProperties, kDictionary);
        set(properties, kExposure, m_header.exposure);
        set(properties, "IsXYZ", m_header.isXyz);
        if (!m_header.software.empty())
            set(properties, "Software", m_header.software);
        return {};
    }

    Result<DecodedRows> open(DecodeRequest const& request) const override;

    RadianceHeader const& header() const { return m_header; }
    void reportMissing() const
    {
        if (!m_reported.exchange(true))
            reportWarning("{}: the pixel data is incomplete; missing parts stay blank\n", path());
    }

private:
    RadianceHeader m_header;
    mutable std::atomic<bool> m_reported = false;
};

// The stored scanlines as light.
class RadianceRows final : public RowSource {
public:
    explicit RadianceRows(std::shared_ptr<RadianceSource const> source)
        : RowSource({source->header().stored, kFormat, source->description().info.layout.space})
        , m_source(std::move(source))
        , m_stored(radianceRows(m_source->file(), m_source->header()))
        , m_toRgb(color::linearConversion(color::kCieXyz, color::kRec709))
        , m_scanline(static_cast<std::size_t>(size().width) * sizeof(SharedExponent))
    {
    }

private:
    Result<void> readRows(RowView rows) override
    {
        for (std::int32_t i = 0; i < rows.count; ++i) {
            if (TRY(m_stored->next(m_scanline)) < m_scanline.size())
                m_source->reportMissing();
            decode(rows.row(i));
        }
        return {};
    }

    // red, green, blue, exponent (bytes)  ->  red, green, blue (floats)
    void decode(std::uint8_t* row) const
    {
        for (auto const* from = m_scanline.data(); from != m_scanline.data() + m_scanline.size(); from += 4) {
            auto const scale = radianceScale(from[3]);
            std::array<float, 3> pixel = {from[0] * scale, from[1] * scale, from[2] * scale};
            if (m_source->header().isXyz)
                pixel = rgbOf(pixel);
            std::memcpy(row, pixel.data(), sizeof(pixel));
            row += sizeof(pixel);
        }
    }

    std::array<float, 3> rgbOf(std::array<float, 3> const& xyz) const
    {
        std::array<float, 3> rgb;
        for (std::size_t i = 0; i < 3; ++i) {
            auto const& row = m_toRgb[i];
            rgb[i] = static_cast<float>(row[0] * static_cast<double>(xyz[0])
                + row[1] * static_cast<double>(xyz[1]) + row[2] * static_cast<double>(xyz[2]));
        }
        return rgb;
    }

    std::shared_ptr<RadianceSource const> m_source;
    StoredRowsPointer m_stored;
    color::Matrix3 m_toRgb;
    Bytes m_scanline;
};

Result<DecodedRows> RadianceSource::open(DecodeRequest const&) const
{
    auto self = std::static_pointer_cast<RadianceSource const>(shared_from_this());
    return wholeImage(turnedRows(std::make_unique<RadianceRows>(std::move(self)), m_header.turn));
}

Result<std::shared_ptr<ImageSource>> open(InputFile file)
{
    auto header = TRY(readRadianceHeader(file));
    auto source = std::make_shared<RadianceSource>(std::move(file), std::move(header));
    TRY(source->load());
    return source;
}

// Writing

EncodeTarget negotiate(ImageInfo const&, EncodeOptions const&)
{
    return {kFormat, 32};
}

// The exposure that the source was written with, or that was set.
std::optional<double> exposureIn(PropertyDictionary const& properties)
{
    auto const* radiance = findDictionary(properties, kDictionary);
    auto const* exposure = radiance ? find(*radiance, kExposure) : nullptr;
    if (!exposure || !exposure->isNumber() || !(exposure->number() > 0) || exposure->number() == 1)
        return std::nullopt;
    return exposure->number();
}

// Pictures without primaries are taken for those of sRGB by nearly every reader.
std::string primariesLine(ColorSpace const& space)
{
    auto const own = color::chromaticitiesOf(space);
    if (!own || own->isLike(color::kRec709))
        return {};
    auto const& [red, green, blue, white] = *own;
    return fmt::format("PRIMARIES={:.4f} {:.4f} {:.4f} {:.4f} {:.4f} {:.4f} {:.4f} {:.4f}\n", red.x, red.y,
        green.x, green.y, blue.x, blue.y, white.x, white.y);
}

std::string headerOf(PixelLayout const& layout, PropertyDictionary const& properties)
{
    auto const exposure = exposureIn(properties);
    return fmt::format("#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n{}{}\n-Y {} +X {}\n",
        exposure ? fmt::format("EXPOSURE={}\n", *exposure) : "", primariesLine(layout.space),
        layout.size.height, layout.size.width);
}

Result<void> encode(EncodeJob const& job, AtomicFile& output)
{
    auto const rows = TRY(linearRows(job.rows));
    TRY(output.write(asBytes(headerOf(rows->layout(), job.properties))));
    std::vector<float> row(static_cast<std::size_t>(rows->size().width) * 3);
    std::vector<SharedExponent> pixels(static_cast<std::size_t>(rows->size().width));
    Bytes scanline;
    while (rows->rowsLeft() > 0) {
        TRY(rows->read({reinterpret_cast<std::uint8_t*>(row.data()), rows->rowBytes(), 1}));
        for (std::size_t x = 0; x < pixels.size(); ++x)
            pixels[x] = toSharedExponent(row[3 * x], row[3 * x + 1], row[3 * x + 2]);
        scanline.clear();
        appendRadianceScanline(scanline, pixels);
        TRY(output.write(scanline));
    }
    return {};
}

} // namespace

constinit Codec const kRadianceCodec = {
    .type = kType,
    .carries = {},
    .matches = matches,
    .open = open,
    .negotiate = negotiate,
    .encode = encode,
};

} // namespace velk::codec
