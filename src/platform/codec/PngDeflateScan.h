#pragma once

#include "base/Bytes.h"

#include <optional>

namespace velk::codec {

/// Where the last block of a deflate stream lies, in bits from its start.
struct FinalDeflateBlock {
    /// The block's BFINAL bit (RFC 1951, 3.2.3).
    std::uint64_t start = 0;
    /// The bit behind the block.
    std::uint64_t end = 0;
};

/// Walks a whole deflate stream, decoding no more of its symbols than how long they are. Nothing when the
/// stream is malformed.
std::optional<FinalDeflateBlock> findFinalDeflateBlock(ByteSpan stream);

/// Makes a whole deflate stream one that goes on: no block is the final one any more, and an empty stored
/// block brings it to a byte boundary, so that another stream can be appended. Returns false when the stream
/// is malformed; then it is unchanged.
bool makeDeflateContinuable(Bytes& stream);

} // namespace velk::codec
