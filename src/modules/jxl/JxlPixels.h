#pragma once

#include "platform/graphics/PixelBuffer.h"

#include <jxl/types.h>

namespace velk::codec::jxl {

/// How pixels lie in a buffer, in libjxl's words.
JxlPixelFormat layoutOf(graphics::PixelBuffer const& pixels);
/// The bytes of a buffer from its first row on.
std::size_t sizeOf(graphics::PixelBuffer const& pixels);

} // namespace velk::codec::jxl
