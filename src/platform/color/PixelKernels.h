#pragma once

#include "base/Bytes.h"
#include "platform/graphics/PixelFormat.h"

#include <functional>

namespace velk::color {

/// Makes `pixels` pixels of one layout into those of another. Rows are aligned for their components; `in` and
/// `out` do not overlap.
using RowKernel = std::function<void(std::uint8_t const* in, std::uint8_t* out, std::size_t pixels)>;

/// The same pixels with other components, rounded to nearest; floats are cut to their range first.
RowKernel convertComponents(graphics::PixelFormat from, graphics::ComponentType to);

/// The same pixels with another alpha layout. Where alpha goes, they are put on `background`, a pixel of the
/// result's format; where it comes, they are opaque. What is opaque keeps its colour exactly.
RowKernel convertAlpha(graphics::PixelFormat from, graphics::Alpha to, Bytes background);

/// Grey to RGB of equal components.
RowKernel expandGray(graphics::PixelFormat from);

/// Looks each 8-bit index up in a table of 256 pixels of `bytesPerPixel` bytes.
RowKernel lookUp(Bytes table, std::size_t bytesPerPixel);

/// Copies the last component of each pixel; both formats have alpha, the components may differ.
RowKernel copyAlpha(graphics::PixelFormat from, graphics::PixelFormat to);
/// Makes each pixel opaque.
RowKernel fillAlpha(graphics::PixelFormat format);

} // namespace velk::color
