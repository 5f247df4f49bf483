#pragma once

#include "platform/codec/Codec.h"

namespace velk::codec::pdf {

/// Grey, RGB, CMYK and palettes at every depth up to 16 bits, with straight alpha; 8 bits when a quality
/// below 1 asks for JPEG.
EncodeTarget negotiate(graphics::ImageInfo const& info, EncodeOptions const& options);

/// Writes a file of one page, which the image fills in its resolution. The coded data of a JPEG file go in
/// untouched where the pixels are its own and no quality is asked for; a quality below 1 codes as JPEG;
/// everything else is compressed without loss. Alpha becomes a soft mask.
Result<void> encode(EncodeJob const& job, AtomicFile& output);

} // namespace velk::codec::pdf
