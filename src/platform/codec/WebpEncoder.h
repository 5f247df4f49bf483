#pragma once

#include "platform/codec/Codec.h"

namespace velk::codec {

/// 8-bit RGB, with straight alpha where the image has alpha: WebP knows nothing else.
EncodeTarget negotiateWebp(graphics::ImageInfo const& info, EncodeOptions const& options);

/// Writes a still WebP file. Quality 1 is lossless, everything below is libwebp's quality in hundredths;
/// without one the picture is lossless when it comes from a lossless WebP file and of quality 0.8 otherwise.
Result<void> encodeWebp(EncodeJob const& job, AtomicFile& output);

} // namespace velk::codec
