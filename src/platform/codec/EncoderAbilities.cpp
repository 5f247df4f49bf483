#include "platform/codec/EncoderAbilities.h"

#include <algorithm>

namespace velk::codec {

using namespace graphics;

namespace {

bool contains(std::span<ColorModel const> models, ColorModel model)
{
    return std::ranges::find(models, model) != models.end();
}

int depthAtLeast(std::span<int const> depths, int wanted)
{
    auto const found = std::ranges::find_if(depths, [&](int depth) { return depth >= wanted; });
    return found == depths.end() ? 8 : *found;
}

ComponentType nearestComponent(ComponentType wanted, EncoderAbilities const& abilities)
{
    if (wanted == ComponentType::Float32 && abilities.floatingPoint)
        return wanted;
    return wanted == ComponentType::UInt8 || !abilities.sixteenBits ? ComponentType::UInt8
                                                                    : ComponentType::UInt16;
}

} // namespace

EncodeTarget nearestTarget(ImageInfo const& info, EncoderAbilities const& abilities)
{
    auto format = info.layout.format;
    auto const* palette = info.layout.space.palette();
    if (palette && !abilities.indexDepths.empty() && (abilities.paletteAlpha || !palette->hasAlpha()))
        return {format, depthAtLeast(abilities.indexDepths, info.bitsPerComponent)};
    if (palette)
        format = {ComponentType::UInt8, ColorModel::RGB, palette->hasAlpha() ? Alpha::Straight : Alpha::None};

    if (format.hasAlpha())
        format.alpha = Alpha::Straight;
    if (!contains(format.hasAlpha() ? abilities.modelsWithAlpha : abilities.models, format.model))
        format.model = ColorModel::RGB;
    format.componentType = nearestComponent(format.componentType, abilities);

    auto const bits = static_cast<int>(componentSize(format.componentType)) * 8;
    bool const isPlainGray = format == PixelFormat {ComponentType::UInt8, ColorModel::Gray, Alpha::None};
    return {format, isPlainGray ? depthAtLeast(abilities.grayDepths, info.bitsPerComponent) : bits};
}

} // namespace velk::codec
