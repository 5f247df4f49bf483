#pragma once

#include "platform/codec/Codec.h"

#include <span>

namespace velk::codec {

/// What a format can store, as far as the choice of an encoder's pixels needs it.
struct EncoderAbilities {
    std::span<graphics::ColorModel const> models;
    std::span<graphics::ColorModel const> modelsWithAlpha;
    /// Depths of 8 bits and less, ascending, for grey without alpha and for indices (empty: no palettes).
    std::span<int const> grayDepths;
    std::span<int const> indexDepths;
    bool paletteAlpha = false;
    bool sixteenBits = false;
    bool floatingPoint = false;
};

/// The pixels closest to an image's own that a format of these abilities stores: same model, depth, palette
/// and alpha where it can, else what loses least.
EncodeTarget nearestTarget(graphics::ImageInfo const& info, EncoderAbilities const& abilities);

} // namespace velk::codec
