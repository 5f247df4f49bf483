#pragma once

#include <jsapi.h>

#include <memory>

namespace velk::js {

struct ContextDeleter {
    void operator()(JSContext* context) const { JS_DestroyContext(context); }
};
using ContextPointer = std::unique_ptr<JSContext, ContextDeleter>;

/// A context of the engine with its limits set, on the calling thread; the engine is started with the first
/// one and shut down when the process exits. Null when there is no memory for it.
ContextPointer createEngineContext();

} // namespace velk::js
