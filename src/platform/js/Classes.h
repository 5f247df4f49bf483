#pragma once

#include "platform/js/Binding.h"

namespace velk::js {

/// The engine's functions of a class, each made over a row of the class's tables.
std::unique_ptr<ClassRecord> makeClassRecord(JSContext* context, ClassDescription const& description);

/// Ties `native` to `object`, a new object of a native class.
void attachNative(JSObject* object, std::shared_ptr<NativeObject> native);

} // namespace velk::js
