#pragma once

#include "platform/codec/JpegSource.h"

namespace velk::codec::jpeg {

/// Rows of the image, as `ImageSource::open` has it. The scale is met by the largest of libjpeg's reductions
/// to a half, a quarter or an eighth that is not too small; of a region, exactly its pixels are delivered,
/// and decoding stops behind its last row.
Result<graphics::DecodedRows> openRows(
    std::shared_ptr<JpegSource const> source, graphics::DecodeRequest const& request);

} // namespace velk::codec::jpeg
