#pragma once

#include "platform/js/Context.h"

#include <span>

namespace velk {

/// Base of the classes that scripts construct: each becomes a global constructor of the script's context.
class ExportedObject : public js::NativeObject {
public:
    /// Registers every class of `classes`, each under its own name.
    static void registerExportedObjectsWithContext(
        js::Context& context, std::span<js::ClassDescription const* const> classes);
};

} // namespace velk
