#include "profile/LutChannels.h"

#include "profile/ChannelCounts.h"

#include <algorithm>

namespace velk {

namespace {

// Families of tags are told by three letters, in either case.
constexpr struct {
    char const family[4];
    LutDirection direction;
} kFamilies[] = {
    {"a2b", LutDirection::ToPcs},
    {"b2a", LutDirection::FromPcs},
    {"pre", LutDirection::Preview},
};

char lowerCase(char character)
{
    return 'A' <= character && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

bool isOfFamily(FourCC tag, char const (&family)[4])
{
    for (int i = 0; i < 3; ++i) {
        if (lowerCase(static_cast<char>(tag.code >> (24 - 8 * i))) != family[i])
            return false;
    }
    return true;
}

} // namespace

LutDirection lutDirection(FourCC tag)
{
    if (tag == FourCC("gamt"))
        return LutDirection::Gamut;
    auto const* const found =
        std::ranges::find_if(kFamilies, [&](auto const& row) { return isOfFamily(tag, row.family); });
    return found == std::end(kFamilies) ? LutDirection::None : found->direction;
}

LutSpaces lutSpaces(LutDirection direction, color::ProfileHeader const& header)
{
    switch (direction) {
    case LutDirection::ToPcs:
        return {header.space, header.pcs};
    case LutDirection::FromPcs:
        return {header.pcs, header.space};
    case LutDirection::Preview:
        return {header.pcs, header.pcs};
    case LutDirection::Gamut:
        return {header.pcs, FourCC("gamt")};
    case LutDirection::None:
        break;
    }
    return {};
}

bool hasChannels(FourCC space, std::uint32_t channels)
{
    return space == FourCC() || channelCountForSpace(space) == channels;
}

} // namespace velk
