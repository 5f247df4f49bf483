#pragma once

#include "platform/graphics/Image.h"

namespace velk::graphics {

/// Pixels that can be filtered: real colours instead of indices, and no straight alpha.
Result<RowSourcePointer> filterableRows(RowSourcePointer rows, bool hasAlpha);

/// `part` as an image of its own: neither a filter nor a decoder's reduction mixes anything from outside into
/// it. `part` lies within the image.
Image partOf(Image const& image, IntRect const& part);

/// `area` (lies within the image, in fractions of pixels) as an image of whole pixels, no smaller than it.
Image resampledPart(Image const& image, FloatRect const& area);

} // namespace velk::graphics
