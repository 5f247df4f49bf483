#pragma once

#include "platform/codec/Codec.h"

namespace velk::codec {

/// Indices of palettes whose entries are opaque or fully transparent, 8-bit grey of images without alpha and
/// profile (GIF has no place for a grey profile), else 8-bit RGB with straight alpha where there is alpha.
EncodeTarget negotiateGif(graphics::ImageInfo const& info, EncodeOptions const& options);

/// Writes a still GIF file. Palettes and greys are stored as they are, colours are reduced to 256 and
/// dithered unless they are no more than that.
Result<void> encodeGif(EncodeJob const& job, AtomicFile& output);

} // namespace velk::codec
