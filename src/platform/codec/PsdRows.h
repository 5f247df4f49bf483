#pragma once

#include "platform/codec/PsdFile.h"
#include "platform/codec/StoredRows.h"

namespace velk::codec {

/// The rows of the first `count` channels of the flattened picture, as the file holds their samples.
Result<std::vector<StoredRowsPointer>> psdPlanes(InputFile const& file, PsdFile const& psd, int count);

} // namespace velk::codec
