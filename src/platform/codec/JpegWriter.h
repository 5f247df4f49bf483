#pragma once

#include "platform/codec/Codec.h"

namespace velk::codec::jpeg {

/// 8-bit grey, RGB or CMYK without alpha.
EncodeTarget negotiate(graphics::ImageInfo const& info, EncodeOptions const& options);

/// Writes a baseline JPEG, or a progressive one when the source is or {JFIF} IsProgressive says so.
///
/// A quality from 0 to 1 is libjpeg's from 1 to 100; from 0.9 on, chroma is not subsampled. Without a
/// quality, an image from a JPEG file of the same colour model keeps that file's quantisation tables,
/// subsampling and colour transform; any other gets quality 0.85 with 4:2:0 subsampling.
Result<void> encode(EncodeJob const& job, AtomicFile& output);

} // namespace velk::codec::jpeg
