#pragma once

#include "platform/codec/Codec.h"

namespace velk::codec::jxl {

/// New metadata around the codestream as it is.
bool canRewrite(RewriteJob const& job);
Result<void> rewrite(RewriteJob const& job, AtomicFile& output);

} // namespace velk::codec::jxl
