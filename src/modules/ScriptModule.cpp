// The module velk-script: scripts with everything that they draw and write, loaded by the first --js.

#include "platform/modules/ScriptInterface.h"
#include "script/PointObject.h"
#include "script/RectObject.h"
#include "script/ScriptRunner.h"
#include "script/SizeObject.h"

namespace velk {

namespace {

constexpr js::ClassDescription const* kExportedClasses[] = {
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
            .imageWithURL = [](std::string const&) { return nullptr; },
            .pendingOperations = [] { return std::size_t {0}; },
        });
}
