#pragma once

#include "base/Result.h"
#include "modules/heif/LumaChroma.h"
#include "platform/graphics/Geometry.h"

#include <libheif/heif.h>

#include <vector>

namespace velk::codec::heif {

/// What a sample's code means: value = (code - zero) / range.
struct SampleScale {
    float zero = 0;
    float range = 255;
};
enum class SampleKind : std::uint8_t { Light, Difference };
/// Full range, or the range that leaves headroom (ITU-T H.273, 8.3).
SampleScale scaleOf(int bits, bool isFullRange, SampleKind kind);

/// One channel of a decoded image, full size or halved along one or both axes.
class Plane {
public:
    /// An error when the image has no such channel, or too few samples of it.
    static Result<Plane> of(heif_image const* image, heif_channel channel, graphics::Size size);

    int bits() const { return m_bits; }
    /// Values of the row of the full-size image; samples between coded ones are interpolated.
    void read(int y, SampleScale scale, std::span<float> row);

private:
    void readStored(int y, SampleScale scale, std::span<float> row) const;

    std::uint8_t const* m_data = nullptr;
    std::size_t m_stride = 0;
    int m_bits = 8;
    int m_rows = 0; ///< stored
    bool m_isHalfWidth = false, m_isHalfHeight = false;
    std::vector<float> m_near, m_far;
};

} // namespace velk::codec::heif
