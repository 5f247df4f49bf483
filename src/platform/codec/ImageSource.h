#pragma once

#include "base/Files.h"
#include "base/PropertyValue.h"
#include "platform/codec/Metadata.h"
#include "platform/codec/Resolution.h"
#include "platform/graphics/Image.h"
#include "platform/types/FileTypes.h"

#include <memory>
#include <optional>
#include <string>

namespace velk::codec {

/// What a codec finds out about image 0 of a file when it opens it, without decoding pixels.
struct SourceDescription {
    /// Size, the format in which rows are delivered, colour space with the embedded profile, and stored
    /// depth.
    graphics::ImageInfo info;
    /// The resolution that the container itself gives (JFIF density, pHYs, ...), in pixels per inch.
    std::optional<Resolution> resolution;
    Metadata metadata;
    /// The format's own sub-dictionaries ({PNG}, {JFIF}, {TIFF} Compression, ...) and nothing else.
    PropertyDictionary formatProperties;
    /// Images or frames in the file.
    int imageCount = 1;
    /// The pixels are made from what the file holds (a page, a drawing, what a sensor saw), and cannot stand
    /// for it.
    bool isInterpretation = false;
};

/// An image file that was opened. Holds what describes the image; pixels are decoded when rows are asked for.
/// Immutable after opening, so that it can be read from several threads.
class ImageSource : public graphics::ImageOrigin,
                    public graphics::PixelProvider,
                    public std::enable_shared_from_this<ImageSource> {
public:
    types::FileType const& type() const { return *m_type; }
    std::string const& path() const { return m_file.path(); }
    InputFile const& file() const { return m_file; }
    SourceDescription const& description() const { return m_description; }
    Metadata const& metadata() const { return m_description.metadata; }
    int imageCount() const { return m_description.imageCount; }
    /// The container's own resolution, else the one in Exif.
    std::optional<Resolution> resolution() const;

    /// The property dictionary of image 0; keys in PropertyKeys.h.
    PropertyDictionary properties() const;
    /// A handle on image 0 that keeps this source alive.
    graphics::Image image() const;

    /// Rows of image 0 in `description().info.layout`, or of a reduced version or a part of it as `request`
    /// allows.
    Result<graphics::DecodedRows> open(graphics::DecodeRequest const& request) const override = 0;

protected:
    ImageSource(std::string_view typeIdentifier, InputFile file);

    /// For the codec, while it opens the file.
    SourceDescription& editDescription() { return m_description; }

private:
    types::FileType const* m_type;
    InputFile m_file;
    SourceDescription m_description;
};

/// The whole-image answer to a decode request.
graphics::DecodedRows wholeImage(graphics::RowSourcePointer rows);

/// The colour space of an image of `model` with the profile that its file holds; a profile that is not one,
/// or is one of another model, is ignored, as is null.
graphics::ColorSpace colorSpaceWithProfile(graphics::ColorModel model, SharedBytes profile);

} // namespace velk::codec
