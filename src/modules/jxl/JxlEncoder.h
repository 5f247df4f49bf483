#pragma once

#include "platform/codec/Codec.h"

namespace velk::codec::jxl {

EncodeTarget negotiate(graphics::ImageInfo const& info, EncodeOptions const& options);

/// Recompresses a JPEG file where it can (JxlTranscoder.h), and codes the rows where it cannot.
Result<void> encode(EncodeJob const& job, AtomicFile& output);

} // namespace velk::codec::jxl
