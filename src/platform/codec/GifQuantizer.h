#pragma once

#include "platform/graphics/RowSource.h"

#include <optional>

namespace velk::codec {

/// A picture of at most 256 colours, one of which may be fully transparent.
struct QuantizedPicture {
    std::vector<std::array<std::uint8_t, 3>> colors;
    std::optional<std::uint8_t> transparentIndex;
    graphics::Size size;
    Bytes indices; ///< row after row
};

/// Finds colours for 8-bit RGB with or without straight alpha. Pixels of less than half opacity become
/// transparent, all others opaque. A picture that has no more than 256 colours keeps them exactly; any other
/// gets the best palette, and is dithered.
Result<QuantizedPicture> quantizeForGif(graphics::RowSource& rows);

} // namespace velk::codec
