#pragma once

#include "base/PropertyValue.h"

#include <optional>

namespace velk::codec {

/// How the pixels are to be coded, as the property dictionary of a destination asks for it.
struct EncodeOptions {
    /// 0 (smallest) to 1 (best, lossless where the format can); not set = the codec's choice.
    std::optional<float> quality;
    bool noChromaSubsampling = false;
    /// Write 8-bit sRGB, whatever the image is in.
    bool optimizeColorForSharing = false;
    /// Longest side in pixels of an image that is optimised for sharing; 0 = no limit.
    int maximumPixelSize = 0;
    bool excludeProfile = false;
    /// TIFF 6.0 tag 259; for TIFF sources this is what the source had unless it was changed.
    std::optional<int> tiffCompression;

    static EncodeOptions from(PropertyDictionary const& properties);
};

} // namespace velk::codec
