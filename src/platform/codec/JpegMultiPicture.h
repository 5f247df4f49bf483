#pragma once

#include "base/Bytes.h"

#include <cstdint>
#include <vector>

/// The index of a multi-picture file (CIPA DC-007, 5.2): a TIFF structure whose entries point at further JPEG
/// images behind the first, counted from the structure's first byte.
namespace velk::codec::jpeg {

struct PictureRange {
    std::uint64_t offset = 0; ///< in the file
    std::uint64_t size = 0;
};

/// The pictures besides the first one. `index` is the data of the segment, `indexOffset` where that lies in
/// the file.
std::vector<PictureRange> furtherPictures(ByteSpan index, std::uint64_t indexOffset);

/// Makes the index right again after `indexShift` bytes were inserted before it and `imageShift` before the
/// first scan.
void shiftPictures(Bytes& index, std::int64_t indexShift, std::int64_t imageShift);

} // namespace velk::codec::jpeg
