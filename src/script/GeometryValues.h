#pragma once

#include "platform/js/Value.h"

namespace velk {

/// A point as scripts measure it.
struct PointValue {
    double x = 0, y = 0;
    bool operator==(PointValue const&) const = default;
};

/// A width and a height as scripts measure them.
struct SizeValue {
    double width = 0, height = 0;
    bool operator==(SizeValue const&) const = default;
    bool isZero() const { return width == 0 && height == 0; }
};

/// A rectangle as scripts measure it.
struct RectValue {
    double x = 0, y = 0, width = 0, height = 0;
    bool operator==(RectValue const&) const = default;
};

/// A plain object with `x` and `y`.
js::Value toScript(PointValue point);
/// A plain object with `width` and `height`.
js::Value toScript(SizeValue size);

/// From any object with `x` and `y`; what is missing is NaN.
PointValue pointFromScript(js::Value const& value);
/// From any object with `width` and `height`; what is missing is NaN.
SizeValue sizeFromScript(js::Value const& value);

/// An argument of a geometry constructor: 0 when it is undefined, else its number.
double coordinate(js::Value const& value);

} // namespace velk
