#include "platform/js/ByteArrays.h"

#include <js/ArrayBuffer.h>
#include <js/experimental/TypedData.h>

#include <mutex>

namespace velk::js {

namespace {

using Views = std::vector<std::shared_ptr<ByteView const>>;

// The collector frees buffers on its own threads, but their owners must go on the main thread.
struct CollectedViews {
    std::mutex mutex;
    Views views;
};

CollectedViews& collectedViews()
{
    static CollectedViews views;
    return views;
}

// Called by the collector, on any thread, once for each buffer.
void collectView(void*, void* held)
{
    std::unique_ptr<std::shared_ptr<ByteView const>> const view(
        static_cast<std::shared_ptr<ByteView const>*>(held));
    auto& collected = collectedViews();
    std::lock_guard const lock(collected.mutex);
    collected.views.push_back(std::move(*view));
}

} // namespace

void releaseByteOwners()
{
    // Destroyed after the lock is gone: an owner may hold arrays of its own.
    Views released;
    auto& collected = collectedViews();
    std::lock_guard const lock(collected.mutex);
    released.swap(collected.views);
}

JSObject* newByteArray(JSContext* context, std::shared_ptr<ByteView const> view)
{
    releaseByteOwners();
    if (view->length == 0 || !view->data)
        return JS_NewInt8Array(context, 0);
    auto* const data = view->data;
    auto const length = view->length;
    auto held = std::make_unique<std::shared_ptr<ByteView const>>(std::move(view));
    JS::RootedObject const buffer(
        context, JS::NewExternalArrayBuffer(context, length, data, collectView, held.get()));
    if (!buffer)
        return nullptr;
    held.release(); // NOLINT(bugprone-unused-return-value): the buffer owns it now
    return JS_NewInt8ArrayWithBuffer(context, buffer, 0, static_cast<std::int64_t>(length));
}

} // namespace velk::js
