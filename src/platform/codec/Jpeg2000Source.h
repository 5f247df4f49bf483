#pragma once

#include "platform/codec/ImageSource.h"
#include "platform/codec/Jpeg2000Boxes.h"
#include "platform/codec/Jpeg2000Layout.h"

#include <atomic>

namespace velk::codec {

constexpr std::string_view kJpeg2000Type = "public.jpeg-2000";

/// A JPEG 2000 file: boxes around a codestream, or a codestream alone.
class Jpeg2000Source final : public ImageSource {
public:
    static Result<std::shared_ptr<ImageSource>> open(InputFile file);

    Jp2Contents const& contents() const { return m_contents; }
    Jpeg2000Layout const& layout() const { return m_layout; }
    Result<graphics::DecodedRows> open(graphics::DecodeRequest const& request) const override;
    /// Tells the user, once, that pixels are missing.
    void warnOfDamage() const;

private:
    explicit Jpeg2000Source(InputFile file);
    void describe();
    Result<void> readMetadata();

    Jp2Contents m_contents;
    Jpeg2000Layout m_layout;
    mutable std::atomic_flag m_warned;
};

} // namespace velk::codec
