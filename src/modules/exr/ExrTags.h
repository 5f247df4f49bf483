#pragma once

#include "base/PropertyValue.h"
#include "platform/codec/Metadata.h"

#include <ImfHeader.h>

namespace velk::codec::exr {

/// Adds what the header says of camera, exposure, time, place and people: the standard attributes of OpenEXR,
/// and those that other programs agree on where it has none.
void readTags(Imf::Header const& header, Metadata& metadata);
/// Whether an attribute of this name is one of those.
bool isTag(std::string_view attribute);
/// Writes the same from a picture's properties, into a header that has none of them.
void writeTags(Imf::Header& header, PropertyDictionary const& properties);

} // namespace velk::codec::exr
