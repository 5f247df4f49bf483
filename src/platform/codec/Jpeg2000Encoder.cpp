#include "platform/codec/Jpeg2000Encoder.h"

#include "platform/codec/Jpeg2000Header.h"
#include "platform/codec/Jpeg2000Library.h"
#include "platform/codec/Jpeg2000Source.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr double kDefaultQuality = 0.75;
constexpr double kLowestPsnr = 28, kPsnrRange = 20;
// A larger image is coded in tiles, so that coding and decoding need not hold all of it.
constexpr std::int64_t kLargestUntiled = 4 << 20;
constexpr std::int32_t kTileSide = 1024;
constexpr int kMaximumResolutions = 6;
// The length of a box that reaches to the end of the file.
constexpr std::uint64_t kToTheEnd = 0;

bool isLossless(EncodeJob const& job)
{
    if (job.options.quality)
        return *job.options.quality >= 1;
    auto const* source = dynamic_cast<Jpeg2000Source const*>(job.source);
    return (source && source->contents().codestream.isReversible) || job.bitsPerComponent < 8;
}

Size tileSizeFor(Size size)
{
    if (size.pixelCount() <= kLargestUntiled)
        return size;
    return {std::min(size.width, kTileSide), std::min(size.height, kTileSide)};
}

opj_cparameters_t parametersFor(EncodeJob const& job, Size tileSize)
{
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.tcp_numlayers = 1;
    if (isLossless(job)) {
        parameters.cp_disto_alloc = 1;
        parameters.tcp_rates[0] = 0;
    } else {
        auto const quality =
            std::clamp<double>(job.options.quality.value_or(static_cast<float>(kDefaultQuality)), 0, 1);
        parameters.irreversible = 1;
        parameters.cp_fixed_quality = 1;
        parameters.tcp_distoratio[0] = static_cast<float>(kLowestPsnr + kPsnrRange * quality);
    }
    // Luma and chroma compress better than red, green and blue; ink and Lab have to stay what they are.
    parameters.tcp_mct = job.rows.format().model == ColorModel::RGB ? 1 : 0;
    parameters.tile_size_on = tileSize != job.rows.size();
    parameters.cp_tdx = tileSize.width;
    parameters.cp_tdy = tileSize.height;
    auto const side = static_cast<unsigned>(std::min(tileSize.width, tileSize.height));
    parameters.numresolution = std::clamp(static_cast<int>(std::bit_width(side)), 1, kMaximumResolutions);
    return parameters;
}

openjpeg::ImagePointer imageFor(EncodeJob const& job)
{
    auto const size = job.rows.size();
    auto const width = static_cast<OPJ_UINT32>(size.width), height = static_cast<OPJ_UINT32>(size.height);
    opj_image_cmptparm_t component = {};
    component.dx = component.dy = 1;
    component.w = width;
    component.h = height;
    component.prec = static_cast<OPJ_UINT32>(job.bitsPerComponent);
    std::vector<opj_image_cmptparm_t> components(
        static_cast<std::size_t>(job.rows.format().channels()), component);
    openjpeg::ImagePointer image(opj_image_tile_create(
        static_cast<OPJ_UINT32>(components.size()), components.data(), OPJ_CLRSPC_UNSPECIFIED));
    if (image) {
        image->x1 = width;
        image->y1 = height;
    }
    return image;
}

/// Cuts rows into tiles of planes, as OpenJPEG takes them.
class TileCutter {
public:
    TileCutter(RowSource& rows, int bits, Size tileSize)
        : m_rows(rows)
        , m_tileSize(tileSize)
        , m_largest((1 << bits) - 1)
        , m_isDeep(rows.format().componentType == ComponentType::UInt16)
    {
    }

    /// Reads the rows of the next row of tiles.
    Result<void> readBand()
    {
        m_bandHeight = std::min(m_tileSize.height, m_rows.rowsLeft());
        m_band.resize(static_cast<std::size_t>(m_bandHeight) * m_rows.rowBytes());
        return m_rows.read({m_band.data(), m_rows.rowBytes(), m_bandHeight});
    }

    /// The tile of the band that starts at this column, plane by plane.
    Bytes& cut(std::int32_t left)
    {
        auto const width = std::min(m_tileSize.width, m_rows.size().width - left);
        auto const channels = m_rows.format().channels();
        m_tile.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(m_bandHeight)
            * static_cast<std::size_t>(channels) * componentSize(m_rows.format().componentType));
        auto* to = m_tile.data();
        for (int channel = 0; channel < channels; ++channel) {
            for (std::int32_t y = 0; y < m_bandHeight; ++y)
                to = m_isDeep ? cutRow<std::uint16_t>(left, y, width, channel, to)
                              : cutRow<std::uint8_t>(left, y, width, channel, to);
        }
        return m_tile;
    }

