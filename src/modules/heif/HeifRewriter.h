#pragma once

#include "platform/codec/Codec.h"

namespace velk::codec::heif {

/// New Exif and XMP in a file whose images, thumbnails and depth maps stay as they are. What is replaced is
/// wiped out.
bool canRewrite(RewriteJob const& job);
Result<void> rewrite(RewriteJob const& job, AtomicFile& output);

} // namespace velk::codec::heif
