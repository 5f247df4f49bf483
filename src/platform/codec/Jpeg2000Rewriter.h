#pragma once

#include "platform/codec/Codec.h"

namespace velk::codec {

/// Whether the boxes can change around the codestream: not where boxes name places in the file, and a luma
/// and chroma image takes no profile.
bool canRewriteJpeg2000(RewriteJob const& job);

/// Copies the boxes of the source but for those that change. A codestream without boxes gets boxes when there
/// is anything to say.
Result<void> rewriteJpeg2000(RewriteJob const& job, AtomicFile& output);

} // namespace velk::codec
