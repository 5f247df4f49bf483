#pragma once

#include "platform/codec/Codec.h"

namespace velk::codec {

/// Writes a flattened picture; one with alpha also gets a single layer, which is how Photoshop keeps
/// transparency.
Result<void> encodePsd(EncodeJob const& job, AtomicFile& output);

} // namespace velk::codec
