#pragma once

#include "base/Result.h"
#include "platform/graphics/AffineTransform.h"
#include "platform/graphics/Image.h"

#include <array>
#include <optional>
#include <vector>

namespace velk::graphics {

/// How an image is drawn into a new bitmap.
struct RenderRequest {
    /// From source pixels to bitmap pixels; y grows upwards from the bottom-left corner in both.
    AffineTransform transform;
    /// Size of the bitmap.
    Size size;
    /// Fills the bitmap before the image is drawn (8-bit sRGB, opaque); without it the bitmap starts all
    /// zero.
    std::optional<std::array<std::uint8_t, 3>> background;
    /// Premultiplied alpha in the result, or none.
    bool alpha = false;
    /// UInt8, or Float32 for images with floating-point components.
    ComponentType componentType = ComponentType::UInt8;
    /// The space that is drawn in, and the one that the result is labelled with; not indexed.
    ColorSpace drawingSpace;
    ColorSpace tagSpace;
    RenderingIntent intent = RenderingIntent::Default;
    /// Spaces that the image's colours pass through on their way to the drawing space.
    std::vector<ColorLink> through = {};
    /// Reads an image without a profile as sRGB or its like to convert it into a drawing space that has one.
    bool readsDevice = false;
};

/// The image that results from drawing; nothing is computed before its rows are read, any failure then
/// included. Integer crops, pads, flips and right angles move pixels exactly; everything else is filtered:
/// separable Lanczos-3 when shrinking, Catmull-Rom when enlarging, on premultiplied alpha. The result keeps
/// its origin when it is no more than a turn of it.
Result<Image> render(Image const& image, RenderRequest const& request);

} // namespace velk::graphics
