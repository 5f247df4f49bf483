#pragma once

#include "base/Result.h"
#include "platform/graphics/RowSource.h"

namespace velk::codec {

/// The rows, which must live as long, as linear light for formats that hold nothing else. What is linear
/// already stays as it is, in its own primaries; everything else is converted to those of sRGB, which readers
/// expect. `rows` are Float32 grey or RGB, with any alpha.
Result<graphics::RowSourcePointer> linearRows(graphics::RowSource& rows);

} // namespace velk::codec
