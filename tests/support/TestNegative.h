#pragma once

#include "base/Bytes.h"

#include <array>

namespace velk::test {

/// A digital negative (DNG 1.4) of a camera whose sensor sees the primaries of sRGB through a Bayer pattern
/// of red, green, green and blue; uncompressed.
struct TestNegative {
    static constexpr int kWidth = 128, kHeight = 96;
    using Color = std::array<double, 3>;

    int orientation = 1;
    Color neutral = {1, 1, 1}; ///< what the sensor sees of white

    Bytes file() const;
    /// Linear red, green and blue of the scene: dark red on the left, below it grey; white on the right.
    static Color scene(int x, int y);
};

} // namespace velk::test
