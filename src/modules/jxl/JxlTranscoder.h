#pragma once

#include "platform/codec/Codec.h"

namespace velk::codec::jxl {

/// Writes the coded pixels of the job's source into a JPEG XL file without decoding them: the codestream of
/// another JPEG XL file as it is, the coefficients of a JPEG file recompressed so that the same JPEG file,
/// with the job's metadata and profile, can be had back. Returns false, and has read no rows and written
/// nothing, where the job asks for new compression or the source does not allow it.
Result<bool> takeOver(EncodeJob const& job, AtomicFile& output);

} // namespace velk::codec::jxl
