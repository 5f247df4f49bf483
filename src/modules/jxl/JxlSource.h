#pragma once

#include "modules/jxl/JxlContainer.h"
#include "modules/jxl/JxlDecoder.h"
#include "platform/codec/ImageSource.h"

#include <jxl/codestream_header.h>
#include <jxl/color_encoding.h>

#include <atomic>

namespace velk::codec::jxl {

constexpr std::string_view kType = "public.jpeg-xl";

/// How the library's pixels become those of the image.
///
/// A codestream in XYB can be decoded to any space that is described by numbers, but not to that of an ICC
/// profile. Then pixels are decoded to linear light of wide primaries, and converted here.
struct ColorPlan {
    /// What the image is delivered in.
    graphics::ColorSpace space = graphics::ColorSpace::device(graphics::ColorModel::RGB);
    /// What the library decodes to where that is another space.
    std::optional<graphics::ColorSpace> decoded;
};

/// A JPEG XL file. Image 0 of an animation is its first frame.
class Source final : public ImageSource {
public:
    static Result<std::shared_ptr<ImageSource>> open(InputFile file);

    Container const& container() const { return m_container; }
    JxlBasicInfo const& header() const { return m_header; }
    ColorPlan const& colors() const { return m_colors; }
    /// Whether the codestream holds the pixels' own components without loss, as far as can be seen.
    bool isLossless() const;

    Result<graphics::DecodedRows> open(graphics::DecodeRequest const& request) const override;
    /// Tells the user, once, that pixels are missing.
    void warnOfDamage() const;

private:
    explicit Source(InputFile file);
    Result<void> readHeader();
    Result<void> describe();

    Container m_container;
    JxlBasicInfo m_header {};
    ColorPlan m_colors;
    mutable std::atomic_flag m_warned;
};

/// The space that pixels are decoded to before they are converted to an ICC profile's.
JxlColorEncoding wideLinearLight(graphics::ColorModel model);

} // namespace velk::codec::jxl
