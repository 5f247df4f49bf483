#pragma once

#include "platform/graphics/PixelBuffer.h"
#include "support/TestImages.h"
#include "support/TestSimd.h"

#include <string>

namespace velk::test {

/// Everything that a source delivers, read a few rows at a time (1, 2, 3, ... so that blocks fall anyhow).
PixelBufferPointer collect(graphics::RowSourcePointer rows);
/// All pixels of an image.
PixelBufferPointer collect(graphics::Image const& image);

/// The component as the integer that it is stored as.
int byteAt(PixelBufferPointer const& pixels, int x, int y, int channel);
/// The bytes of a pixel, to compare and to print.
std::vector<int> pixelAt(PixelBufferPointer const& pixels, int x, int y);

/// A source of `pixels` that counts the rows that were read, and fails at row `failsAt` unless that is
/// negative.
graphics::RowSourcePointer watchedRows(PixelBufferPointer pixels, int& rowsRead, int failsAt = -1);

/// 8-bit and larger formats whose pixels differ in size and handling.
std::vector<graphics::PixelFormat> variousFormats();

} // namespace velk::test
