#pragma once

#include "platform/graphics/drawing/Coverage.h"

namespace velk::graphics {

/// How far from a shape's edge its blurred version reaches.
std::int32_t blurReach(double deviation);

/// The mask under a Gaussian of `deviation` pixels (close to it: repeated box filters above 2), as much of it
/// as lies in `clip`. Time does not grow with the deviation.
CoverageMask blurred(CoverageMask const& mask, double deviation, IntRect const& clip);

} // namespace velk::graphics
