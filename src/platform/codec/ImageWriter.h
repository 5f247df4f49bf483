#pragma once

#include "base/AtomicFile.h"
#include "base/PropertyValue.h"
#include "platform/codec/Codec.h"
#include "platform/graphics/Image.h"

#include <optional>

namespace velk::codec {

/// A picture and everything that goes into its file.
struct Picture {
    graphics::Image image;
    /// The file that the picture was made from, or null; its metadata goes along where the format can carry
    /// it.
    ImageSource const* source = nullptr;
    /// The edited properties: metadata entries (what differs from the source's properties is an edit) and
    /// encoder options.
    PropertyDictionary const& properties;
    /// A small version of the image that replaces an embedded preview; none = the source's preview still
    /// fits.
    std::optional<graphics::Image> preview;
};

/// Writes a picture as a file of the codec's format. Where the pixels are those of a source of the same
/// format and no option asks for new compression, only the container is rewritten and the coded pixels stay
/// bit-identical; a JPEG is turned by right angles without loss where its size allows. Warns of what the
/// format cannot carry and of further images of the source that are left behind.
Result<void> writeImage(Codec const& codec, Picture const& picture, AtomicFile& output);

} // namespace velk::codec
