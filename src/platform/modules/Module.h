#pragma once

#include "base/Result.h"

#include <string>

namespace velk::modules {

/// The address of `name` in the shared module velk-`module`.so, which is loaded when it is first needed and
/// stays loaded. Modules lie in lib/velk beside the executable's directory or in it. Safe on any thread.
Result<void*> symbol(std::string const& module, char const* name);

/// Whether the module lies where modules are looked for; loads nothing.
bool isInstalled(std::string const& module);

/// The same as a pointer to a function.
template <typename Function> Result<Function> function(std::string const& module, char const* name)
{
    return reinterpret_cast<Function>(TRY(symbol(module, name)));
}

} // namespace velk::modules
