#include "platform/codec/ImageSource.h"

#include "platform/codec/PropertyKeys.h"
#include "platform/color/IccProfile.h"
#include "platform/color/ProfileText.h"

#include <cassert>

namespace velk::codec {

using namespace graphics;

namespace {

// The palette of an indexed image stands for RGB, and so it is called.
std::string_view colorModelName(ColorModel model)
{
    switch (model) {
    case ColorModel::Gray:
        return "Gray";
    case ColorModel::RGB:
    case ColorModel::Indexed:
        return "RGB";
    case ColorModel::CMYK:
        return "CMYK";
    case ColorModel::Lab:
        return "Lab";
    }
    return {};
}

} // namespace

ImageSource::ImageSource(std::string_view typeIdentifier, InputFile file)
    : m_type(types::fileTypeWithIdentifier(typeIdentifier))
    , m_file(std::move(file))
{
    assert(m_type);
}

std::optional<Resolution> ImageSource::resolution() const
{
    return m_description.resolution ? m_description.resolution : metadata().resolution();
}

PropertyDictionary ImageSource::properties() const
{
    PropertyDictionary properties;
    metadata().describe(properties);
    merge(properties, m_description.formatProperties);

    auto const image = this->image();
    set(properties, key::kPixelWidth, image.size().width);
    set(properties, key::kPixelHeight, image.size().height);
    set(properties, key::kDepth, image.info().bitsPerComponent);
    set(properties, key::kHasAlpha, image.hasAlpha());
    set(properties, key::kColorModel, colorModelName(image.space().model()));
    if (auto const dpi = resolution()) {
        set(properties, key::kDpiWidth, static_cast<float>(dpi->x));
        set(properties, key::kDpiHeight, static_cast<float>(dpi->y));
    }
    if (auto const& profile = image.space().profile())
        set(properties, key::kProfileName, color::profileDescription(*profile).value_or(std::string()));
    return properties;
}

Image ImageSource::image() const
{
    auto const self = shared_from_this();
    return Image(m_description.info, self, self);
}

DecodedRows wholeImage(RowSourcePointer rows)
{
    auto const size = rows->size();
    return {std::move(rows), {0, 0, static_cast<double>(size.width), static_cast<double>(size.height)}};
}

ColorSpace colorSpaceWithProfile(ColorModel model, SharedBytes profile)
{
    if (profile && color::profileColorModel(*profile) == model)
        return ColorSpace::withProfile(model, std::move(profile));
    return ColorSpace::device(model);
}

} // namespace velk::codec
