#include "platform/modules/Module.h"

#include <dlfcn.h>
#include <sys/auxv.h>

#include <filesystem>
#include <map>
#include <mutex>

namespace velk::modules {

namespace {

// An installed velk lies in bin/ beside lib/, a built one beside lib/ itself.
constexpr char const* kDirectories[] = {"lib/velk", "../lib/velk"};

// This program's file. Where /proc is not mounted, by the name that it was started under.
std::filesystem::path executablePath()
{
    std::error_code error;
    auto path = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error)
        path = std::filesystem::canonical(reinterpret_cast<char const*>(::getauxval(AT_EXECFN)), error);
    return path;
}

// The module's file, or nothing when there is none.
std::string locate(std::string const& module)
{
    std::error_code error;
    auto const executable = executablePath();
    for (auto const* const directory : kDirectories) {
        auto path = executable.parent_path() / directory / ("velk-" + module + ".so");
        if (std::filesystem::exists(path, error))
            return path.string();
    }
    return {};
}

Result<void*> load(std::string const& module)
{
    auto const path = locate(module);
    if (path.empty())
        return fail("the module velk-{} is not installed", module);
    auto* const handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle)
        return fail("the module velk-{} cannot be loaded: {}", module, ::dlerror());
    return handle;
}

} // namespace

Result<void*> symbol(std::string const& module, char const* name)
{
    static std::mutex mutex;
    static std::map<std::string, Result<void*>> loaded;
    std::lock_guard const lock(mutex);
    auto found = loaded.find(module);
    if (found == loaded.end())
        found = loaded.emplace(module, load(module)).first;
    auto* const address = ::dlsym(TRY(found->second), name);
    if (!address)
        return fail("the module velk-{} is of another version", module);
    return address;
}

bool isInstalled(std::string const& module)
{
    return !locate(module).empty();
}

} // namespace velk::modules
