#include "platform/codec/Codecs.h"
#include "platform/codec/WebpEncoder.h"
#include "platform/codec/WebpRewriter.h"
#include "platform/codec/WebpSource.h"

namespace velk::codec {

namespace {

bool matches(ByteSpan head, InputFile const&)
{
    return startsWith(head, "RIFF") && head.size() >= 12 && startsWith(head.subspan(8), "WEBP");
}

bool canRewrite(RewriteJob const& job)
{
    return job.turn == graphics::Turn::None;
}

} // namespace

constinit Codec const kWebpCodec = {
    .type = kWebpType,
    .carries = {.exif = true, .xmp = true, .profile = true},
    .matches = matches,
    .open = WebpSource::open,
    .negotiate = negotiateWebp,
    .encode = encodeWebp,
    .canRewrite = canRewrite,
    .rewrite = rewriteWebp,
};

} // namespace velk::codec