private:
    template <typename Component>
    std::uint8_t* cutRow(std::int32_t left, std::int32_t y, std::int32_t width, int channel, std::uint8_t* to)
    {
        constexpr unsigned kFullRange = std::numeric_limits<Component>::max();
        auto const channels = static_cast<std::size_t>(m_rows.format().channels());
        auto const* from =
            reinterpret_cast<Component const*>(&m_band[static_cast<std::size_t>(y) * m_rows.rowBytes()])
            + static_cast<std::size_t>(left) * channels + static_cast<std::size_t>(channel);
        auto* out = reinterpret_cast<Component*>(to);
        for (std::int32_t x = 0; x < width; ++x, from += channels)
            *out++ = static_cast<Component>(
                (*from * static_cast<unsigned>(m_largest) + kFullRange / 2) / kFullRange);
        return reinterpret_cast<std::uint8_t*>(out);
    }

    RowSource& m_rows;
    Size m_tileSize;
    int m_largest;
    bool m_isDeep;
    std::int32_t m_bandHeight = 0;
    Bytes m_band, m_tile;
};

Result<void> writeTiles(
    EncodeJob const& job, Size tileSize, opj_codec_t* codec, opj_stream_t* stream, openjpeg::OutputEnd& end)
{
    auto const size = job.rows.size();
    TileCutter cutter(job.rows, job.bitsPerComponent, tileSize);
    OPJ_UINT32 index = 0;
    for (std::int32_t y = 0; y < size.height; y += tileSize.height) {
        TRY(cutter.readBand());
        for (std::int32_t x = 0; x < size.width; x += tileSize.width) {
            auto& tile = cutter.cut(x);
            bool const isWritten =
                opj_write_tile(codec, index++, tile.data(), static_cast<OPJ_UINT32>(tile.size()), stream);
            TRY(end.result);
            if (!isWritten)
                return fail("the picture cannot be encoded as JPEG 2000");
        }
    }
    return {};
}

Result<void> writeCodestream(EncodeJob const& job, AtomicFile& output)
{
    auto const tileSize = tileSizeFor(job.rows.size());
    auto parameters = parametersFor(job, tileSize);
    openjpeg::OutputEnd end {output, {}};
    openjpeg::Messages messages;
    auto const image = imageFor(job);
    auto const stream = openjpeg::openOutput(end);
    openjpeg::CodecPointer const codec(opj_create_compress(OPJ_CODEC_J2K));
    if (!image || !stream || !codec)
        return fail("out of memory");
    messages.listenTo(codec.get());
    if (!opj_setup_encoder(codec.get(), &parameters, image.get())
        || !opj_codec_set_threads(codec.get(), openjpeg::kThreads)
        || !opj_start_compress(codec.get(), image.get(), stream.get()))
        return fail("the picture cannot be encoded as JPEG 2000");
    TRY(writeTiles(job, tileSize, codec.get(), stream.get(), end));
    bool const isComplete = opj_end_compress(codec.get(), stream.get());
    TRY(end.result);
    return isComplete ? Result<void> {} : fail("the picture cannot be encoded as JPEG 2000");
}

Bytes boxesBefore(EncodeJob const& job)
{
    auto const& format = job.rows.format();
    Jp2HeaderFields const fields {.size = job.rows.size(),
        .model = format.model,
        .alpha = format.alpha,
        .components = std::vector<Jpeg2000Component>(
            static_cast<std::size_t>(format.channels()), {.bits = job.bitsPerComponent}),
        .profile = job.profile,
        .resolution = job.resolution};
    auto boxes = jp2FileStart();
    append(boxes, jp2Header(fields));
    for (auto const& metadata : jp2MetadataBoxes(job.metadata))
        append(boxes, metadata.box);
    return boxes;
}

} // namespace

EncodeTarget negotiateJpeg2000(ImageInfo const& info, EncodeOptions const&)
{
    auto const& format = info.layout.format;
    auto const* palette = info.layout.space.palette();
    EncodeTarget target {format, std::clamp(info.bitsPerComponent, 1, 16)};
    if (palette) {
        target.format.model = ColorModel::RGB;
        target.format.alpha = palette->hasAlpha() ? Alpha::Straight : Alpha::None;
    }
    if (format.hasAlpha())
        target.format.alpha = Alpha::Straight;
    bool const isDeep = format.componentType != ComponentType::UInt8;
    target.format.componentType = isDeep ? ComponentType::UInt16 : ComponentType::UInt8;
    // Fewer bits than 8 are kept in grey, where they are the whole picture.
    bool const isShallow = format.model == ColorModel::Gray && !format.hasAlpha();
    if (isDeep && target.bitsPerComponent <= 8)
        target.bitsPerComponent = 16;
    if (!isDeep && (!isShallow || target.bitsPerComponent > 8))
        target.bitsPerComponent = 8;
    return target;
}

Result<void> encodeJpeg2000(EncodeJob const& job, AtomicFile& output)
{
    TRY(output.write(boxesBefore(job)));
    auto const start = output.position();
    TRY(output.write(jp2Box(jp2::kCodestream, {})));
    TRY(writeCodestream(job, output));
    auto const length = output.position() - start;
    auto const stored = length > std::numeric_limits<std::uint32_t>::max() ? kToTheEnd : length;
    Bytes bytes;
    appendBE32(bytes, static_cast<std::uint32_t>(stored));
    return output.writeAt(start, bytes);
}

} // namespace velk::codec
