// CFRunLoop's C entry points: getting, running, waking and stopping loops; adding, signalling and invalidating sources.
#include <CoreFoundation/CFRunLoop.h>

#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_string.hpp"
#include "sim/detail/run_loop/run_loop.hpp"
#include "sim/detail/run_loop/run_loop_source.hpp"

namespace detail = plinth::sim::detail;
using detail::run_loop;
using detail::run_loop_source;

extern "C" {

const CFRunLoopMode kCFRunLoopDefaultMode = CFSTR("kCFRunLoopDefaultMode");
const CFRunLoopMode kCFRunLoopCommonModes = CFSTR("kCFRunLoopCommonModes");

CFTypeID CFRunLoopGetTypeID(void)
{
    return run_loop::class_type_id();
}

CFTypeID CFRunLoopSourceGetTypeID(void)
{
    return run_loop_source::class_type_id();
}

CFRunLoopRef CFRunLoopGetCurrent(void)
{
    return detail::cf_ref<CFRunLoopRef>(run_loop::current());
}

CFRunLoopRef CFRunLoopGetMain(void)
{
    return detail::cf_ref<CFRunLoopRef>(run_loop::main());
}

CFRunLoopMode CFRunLoopCopyCurrentMode(CFRunLoopRef rl)
{
    auto const* loop = detail::cf_checked<run_loop>(rl, "CFRunLoopCopyCurrentMode");
    return loop == nullptr ? nullptr : loop->copy_current_mode();
}

void CFRunLoopAddCommonMode(CFRunLoopRef rl, CFRunLoopMode mode)
{
    auto* loop = detail::cf_checked<run_loop>(rl, "CFRunLoopAddCommonMode");
    if (loop != nullptr && detail::checked_mode(mode, "CFRunLoopAddCommonMode"))
        loop->add_common_mode(mode);
}

void CFRunLoopRun(void)
{
    CFRunLoopRunResult result;
    do
        result = CFRunLoopRunInMode(kCFRunLoopDefaultMode, 1.0e10, false);
    while (result != kCFRunLoopRunStopped && result != kCFRunLoopRunFinished);
}

CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds, Boolean returnAfterSourceHandled)
{
    // A NULL mode names no mode: there is nothing to run.
    if (mode == nullptr)
        return kCFRunLoopRunFinished;
    if (!detail::checked_mode(mode, "CFRunLoopRunInMode"))
        return kCFRunLoopRunFinished;
    return run_loop::current()->run_in_mode(mode, seconds, returnAfterSourceHandled != 0);
}

Boolean CFRunLoopIsWaiting(CFRunLoopRef rl)
{
    auto const* loop = detail::cf_checked<run_loop>(rl, "CFRunLoopIsWaiting");
    return loop != nullptr && loop->is_waiting();
}

void CFRunLoopWakeUp(CFRunLoopRef rl)
{
    if (auto* loop = detail::cf_checked<run_loop>(rl, "CFRunLoopWakeUp"))
        loop->wake_up();
}

void CFRunLoopStop(CFRunLoopRef rl)
{
    if (auto* loop = detail::cf_checked<run_loop>(rl, "CFRunLoopStop"))
        loop->stop();
}

Boolean CFRunLoopContainsSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode)
{
    auto const* loop = detail::cf_checked<run_loop>(rl, "CFRunLoopContainsSource");
    auto* checked = detail::cf_checked<run_loop_source>(source, "CFRunLoopContainsSource");
    return loop != nullptr && checked != nullptr && detail::checked_mode(mode, "CFRunLoopContainsSource") &&
           loop->contains_source(checked, mode);
}

void CFRunLoopAddSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode)
{
    auto* loop = detail::cf_checked<run_loop>(rl, "CFRunLoopAddSource");
    auto* checked = detail::cf_checked<run_loop_source>(source, "CFRunLoopAddSource");
    if (loop != nullptr && checked != nullptr && detail::checked_mode(mode, "CFRunLoopAddSource"))
        loop->add_source(checked, mode);
}

void CFRunLoopRemoveSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode)
{
    auto* loop = detail::cf_checked<run_loop>(rl, "CFRunLoopRemoveSource");
    auto* checked = detail::cf_checked<run_loop_source>(source, "CFRunLoopRemoveSource");
    if (loop != nullptr && checked != nullptr && detail::checked_mode(mode, "CFRunLoopRemoveSource"))
        loop->remove_source(checked, mode);
}

// Only version-0 contexts exist here: version-1 sources need Mach ports.
CFRunLoopSourceRef CFRunLoopSourceCreate(CFAllocatorRef, CFIndex order, CFRunLoopSourceContext* context)
{
    if (context == nullptr || context->version != 0)
    {
        plinth::sim::detail::report_misuse("CFRunLoopSourceCreate: a version-0 context is needed");
        return nullptr;
    }
    return detail::cf_ref<CFRunLoopSourceRef>(detail::make_cf_object<run_loop_source>(order, *context));
}

CFIndex CFRunLoopSourceGetOrder(CFRunLoopSourceRef source)
{
    auto const* checked = detail::cf_checked<run_loop_source>(source, "CFRunLoopSourceGetOrder");
    return checked == nullptr ? 0 : checked->order();
}

void CFRunLoopSourceInvalidate(CFRunLoopSourceRef source)
{
    if (auto* checked = detail::cf_checked<run_loop_source>(source, "CFRunLoopSourceInvalidate"))
    {
        // Kept alive through the cancel callouts, which may release the caller's reference.
        checked->retain();
        run_loop::invalidate(checked);
        if (checked->release())
            detail::destroy_cf_object(checked);
    }
}

Boolean CFRunLoopSourceIsValid(CFRunLoopSourceRef source)
{
    auto const* checked = detail::cf_checked<run_loop_source>(source, "CFRunLoopSourceIsValid");
    if (checked == nullptr)
        return false;
    std::lock_guard guard(run_loop::mutex());
    return checked->valid;
}

void CFRunLoopSourceGetContext(CFRunLoopSourceRef source, CFRunLoopSourceContext* context)
{
    auto const* checked = detail::cf_checked<run_loop_source>(source, "CFRunLoopSourceGetContext");
    if (checked == nullptr)
        return;
    if (context == nullptr)
    {
        plinth::sim::detail::report_misuse("CFRunLoopSourceGetContext: NULL context");
        return;
    }
    *context = checked->context();
}

// Marks the source ready; the caller wakes the loop with CFRunLoopWakeUp.
void CFRunLoopSourceSignal(CFRunLoopSourceRef source)
{
    auto* checked = detail::cf_checked<run_loop_source>(source, "CFRunLoopSourceSignal");
    if (checked == nullptr)
        return;
    std::lock_guard guard(run_loop::mutex());
    if (checked->valid)
        checked->signalled = true;
}

} // extern "C"
