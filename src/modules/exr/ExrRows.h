#pragma once

#include "modules/exr/ExrSource.h"
#include "platform/graphics/RowSource.h"

namespace velk::codec::exr {

/// The rows of the display window in the source's layout.
Result<graphics::RowSourcePointer> openRows(std::shared_ptr<ExrSource const> source);

} // namespace velk::codec::exr
