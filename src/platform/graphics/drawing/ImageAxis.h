#pragma once

#include <cstdint>
#include <optional>

namespace velk::graphics {

/// One axis of an upright image on a device: the source's [begin, end) fills [low, high) of the device.
///
///     device pixels:    |     |  #####|#####|#####|##   |
///                                ^ low              ^ high
///
struct ImageAxis {
    double sourceBegin = 0, sourceEnd = 0;
    double low = 0, high = 0;
    bool isMirrored = false;
    /// The device pixels to draw.
    std::int32_t first = 0, count = 0;

    double sourcePerPixel() const { return (sourceEnd - sourceBegin) / (high - low); }
    /// An image of less than a pixel is one colour along the axis.
    bool isThin() const { return high - low < 1; }
    /// Pixels that are computed, in the source's direction, and the piece of the source that they show.
    std::int32_t targetLength() const { return isThin() ? 1 : count; }
    double shownBegin() const;
    double shownLength() const;
    /// How much of the device pixel first + index is filled, 0 to 1.
    double coverage(std::int32_t index) const;
    /// Whether source pixels are device pixels.
    bool isWhole() const;
};

struct VisibleAxis {
    std::int32_t begin, length;
};

/// A source's [begin, end) at device = source · slope + offset; nothing when none of it is seen.
std::optional<ImageAxis> placeAxis(
    double begin, double end, double slope, double offset, VisibleAxis const& visible);

} // namespace velk::graphics
