#include "platform/codec/Codecs.h"
#include "platform/codec/JpegRewrite.h"
#include "platform/codec/JpegSource.h"
#include "platform/codec/JpegWriter.h"

namespace velk::codec {

namespace {

bool isJpeg(ByteSpan head, InputFile const&)
{
    return startsWith(head, "\xFF\xD8\xFF");
}

} // namespace

Codec const kJpegCodec = {
    .type = "public.jpeg",
    .carries = {.exif = true, .iptc = true, .xmp = true, .profile = true, .resolution = true},
    .matches = isJpeg,
    .open = jpeg::JpegSource::open,
    .negotiate = jpeg::negotiate,
    .encode = jpeg::encode,
    .canRewrite = jpeg::canRewrite,
    .rewrite = jpeg::rewrite,
};

} // namespace velk::codec
