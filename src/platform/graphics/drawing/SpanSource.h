#pragma once

#include "platform/graphics/WorkCrew.h"
#include "platform/graphics/drawing/BitmapContext.h"

#include <cstdint>
#include <memory>

namespace velk::graphics {

/// Colours the pixels of a shape, one horizontal span at a time.
class SpanSource {
public:
    virtual ~SpanSource() = default;
    /// After this, several threads at a time may ask for spans that lie in `area`.
    virtual void prepare(IntRect const& /*area*/) { }
    /// `count` pixels from device pixel (x, y) on, y downwards: premultiplied RGBA, 8 bits each.
    virtual void span(std::int32_t x, std::int32_t y, std::int32_t count, std::uint8_t* pixels) = 0;
    /// Whether all pixels everywhere are opaque.
    virtual bool isOpaque() const { return false; }
};

/// `gradient` with `userToDevice` mapping its space to device pixels (y downwards). Null when there is
/// nothing to draw: no stops, a degenerate transform, values that are not finite, two equal circles. Where no
/// circle of a radial gradient passes, it is transparent.
std::unique_ptr<SpanSource> gradientSource(Gradient const& gradient, AffineTransform const& userToDevice);

/// Copies of the picture side by side, the top-left corner of one at (originX, originY). `tile` is in
/// `BitmapContext::layout`.
std::unique_ptr<SpanSource> patternSource(
    std::shared_ptr<PixelBuffer const> tile, std::int32_t originX, std::int32_t originY);

/// The pixels of a drawn image, and the device rectangle outside of which there is nothing of it.
struct DrawnImage {
    std::unique_ptr<SpanSource> source;
    IntRect bounds;
};

/// `part` of `image` (pixels, y downwards; cut at its edges), of which only `visible` is needed, in Display
/// P3. `partToDevice` maps pixels counted from the part's top-left corner, y downwards, to device pixels, y
/// downwards. Whole pixels in whole places are copied exactly; else shrinking decodes at reduced size and
/// averages, enlarging interpolates, nothing outside of the part mixes in, and edges that fall between pixels
/// are antialiased. `crew` helps with large ones. No source and empty bounds when nothing is seen.
Result<DrawnImage> imageSource(Image const& image, FloatRect const& part, AffineTransform const& partToDevice,
    IntRect const& visible, WorkCrew& crew);

} // namespace velk::graphics
