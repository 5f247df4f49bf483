#pragma once

#include "platform/js/Value.h"

#include <jsapi.h>

namespace velk::js {

/// An Int8Array over the memory of `view`, which it keeps alive. Null with an exception pending.
JSObject* newByteArray(JSContext* context, std::shared_ptr<ByteView const> view);

/// Lets go of the owners of the arrays that were collected. Main thread only: what they own may belong to it.
void releaseByteOwners();

} // namespace velk::js
