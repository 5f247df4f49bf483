#pragma once

#include "platform/codec/JpegSegments.h"

/// XMP in JPEG (Adobe XMP, Storage in Files, 1.1.3): a packet that fits one segment, and an extension of any
/// length in chunks, which the packet names by its digest.
namespace velk::codec::jpeg {

/// The packet with the properties of the extension put into it where that is possible.
struct XmpBlock {
    std::string packet;
    /// The extension's properties are all in `packet`, or there is no extension.
    bool isComplete = true;
};
Result<XmpBlock> readXmp(InputFile const& file, Header const& header);

/// The segments that hold a packet. One that is too long for a segment becomes an extension.
struct XmpSegments {
    Bytes packet;
    Bytes extension; ///< mostly empty
};
XmpSegments xmpSegments(std::string_view packet);

/// Whether a packet says that there is an extension.
bool namesExtension(std::string_view packet);

} // namespace velk::codec::jpeg
