#pragma once

#include "base/Files.h"
#include "base/FourCC.h"
#include "platform/codec/Metadata.h"

#include <vector>

namespace velk::codec::jxl {

// Boxes of a JPEG XL file (ISO/IEC 18181-2, 9).
constexpr FourCC kExifBox("Exif"), kXmpBox("xml "), kCompressedBox("brob"), kReconstructionBox("jbrd"),
    kCodestreamBox("jxlc"), kPartialCodestreamBox("jxlp");

struct Box {
    FourCC type;
    /// What it is once it is decompressed; `type` itself for most boxes.
    FourCC content;
    std::uint64_t offset = 0; ///< of the box header in the file
    std::uint64_t headerSize = 0;
    std::uint64_t size = 0; ///< with the header
};

/// A JPEG XL file as boxes; a bare codestream has none.
struct Container {
    std::vector<Box> boxes;

    bool isBare() const { return boxes.empty(); }
    /// The first box with this content, or null.
    Box const* find(FourCC content) const;
};

/// Whether a box holds metadata that `readMetadata` reads.
bool isMetadata(Box const& box);

/// Lists the boxes; those that are cut off by the end of the file end there.
Result<Container> readContainer(InputFile const& file);

/// Exif and XMP as they lie in the file. Damaged boxes count as absent.
Result<Metadata> readMetadata(InputFile const& file, Container const& container);

/// Signature and file type, which stand at the start of every container.
Bytes containerStart();
Bytes boxHeader(FourCC type, std::uint64_t contentSize);
/// Boxes with the metadata; empty when there is none.
Bytes metadataBoxes(Metadata const& metadata);
/// The content of an Exif box: the TIFF structure behind its offset.
Bytes exifContent(ByteSpan tiff);

} // namespace velk::codec::jxl
