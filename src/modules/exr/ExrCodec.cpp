// The module velk-codec-exr: OpenEXR files.

#include "modules/exr/ExrSource.h"
#include "modules/exr/ExrStreams.h"
#include "modules/exr/ExrTags.h"
#include "platform/codec/Codec.h"
#include "platform/codec/LinearRows.h"
#include "platform/color/LinearLight.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfOutputFile.h>
#include <ImfStandardAttributes.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace velk::codec::exr {

using namespace graphics;

namespace {

// Light needs floating point; alpha is premultiplied as the format has it. What came from eight bits or from
// half precision has no more in it than half precision holds.
EncodeTarget negotiate(ImageInfo const& info, EncodeOptions const&)
{
    auto const& format = info.layout.format;
    bool const hasAlpha =
        format.hasAlpha() || (info.layout.space.palette() && info.layout.space.palette()->hasAlpha());
    bool const fitsHalf = format.componentType == ComponentType::UInt8
        || (format.componentType == ComponentType::Float32 && info.bitsPerComponent == 16);
    return {{ComponentType::Float32, format.model == ColorModel::Gray ? ColorModel::Gray : ColorModel::RGB,
                hasAlpha ? Alpha::Premultiplied : Alpha::None},
        fitsHalf ? 16 : 32};
}

// What the header says about how pixels are stored, and what is said anew.
bool isStructural(std::string_view name)
{
    constexpr std::string_view kStructural[] = {"channels", "chromaticities", "chunkCount", "compression",
        "dataWindow", "displayWindow", "dwaCompressionLevel", "envmap", "lineOrder", "maxSamplesPerPixel",
        "multiView", "name", "pixelAspectRatio", "preview", "screenWindowCenter", "screenWindowWidth",
        "tiles", "type", "version", "view", "xDensity"};
    return std::ranges::find(kStructural, name) != std::end(kStructural);
}

void keepAttributes(Imf::Header& header, Imf::Header const& source)
{
    for (auto attribute = source.begin(); attribute != source.end(); ++attribute) {
        if (!isStructural(attribute.name()) && !isTag(attribute.name()))
            header.insert(attribute.name(), attribute.attribute());
    }
}

// A quality below 1 asks for lossy coding, stronger the lower it is; 45 is the level that looks lossless.
void chooseCompression(Imf::Header& header, EncodeJob const& job, ExrSource const* source)
{
    constexpr float kMildest = 45, kStrongest = 500;
    header.compression() = Imf::ZIP_COMPRESSION;
    if (job.options.quality && *job.options.quality < 1) {
        header.compression() = Imf::DWAA_COMPRESSION;
        auto const loss = std::clamp(1 - *job.options.quality, 0.0f, 1.0f);
        header.dwaCompressionLevel() = kMildest + loss * loss * (kStrongest - kMildest);
    } else if (source && !job.options.quality) {
        header.compression() = source->header().compression();
    }
}

void describeColors(Imf::Header& header, ColorSpace const& space)
{
    auto const own = color::chromaticitiesOf(space);
    if (!own || own->isLike(color::kRec709))
        return;
    auto const point = [](color::Chromaticities::Point xy) {
        return Imath::V2f(static_cast<float>(xy.x), static_cast<float>(xy.y));
    };
    Imf::addChromaticities(
        header, Imf::Chromaticities(point(own->red), point(own->green), point(own->blue), point(own->white)));
}

std::vector<char const*> channelNames(PixelFormat format)
{
    std::vector<char const*> names = {"R", "G", "B"};
    if (format.model == ColorModel::Gray)
        names = {"Y"};
    if (format.hasAlpha())
        names.push_back("A");
    return names;
}

Imf::Header headerFor(EncodeJob const& job, PixelLayout const& layout, Imf::PixelType type)
{
    Imf::Header header(layout.size.width, layout.size.height);
    auto const* source = dynamic_cast<ExrSource const*>(job.source);
    if (source)
        keepAttributes(header, source->header());
    writeTags(header, job.properties);
    chooseCompression(header, job, source);
    describeColors(header, layout.space);
    if (job.resolution) {
        Imf::addXDensity(header, static_cast<float>(job.resolution->x));
        header.pixelAspectRatio() = static_cast<float>(job.resolution->y / job.resolution->x);
    }
    for (auto const* name : channelNames(layout.format))
        header.channels().insert(name, Imf::Channel(type));
    return header;
}

// Values beyond the range of half precision become its largest, not infinity.
void toHalf(std::vector<float> const& from, std::vector<half>& to)
{
    std::ranges::transform(from, to.begin(), [](float value) {
        return half(std::isfinite(value) ? std::clamp<float>(value, -HALF_MAX, HALF_MAX) : value);
    });
}

class PixelWriter {
public:
    PixelWriter(Imf::OutputFile& output, PixelLayout const& layout, Imf::PixelType type)
        : m_output(output)
        , m_layout(layout)
        , m_type(type)
        , m_rowValues(static_cast<std::size_t>(layout.size.width)
              * static_cast<std::size_t>(layout.format.channels()))
    {
    }

