#pragma once

namespace velk::codec {

/// Pixels per inch along each axis; both are positive and finite.
struct Resolution {
    double x = 72;
    double y = 72;

    bool operator==(Resolution const&) const = default;
};

constexpr double kCentimetresPerInch = 2.54;
constexpr double kMetresPerInch = 0.0254;

} // namespace velk::codec
