#pragma once

#include "platform/graphics/Image.h"
#include "platform/graphics/PixelBuffer.h"

namespace velk::graphics {

/// Runs `rows` on a thread of its own, a few blocks ahead of the reader.
RowSourcePointer readAhead(RowSourcePointer rows);

/// Part of the rows, possibly reaching beyond them on any side: the outside is filled with `fill` (one pixel
/// in the rows' format, bytesPerPixel() bytes).
RowSourcePointer cropOrPad(RowSourcePointer rows, IntRect frame, Bytes fill);

/// Where the samples of a resampling come from: target pixel (x, y) covers the source rectangle of
/// `area.width / target.width` by `area.height / target.height` source pixels; sources outside repeat the
/// edge. Separable: Lanczos-3, its support stretched by the reduction, when shrinking; Catmull-Rom when
/// enlarging. Alpha must not be straight. Result components are UInt8, or Float32 when the source's are;
/// UInt16 comes out as UInt8.
RowSourcePointer resample(RowSourcePointer rows, FloatRect area, Size target);

/// Mirrors or turns a whole image.
Result<PixelBuffer> turned(PixelBuffer const& buffer, Turn turn);

} // namespace velk::graphics
