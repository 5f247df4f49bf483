#include "platform/js/Engine.h"

#include <js/Initialization.h>
#include <jsfriendapi.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

namespace velk::js {

namespace {

constexpr std::uint64_t kMegabyte = std::uint64_t {1} << 20;

struct EngineProcess {
    EngineProcess()
        : isRunning(JS_Init())
    {
    }
    EngineProcess(EngineProcess const&) = delete;
    ~EngineProcess()
    {
        if (isRunning)
            JS_ShutDown();
    }
    bool isRunning;
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

// Half of the machine's memory, at most 8 GB: beyond that a script fails rather than the machine.
std::uint64_t memoryLimit()
{
    auto const pages = std::max(0L, ::sysconf(_SC_PHYS_PAGES));
    auto const pageSize = std::max(0L, ::sysconf(_SC_PAGESIZE));
    auto const physical = static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
    return std::clamp(physical / 2, 256 * kMegabyte, 8192 * kMegabyte);
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
        || !::js::UseInternalJobQueues(context.get()) || !JS::InitSelfHostedCode(context.get()))
        return nullptr;
    return context;
}

} // namespace velk::js
