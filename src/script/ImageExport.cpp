#include "platform/js/ClassTable.h"
#include "script/Image.h"

namespace velk {

namespace {

constexpr js::MethodDescription kMethods[] = {
    {"getProperty", js::method<&Image::getPropertyForScript>},
    {"setProperty", js::method<&Image::setPropertyFromScript>},
    {"scaledSizeWithLongestEdge", js::method<&Image::scaledSizeForScript>},
    {"sizeToFitLongestEdge", js::method<&Image::fittingSizeForScript>},
};

constexpr js::PropertyDescription kProperties[] = {
    {"name", js::getter<&Image::name>},
    {"size", js::getter<&Image::sizeForScript>},
    {"aspectRatio", js::getter<&Image::aspectRatio>},
    {"properties", js::getter<&Image::propertiesForScript>},
};

// Scripts get their images from `velk.images`; one that they make themselves is of no file.
std::shared_ptr<js::NativeObject> construct(js::Arguments const&)
{
    return std::make_shared<Image>(std::string());
}

} // namespace

js::ClassDescription const Image::kClass {
    .name = "Image",
    .construct = construct,
    .methods = kMethods,
    .properties = kProperties,
};

} // namespace velk
