#pragma once

#include "platform/graphics/PixelFormat.h"

#include <cstddef>
#include <cstdint>

namespace velk::codec {

/// Photoshop puts the flattened picture on white and stores its transparency beside it. Puts a row of
/// straight alpha on white, in place; alpha stays as it is. Rows are interleaved, CMYK counts ink.
void addWhiteMatte(std::uint8_t* row, std::size_t width, graphics::PixelFormat format);
/// The premultiplied row that was put on white, in place.
void removeWhiteMatte(std::uint8_t* row, std::size_t width, graphics::PixelFormat format);

} // namespace velk::codec
