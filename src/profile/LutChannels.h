#pragma once

#include "platform/color/ProfileHeader.h"

#include <cstdint>

namespace velk {

enum class LutDirection : std::uint8_t { None, ToPcs, FromPcs, Preview, Gamut };

/// Where the tables of a tag lead, by its signature; `None` for tags that are not known to have tables.
LutDirection lutDirection(FourCC tag);

struct LutSpaces {
    FourCC input, output; ///< 0 when nothing is known
};

LutSpaces lutSpaces(LutDirection direction, color::ProfileHeader const& header);

/// Whether `channels` suit the space, or nothing is known of it.
bool hasChannels(FourCC space, std::uint32_t channels);

} // namespace velk
