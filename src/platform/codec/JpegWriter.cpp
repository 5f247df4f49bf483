#include "platform/codec/JpegWriter.h"

#include "platform/codec/JpegHead.h"
#include "platform/codec/JpegPhotoshop.h"
#include "platform/codec/JpegSource.h"
#include "platform/codec/JpegStreams.h"
#include "platform/codec/JpegXmp.h"
#include "platform/codec/PropertyKeys.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace velk::codec::jpeg {

using namespace graphics;

namespace {

constexpr int kDefaultQuality = 85;
constexpr float kFullChromaQuality = 0.9F;
constexpr std::int32_t kMaximumSide = 65500; // libjpeg's limit
// Huffman codes made for the image save 4 to 15 percent, but take a second pass over coefficients that are
// kept in memory, and twice the time. Up to this many pixels nobody notices.
constexpr std::int64_t kOptimizedPixels = 1'000'000;

J_COLOR_SPACE inputSpace(ColorModel model)
{
    switch (model) {
    case ColorModel::Gray:
        return JCS_GRAYSCALE;
    case ColorModel::CMYK:
        return JCS_CMYK;
    default:
        return JCS_RGB;
    }
}

J_COLOR_SPACE defaultCodedSpace(ColorModel model)
{
    switch (model) {
    case ColorModel::Gray:
        return JCS_GRAYSCALE;
    case ColorModel::CMYK:
        return JCS_YCCK;
    default:
        return JCS_YCbCr;
    }
}

void setSampling(jpeg_compress_struct& info, bool subsampled)
{
    for (int i = 0; i < info.num_components; ++i) {
        // Luma and black keep their detail.
        bool const isDetail = i == 0 || i == 3;
        info.comp_info[i].h_samp_factor = info.comp_info[i].v_samp_factor =
            subsampled && isDetail && info.num_components > 1 ? 2 : 1;
    }
}

// libjpeg shrinks chroma by whole factors only, and an interleaved scan holds ten blocks a unit at most.
bool canSample(jpeg_compress_struct const& info)
{
    int maximumH = 1, maximumV = 1, blocks = 0;
    for (auto const& component : std::span(info.comp_info, static_cast<std::size_t>(info.num_components))) {
        maximumH = std::max(maximumH, component.h_samp_factor);
        maximumV = std::max(maximumV, component.v_samp_factor);
        blocks += component.h_samp_factor * component.v_samp_factor;
    }
    for (auto const& component : std::span(info.comp_info, static_cast<std::size_t>(info.num_components))) {
        if (maximumH % component.h_samp_factor != 0 || maximumV % component.v_samp_factor != 0)
            return false;
    }
    return blocks <= C_MAX_BLOCKS_IN_MCU;
}

class Encoder {
public:
    Encoder(EncodeJob const& job, AtomicFile& output)
        : m_job(job)
        , m_output(output)
        , m_source(dynamic_cast<JpegSource const*>(job.source))
    {
    }

    Result<void> run()
    {
        auto const size = m_job.rows.size();
        if (size.width > kMaximumSide || size.height > kMaximumSide)
            return fail("JPEG images have at most {} pixels a side, this one is {} x {}", kMaximumSide,
                size.width, size.height);
        m_compressor = TRY(Compressor::create([this](ByteSpan bytes) { return m_output.write(bytes); }));
        TRY(configure());
        TRY(attempt(m_compressor->errors, [this] { jpeg_start_compress(&info(), TRUE); }));
        TRY(writeHead());
        TRY(writeRows());
        return attempt(m_compressor->errors, [this] { jpeg_finish_compress(&info()); });
    }

private:
    jpeg_compress_struct& info() { return m_compressor->info; }
    ColorModel model() const { return m_job.rows.format().model; }

    Result<void> configure()
    {
        TRY(setDefaults());
        // A source of unusual making may have nothing to adopt.
        if (mayAdoptCoding() && !adoptCoding())
            TRY(setDefaults());
        return attempt(m_compressor->errors, [this] { setCodingDetails(); });
    }

    Result<void> setDefaults()
    {
        return attempt(m_compressor->errors, [this] {
            setInput();
            jpeg_set_defaults(&info());
            jpeg_set_colorspace(&info(), defaultCodedSpace(model()));
            auto const quality = m_job.options.quality;
            auto const percent = quality ? static_cast<int>(std::lround(*quality * 100)) : kDefaultQuality;
            jpeg_set_quality(&info(), percent, TRUE);
            setSampling(info(), !quality || *quality < kFullChromaQuality);
        });
    }

    bool mayAdoptCoding() const
    {
        return !m_job.options.quality && m_source
            && m_source->description().info.layout.format.model == model();
    }

    void setInput()
    {
        auto const size = m_job.rows.size();
        info().image_width = static_cast<JDIMENSION>(size.width);
        info().image_height = static_cast<JDIMENSION>(size.height);
        info().input_components = channelCount(model());
        info().in_color_space = inputSpace(model());
    }

    // The source's quantisation tables, subsampling and colour transform: coding the same pixels that way
    // again loses least.
    Result<void> adoptCoding()
    {
        auto const original = TRY(Decompressor::create(m_source->file()));
        TRY(original->readHeader());
        TRY(attempt(m_compressor->errors, [&] {
            jpeg_copy_critical_parameters(&original->info, &info());
            setInput();
            if (!canSample(info()) || info().num_components == 1)
                setSampling(info(), true);
        }));
        adoptRestarts(original->info.restart_interval);
        return {};
    }

