#pragma once

#include "base/Bytes.h"
#include "base/PropertyValue.h"
#include "base/Result.h"
#include "platform/codec/PropertyChanges.h"
#include "platform/codec/Resolution.h"
#include "platform/graphics/Geometry.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace velk::codec {

/// The Exif, IPTC and XMP metadata of one image, maker notes and unknown tags included. A codec hands in the
/// blocks as its container holds them and takes them out again to write them. What is not edited comes out
/// byte for byte as it went in; blocks are parsed only when they are described or edited. Cheap to copy.
class Metadata {
public:
    Metadata();
    Metadata(Metadata const&);
    Metadata(Metadata&&) noexcept;
    Metadata& operator=(Metadata const&);
    Metadata& operator=(Metadata&&) noexcept;
    ~Metadata();

    /// An Exif block: a TIFF structure (byte-order mark first, without the "Exif\0\0" that JPEG puts before
    /// it).
    void setExif(ByteSpan tiff);
    /// The Exif, GPS and other descriptive tags of a whole (classic) TIFF file; structural tags (strips,
    /// tiles, dimensions, compression and the like) are left out of what `exif` returns. `file` is not kept.
    void setExifFromTiffFile(ByteSpan file);
    /// IPTC-IIM data sets (0x1C ...), without Photoshop's resource block around them.
    void setIptc(ByteSpan iim);
    /// An XMP packet in UTF-8.
    void setXmp(std::string_view packet);

    /// The blocks to write; empty = none. Exif in its original byte order, little-endian when there was none.
    Bytes exif() const;
    Bytes iptc() const;
    std::string xmp() const;
    /// The Exif block in little-endian order, for containers that fix the order.
    Bytes exifLittleEndian() const;
    bool isEmpty() const;

    /// Adds {TIFF}, {Exif}, {GPS} and {IPTC}, with the standards' tag names as keys, and the top-level
    /// Orientation. Text is UTF-8 without trailing blanks and zeros; rationals are doubles; several values
    /// are an array.
    void describe(PropertyDictionary& properties) const;
    /// Sets or removes entries of {TIFF}, {Exif}, {GPS} and {IPTC}; changes of other dictionaries and unknown
    /// keys are ignored. Returns whether anything was edited.
    bool apply(PropertyChanges const& changes);

    /// Exif XResolution, YResolution and ResolutionUnit, as far as they make sense.
    std::optional<Resolution> resolution() const;
    /// Sets the three Exif tags.
    void setResolution(Resolution resolution);
    /// Exif orientation, 1 to 8; 1 when missing or out of range.
    int orientation() const;
    void setOrientation(int orientation);

    /// Makes the tags that give the size in pixels (PixelXDimension and the like), where present, say `size`.
    void setPixelSize(graphics::Size size);
    /// The embedded preview (Exif thumbnail in IFD1): JPEG bytes, empty when there is none.
    Bytes preview() const;
    /// Replaces the preview; empty bytes remove it.
    void setPreview(ByteSpan jpeg);

private:
    struct State;
    State& edit();

    std::shared_ptr<State> m_state;
};

} // namespace velk::codec
