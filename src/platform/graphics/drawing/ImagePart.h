#pragma once

#include "platform/graphics/Image.h"

namespace velk::graphics {

/// A decoder that is asked for less than full size delivers this much more than is drawn: a reduction by
/// exactly what it does is too coarse for a good filter to start from.
double decodeScale(double scaleX, double scaleY);

/// Pixels that can be filtered: real colours instead of indices, and no straight alpha.
Result<RowSourcePointer> filterableRows(RowSourcePointer rows, bool hasAlpha);

/// `part` as an image of its own: neither a filter nor a decoder's reduction mixes anything from outside into
/// it. `part` lies within the image.
Image partOf(Image const& image, IntRect const& part);

/// `area` (lies within the image, in fractions of pixels) as an image of whole pixels, no smaller than it.
Image resampledPart(Image const& image, FloatRect const& area);

} // namespace velk::graphics
