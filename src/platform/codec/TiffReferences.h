#pragma once

#include "platform/codec/TiffDirectory.h"

namespace velk::codec::tiff {

/// The spans of a file that are in use: the header, the directories of the chain and those that they point at
/// (Exif, GPS, sub-directories), their values and the coded pixels. Sorted, joined, and inside the file.
std::vector<Range> referencedRanges(DirectoryReader const& reader);

/// As above, for one directory and those that it points at.
std::vector<Range> referencedRanges(DirectoryReader const& reader, Directory const& directory);

/// Where the coded data of all directories ends, be it beyond the file, whose end may have been cut off. Data
/// of unknown length is left out.
std::uint64_t claimedDataEnd(DirectoryReader const& reader);

/// What is left of sorted and joined ranges without those of another such list.
std::vector<Range> difference(std::vector<Range> const& ranges, std::vector<Range> const& without);

} // namespace velk::codec::tiff
