#pragma once

#include "platform/codec/PsdFile.h"
#include "platform/codec/StoredRows.h"

namespace velk::codec {

constexpr std::string_view kPsdType = "com.adobe.photoshop-image";

/// An opened Photoshop file: the flattened picture and what describes it.
class PsdSource final : public RawImageSource {
public:
    PsdSource(InputFile file, PsdFile psd)
        : RawImageSource(kPsdType, std::move(file))
        , m_psd(std::move(psd))
    {
    }
    Result<void> load();

    PsdFile const& psd() const { return m_psd; }

private:
    Result<void> checkPixels() const;
    graphics::PixelFormat format() const;
    bool isMatted() const;
    Result<graphics::ColorSpace> space() const;
    Result<graphics::Palette> readPalette() const;
    void readMetadata();
    void describeFormat();
    bool hasFlattenedPicture() const;
    RowDecoder decoder() const;
    Result<StoredImage> openStored() const override;

    PsdFile m_psd;
};

} // namespace velk::codec
