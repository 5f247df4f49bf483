#pragma once

#include "platform/graphics/RowSource.h"

namespace velk::graphics {

/// Puts premultiplied UInt8 or Float32 rows on an opaque colour (a pixel without alpha, in the rows' type).
/// The result is opaque: its alpha is full where it is kept.
RowSourcePointer onColor(RowSourcePointer rows, Bytes color, bool keepsAlpha);

/// Rows of the same pixel throughout.
RowSourcePointer filledRows(PixelLayout layout, Bytes pixel);

} // namespace velk::graphics
