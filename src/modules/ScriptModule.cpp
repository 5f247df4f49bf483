// The module velk-script: scripts with everything that they draw and write, loaded by the first --js.

#include "canvas/Canvas.h"
#include "canvas/Gradient.h"
#include "canvas/ImageData.h"
#include "canvas/PatternObject.h"
#include "platform/modules/ScriptInterface.h"
#include "script/Image.h"
#include "script/Output.h"
#include "script/OutputQueue.h"
#include "script/PointObject.h"
#include "script/RectObject.h"
#include "script/ScriptRunner.h"
#include "script/SizeObject.h"

namespace velk {

namespace {

constexpr js::ClassDescription const* kExportedClasses[] = {
    &Canvas::kClass,
    &ImageData::kClass,
    &Output::kClass,
    &Image::kClass,
    &Gradient::kClass,
    &PatternObject::kClass,
    &PointObject::kClass,
    &SizeObject::kClass,
    &RectObject::kClass,
};

} // namespace

} // namespace velk

extern "C" __attribute__((visibility("default"))) void velkRunScript(
    std::string const& source, std::vector<std::string> const& arguments)
{
    velk::runScript(source, arguments,
        {
            .classes = velk::kExportedClasses,
            .imageWithURL = velk::Image::imageWithURL,
            .pendingOperations = [] { return velk::OutputQueue::sharedQueue().operationCount(); },
        });
}
