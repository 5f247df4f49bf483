#pragma once

#include "base/AtomicFile.h"
#include "modules/jxl/JxlDecoder.h"
#include "platform/codec/Metadata.h"
#include "platform/graphics/PixelBuffer.h"

#include <jxl/encode.h>

namespace velk::codec::jxl {

/// libjxl's encoder.
class FileWriter {
public:
    static Result<FileWriter> create();

    JxlEncoder* get() const { return m_encoder.get(); }
    /// An error unless the status is a success.
    Result<void> check(JxlEncoderStatus status) const;

    /// Adds boxes for Exif and XMP; before any frame.
    Result<void> addMetadata(Metadata const& metadata) const;
    /// Declares a level for large decoders where the picture needs one.
    Result<void> useRequiredLevel() const;
    Result<void> addFrame(JxlEncoderFrameSettings* settings, graphics::PixelBuffer const& pixels) const;
    /// Ends the file and writes it.
    Result<void> finish(AtomicFile& output);

private:
    struct Destroy {
        void operator()(JxlEncoder* encoder) const { JxlEncoderDestroy(encoder); }
    };

    Threads m_threads;
    // Works on the threads.
    std::unique_ptr<JxlEncoder, Destroy> m_encoder;
};

} // namespace velk::codec::jxl
