#pragma once

#include "base/PropertyValue.h"
#include "base/RunSettings.h"
#include "platform/codec/ImageSource.h"
#include "platform/graphics/AffineTransform.h"
#include "platform/graphics/Image.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <source_location>
#include <string>
#include <string_view>
#include <vector>

namespace velk {

/// The working state of one modification: what the requests ask for, collected before anything is rendered.
struct ImageEditState {
    explicit ImageEditState(std::shared_ptr<codec::ImageSource const> file);

    std::shared_ptr<codec::ImageSource const> source;
    /// The image to write.
    graphics::Image image;
    /// Type identifier of the file to write.
    std::string outputType;
    /// Metadata and encoder options for the encoder; always holds {TIFF}, {Exif} and {PNG}.
    PropertyDictionary properties;
    std::int64_t sourceWidth, sourceHeight;
    bool hasAlpha;
    bool floatComponents;

    // Geometry: y grows upwards from the bottom-left corner.
    graphics::AffineTransform imageTransform, frameTransform;
    /// Crop or pad size; a height of 0 = none requested.
    std::int64_t boxHeight = 0, boxWidth = 0;
    std::int64_t offsetY = 0, offsetX = 0;
    std::optional<std::array<std::uint8_t, 3>> padColor;

    /// The spaces of the matching requests, each with the intent that was given with it.
    std::vector<graphics::ColorLink> matches;

    /// The file must be written anew rather than copied.
    bool modified = false;
    /// The written file gets an icon.
    bool addIcon = false;
};

/// With the debug flag: says that the guarded value `name` is missing here.
void noteMissing(std::string_view name, std::source_location where = std::source_location::current());

} // namespace velk
