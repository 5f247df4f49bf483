#pragma once

#include "platform/codec/ImageSource.h"

#include <ImfHeader.h>

#include <atomic>
#include <string>
#include <vector>

namespace velk::codec::exr {

constexpr std::string_view kType = "com.ilm.openexr-image";
constexpr std::string_view kDictionary = "{OpenEXR}";

/// The channels of a part that make up its picture.
struct PictureChannels {
    graphics::ColorModel model = graphics::ColorModel::RGB;
    /// In the order of a pixel's components, alpha last.
    std::vector<std::string> names;
    bool hasAlpha = false;
    /// Luminance with subsampled chroma, which the library turns into RGB.
    bool isLuminanceChroma = false;
    bool isHalf = false;
};

/// An opened OpenEXR file: the first part that holds a flat picture. The display window is the image; what
/// the data window lacks of it is transparent, or black.
class ExrSource final : public ImageSource {
public:
    static Result<std::shared_ptr<ImageSource>> open(InputFile file);
    explicit ExrSource(InputFile file);

    Imf::Header const& header() const { return m_header; }
    PictureChannels const& channels() const { return m_channels; }
    int part() const { return m_part; }

    Result<graphics::DecodedRows> open(graphics::DecodeRequest const& request) const override;

    /// Warns, once for this file, that pixels are missing.
    void reportDamage() const;

private:
    Result<void> readHeader();
    Result<void> checkWindows() const;
    void describe();

    Imf::Header m_header;
    PictureChannels m_channels;
    int m_part = 0;
    mutable std::atomic<bool> m_reported = false;
};

} // namespace velk::codec::exr
