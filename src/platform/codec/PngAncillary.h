#pragma once

#include "base/FourCC.h"
#include "base/PropertyValue.h"
#include "platform/codec/Resolution.h"

#include <array>
#include <string_view>

namespace velk::codec {

/// Chunks around the pixels, whole with their frames. Each function appends one to `to`; what cannot be said
/// in PNG appends nothing.

/// iCCP, named after the profile's description.
void appendPngProfile(Bytes& to, ByteSpan profile);
/// pHYs, in whole pixels per metre.
void appendPngResolution(Bytes& to, Resolution resolution);
/// eXIf; nothing for an empty block.
void appendPngExif(Bytes& to, ByteSpan exif);
/// The text chunk of a keyword; `value` is text or a number.
void appendPngKeyword(Bytes& to, std::string_view keyword, PropertyValue const& value);

/// An entry of {PNG} that has a chunk of its own: gAMA, cHRM, sRGB.
struct PngColorProperty {
    std::string_view key;
    FourCC chunkType;
    void (*append)(Bytes& to, PropertyValue const& value);
};
extern std::array<PngColorProperty, 3> const kPngColorProperties;

/// Whether an entry of {PNG} is the keyword of a text chunk.
bool isPngKeyword(std::string_view key);

} // namespace velk::codec
