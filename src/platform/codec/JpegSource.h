#pragma once

#include "platform/codec/ImageSource.h"
#include "platform/codec/JpegErrors.h"
#include "platform/codec/JpegSegments.h"

#include <atomic>

namespace velk::codec::jpeg {

/// An opened JPEG file.
class JpegSource final : public ImageSource {
public:
    static Result<std::shared_ptr<ImageSource>> open(InputFile file);
    JpegSource(InputFile file, Header header);

    Header const& header() const { return m_header; }
    /// The extended XMP, if there is any, is part of the metadata.
    bool hasWholeXmp() const { return m_hasWholeXmp; }

    Result<graphics::DecodedRows> open(graphics::DecodeRequest const& request) const override;

    /// Warns that pixels are missing or wrong, once for this file.
    void reportDamage(Damage damage) const;

private:
    Result<void> describe();
    Result<void> readMetadata();
    void describeResolution(Bytes const& photoshop);

    Header m_header;
    bool m_hasWholeXmp = true;
    mutable std::atomic<bool> m_reported = false;
};

} // namespace velk::codec::jpeg
