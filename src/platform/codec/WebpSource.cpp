#include "platform/codec/WebpSource.h"

#include "base/Reporting.h"
#include "platform/codec/WebpRows.h"

#include <algorithm>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::uint32_t kLargestBlock = 64 << 20;

// Some writers put the prefix of JPEG's APP1 before the TIFF structure.
ByteSpan withoutExifPrefix(ByteSpan exif)
{
    constexpr std::string_view kPrefix("Exif\0\0", 6);
    return startsWith(exif, kPrefix) ? exif.subspan(kPrefix.size()) : exif;
}

bool coversCanvas(WebpContents const& contents)
{
    return contents.picture.size == contents.canvas;
}

} // namespace

WebpSource::WebpSource(InputFile file)
    : ImageSource(kWebpType, std::move(file))
{
}

Result<std::shared_ptr<ImageSource>> WebpSource::open(InputFile file)
{
    std::shared_ptr<WebpSource> const source(new WebpSource(std::move(file)));
    source->m_contents = TRY(readWebpContents(source->file()));
    TRY(source->readDescription());
    return source;
}

Result<void> WebpSource::readDescription()
{
    auto& info = editDescription().info;
    auto const hasAlpha = m_contents.picture.hasAlpha || !coversCanvas(m_contents);
    info.layout.size = m_contents.canvas;
    info.layout.format = {.model = ColorModel::RGB, .alpha = hasAlpha ? Alpha::Straight : Alpha::None};
    editDescription().imageCount = m_contents.frameCount;

    auto& properties = subDictionary(editDescription().formatProperties, kWebpDictionary);
    set(properties, kWebpLossless, m_contents.picture.isLossless);
    if (m_contents.isAnimated) {
        set(properties, kWebpFrameCount, m_contents.frameCount);
        set(properties, kWebpLoopCount, m_contents.loopCount);
    }
    return readMetadata();
}

Result<void> WebpSource::readMetadata()
{
    auto& metadata = editDescription().metadata;
    SharedBytes profile;
    if (auto const* chunk = m_contents.find(webp::kProfile))
        profile = shareBytes(TRY(payload(*chunk)));
    editDescription().info.layout.space = colorSpaceWithProfile(ColorModel::RGB, std::move(profile));
    if (auto const* chunk = m_contents.find(webp::kExif)) {
        auto const exif = TRY(payload(*chunk));
        metadata.setExif(withoutExifPrefix(exif));
    }
    if (auto const* chunk = m_contents.find(webp::kXmp)) {
        auto const packet = TRY(payload(*chunk));
        metadata.setXmp(asText(packet));
    }
    return {};
}

Result<Bytes> WebpSource::payload(WebpChunk const& chunk) const
{
    Bytes bytes;
    if (chunk.size <= kLargestBlock) {
        bytes.resize(chunk.size);
        TRY(file().readExactlyAt(chunk.offset, bytes));
    }
    return bytes;
}

Result<DecodedRows> WebpSource::open(DecodeRequest const& request) const
{
    auto const self = std::static_pointer_cast<WebpSource const>(shared_from_this());
    return openWebpRows(self, request);
}

void WebpSource::warnOfDamage() const
{
    if (!m_warned.test_and_set())
        reportWarning("{}: the image data is damaged or incomplete; what is missing stays blank\n", path());
}

} // namespace velk::codec
