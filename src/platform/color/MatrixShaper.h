#pragma once

#include "platform/color/PixelKernels.h"

#include <array>
#include <optional>

namespace velk::color {

/// A matrix/TRC profile (ICC.1:2022, F.3), sampled where 8-bit pixels need it.
struct RgbShape {
    /// Linear light of each code, by channel.
    std::array<std::array<double, 256>, 3> linear;
    /// Linear light halfway between the codes k and k + 1, by channel; must grow with k.
    std::array<std::array<double, 255>, 3> thresholds;
    /// XYZ (rows) of the linear red, green and blue (columns).
    std::array<std::array<double, 3>, 3> toXyz;
};

/// Converts 8-bit RGB of one matrix/TRC profile into that of another, four times as fast as the general way.
/// Pixels have `inChannels` and `outChannels` bytes, of which the first three are converted and the rest left
/// alone. Nothing when the target cannot be inverted.
std::optional<RowKernel> matrixShaper(
    RgbShape const& from, RgbShape const& to, int inChannels, int outChannels);

} // namespace velk::color
