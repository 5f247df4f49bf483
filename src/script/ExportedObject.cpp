#include "script/ExportedObject.h"

namespace velk {

void ExportedObject::registerExportedObjectsWithContext(
    js::Context& context, std::span<js::ClassDescription const* const> classes)
{
    for (auto const* const exportedClass : classes)
        context.registerClass(*exportedClass);
}

} // namespace velk
