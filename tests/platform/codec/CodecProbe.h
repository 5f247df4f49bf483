#pragma once

#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <functional>
#include <string>
#include <vector>

namespace velk::test {

/// What became of a file that was opened and read to the end.
struct Probe {
    PixelBufferPointer pixels; ///< null when there was an error
    std::string error;
    std::string warnings; ///< everything that went to standard error
};

/// Writes the bytes to a file, opens it and decodes image 0.
Probe probe(ByteSpan file);

/// Files that a decoder has to survive, made from a good one: empty, cut at every tenth of the length, every
/// byte near the start and many after it damaged, and the start alone followed by other bytes.
std::vector<Bytes> hostileVersions(Bytes const& good, std::size_t headerLength);

/// Rewrites an image with the changes that `edit` makes to the job.
Result<void> rewrite(
    std::string const& path, std::string const& target, std::function<void(codec::RewriteJob&)> const& edit);

/// Encodes as `test::encode` does, and returns the file.
Bytes encoded(std::string_view type, PixelBufferPointer const& pixels, EncodeExtras const& extras = {});

/// Pixels in RGB with straight alpha, palettes looked up, 8 bits.
std::vector<std::array<std::uint8_t, 4>> colorsOf(graphics::PixelBuffer const& pixels);

/// A profile that is no more than the header of one with this data colour space.
SharedBytes profileFor(std::string_view space);

/// Whether `whole` holds `part` without a gap.
bool holds(ByteSpan whole, ByteSpan part);

} // namespace velk::test
