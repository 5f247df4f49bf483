#include "canvas/Gradient.h"
#include "platform/js/ClassTable.h"

namespace velk {

namespace {

constexpr js::MethodDescription kMethods[] = {
    {"addColorStop", js::method<&Gradient::addColorStop>},
};

// Canvases make the gradients that fill something; one that a script makes itself is a line of no length.
std::shared_ptr<js::NativeObject> construct(js::Arguments const&)
{
    return std::make_shared<Gradient>(Gradient::Linear);
}

} // namespace

js::ClassDescription const Gradient::kClass {
    .name = "Gradient",
    .construct = construct,
    .methods = kMethods,
    .properties = {},
};

} // namespace velk
