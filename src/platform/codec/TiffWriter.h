#pragma once

#include "platform/codec/Codec.h"

namespace velk::codec::tiff {

/// TIFF holds every model, depth and alpha layout but palettes with alpha, which become RGB.
EncodeTarget negotiate(graphics::ImageInfo const& info, EncodeOptions const& options);

/// Writes a little-endian TIFF file of one image in strips; BigTIFF where classic offsets might not do. The
/// compression is the one that is asked for where it suits the pixels, else LZW with a predictor.
Result<void> encode(EncodeJob const& job, AtomicFile& output);

} // namespace velk::codec::tiff
