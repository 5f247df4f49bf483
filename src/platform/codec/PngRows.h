#pragma once

#include "platform/codec/PngSource.h"
#include "platform/graphics/RowSource.h"

namespace velk::codec {

/// The first `height` rows of the image, in the layout that the source describes.
Result<graphics::RowSourcePointer> readPngRows(std::shared_ptr<PngSource const> source, std::int32_t height);

} // namespace velk::codec
