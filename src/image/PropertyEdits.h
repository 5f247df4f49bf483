#pragma once

#include "base/Result.h"
#include "image/ImageEditState.h"

namespace velk {

/// `--setProperty` key value: edits an entry of the state's properties, or the output type and options.
Result<void> requestPropertyEdit(ImageEditState& state, FunctionRequest const& request);
/// `--deleteProperty` key.
Result<void> requestPropertyRemoval(ImageEditState& state, FunctionRequest const& request);

} // namespace velk
