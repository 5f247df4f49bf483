#pragma once

#include "base/Bytes.h"
#include "base/Result.h"
#include "platform/graphics/PixelBuffer.h"

namespace velk::codec {

/// A small 8-bit grey or RGB picture as a JPEG image without any application segment, as Exif wants its
/// thumbnails (Exif 2.32, 4.5.8). `quality` is libjpeg's, 1 to 100.
Result<Bytes> encodeSmallJpeg(graphics::PixelBuffer const& pixels, int quality);

} // namespace velk::codec
