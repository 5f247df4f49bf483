#pragma once

#include "platform/codec/BmpHeader.h"
#include "platform/codec/StoredRows.h"

namespace velk::codec {

/// Rows of a bitmap in RLE4 or RLE8 (one index a byte) or OS/2 RLE24 (blue, green, red). Pixels that the code
/// skips are zero.
StoredRowsPointer bmpRunLengthRows(InputFile const& file, BmpHeader const& header);

} // namespace velk::codec
