#pragma once

#include "platform/graphics/AffineTransform.h"
#include "platform/graphics/RowSource.h"

namespace velk::graphics {

/// Draws an image through a transform that has an inverse, from its pixels to those of a bitmap of `size` (y
/// grows downwards in both): cubic samples, antialiased edges. Around the image lies `fill`, a pixel in the
/// rows' format; with alpha it is transparent. Components are UInt8 or Float32; alpha is not straight.
RowSourcePointer affineRows(RowSourcePointer rows, AffineTransform const& transform, Size size, Bytes fill);

} // namespace velk::graphics
