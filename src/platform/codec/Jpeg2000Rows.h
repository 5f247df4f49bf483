#pragma once

#include "platform/codec/Jpeg2000Source.h"

namespace velk::codec {

/// A fresh decoder for image 0 of `source`. Where the image is reduced, the centres of the reduced pixels lie
/// on those of every second (fourth, ...) full-size pixel, so that the area starts before the first of these.
Result<graphics::DecodedRows> openJpeg2000Rows(
    std::shared_ptr<Jpeg2000Source const> source, graphics::DecodeRequest const& request);

} // namespace velk::codec
