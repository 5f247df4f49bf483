#pragma once

#include "base/AtomicFile.h"
#include "base/Files.h"
#include "platform/codec/EncodeOptions.h"
#include "platform/codec/ImageSource.h"
#include "platform/codec/Metadata.h"
#include "platform/codec/PropertyChanges.h"
#include "platform/graphics/Image.h"

#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace velk::codec {

/// What a format can hold beside its pixels.
struct Carries {
    bool exif = false;
    bool iptc = false;
    bool xmp = false;
    bool profile = false;
    bool resolution = false;
    /// Without room for Exif: the entries of {TIFF} that have a place of their own, by their keys.
    std::span<std::string_view const> tags = {};
};

/// The pixels that an encoder wants to be given for an image.
struct EncodeTarget {
    graphics::PixelFormat format;
    /// Depth to store: 1, 2, 4, 8, 16 or 32. Rows come in the ranges of PixelFormat whatever it is.
    int bitsPerComponent = 8;
};

/// A picture to encode. Everything is final: the encoder writes what is here and decides nothing else.
struct EncodeJob {
    /// Rows in the negotiated format. `rows.layout().space` tells model and palette.
    graphics::RowSource& rows;
    int bitsPerComponent;
    /// Null = embed none.
    SharedBytes profile;
    Metadata metadata;
    std::optional<Resolution> resolution;
    EncodeOptions options;
    /// The edited property dictionary, for the format's own sub-dictionary ({PNG} Gamma, ...).
    PropertyDictionary const& properties;
    /// The file that the picture comes from, or null: an encoder of the same format may keep its ways (the
    /// quantisation tables of a JPEG, the text chunks of a PNG).
    ImageSource const* source = nullptr;
    /// The rows are the source's own pixels: an encoder may take over their coded form and read none.
    bool keepsPixels = false;
};

/// Changes to a file around its coded pixels.
struct RewriteJob {
    ImageSource const& source;
    /// A mirroring or turn of the coded pixels without loss; `None` for most formats.
    graphics::Turn turn = graphics::Turn::None;
    /// All metadata that the new file shall hold; write it only where `metadataChanged`.
    Metadata metadata;
    bool metadataChanged = false;
    /// The profile that the new file shall hold (null = none); write it only where `profileChanged`.
    SharedBytes profile;
    bool profileChanged = false;
    /// Set when the resolution in the format's own place has to change.
    std::optional<Resolution> resolution;
    /// Changes to the format's own sub-dictionary ({PNG}, {JFIF}, ...).
    PropertyChanges changes;
    EncodeOptions options;
};

/// One image format: how to recognise, read and write it. Writing functions append to the file that they are
/// given, from position 0 on. Error messages make sense after "path: ".
struct Codec {
    std::string_view type;
    Carries carries;

    /// Whether a file that starts with `head` (up to 512 bytes) is of this format. Formats with a weak
    /// signature stand late in the table.
    bool (*matches)(ByteSpan head, InputFile const& file) = nullptr;
    /// Reads what describes the image; decodes no pixels. Bad data is an error here or while rows are read;
    /// where rows are missing, those that exist are delivered, the rest stay blank, and a warning says so
    /// once.
    Result<std::shared_ptr<ImageSource>> (*open)(InputFile file) = nullptr;

    /// What `encode` wants for this image; null when the format cannot be written.
    EncodeTarget (*negotiate)(graphics::ImageInfo const& info, EncodeOptions const& options) = nullptr;
    Result<void> (*encode)(EncodeJob const& job, AtomicFile& output) = nullptr;

    /// Whether `rewrite` can do this job without touching coded pixels in a lossy way; null = never.
    bool (*canRewrite)(RewriteJob const& job) = nullptr;
    Result<void> (*rewrite)(RewriteJob const& job, AtomicFile& output) = nullptr;
};

/// All formats, in the order in which files are matched against them.
std::span<Codec const* const> codecs();
/// The codec of a type identifier, or null.
Codec const* codecForType(std::string_view typeIdentifier);
/// The codec that recognises the file's content, or null.
Result<Codec const*> codecForFile(InputFile const& file);

/// Opens an image file. Errors: the file cannot be read, or is not an image, or is a broken one.
Result<std::shared_ptr<ImageSource const>> openImage(std::string const& path);

} // namespace velk::codec
