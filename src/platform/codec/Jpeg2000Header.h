#pragma once

#include "platform/codec/Jpeg2000Boxes.h"
#include "platform/codec/Metadata.h"
#include "platform/graphics/PixelFormat.h"

#include <optional>

/// The boxes that velk writes, as bytes with their headers.
namespace velk::codec {

/// What the header box of a new file says.
struct Jp2HeaderFields {
    graphics::Size size;
    graphics::ColorModel model = graphics::ColorModel::RGB;
    bool isYcc = false;
    graphics::Alpha alpha = graphics::Alpha::None;
    /// Of all components, alpha included.
    std::vector<Jpeg2000Component> components;
    SharedBytes profile;
    std::optional<Resolution> resolution;
};

Bytes jp2Box(FourCC type, ByteSpan payload);
/// Signature and file type.
Bytes jp2FileStart();
/// The header box with all that belongs into it.
Bytes jp2Header(Jp2HeaderFields const& fields);
/// The colour boxes: the profile, or the model's enumerated space. `bits` is the depth, for the ranges of
/// Lab.
Bytes jp2ColorBoxes(graphics::ColorModel model, bool isYcc, int bits, SharedBytes const& profile);
Bytes jp2ResolutionBox(Resolution resolution);

/// A metadata block and the uuid box for it; empty without a block.
struct Jp2MetadataBox {
    jp2::Uuid uuid;
    Bytes box;
};
std::array<Jp2MetadataBox, 3> jp2MetadataBoxes(Metadata const& metadata);

} // namespace velk::codec
