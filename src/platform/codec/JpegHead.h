#pragma once

#include "base/AtomicFile.h"
#include "platform/codec/JpegSegments.h"
#include "platform/codec/Metadata.h"
#include "platform/codec/PropertyChanges.h"

#include <array>
#include <optional>
#include <variant>
#include <vector>

namespace velk::codec::jpeg {

/// The segments of a new file before its frame header: some made anew, the others taken over from a file
/// byte for byte and in their order.
class Head {
public:
    /// Starts with the segments of `file` of which `keeps` is true.
    static Head from(InputFile const& file, Header const& header, bool (*keeps)(SegmentKind kind));
    Head() = default;

    /// Puts `segments` (whole ones; none = empty) in place of all segments of a kind. They stand where the
    /// first of those stood, else behind what comes before them by convention.
    void replace(SegmentKind kind, Bytes segments);

    /// Leaves out stray bytes that would newly come first, so that the file still begins like a JPEG: FF D8
    /// FF.
    void beginWithMarker();

    /// Makes an index of further pictures right, in a file whose pixels and what follows them are copied.
    Result<void> adjustMultiPictureIndex(Header const& header);

    Result<void> write(AtomicFile& output) const;

private:
    struct Range {
        std::uint64_t offset = 0, size = 0;
    };
    struct Piece {
        SegmentKind kind;
        std::variant<Bytes, Range> content;
        std::uint64_t strayBytes = 0; ///< with which the range starts

        std::uint64_t size() const;
    };

    std::size_t placeFor(SegmentKind kind) const;
    Result<void> copy(Range range, AtomicFile& output) const;

    InputFile const* m_file = nullptr;
    std::vector<Piece> m_pieces;
};

/// JFIF's density for a resolution: per inch, or per centimetre where that is more exact.
Jfif withResolution(Jfif jfif, Resolution resolution);
/// `jfif` as the entries of {JFIF} have it, as far as they make sense.
Jfif withChanges(Jfif jfif, PropertyChanges const& changes);

/// Whole segments; empty for empty content. What does not fit is left out with a warning that names `path`.
Bytes jfifSegment(Jfif const& jfif, ByteSpan thumbnail = {});
/// Exif that is too long is written without its preview.
Bytes exifSegment(Metadata metadata, std::string const& path);
Bytes photoshopSegments(ByteSpan resources);
Bytes profileSegments(SharedBytes const& profile, std::string const& path);
Bytes adobeSegment(int transform);

} // namespace velk::codec::jpeg
