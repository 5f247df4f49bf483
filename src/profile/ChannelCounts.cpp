#include "profile/ChannelCounts.h"

#include <algorithm>
#include <iterator>

namespace velk {

namespace {

constexpr struct {
    FourCC space;
    std::uint32_t channels;
} kSpaces[] = {
    {FourCC("GRAY"), 1},
    {FourCC("gamt"), 1}, // the output of a gamut tag: inside or outside
    {FourCC("NAME"), 1},
    {FourCC("RGB "), 3},
    {FourCC("XYZ "), 3},
    {FourCC("Lab "), 3},
    {FourCC("Luv "), 3},
    {FourCC("YCbr"), 3},
    {FourCC("Yxy "), 3},
    {FourCC("HSV "), 3},
    {FourCC("HLS "), 3},
    {FourCC("CMY "), 3},
    {FourCC("3CLR"), 3},
    {FourCC("CMYK"), 4},
    {FourCC("4CLR"), 4},
    {FourCC("5CLR"), 5},
    {FourCC("MCH5"), 5},
    {FourCC("6CLR"), 6},
    {FourCC("MCH6"), 6},
    {FourCC("7CLR"), 7},
    {FourCC("MCH7"), 7},
    {FourCC("8CLR"), 8},
    {FourCC("MCH8"), 8},
};

} // namespace

std::uint32_t channelCountForSpace(FourCC space)
{
    auto const* const found = std::ranges::find(kSpaces, space, [](auto const& row) { return row.space; });
    return found == std::end(kSpaces) ? 0 : found->channels;
}

} // namespace velk
