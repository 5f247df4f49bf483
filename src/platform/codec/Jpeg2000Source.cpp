#include "platform/codec/Jpeg2000Source.h"

#include "base/Reporting.h"
#include "platform/codec/Jpeg2000Rows.h"

namespace velk::codec {

using namespace graphics;

namespace {

// Some writers put the prefix of JPEG's APP1 before the TIFF structure.
ByteSpan withoutExifPrefix(ByteSpan exif)
{
    constexpr std::string_view kPrefix("Exif\0\0", 6);
    return startsWith(exif, kPrefix) ? exif.subspan(kPrefix.size()) : exif;
}

} // namespace

Jpeg2000Source::Jpeg2000Source(InputFile file)
    : ImageSource(kJpeg2000Type, std::move(file))
{
}

Result<std::shared_ptr<ImageSource>> Jpeg2000Source::open(InputFile file)
{
    std::shared_ptr<Jpeg2000Source> const source(new Jpeg2000Source(std::move(file)));
    source->m_contents = TRY(readJp2Contents(source->file()));
    source->m_layout = TRY(jpeg2000LayoutOf(source->m_contents));
    source->describe();
    TRY(source->readMetadata());
    return source;
}

void Jpeg2000Source::describe()
{
    auto const& model = m_layout.format.model;
    auto& info = editDescription().info;
    info.layout.size = m_contents.codestream.pixelSize();
    info.layout.format = m_layout.format;
    info.layout.space =
        colorSpaceWithProfile(model, m_contents.profile.empty() ? nullptr : shareBytes(m_contents.profile));
    info.bitsPerComponent = m_layout.bitsPerComponent;
    editDescription().resolution = m_contents.resolution;
    editDescription().imageCount = m_contents.codestreamCount;
}

Result<void> Jpeg2000Source::readMetadata()
{
    auto& metadata = editDescription().metadata;
    if (auto const* box = m_contents.findUuid(jp2::kExifUuid)) {
        auto const exif = TRY(readJp2Payload(file(), *box));
        metadata.setExif(withoutExifPrefix(exif));
    }
    if (auto const* box = m_contents.findUuid(jp2::kIptcUuid))
        metadata.setIptc(TRY(readJp2Payload(file(), *box)));
    if (auto const* box = m_contents.findUuid(jp2::kXmpUuid)) {
        auto const packet = TRY(readJp2Payload(file(), *box));
        metadata.setXmp(asText(packet));
    }
    return {};
}

Result<DecodedRows> Jpeg2000Source::open(DecodeRequest const& request) const
{
    auto const self = std::static_pointer_cast<Jpeg2000Source const>(shared_from_this());
    return openJpeg2000Rows(self, request);
}

void Jpeg2000Source::warnOfDamage() const
{
    if (!m_warned.test_and_set())
        reportWarning("{}: the image data is damaged or incomplete; what is missing stays blank\n", path());
}

} // namespace velk::codec
