#include "platform/codec/Metadata.h"

namespace velk::codec {

struct Metadata::State {
    Bytes exif, iptc;
    std::string xmp;
};

Metadata::Metadata()
    : m_state(std::make_shared<State>())
{
}
Metadata::Metadata(Metadata const&) = default;
Metadata::Metadata(Metadata&&) noexcept = default;
Metadata& Metadata::operator=(Metadata const&) = default;
Metadata& Metadata::operator=(Metadata&&) noexcept = default;
Metadata::~Metadata() = default;

Metadata::State& Metadata::edit()
{
    if (m_state.use_count() > 1)
        m_state = std::make_shared<State>(*m_state);
    return *m_state;
}

void Metadata::setExif(ByteSpan tiff)
{
    edit().exif.assign(tiff.begin(), tiff.end());
}
void Metadata::setExifFromTiffFile(ByteSpan) { }
void Metadata::setIptc(ByteSpan iim)
{
    edit().iptc.assign(iim.begin(), iim.end());
}
void Metadata::setXmp(std::string_view packet)
{
    edit().xmp = packet;
}
Bytes Metadata::exif() const
{
    return m_state->exif;
}
Bytes Metadata::iptc() const
{
    return m_state->iptc;
}
std::string Metadata::xmp() const
{
    return m_state->xmp;
}
Bytes Metadata::exifLittleEndian() const
{
    return m_state->exif;
}
bool Metadata::isEmpty() const
{
    return m_state->exif.empty() && m_state->iptc.empty() && m_state->xmp.empty();
}
void Metadata::describe(PropertyDictionary&) const { }
bool Metadata::apply(PropertyChanges const&)
{
    return false;
}
std::optional<Resolution> Metadata::resolution() const
{
    return std::nullopt;
}
void Metadata::setResolution(Resolution) { }
int Metadata::orientation() const
{
    return 1;
}
void Metadata::setOrientation(int) { }
void Metadata::setPixelSize(graphics::Size) { }
Bytes Metadata::preview() const
{
    return {};
}
void Metadata::setPreview(ByteSpan) { }

} // namespace velk::codec
