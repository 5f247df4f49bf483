#pragma once

#include "platform/codec/Codec.h"

namespace velk::codec {

/// Grey, RGB, CMYK and Lab with up to 16 bits and straight alpha are kept; palettes become RGB,
/// floating-point components 16 bits.
EncodeTarget negotiateJpeg2000(graphics::ImageInfo const& info, EncodeOptions const& options);

/// Writes a JP2 file. Quality 1 is lossless; a lower one aims at a peak signal-to-noise ratio of 28 + 20
/// times quality decibels. Without a quality the image is lossless when it comes from a lossless JPEG 2000
/// file or has fewer than 8 bits, and of quality 0.75 otherwise.
Result<void> encodeJpeg2000(EncodeJob const& job, AtomicFile& output);

} // namespace velk::codec
