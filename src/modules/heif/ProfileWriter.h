#pragma once

#include "base/Bytes.h"

#include <string_view>
#include <vector>

namespace velk::codec::heif {

/// CIE 1931 x and y.
struct Chromaticity {
    double x, y;
};

struct Primaries {
    Chromaticity red, green, blue, white;
};

/// Light (0 to 1) of a code value: `points` at even distances where there are any, else (a x + b) ^ gamma
/// from x = d on, and c x below.
struct ToneCurve {
    double gamma = 1, a = 1, b = 0, c = 0, d = 0;
    std::vector<double> points = {};
};

/// Display profiles (ICC.1:2022, 8.4.3 and 8.4.4) with the description `name`, which is ASCII.
Bytes rgbProfile(std::string_view name, Primaries const& primaries, ToneCurve const& curve);
Bytes grayProfile(std::string_view name, Chromaticity white, ToneCurve const& curve);

} // namespace velk::codec::heif
