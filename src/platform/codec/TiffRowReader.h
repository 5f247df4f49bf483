#pragma once

#include "platform/codec/TiffPixels.h"
#include "platform/codec/TiffStructure.h"

#include <memory>
#include <string>

namespace velk::codec::tiff {

/// Delivers the decoded rows of one plane of an image (of all samples where they are interleaved) from top to
/// bottom. Multi-byte samples are in the machine's order.
class RowReader {
public:
    virtual ~RowReader() = default;

    /// Row `y`, which is not above the one asked for before; null where it cannot be decoded. Valid until the
    /// next call.
    virtual std::uint8_t const* row(std::int32_t y) = 0;
    /// Whether any row of the image from `y` on can be decoded; rows before the first such row are then known
    /// to be missing.
    virtual bool anyRowFrom(std::int32_t y) = 0;
    /// Why data is missing or damaged as far as it has been decoded; empty when all is well.
    virtual std::string const& problem() const = 0;
};

/// Makes the reader for plane `plane` (0 where samples are interleaved). `file` must outlive it.
Result<std::unique_ptr<RowReader>> makeRowReader(InputFile const& file, DirectoryReader const& reader,
    Directory const& directory, Structure const& structure, DecodedSamples decoded, int plane);

} // namespace velk::codec::tiff
