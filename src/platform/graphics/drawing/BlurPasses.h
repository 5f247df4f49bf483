#pragma once

#include "platform/graphics/Geometry.h"
#include "platform/graphics/drawing/BlurKernels.h"

#include <cstdint>
#include <span>
#include <vector>

namespace velk::graphics {

/// A picture of one component between the passes of a blur; 0 outside of its bounds. Values have 7 fraction
/// bits, so that the roundings of several passes stay below one step of 8 bits. Rows are filled up with
/// values without meaning to a multiple of kBlurAlignment, and their number to one of kTile.
class BlurPlane {
public:
    static constexpr int kFractionBits = 7;
    static constexpr std::int32_t kTile = 8;

    explicit BlurPlane(IntRect const& bounds);

    IntRect const& bounds() const { return m_bounds; }
    std::size_t stride() const { return m_stride; }
    std::uint16_t const* row(std::int32_t y) const { return m_values.data() + offset(y); }
    std::uint16_t* row(std::int32_t y) { return m_values.data() + offset(y); }
    BlurPlane transposed() const;

private:
    std::size_t offset(std::int32_t y) const { return static_cast<std::size_t>(y - m_bounds.y) * m_stride; }

    IntRect m_bounds;
    std::size_t m_stride;
    std::vector<std::uint16_t> m_values;
};

/// One symmetric filter with weights that add up to 1:
///
///     Taps:  w[n] ... w[1] w[0] w[1] ... w[n]
///     Box:   edge  inner inner ... inner  edge     (2 * radius + 1 inner ones)
///
struct BlurPass {
    enum class Kind : std::uint8_t { Taps, Box };
    Kind kind = Kind::Taps;
    std::vector<float> weights; ///< Taps
    std::int32_t radius = 0; ///< Box
    BoxWeights box {1, 0};

    std::int32_t reach() const
    {
        return kind == Kind::Box ? radius + 1 : static_cast<std::int32_t>(weights.size()) - 1;
    }
};

/// The passes that make a Gaussian of `deviation`, above 0.
std::vector<BlurPass> blurPasses(double deviation);
std::int32_t reachOf(std::span<BlurPass const> passes);

/// Filters along the columns and returns the rows from `top` to `bottom`, fewer where all is 0.
BlurPlane filterColumns(
    BlurPlane plane, std::span<BlurPass const> passes, std::int32_t top, std::int32_t bottom);

} // namespace velk::graphics
