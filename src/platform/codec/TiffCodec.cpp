#include "platform/codec/Codecs.h"
#include "platform/codec/TiffDirectory.h"
#include "platform/codec/TiffRewrite.h"
#include "platform/codec/TiffSource.h"
#include "platform/codec/TiffWriter.h"

namespace velk::codec {

namespace {

bool matches(ByteSpan head, InputFile const&)
{
    return tiff::DirectoryReader::matches(head);
}

} // namespace

Codec const kTiffCodec = {
    .type = tiff::kTypeIdentifier,
    .carries = {.exif = true, .iptc = true, .xmp = true, .profile = true, .resolution = true},
    .matches = matches,
    .open = tiff::TiffSource::open,
    .negotiate = tiff::negotiate,
    .encode = tiff::encode,
    .canRewrite = tiff::canRewrite,
    .rewrite = tiff::rewrite,
};

} // namespace velk::codec
