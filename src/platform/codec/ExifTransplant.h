#pragma once

#include "base/Bytes.h"

namespace velk::codec {

/// An Exif block of the descriptive, Exif, GPS and interoperability tags of a classic TIFF file, in its byte
/// order. Tags that say how the file holds its pixels, pointers, and blocks that have a home of their own
/// (XMP, IPTC, the ICC profile) are left out. Maker notes are taken along with their inner offsets put
/// right, as far as their maker's format is known. Empty when there is nothing.
Bytes exifFromTiffFile(ByteSpan file);

/// The same block in the other byte order. Maker notes as in `exifFromTiffFile`.
Bytes exifInLittleEndian(ByteSpan block);

} // namespace velk::codec
