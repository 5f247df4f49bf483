#pragma once

#include "modules/heif/HeifSource.h"

namespace velk::codec::heif {

/// All rows of the image, which is decoded at the first read.
graphics::RowSourcePointer openRows(std::shared_ptr<Source const> source);

} // namespace velk::codec::heif
