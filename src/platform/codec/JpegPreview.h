#pragma once

#include "base/Bytes.h"
#include "base/Result.h"
#include "platform/graphics/PixelBuffer.h"

namespace velk::codec {

/// A small baseline JPEG in memory, for embedded previews. The buffer holds 8-bit RGB or grey without alpha; `quality`
/// is libjpeg's, 1 to 100.
Result<Bytes> encodeSmallJpeg(graphics::PixelBuffer const& pixels, int quality);

} // namespace velk::codec
