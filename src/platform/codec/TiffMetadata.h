#pragma once

#include "platform/codec/Metadata.h"
#include "platform/codec/TiffDirectory.h"

namespace velk::codec::tiff {

/// The Exif, IPTC and XMP metadata that a directory of a file holds or points at.
Metadata readMetadata(InputFile const& file, DirectoryReader const& reader, Directory const& directory);

/// The embedded ICC profile; null when there is none.
SharedBytes readProfile(DirectoryReader const& reader, Directory const& directory);

/// Bytes of a Photoshop image resource (Adobe Photoshop File Formats, "Image Resource Blocks"), empty when it
/// is missing.
Bytes photoshopResource(ByteSpan resources, std::uint16_t identifier);
/// `resources` with another content of the IPTC resource, or without it, and without its digest.
Bytes replacingPhotoshopIptc(ByteSpan resources, ByteSpan iptc);

constexpr std::uint16_t kPhotoshopIptc = 0x0404;

} // namespace velk::codec::tiff
