#pragma once

#include "platform/codec/ImageSource.h"
#include "platform/codec/TiffPixels.h"

#include <atomic>
#include <memory>

namespace velk::codec::tiff {

/// What rows are decoded from. All of it stays as it is while rows are read, but for the warning.
struct PixelAccess {
    std::shared_ptr<ImageSource const> source;
    DirectoryReader const& reader;
    Directory const& directory;
    Structure const& structure;
    PixelPlan const& plan;
    /// Set when it has been said that part of the pixels is missing.
    std::atomic<bool>& hasWarned;
};

/// Rows of the image that meet `request.region`, in full width, or all rows.
Result<graphics::DecodedRows> openRows(PixelAccess access, graphics::DecodeRequest const& request);

} // namespace velk::codec::tiff
