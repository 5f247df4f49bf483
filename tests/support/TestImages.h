#pragma once

#include "platform/codec/Codec.h"
#include "platform/graphics/PixelBuffer.h"

#include <functional>
#include <memory>
#include <string>

namespace velk::test {

using PixelBufferPointer = std::shared_ptr<graphics::PixelBuffer const>;

/// A component of the pixel at (x, y), 0 to 1 or, for Float32, anything; channel counts alpha as the last.
using Painter = std::function<double(int x, int y, int channel)>;

/// A buffer painted component by component, in any format but Indexed; 0..1 is scaled to the components'
/// range.
PixelBufferPointer paint(graphics::Size size, graphics::PixelFormat format, Painter const& painter,
    graphics::ColorSpace const* space = nullptr);
/// Smooth gradients with some detail: every channel differs, no row or column equals another; alpha is 1 in
/// the top half and falls to 0 below.
PixelBufferPointer photoLike(graphics::Size size, graphics::PixelFormat format);
/// Index (x + y) % entries of a palette of `entries` different colours.
PixelBufferPointer indexedImage(graphics::Size size, int entries, bool withAlpha);

/// A component as a number in 0..1 (Float32: as it is; Indexed: index / 255).
double component(graphics::PixelBuffer const& buffer, int x, int y, int channel);
/// Largest difference of any component, 0..1; 2 when sizes or channel counts differ.
double largestDifference(graphics::PixelBuffer const& a, graphics::PixelBuffer const& b);
/// Peak signal-to-noise ratio in dB over all components.
double psnr(graphics::PixelBuffer const& a, graphics::PixelBuffer const& b);

/// What else to write beside the pixels.
struct EncodeExtras {
    int bitsPerComponent = 0; ///< 0 = the negotiated depth for the buffer's component size
    SharedBytes profile;
    codec::Metadata metadata;
    std::optional<codec::Resolution> resolution;
    codec::EncodeOptions options;
    PropertyDictionary properties;
};

/// Encodes with the codec of `type`; the codec must want exactly the buffer's format.
Result<void> encode(std::string_view type, PixelBufferPointer const& pixels, std::string const& path,
    EncodeExtras const& extras = {});
/// All pixels of image 0 in its own format.
Result<PixelBufferPointer> decode(std::string const& path);

} // namespace velk::test
