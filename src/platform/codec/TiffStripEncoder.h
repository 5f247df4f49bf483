#pragma once

#include "base/Bytes.h"
#include "base/Result.h"
#include "platform/codec/TiffTags.h"
#include "platform/graphics/Geometry.h"

#include <functional>
#include <span>

namespace velk::codec::tiff {

/// How the strips of a new file are coded.
struct StripCoding {
    graphics::Size size;
    std::int32_t rowsPerStrip = 0;
    std::uint64_t rowBytes = 0;
    int bitsPerSample = 8;
    int samplesPerPixel = 1;
    bool isFloat = false;
    Photometric photometric = Photometric::MinIsBlack;
    int compression = compression::kNone;
    /// 1 none, 2 differences, 3 differences of floating-point numbers.
    int predictor = 1;
    int jpegQuality = 0; ///< 1 to 100
    int chromaSubsampling = 1; ///< in both directions, of JPEG-coded YCbCr

    std::int32_t stripCount() const { return (size.height + rowsPerStrip - 1) / rowsPerStrip; }
    std::int32_t rowsIn(std::int32_t strip) const
    {
        return std::min(rowsPerStrip, size.height - strip * rowsPerStrip);
    }
};

/// Puts the stored rows of a strip into `to`.
using FillStrip = std::function<Result<void>(std::int32_t strip, std::span<std::uint8_t> to)>;
/// Takes the coded bytes of the next strip.
using TakeStrip = std::function<Result<void>(ByteSpan coded)>;

/// Codes all strips on a few threads. `fill` and `take` are called on the calling thread, each in the order
/// of the strips; no more than a few strips are held at a time.
Result<void> encodeStrips(StripCoding const& coding, FillStrip const& fill, TakeStrip const& take);

} // namespace velk::codec::tiff
