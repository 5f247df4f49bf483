#pragma once

#include "modules/jxl/JxlSource.h"

namespace velk::codec::jxl {

/// All rows of the image, which are decoded at the first read.
Result<graphics::RowSourcePointer> openRows(std::shared_ptr<Source const> source);

} // namespace velk::codec::jxl
