#pragma once

#include "platform/codec/Codec.h"

namespace velk::codec::heif {

EncodeTarget negotiateHeic(graphics::ImageInfo const& info, EncodeOptions const& options);
EncodeTarget negotiateAvif(graphics::ImageInfo const& info, EncodeOptions const& options);

/// HEVC and AV1 pictures. Lossless at quality 1, for which red, green and blue are coded as they are.
Result<void> encodeHeic(EncodeJob const& job, AtomicFile& output);
Result<void> encodeAvif(EncodeJob const& job, AtomicFile& output);

} // namespace velk::codec::heif
