#pragma once

#include "platform/codec/Jpeg2000Boxes.h"
#include "platform/graphics/PixelFormat.h"

#include <vector>

namespace velk::codec {

/// Where the values of one channel of the rows come from.
struct Jpeg2000Plane {
    int component = 0;
    /// Added to a decoded sample to make it count from 0.
    int offset = 0;
    /// What such a sample becomes: full range of the rows' components, palette columns looked up.
    std::vector<std::uint16_t> values;
};

/// How decoded components become rows.
struct Jpeg2000Layout {
    graphics::PixelFormat format;
    int bitsPerComponent = 8;
    /// The planes hold luma and chroma; rows are RGB.
    bool isYcc = false;
    std::vector<Jpeg2000Plane> planes;
};

/// What to make of the components. A codestream without boxes counts as grey or RGB with alpha when it has
/// two or four components.
Result<Jpeg2000Layout> jpeg2000LayoutOf(Jp2Contents const& contents);

} // namespace velk::codec
