#pragma once

#include "base/PropertyValue.h"

#include <optional>
#include <string>

namespace velk {

/// The properties of the first image in a file under velk's own keys (the image property table, and `path`,
/// `TIFF...`, `Exif...` and `PNG...` entries beside it). Decodes no pixels. Nothing, without a message, when
/// the file cannot be opened as an image.
std::optional<PropertyDictionary> imageProperties(std::string const& path);

/// For a file that is no image and nothing else: warns of the reason if it cannot be read, or is of an image
/// format but broken. A file of an unknown kind has no reason to tell.
void warnWhyNotAnImage(std::string const& path);

} // namespace velk
