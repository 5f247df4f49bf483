#pragma once

#include "platform/graphics/Geometry.h"

namespace velk::graphics {

/// The scale to ask a decoder for when an image is drawn at `scaleX` by `scaleY`: a reduction by exactly what
/// the decoder does is too coarse for a good filter to start from.
double decodeScale(double scaleX, double scaleY);

/// What a decoder is asked for so that `source` can be filtered down by the reductions: it and what the
/// filter reads around it, in an image of `size`.
IntRect regionAround(FloatRect const& source, double reductionX, double reductionY, Size size);

} // namespace velk::graphics
