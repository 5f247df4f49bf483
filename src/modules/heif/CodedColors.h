#pragma once

#include "base/Bytes.h"
#include "platform/graphics/ColorSpace.h"

namespace velk::codec::heif {

/// What code points of ITU-T H.273 say about colours.
struct CodedColors {
    int primaries = 2; ///< 8.1
    int transfer = 2; ///< 8.2
};

/// The colour space that the code points stand for: the device space where that is sRGB or not specified,
/// else one with an ICC profile made for them. The curves of television cameras count as sRGB's, as viewers
/// have it. High dynamic range (PQ and HLG) is brought into the range of a display whose white has 203 cd/m2
/// (ITU-R BT.2408).
graphics::ColorSpace spaceOf(CodedColors colors, graphics::ColorModel model);

} // namespace velk::codec::heif
