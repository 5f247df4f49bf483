#pragma once

#include "platform/codec/Codec.h"

namespace velk::codec {

/// Copies the source with all its frames and replaces the extensions that hold XMP, profile, comment and loop
/// count, where they change.
Result<void> rewriteGif(RewriteJob const& job, AtomicFile& output);

} // namespace velk::codec
