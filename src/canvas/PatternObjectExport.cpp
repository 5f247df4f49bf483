#include "canvas/PatternObject.h"
#include "platform/js/ClassTable.h"

namespace velk {

namespace {

// Canvases make the patterns that fill something; one that a script makes itself has no image.
std::shared_ptr<js::NativeObject> construct(js::Arguments const&)
{
    return std::make_shared<PatternObject>(nullptr, std::string());
}

} // namespace

js::ClassDescription const PatternObject::kClass {
    .name = "PatternObject",
    .construct = construct,
    .methods = {},
    .properties = {},
};

} // namespace velk
