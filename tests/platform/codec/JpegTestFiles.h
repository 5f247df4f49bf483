#pragma once

#include "platform/codec/Codec.h"
#include "platform/graphics/PixelBuffer.h"

#include <jpeglib.h>

#include <cstdio> // jpeglib.h needs FILE
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace velk::test {

/// A way to code a JPEG file.
struct JpegVariant {
    char const* name;
    J_COLOR_SPACE input = JCS_RGB;
    J_COLOR_SPACE coded = JCS_YCbCr;
    int horizontal = 2, vertical = 2; ///< sampling factors of the first component
    bool progressive = false;
    bool arithmetic = false;
    bool separateScans = false;
    int restartRows = 0;
    unsigned restartInterval = 0;
    bool adobeMarker = false; ///< with it, CMYK is stored inverted
};
std::ostream& operator<<(std::ostream& out, JpegVariant const& variant);

/// Every way that matters to a decoder.
std::vector<JpegVariant> const& jpegVariants();

/// `photoLike` of this size in the variant's model.
std::shared_ptr<graphics::PixelBuffer const> jpegPicture(JpegVariant const& variant, graphics::Size size);
/// That picture, coded by libjpeg.
Bytes makeJpeg(JpegVariant const& variant, graphics::Size size);

/// The quantised coefficients of all blocks, component by component in raster order, and the sampling.
struct JpegCoefficients {
    struct Component {
        int horizontal = 0, vertical = 0;
        unsigned width = 0, height = 0; ///< in blocks
        std::vector<JCOEF> values;
        std::vector<unsigned> quantization;

        bool operator==(Component const&) const = default;
    };
    std::vector<Component> components;
    bool progressive = false;
    unsigned restartInterval = 0;

    bool operator==(JpegCoefficients const&) const = default;
};
JpegCoefficients readCoefficients(Bytes const& jpeg);

/// A segment: marker, length, payload.
Bytes segment(std::uint8_t marker, std::string_view payload);
/// `jpeg` with `bytes` put in behind its start-of-image marker.
Bytes withSegments(Bytes const& jpeg, Bytes const& bytes);
/// Offset of the first start-of-scan marker.
std::size_t scanOffset(Bytes const& jpeg);
/// Markers before the first scan, in order.
std::vector<int> markers(Bytes const& jpeg);

/// The file written to `directory` and opened.
std::shared_ptr<codec::ImageSource const> openBytes(std::string const& path, Bytes const& bytes);
/// All rows of an answer to a decode request.
graphics::PixelBuffer collect(graphics::DecodedRows const& decoded);

} // namespace velk::test
