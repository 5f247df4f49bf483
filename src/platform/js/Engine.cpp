#include "platform/js/Engine.h"

#include "EngineStartCode.h"
#include "base/Files.h"
#include "platform/js/EngineIdentity.h"

#include <js/Initialization.h>
#include <jsfriendapi.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace velk::js {

namespace {

constexpr std::uint64_t kMegabyte = std::uint64_t {1} << 20;

struct EngineProcess {
    EngineProcess()
    {
        JS::SetProcessBuildIdOp(appendEngineIdentity);
        isRunning = JS_Init();
    }
    EngineProcess(EngineProcess const&) = delete;
    ~EngineProcess()
    {
        if (isRunning)
            JS_ShutDown();
    }
    bool isRunning = false;
};

// Half of the thread's stack, so that C++ called at the bottom of a deep recursion still has room.
std::size_t stackQuota()
{
    constexpr rlim_t kMostUsed = 8 * kMegabyte;
    rlimit limit {};
    auto const size =
        ::getrlimit(RLIMIT_STACK, &limit) == 0 ? std::min(limit.rlim_cur, kMostUsed) : kMostUsed;
    return static_cast<std::size_t>(size / 2);
}

// The engine's heap may be full to here after a collection. Its own limit lies well above: close to that it
// collects for every few objects, and a script that is out of memory does not end.
constexpr std::uint64_t kHeapLimit = 1536 * kMegabyte;
constexpr std::uint32_t kEngineLimit = UINT32_MAX;

std::uint64_t physicalMemory()
{
    auto const pages = std::max(0L, ::sysconf(_SC_PHYS_PAGES));
    auto const pageSize = std::max(0L, ::sysconf(_SC_PAGESIZE));
    return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
}

// What a container allows the process; "max" or no file means that it does not say.
std::uint64_t containerMemory()
{
    auto const text = readFile("/sys/fs/cgroup/memory.max");
    std::uint64_t memory = UINT64_MAX;
    if (text)
        std::from_chars(asText(*text).data(), asText(*text).data() + text->size(), memory);
    return memory;
}

// Half of the memory that there is, at most 8 GB: beyond that a script fails rather than the machine.
std::uint64_t memoryLimit()
{
    static auto const limit =
        std::clamp(std::min(physicalMemory(), containerMemory()) / 2, 256 * kMegabyte, 8192 * kMegabyte);
    return limit;
}

// The engine limits its own heap, but not what arrays, strings and native objects hold beside it.
std::uint64_t allocatedMemory()
{
    auto const info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

bool isMemoryShort(JSContext* context)
{
    return JS_GetGCParameter(context, JSGC_BYTES) > kHeapLimit || allocatedMemory() > memoryLimit();
}

// What a collection leaves is in use, so that is the time to look.
void checkMemory(JSContext* context, JSGCStatus status, JS::GCReason, void*)
{
    if (status == JSGC_END && isMemoryShort(context))
        JS_RequestInterruptCallback(context);
}

bool stopWhenMemoryIsShort(JSContext* context)
{
    if (!isMemoryShort(context))
        return true;
    // Promise jobs that make more jobs would go on for ever.
    ::js::StopDrainingJobQueue(context);
    JS_ReportOutOfMemory(context);
    return false;
}

// What the engine has written in its own language comes compiled. It is compiled anew when another build of
// the engine stored it.
bool initializeStartCode(JSContext* context)
{
    JS::BuildIdCharVector identity;
    bool const isStored = kStartCodeSize > 0 && appendEngineIdentity(&identity);
    return JS::InitSelfHostedCode(
        context, isStored ? JS::SelfHostedCache(kStartCode, kStartCodeSize) : JS::SelfHostedCache());
}

} // namespace

ContextPointer createEngineContext()
{
    static EngineProcess const process;
    if (!process.isRunning)
        return nullptr;
    ContextPointer context(JS_NewContext(kEngineLimit));
    if (!context)
        return nullptr;
    JS_SetNativeStackQuota(context.get(), stackQuota());
    JS_SetGCCallback(context.get(), checkMemory, nullptr);
    if (!JS_AddInterruptCallback(context.get(), stopWhenMemoryIsShort)
        || !::js::UseInternalJobQueues(context.get()) || !initializeStartCode(context.get()))
        return nullptr;
    return context;
}

} // namespace velk::js
