#pragma once

#include <js/AllocPolicy.h>
#include <js/BuildId.h>

namespace velk::js {

/// Gives the engine the build identity of its own shared library (the GNU build-id note), for the code that
/// it stores and reads back: code that another build has stored is then not taken. Returns false, and gives
/// nothing, when the library has none.
bool appendEngineIdentity(JS::BuildIdCharVector* identity);

} // namespace velk::js
