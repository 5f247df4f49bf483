#pragma once

#include "modules/heif/HeifContext.h"
#include "modules/heif/HeifItem.h"
#include "platform/codec/ImageSource.h"

namespace velk::codec::heif {

constexpr std::string_view kHeicType = "public.heic", kHeifType = "public.heif", kAvifType = "public.avif";

/// A file of the High Efficiency Image File Format (ISO/IEC 23008-12), whatever its pixels are coded with.
/// Image 0 is the primary one, upright and cropped as the file says.
class Source final : public ImageSource {
public:
    static Result<std::shared_ptr<ImageSource>> open(std::string_view type, InputFile file);

    CodedChroma chroma() const { return m_chroma; }
    Result<graphics::DecodedRows> open(graphics::DecodeRequest const& request) const override;

private:
    Source(std::string_view type, InputFile file);
    Result<void> describe();
    Result<void> readMetadata(heif_image_handle const* image);

    CodedChroma m_chroma = CodedChroma::Unknown;
};

} // namespace velk::codec::heif
