// The one-shot run-loop source that carries a queued call: run once, then invalidated, the call freed with it.
#include "device/apple/detail/perform_on_run_loop.hpp"

#include "io_kit/cf/auto_pointer.hpp"

#include <memory>
#include <new>
#include <utility>

namespace plinth::apple::detail {
namespace {

struct queued_call
{
    rig::oneshot_function<void()> call;
    CFRunLoopSourceRef source = nullptr; // not owned: the source owns this record
};

void perform(void* info)
{
    auto& queued = *static_cast<queued_call*>(info);
    // Invalidating may drop the loop's last reference to the source and so free
    // `queued`: take everything needed out of it first.
    auto call = std::move(queued.call);
    CFRunLoopSourceInvalidate(queued.source);
    if (call)
        call();
}

void release(void const* info)
{
    delete static_cast<queued_call const*>(info);
}

} // namespace

void perform_on_run_loop(CFRunLoopRef loop, CFStringRef mode, rig::oneshot_function<void()> call)
{
    auto queued = std::make_unique<queued_call>();
    queued->call = std::move(call);
    CFRunLoopSourceContext context{};
    context.info = queued.get();
    context.release = release;
    context.perform = perform;
    CF::AutoPointer const source(CFRunLoopSourceCreate(nullptr, 0, &context));
    if (source.GetTypeRef() == nullptr)
        throw std::bad_alloc();
    auto const ref = static_cast<CFRunLoopSourceRef>(const_cast<void*>(source.GetTypeRef()));
    // From here on the source owns the record and frees it when it goes.
    queued.release()->source = ref;
    CFRunLoopAddSource(loop, ref, mode);
    CFRunLoopSourceSignal(ref);
    CFRunLoopWakeUp(loop);
}

} // namespace plinth::apple::detail
