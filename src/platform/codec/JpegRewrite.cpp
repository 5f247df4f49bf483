#include "platform/codec/JpegRewrite.h"

#include "platform/codec/JpegPhotoshop.h"
#include "platform/codec/JpegTurn.h"
#include "platform/codec/JpegXmp.h"

#include <algorithm>

namespace velk::codec::jpeg {

using namespace graphics;

namespace {

// Makes the changes that a job asks for, one kind of segment after the other.
class HeadEditor {
public:
    HeadEditor(RewriteJob const& job, JpegSource const& source, Head& head)
        : m_job(job)
        , m_source(source)
        , m_head(head)
        , m_metadata(job.metadataChanged ? job.metadata : source.metadata())
    {
    }

    Result<void> edit()
    {
        TRY(editDensity());
        editExif();
        editXmp();
        TRY(editPhotoshop());
        if (m_job.profileChanged)
            m_head.replace(SegmentKind::Icc, profileSegments(m_job.profile, m_source.path()));
        m_head.beginWithMarker();
        return m_head.adjustMultiPictureIndex(m_source.header());
    }

private:
    bool isTurned() const { return m_job.turn != Turn::None; }

    Result<void> editDensity()
    {
        if (m_source.header().jfif)
            return editJfif();
        if (!m_job.resolution)
            return {};
        // Where the file has no JFIF density, Exif is the place; a file without either gets JFIF if it may.
        if (m_metadata.exif().empty() && m_source.header().isJfifColor())
            m_head.replace(SegmentKind::Jfif, jfifSegment(withResolution({}, *m_job.resolution)));
        else
            m_metadata.setResolution(*m_job.resolution);
        return {};
    }

    Result<void> editJfif()
    {
        auto jfif = withChanges(*m_source.header().jfif, m_job.changes);
        if (m_job.resolution)
            jfif = withResolution(jfif, *m_job.resolution);
        else if (swapsAxes(m_job.turn))
            std::swap(jfif.xDensity, jfif.yDensity);
        auto const& segments = m_source.header().segments;
        auto const segment = std::ranges::find(segments, SegmentKind::Jfif, &Segment::kind);
        auto const data = TRY(readData(m_source.file(), *segment));
        // A thumbnail would still show the picture as it lay before.
        auto const thumbnail = isTurned() ? ByteSpan() : ByteSpan(data).subspan(kJfifThumbnailOffset);
        auto changed = jfifSegment(jfif, thumbnail);
        Bytes original;
        appendSegment(original, marker::kApp0, SegmentKind::Jfif, data);
        if (changed != original)
            m_head.replace(SegmentKind::Jfif, std::move(changed));
        return {};
    }

    void editExif()
    {
        if (m_metadata.exif() != m_source.metadata().exif())
            m_head.replace(SegmentKind::Exif, exifSegment(m_metadata, m_source.path()));
    }

    void editXmp()
    {
        auto const xmp = m_metadata.xmp();
        if (xmp == m_source.metadata().xmp())
            return;
        auto segments = xmpSegments(xmp);
        m_head.replace(SegmentKind::Xmp, std::move(segments.packet));
        // An extension that could not be made part of the packet stays as long as the packet names it.
        if (m_source.hasWholeXmp() || !namesExtension(xmp))
            m_head.replace(SegmentKind::ExtendedXmp, std::move(segments.extension));
    }

    Result<void> editPhotoshop()
    {
        auto const before = TRY(readData(m_source.file(), m_source.header(), SegmentKind::Photoshop));
        PhotoshopResources resources(before);
        if (m_metadata.iptc() != m_source.metadata().iptc())
            resources.setIptc(m_metadata.iptc());
        if (m_job.resolution)
            resources.updateResolution(*m_job.resolution);
        if (isTurned())
            resources.removeThumbnails();
        if (auto const after = resources.serialized(); after != before)
            m_head.replace(SegmentKind::Photoshop, photoshopSegments(after));
        return {};
    }

    static constexpr std::size_t kJfifThumbnailOffset = 7;

    RewriteJob const& m_job;
    JpegSource const& m_source;
    Head& m_head;
    Metadata m_metadata;
};

bool asksForNewCompression(EncodeOptions const& options)
{
    return options.quality || options.noChromaSubsampling;
}

} // namespace

bool canRewrite(RewriteJob const& job)
{
    auto const* source = dynamic_cast<JpegSource const*>(&job.source);
    if (!source || asksForNewCompression(job.options))
        return false;
    return job.turn == Turn::None || canTurn(source->header().frame, job.turn);
}

Result<Head> rewrittenHead(RewriteJob const& job, JpegSource const& source, bool (*keeps)(SegmentKind kind))
{
    auto head = Head::from(source.file(), source.header(), keeps);
    TRY(HeadEditor(job, source, head).edit());
    return head;
}

Result<void> rewrite(RewriteJob const& job, AtomicFile& output)
{
    auto const& source = dynamic_cast<JpegSource const&>(job.source);
    if (job.turn != Turn::None)
        return turn(job, source, output);
    auto const head = TRY(rewrittenHead(job, source, [](SegmentKind) { return true; }));
    TRY(output.write(std::array<std::uint8_t, 2> {0xFF, marker::kStartOfImage}));
    TRY(head.write(output));
    auto const scan = source.header().scanOffset;
    return output.copyFrom(source.file(), scan, source.file().size() - scan);
}

} // namespace velk::codec::jpeg
