#include "canvas/ImageData.h"
#include "platform/js/ClassTable.h"

namespace velk {

namespace {

constexpr js::PropertyDescription kProperties[] = {
    {"width", js::getter<&ImageData::widthForScript>},
    {"height", js::getter<&ImageData::heightForScript>},
    {"data", js::getter<&ImageData::data>},
};

std::shared_ptr<js::NativeObject> construct(js::Arguments const& arguments)
{
    return std::make_shared<ImageData>(arguments.uint32(0), arguments.uint32(1));
}

} // namespace

js::ClassDescription const ImageData::kClass {
    .name = "ImageData",
    .construct = construct,
    .methods = {},
    .properties = kProperties,
};

} // namespace velk
