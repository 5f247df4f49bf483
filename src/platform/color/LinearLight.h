#pragma once

#include "base/Bytes.h"
#include "platform/graphics/ColorSpace.h"

#include <array>
#include <optional>

namespace velk::color {

/// CIE 1931 xy of the primaries and the white of an RGB space.
struct Chromaticities {
    struct Point {
        double x = 0, y = 0;
    };
    Point red, green, blue, white;

    /// Whether they are those of `other`, as far as formats keep them (one in a thousand).
    bool isLike(Chromaticities const& other) const;
    /// Whether the primaries span a triangle around the white, so that numbers in the space mean colours.
    bool isPossible() const;
};

/// ITU-R BT.709-6, table 1: also the primaries of sRGB.
constexpr Chromaticities kRec709 = {{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}, {0.3127, 0.3290}};
/// SMPTE RP 431-2 with the white of sRGB (CSS Color 4, 10.6).
constexpr Chromaticities kDisplayP3 = {{0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}, {0.3127, 0.3290}};
/// ISO 22028-2 (ROMM RGB).
constexpr Chromaticities kProPhoto = {
    {0.734699, 0.265301}, {0.159597, 0.840403}, {0.036598, 0.000105}, {0.345704, 0.358540}};
/// CIE XYZ taken as red, green and blue, white where all three are equal.
constexpr Chromaticities kCieXyz = {{1, 0}, {0, 1}, {0, 0}, {1.0 / 3, 1.0 / 3}};

/// Rows of coefficients.
using Matrix3 = std::array<std::array<double, 3>, 3>;

/// From linear light in one space to linear light in another, white to white (Bradford adaptation,
/// ICC.1:2022, annex E). Both are possible.
Matrix3 linearConversion(Chromaticities const& from, Chromaticities const& to);

/// RGB whose numbers are proportional to light, as a version 4 matrix profile (ICC.1:2022, F.3). The
/// chromaticities are possible.
graphics::ColorSpace linearRgbSpace(Chromaticities const& chromaticities);
/// Grey whose numbers are proportional to light.
graphics::ColorSpace linearGraySpace();

/// Whether numbers in the space are proportional to light: a grey or matrix profile without curves.
bool isLinear(graphics::ColorSpace const& space);
/// The primaries and white of a matrix profile; nothing when the space has none.
std::optional<Chromaticities> chromaticitiesOf(graphics::ColorSpace const& space);

/// A linear space's counterpart for integers: the same primaries under the curve of sRGB (IEC 61966-2-1),
/// which spends its codes where the eye sees steps. Grey and the primaries of sRGB become the spaces that
/// every reader knows.
graphics::ColorSpace withSrgbCurve(graphics::ColorSpace const& linear);

} // namespace velk::color
