#pragma once

#include "platform/codec/Codec.h"

namespace velk::codec::jxl {

/// Recompresses the coefficients of the JPEG file that the job's pixels come from, so that this file, with
/// the job's metadata and profile, can be had back bit for bit. Returns false, and has read no rows and
/// written nothing, where there is no such file, the library does not take it, or new compression is asked
/// for.
Result<bool> recompressJpeg(EncodeJob const& job, AtomicFile& output);

} // namespace velk::codec::jxl
