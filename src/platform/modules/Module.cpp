#include "platform/modules/Module.h"

#include <dlfcn.h>

#include <filesystem>
#include <map>
#include <mutex>

namespace velk::modules {

namespace {

// An installed velk lies in bin/ beside lib/, a built one beside lib/ itself.
constexpr char const* kDirectories[] = {"lib/velk", "../lib/velk"};

// The module's file, or nothing when there is none.
std::string locate(std::string const& module)
{
    std::error_code error;
    auto const executable = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error)
        return {};
    for (auto const* const directory : kDirectories) {
        auto path = executable.parent_path() / directory / ("velk-" + module + ".so");
        if (std::filesystem::exists(path, error))
            return path.string();
    }
    return {};
}

void* load(std::string const& module)
{
    auto const path = locate(module);
    return path.empty() ? nullptr : ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

} // namespace

Result<void*> symbol(std::string const& module, char const* name)
{
    static std::mutex mutex;
    static std::map<std::string, void*> loaded;
    std::lock_guard const lock(mutex);
    auto const [found, isNew] = loaded.try_emplace(module, nullptr);
    if (isNew)
        found->second = load(module);
    auto* const address = found->second ? ::dlsym(found->second, name) : nullptr;
    if (!address)
        return fail("the module velk-{} is not installed", module);
    return address;
}

bool isInstalled(std::string const& module)
{
    return !locate(module).empty();
}

} // namespace velk::modules
