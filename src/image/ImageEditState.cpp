#include "image/ImageEditState.h"

#include "base/Reporting.h"
#include "platform/codec/PropertyKeys.h"

namespace velk {

ImageEditState::ImageEditState(std::shared_ptr<codec::ImageSource const> file)
    : source(std::move(file))
    , image(source->image())
    , outputType(source->type().identifier)
    , properties(source->properties())
    , sourceWidth(image.size().width)
    , sourceHeight(image.size().height)
    , hasAlpha(image.hasAlpha())
    , floatComponents(image.format().componentType == graphics::ComponentType::Float32)
{
    for (auto const name : {codec::key::kTiff, codec::key::kExif, codec::key::kPng})
        subDictionary(properties, name);
}

void noteMissing(std::string_view name, std::source_location where)
{
    reportMissing(name, "ImageProcessing", static_cast<int>(where.line()));
}

} // namespace velk
