#pragma once

#include "platform/codec/GifSource.h"

namespace velk::codec {

/// A fresh decoder for image 0 of `source`.
Result<graphics::RowSourcePointer> openGifRows(std::shared_ptr<GifSource const> source);

} // namespace velk::codec
