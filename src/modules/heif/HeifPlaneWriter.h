#pragma once

#include "modules/heif/HeifContext.h"
#include "modules/heif/LumaChroma.h"
#include "platform/graphics/RowSource.h"

namespace velk::codec::heif {

/// How pixels are to lie in libheif's planes. Sample codes use their full range.
struct PlaneLayout {
    int bits = 8;
    LumaChroma meaning;
    bool halvesChroma = false;
};

/// All of `rows` (grey or RGB, 8 or 16 bits) as an image for libheif's encoders.
Result<Pointer<heif_image>> collectPlanes(graphics::RowSource& rows, PlaneLayout const& layout);

} // namespace velk::codec::heif
