#include "platform/codec/Codecs.h"
#include "platform/codec/Jpeg2000Encoder.h"
#include "platform/codec/Jpeg2000Rewriter.h"
#include "platform/codec/Jpeg2000Source.h"

namespace velk::codec {

namespace {

bool matches(ByteSpan head, InputFile const&)
{
    constexpr std::string_view kSignatureBox("\0\0\0\x0CjP  \r\n\x87\n", 12);
    return startsWith(head, kSignatureBox) || startsJpeg2000Codestream(head);
}

} // namespace

constinit Codec const kJpeg2000Codec = {
    .type = kJpeg2000Type,
    .carries = {.exif = true, .iptc = true, .xmp = true, .profile = true, .resolution = true},
    .matches = matches,
    .open = Jpeg2000Source::open,
    .negotiate = negotiateJpeg2000,
    .encode = encodeJpeg2000,
    .canRewrite = canRewriteJpeg2000,
    .rewrite = rewriteJpeg2000,
};

} // namespace velk::codec
