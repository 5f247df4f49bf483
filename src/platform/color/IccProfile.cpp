#include "platform/color/IccProfile.h"

#include "base/FourCC.h"

namespace velk::color {

namespace {

constexpr std::size_t kHeaderSize = 128;
constexpr std::size_t kSpaceOffset = 16;
constexpr std::size_t kSignatureOffset = 36;

bool isProfile(ByteSpan profile)
{
    return profile.size() > kHeaderSize
        && FourCC(loadBE32(profile.data() + kSignatureOffset)) == FourCC("acsp");
}

} // namespace

std::optional<graphics::ColorModel> profileColorModel(ByteSpan profile)
{
    using graphics::ColorModel;
    constexpr struct {
        FourCC space;
        ColorModel model;
    } kModels[] = {
        {FourCC("GRAY"), ColorModel::Gray},
        {FourCC("RGB "), ColorModel::RGB},
        {FourCC("CMYK"), ColorModel::CMYK},
        {FourCC("Lab "), ColorModel::Lab},
    };
    if (!isProfile(profile))
        return std::nullopt;
    FourCC const space(loadBE32(profile.data() + kSpaceOffset));
    for (auto const& row : kModels) {
        if (row.space == space)
            return row.model;
    }
    return std::nullopt;
}

std::optional<std::string> profileDescription(ByteSpan)
{
    return std::nullopt;
}

} // namespace velk::color
