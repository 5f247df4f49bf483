#pragma once

#include "platform/codec/Codec.h"

/// The formats that the executable itself brings, one file each.
namespace velk::codec {

extern Codec const kBmpCodec;
extern Codec const kGifCodec;
extern Codec const kIcoCodec;
extern Codec const kJpegCodec;
extern Codec const kJpeg2000Codec;
extern Codec const kPngCodec;
extern Codec const kPnmCodec;
extern Codec const kPsdCodec;
extern Codec const kRadianceCodec;
extern Codec const kSgiCodec;
extern Codec const kTgaCodec;
extern Codec const kTiffCodec;
extern Codec const kWebpCodec;

} // namespace velk::codec
