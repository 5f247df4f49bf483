#pragma once

namespace velk::graphics {

/// Maps (x, y) to (x·a + y·c + tx, x·b + y·d + ty).
struct AffineTransform {
    double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;

    bool operator==(AffineTransform const&) const = default;
    bool isIdentity() const { return *this == AffineTransform {}; }

    static AffineTransform scale(double sx, double sy) { return {.a = sx, .d = sy}; }
    static AffineTransform translation(double tx, double ty) { return {.tx = tx, .ty = ty}; }
};

/// The transform that applies `first`, then `second`.
constexpr AffineTransform operator*(AffineTransform const& first, AffineTransform const& second)
{
    return {
        .a = first.a * second.a + first.b * second.c,
        .b = first.a * second.b + first.b * second.d,
        .c = first.c * second.a + first.d * second.c,
        .d = first.c * second.b + first.d * second.d,
        .tx = first.tx * second.a + first.ty * second.c + second.tx,
        .ty = first.tx * second.b + first.ty * second.d + second.ty,
    };
}

} // namespace velk::graphics
