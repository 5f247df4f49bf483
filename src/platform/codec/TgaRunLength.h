#pragma once

#include "platform/codec/StoredRows.h"
#include "platform/codec/TgaFile.h"

namespace velk::codec {

/// Rows of a run-length coded TGA file. Packets may reach over the ends of rows, as older writers let them.
StoredRowsPointer tgaRunLengthRows(InputFile const& file, TgaHeader const& header);

/// Appends one row in run-length code; no packet leaves the row.
void appendTgaRuns(Bytes& coded, ByteSpan row, std::size_t pixelBytes);

} // namespace velk::codec
