#include "platform/codec/Codecs.h"
#include "platform/codec/GifEncoder.h"
#include "platform/codec/GifRewriter.h"
#include "platform/codec/GifSource.h"

namespace velk::codec {

namespace {

bool matches(ByteSpan head, InputFile const&)
{
    return startsWith(head, "GIF87a") || startsWith(head, "GIF89a");
}

bool canRewrite(RewriteJob const& job)
{
    return job.turn == graphics::Turn::None;
}

} // namespace

constinit Codec const kGifCodec = {
    .type = kGifType,
    .carries = {.xmp = true, .profile = true},
    .matches = matches,
    .open = GifSource::open,
    .negotiate = negotiateGif,
    .encode = encodeGif,
    .canRewrite = canRewrite,
    .rewrite = rewriteGif,
};

} // namespace velk::codec