    // Counted in rows of units, where the source's restarts fit them.
    void adoptRestarts(unsigned interval)
    {
        auto const& frame = m_source->header().frame;
        auto const unitWidth = frame.unitSize().width;
        auto const unitsPerRow = static_cast<unsigned>((frame.size.width + unitWidth - 1) / unitWidth);
        if (interval % unitsPerRow == 0)
            info().restart_in_rows = static_cast<int>(interval / unitsPerRow);
        else
            info().restart_interval = interval;
    }

    void setCodingDetails()
    {
        info().dct_method = JDCT_ISLOW;
        info().write_JFIF_header = FALSE;
        info().write_Adobe_marker = FALSE;
        if (m_job.options.noChromaSubsampling)
            setSampling(info(), false);
        info().optimize_coding = m_job.rows.size().pixelCount() <= kOptimizedPixels;
        if (isProgressive())
            jpeg_simple_progression(&info());
    }

    PropertyDictionary const* jfifProperties() const { return findDictionary(m_job.properties, key::kJfif); }

    bool isProgressive() const
    {
        auto const* jfif = jfifProperties();
        auto const* value = jfif ? find(*jfif, "IsProgressive") : nullptr;
        if (value && value->asBoolean())
            return *value->asBoolean();
        return m_source && m_source->header().frame.isProgressive();
    }

    // Everything between start of image, which libjpeg has written by now, and the tables.
    Result<void> writeHead()
    {
        if (!m_compressor->output.drain())
            return fail("{}", m_compressor->output.failure);
        auto const head = TRY(makeHead());
        return head.write(m_output);
    }

    Result<Head> makeHead() const
    {
        // Unknown segments and comments of the source stay; all others are written anew, or describe its
        // coding.
        auto head = m_source ? Head::from(m_source->file(), m_source->header(),
                        [](SegmentKind kind) {
                            return kind == SegmentKind::OtherApplication || kind == SegmentKind::Comment;
                        })
                             : Head();
        auto const path = targetPath();
        addColorMarker(head);
        head.replace(SegmentKind::Exif, exifSegment(m_job.metadata, path));
        auto xmp = xmpSegments(m_job.metadata.xmp());
        head.replace(SegmentKind::Xmp, std::move(xmp.packet));
        head.replace(SegmentKind::ExtendedXmp, std::move(xmp.extension));
        head.replace(SegmentKind::Photoshop, photoshopSegments(TRY(photoshopResources())));
        head.replace(SegmentKind::Icc, profileSegments(m_job.profile, path));
        return head;
    }

    void addColorMarker(Head& head) const
    {
        switch (m_compressor->info.jpeg_color_space) {
        case JCS_YCCK:
            head.replace(SegmentKind::Adobe, adobeSegment(2));
            break;
        case JCS_CMYK:
        case JCS_RGB:
            head.replace(SegmentKind::Adobe, adobeSegment(0));
            break;
        default:
            head.replace(SegmentKind::Jfif, jfifSegment(density()));
        }
    }

    Jfif density() const
    {
        if (m_job.resolution)
            return withResolution({}, *m_job.resolution);
        Jfif jfif;
        if (auto const* properties = jfifProperties())
            jfif = withChanges(jfif, changesBetween({}, {{std::string(key::kJfif), *properties}}));
        return jfif;
    }

    Result<Bytes> photoshopResources() const
    {
        PhotoshopResources resources;
        if (m_source)
            resources = PhotoshopResources(
                TRY(readData(m_source->file(), m_source->header(), SegmentKind::Photoshop)));
        resources.removeThumbnails();
        resources.setIptc(m_job.metadata.iptc());
        if (m_job.resolution)
            resources.updateResolution(*m_job.resolution);
        return resources.serialized();
    }

    std::string targetPath() const
    {
        auto const& path = m_output.temporaryPath();
        return path.substr(0, path.size() - (AtomicFile::temporaryTemplate({}).size()));
    }

    Result<void> writeRows()
    {
        // About what second-level caches hold, in whole units.
        constexpr std::size_t kBlockBytes = 256 * 1024;
        constexpr std::size_t kUnitRows = 16;
        auto& rows = m_job.rows;
        auto const stride = rows.rowBytes();
        auto const count = std::clamp<std::size_t>(kBlockBytes / stride / kUnitRows, 1, 16) * kUnitRows;
        Bytes block(stride * count);
        std::vector<JSAMPROW> pointers(count);
        for (std::size_t i = 0; i < count; ++i)
            pointers[i] = &block[i * stride];
        while (rows.rowsLeft() > 0) {
            auto const now = std::min(static_cast<std::int32_t>(count), rows.rowsLeft());
            TRY(rows.read({block.data(), stride, now}));
            if (model() == ColorModel::CMYK)
                invert(std::span(block).first(stride * static_cast<std::size_t>(now)));
            TRY(attempt(m_compressor->errors,
                [&] { jpeg_write_scanlines(&info(), pointers.data(), static_cast<JDIMENSION>(now)); }));
        }
        return {};
    }

    // With Adobe's marker, inks are stored as 255 - amount.
    static void invert(std::span<std::uint8_t> bytes)
    {
        for (auto& byte : bytes)
            byte = static_cast<std::uint8_t>(255 - byte);
    }

    EncodeJob const& m_job;
    AtomicFile& m_output;
    JpegSource const* m_source;
    std::unique_ptr<Compressor> m_compressor;
};

} // namespace

EncodeTarget negotiate(ImageInfo const& info, EncodeOptions const&)
{
    auto const model = info.layout.format.model;
    bool const isKept = model == ColorModel::Gray || model == ColorModel::CMYK;
    return {{.componentType = ComponentType::UInt8, .model = isKept ? model : ColorModel::RGB}, 8};
}

Result<void> encode(EncodeJob const& job, AtomicFile& output)
{
    return Encoder(job, output).run();
}

} // namespace velk::codec::jpeg
