#include "platform/codec/JpegSource.h"

#include "base/Reporting.h"
#include "platform/codec/JpegPhotoshop.h"
#include "platform/codec/JpegReader.h"
#include "platform/codec/JpegXmp.h"
#include "platform/codec/PropertyKeys.h"

namespace velk::codec::jpeg {

using namespace graphics;

namespace {

ColorModel modelOf(Frame const& frame)
{
    switch (frame.components.size()) {
    case 1:
        return ColorModel::Gray;
    case 3:
        return ColorModel::RGB;
    default:
        return ColorModel::CMYK;
    }
}

std::optional<Resolution> resolutionOf(Jfif const& jfif)
{
    if (jfif.xDensity == 0 || jfif.yDensity == 0 || (jfif.unit != 1 && jfif.unit != 2))
        return std::nullopt;
    auto const perInch = jfif.unit == 2 ? kCentimetresPerInch : 1;
    return Resolution {jfif.xDensity * perInch, jfif.yDensity * perInch};
}

PropertyDictionary jfifProperties(Jfif const& jfif, bool isProgressive)
{
    PropertyDictionary properties;
    // Version 1.02 is 1, 0, 2.
    set(properties, "JFIFVersion",
        PropertyArray {jfif.majorVersion, jfif.minorVersion / 10, jfif.minorVersion % 10});
    set(properties, "DensityUnit", jfif.unit);
    set(properties, "XDensity", jfif.xDensity);
    set(properties, "YDensity", jfif.yDensity);
    set(properties, "IsProgressive", isProgressive);
    return properties;
}

} // namespace

JpegSource::JpegSource(InputFile file, Header header)
    : ImageSource("public.jpeg", std::move(file))
    , m_header(std::move(header))
{
}

Result<std::shared_ptr<ImageSource>> JpegSource::open(InputFile file)
{
    auto header = TRY(readHeader(file));
    auto source = std::make_shared<JpegSource>(std::move(file), std::move(header));
    TRY(source->describe());
    return source;
}

Result<void> JpegSource::describe()
{
    auto const model = modelOf(m_header.frame);
    auto profile = TRY(readProfile(file(), m_header));
    editDescription().info.layout = {m_header.frame.size,
        {.componentType = ComponentType::UInt8, .model = model},
        colorSpaceWithProfile(model, std::move(profile))};
    editDescription().info.bitsPerComponent = 8;
    if (m_header.jfif)
        set(editDescription().formatProperties, key::kJfif,
            jfifProperties(*m_header.jfif, m_header.frame.isProgressive()));
    return readMetadata();
}

Result<void> JpegSource::readMetadata()
{
    auto& metadata = editDescription().metadata;
    if (auto const exif = TRY(readExif(file(), m_header)); !exif.empty())
        metadata.setExif(exif);
    auto const xmp = TRY(readXmp(file(), m_header));
    m_hasWholeXmp = xmp.isComplete;
    if (!xmp.packet.empty())
        metadata.setXmp(xmp.packet);
    auto const photoshop = TRY(readData(file(), m_header, SegmentKind::Photoshop));
    if (auto const iptc = PhotoshopResources(photoshop).iptc(); !iptc.empty())
        metadata.setIptc(iptc);
    describeResolution(photoshop);
    return {};
}

// Photoshop writes its own resolution beside JFIF's or Exif's; it only counts alone.
void JpegSource::describeResolution(Bytes const& photoshop)
{
    if (m_header.jfif)
        editDescription().resolution = resolutionOf(*m_header.jfif);
    if (editDescription().resolution || photoshop.empty())
        return;
    if (!metadata().resolution())
        editDescription().resolution = PhotoshopResources(photoshop).resolution();
}

Result<DecodedRows> JpegSource::open(DecodeRequest const& request) const
{
    auto self = std::static_pointer_cast<JpegSource const>(shared_from_this());
    return openRows(std::move(self), request);
}

void JpegSource::reportDamage(Damage damage) const
{
    if ((!damage.incomplete && !damage.corrupt) || m_reported.exchange(true))
        return;
    if (damage.incomplete)
        reportWarning("{}: the image is incomplete\n", path());
    else
        reportWarning("{}: the image data is damaged\n", path());
}

} // namespace velk::codec::jpeg
