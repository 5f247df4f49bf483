#pragma once

#include "platform/codec/Codec.h"
#include "platform/codec/JpegHead.h"
#include "platform/codec/JpegSource.h"

namespace velk::codec::jpeg {

/// Whether the job leaves the coded pixels alone or turns them without loss.
bool canRewrite(RewriteJob const& job);
Result<void> rewrite(RewriteJob const& job, AtomicFile& output);

/// The segments of the new file: those of the source of which `keeps` is true, changed as the job asks.
Result<Head> rewrittenHead(RewriteJob const& job, JpegSource const& source, bool (*keeps)(SegmentKind kind));

} // namespace velk::codec::jpeg