    Result<void> write(RowSource& rows)
    {
        // As many rows as the larger codings take together.
        constexpr std::int32_t kBlockRows = 32;
        m_floats.resize(m_rowValues * kBlockRows);
        m_halves.resize(m_type == Imf::HALF ? m_floats.size() : 0);
        while (rows.rowsLeft() > 0) {
            auto const first = rows.nextRow();
            auto const count = std::min(kBlockRows, rows.rowsLeft());
            TRY(rows.read({reinterpret_cast<std::uint8_t*>(m_floats.data()), rows.rowBytes(), count}));
            TRY(guarded([&] { writeBlock(first, count); }));
        }
        return {};
    }

private:
    void writeBlock(std::int32_t first, std::int32_t count)
    {
        if (m_type == Imf::HALF) {
            toHalf(m_floats, m_halves);
            insertSlices(m_halves.data(), first, count);
        } else {
            insertSlices(m_floats.data(), first, count);
        }
        m_output.writePixels(count);
    }

    template <typename Value> void insertSlices(Value* values, std::int32_t first, std::int32_t count)
    {
        auto const names = channelNames(m_layout.format);
        Imf::FrameBuffer buffer;
        for (std::size_t i = 0; i < names.size(); ++i)
            buffer.insert(names[i],
                Imf::Slice::Make(m_type, values + i, Imath::V2i(0, first), m_layout.size.width, count,
                    names.size() * sizeof(Value), m_rowValues * sizeof(Value)));
        m_output.setFrameBuffer(buffer);
    }

    Imf::OutputFile& m_output;
    PixelLayout const& m_layout;
    Imf::PixelType m_type;
    std::size_t m_rowValues;
    std::vector<float> m_floats;
    std::vector<half> m_halves;
};

Result<void> encode(EncodeJob const& job, AtomicFile& output)
{
    auto const rows = TRY(linearRows(job.rows));
    auto const type = job.bitsPerComponent == 16 ? Imf::HALF : Imf::FLOAT;
    OutputStream stream(output);
    std::unique_ptr<Imf::OutputFile> file;
    TRY(guarded(
        [&] { file = std::make_unique<Imf::OutputFile>(stream, headerFor(job, rows->layout(), type), 1); }));
    TRY(PixelWriter(*file, rows->layout(), type).write(*rows));
    // The table of offsets is written as the file goes, where a failure can only show in `output`.
    return guarded([&] { file.reset(); });
}

constinit Codec const kCodec = {
    .type = kType,
    .open = ExrSource::open,
    .negotiate = negotiate,
    .encode = encode,
};

} // namespace

} // namespace velk::codec::exr

extern "C" __attribute__((visibility("default"))) velk::codec::Codec const* velkModuleCodec(
    std::string_view type)
{
    return type == velk::codec::exr::kType ? &velk::codec::exr::kCodec : nullptr;
}
