#pragma once

#include "platform/graphics/PixelBuffer.h"
#include "platform/graphics/RowSource.h"

#include <memory>

namespace velk::graphics {

/// What a reader of pixels needs of them; a decoder may do less work accordingly, or ignore it.
struct DecodeRequest {
    /// The smallest useful scale, 0 < scale <= 1: the decoder may deliver any size of at least scale * full
    /// size.
    double scale = 1;
    /// The part that is needed, in full-size pixels; empty = all. The decoder may deliver any part that holds
    /// it.
    IntRect region;
};

/// Rows, and the rectangle of full-size pixels that they cover.
struct DecodedRows {
    RowSourcePointer rows;
    FloatRect area;
};

/// Makes row sources for the same pixels, any number of times.
class PixelProvider {
public:
    virtual ~PixelProvider() = default;
    virtual Result<DecodedRows> open(DecodeRequest const& request) const = 0;
};

/// The file that an image's pixels were read from, as far as this room must know.
class ImageOrigin {
public:
    virtual ~ImageOrigin() = default;
};

/// A mirroring and turn by right angles, numbered as Exif orientations 1 to 8 (Exif 2.32, tag 0x0112): what
/// has to be done to the pixels of such an image to show it upright. 6 turns clockwise, 3 by 180 degrees, 8
/// counterclockwise, 2 mirrors left to right, 4 top to bottom, 5 transposes, 7 transposes along the other
/// diagonal.
enum class Turn : std::uint8_t {
    None = 1,
    MirrorHorizontal = 2,
    Rotate180 = 3,
    MirrorVertical = 4,
    Transpose = 5,
    RotateClockwise = 6,
    Transverse = 7,
    RotateCounterclockwise = 8,
};

constexpr bool swapsAxes(Turn turn)
{
    return turn >= Turn::Transpose;
}

/// Size, layout, meaning and stored depth of an image's pixels.
struct ImageInfo {
    PixelLayout layout;
    /// Bits that a component has in the file: 1, 2, 4, 8, 10, 12, 16 or 32 (the index's bits when indexed).
    int bitsPerComponent = 8;
};

/// A handle on something that delivers an image's rows; immutable, cheap to copy. Pixels exist only while
/// they flow.
class Image {
public:
    Image(ImageInfo info, std::shared_ptr<PixelProvider const> pixels,
        std::shared_ptr<ImageOrigin const> origin = nullptr)
        : m_info(std::move(info))
        , m_pixels(std::move(pixels))
        , m_origin(std::move(origin))
    {
    }
    /// An image whose pixels lie in memory.
    explicit Image(std::shared_ptr<PixelBuffer const> pixels);

    ImageInfo const& info() const { return m_info; }
    PixelLayout const& layout() const { return m_info.layout; }
    Size size() const { return m_info.layout.size; }
    PixelFormat format() const { return m_info.layout.format; }
    ColorSpace const& space() const { return m_info.layout.space; }
    bool hasAlpha() const;

    Result<DecodedRows> open(DecodeRequest const& request) const;
    /// All rows at full size, in this image's layout.
    Result<RowSourcePointer> rows() const;

    /// What makes the rows: one and the same for images with the same pixels.
    std::shared_ptr<PixelProvider const> const& pixels() const { return m_pixels; }

    /// The same pixels with another meaning; the models agree.
    Image withColorSpace(ColorSpace space) const;

    /// The file that holds exactly these pixels but for `turn`; null when they were computed.
    std::shared_ptr<ImageOrigin const> const& origin() const { return m_origin; }
    /// What was done to the origin's pixels.
    Turn turn() const { return m_turn; }
    /// This image as a turned version of `origin`'s pixels.
    Image withOrigin(std::shared_ptr<ImageOrigin const> origin, Turn turn) const;

private:
    ImageInfo m_info;
    std::shared_ptr<PixelProvider const> m_pixels;
    std::shared_ptr<ImageOrigin const> m_origin;
    Turn m_turn = Turn::None;
};

} // namespace velk::graphics
