#pragma once

#include "platform/graphics/RowSource.h"

namespace velk::graphics {

/// Every pixel of the result is the mean of `factorX` by `factorY` pixels; where the image ends within such a
/// box, its last column or row counts for the missing ones. Keeps the component type.
RowSourcePointer boxShrink(RowSourcePointer rows, std::int32_t factorX, std::int32_t factorY);

} // namespace velk::graphics
