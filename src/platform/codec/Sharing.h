#pragma once

#include "base/Result.h"
#include "platform/graphics/Image.h"

namespace velk::codec {

/// `image` as every viewer shows it alike: 8-bit sRGB (alpha stays), no side longer than `maximumSize` pixels
/// (0 = any). What is like that already keeps its pixels and its origin.
Result<graphics::Image> forSharing(graphics::Image const& image, int maximumSize);

} // namespace velk::codec
