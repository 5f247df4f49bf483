#include "platform/js/ClassTable.h"
#include "script/Output.h"

namespace velk {

namespace {

constexpr js::MethodDescription kMethods[] = {
    {"addToQueue", js::method<&Output::addToQueue>},
};

constexpr js::PropertyDescription kProperties[] = {
    {"canvas", js::getter<&Output::canvasForScript>, js::setter<&Output::setCanvas>},
    {"image", js::getter<&Output::imageForScript>, js::setter<&Output::setImage>},
    {"name", js::getter<&Output::nameForScript>, js::setter<&Output::setName>},
    {"UTI", js::getter<&Output::UTIForScript>, js::setter<&Output::setUTI>},
};

std::shared_ptr<js::NativeObject> construct(js::Arguments const& arguments)
{
    return std::make_shared<Output>(arguments.value(0), arguments.value(1), arguments.value(2));
}

} // namespace

js::ClassDescription const Output::kClass {
    .name = "Output",
    .construct = construct,
    .methods = kMethods,
    .properties = kProperties,
};

} // namespace velk
