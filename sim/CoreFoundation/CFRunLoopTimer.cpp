// CFRunLoopTimer's C entry points: creating timers, adding them to loops, moving, reading and invalidating them.
#include <CoreFoundation/CFRunLoop.h>

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_string.hpp"
#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/run_loop/run_loop.hpp"
#include "sim/detail/run_loop/run_loop_timer.hpp"

#include <mutex>

namespace detail = plinth::sim::detail;
using detail::run_loop;
using detail::run_loop_timer;

namespace {

// A loop, a timer and a mode, each checked; false after a misuse report.
bool arguments_valid(CFRunLoopRef rl, CFRunLoopTimerRef timer, CFRunLoopMode mode, char const* function,
                     run_loop*& loop, run_loop_timer*& checked)
{
    loop = detail::cf_checked<run_loop>(rl, function);
    checked = detail::cf_checked<run_loop_timer>(timer, function);
    return loop != nullptr && checked != nullptr && detail::checked_mode(mode, function);
}

} // namespace

extern "C" {

CFTypeID CFRunLoopTimerGetTypeID(void)
{
    return run_loop_timer::class_type_id();
}

// The flags are reserved: Apple ignores them.
CFRunLoopTimerRef CFRunLoopTimerCreate(CFAllocatorRef, CFAbsoluteTime fireDate, CFTimeInterval interval, CFOptionFlags,
                                       CFIndex order, CFRunLoopTimerCallBack callout, CFRunLoopTimerContext* context)
{
    CFRunLoopTimerContext const none{0, nullptr, nullptr, nullptr, nullptr};
    if (context != nullptr && context->version != 0)
    {
        detail::report_misuse("CFRunLoopTimerCreate: a version-0 context is needed");
        return nullptr;
    }
    return detail::cf_ref<CFRunLoopTimerRef>(detail::make_cf_object<run_loop_timer>(
        fireDate, interval, order, callout, context != nullptr ? *context : none));
}

CFAbsoluteTime CFRunLoopTimerGetNextFireDate(CFRunLoopTimerRef timer)
{
    auto const* checked = detail::cf_checked<run_loop_timer>(timer, "CFRunLoopTimerGetNextFireDate");
    if (checked == nullptr)
        return 0;
    std::lock_guard guard(run_loop::mutex());
    return checked->next_fire;
}

void CFRunLoopTimerSetNextFireDate(CFRunLoopTimerRef timer, CFAbsoluteTime fireDate)
{
    if (auto* checked = detail::cf_checked<run_loop_timer>(timer, "CFRunLoopTimerSetNextFireDate"))
        run_loop::set_next_fire_date(checked, fireDate);
}

CFTimeInterval CFRunLoopTimerGetInterval(CFRunLoopTimerRef timer)
{
    auto const* checked = detail::cf_checked<run_loop_timer>(timer, "CFRunLoopTimerGetInterval");
    return checked == nullptr ? 0 : checked->interval();
}

Boolean CFRunLoopTimerDoesRepeat(CFRunLoopTimerRef timer)
{
    auto const* checked = detail::cf_checked<run_loop_timer>(timer, "CFRunLoopTimerDoesRepeat");
    return checked != nullptr && checked->repeats();
}

CFIndex CFRunLoopTimerGetOrder(CFRunLoopTimerRef timer)
{
    auto const* checked = detail::cf_checked<run_loop_timer>(timer, "CFRunLoopTimerGetOrder");
    return checked == nullptr ? 0 : checked->order();
}

void CFRunLoopTimerInvalidate(CFRunLoopTimerRef timer)
{
    if (auto* checked = detail::cf_checked<run_loop_timer>(timer, "CFRunLoopTimerInvalidate"))
    {
        // Kept alive through the release of its info, which may release the caller's reference.
        checked->retain();
        run_loop::invalidate(checked);
        if (checked->release())
            detail::destroy_cf_object(checked);
    }
}

Boolean CFRunLoopTimerIsValid(CFRunLoopTimerRef timer)
{
    auto const* checked = detail::cf_checked<run_loop_timer>(timer, "CFRunLoopTimerIsValid");
    if (checked == nullptr)
        return false;
    std::lock_guard guard(run_loop::mutex());
    return checked->valid;
}

void CFRunLoopTimerGetContext(CFRunLoopTimerRef timer, CFRunLoopTimerContext* context)
{
    auto const* checked = detail::cf_checked<run_loop_timer>(timer, "CFRunLoopTimerGetContext");
    if (checked == nullptr)
        return;
    if (context == nullptr)
    {
        detail::report_misuse("CFRunLoopTimerGetContext: NULL context");
        return;
    }
    std::lock_guard guard(run_loop::mutex());
    *context = checked->context();
}

CFTimeInterval CFRunLoopTimerGetTolerance(CFRunLoopTimerRef timer)
{
    auto const* checked = detail::cf_checked<run_loop_timer>(timer, "CFRunLoopTimerGetTolerance");
    if (checked == nullptr)
        return 0;
    std::lock_guard guard(run_loop::mutex());
    return checked->tolerance;
}

// Kept and told back, never used: a timer here fires at its date, which any
// tolerance allows.
void CFRunLoopTimerSetTolerance(CFRunLoopTimerRef timer, CFTimeInterval tolerance)
{
    auto* checked = detail::cf_checked<run_loop_timer>(timer, "CFRunLoopTimerSetTolerance");
    if (checked == nullptr)
        return;
    std::lock_guard guard(run_loop::mutex());
    checked->tolerance = tolerance > 0 ? tolerance : 0;
}

CFAbsoluteTime CFRunLoopGetNextTimerFireDate(CFRunLoopRef rl, CFRunLoopMode mode)
{
    auto const* loop = detail::cf_checked<run_loop>(rl, "CFRunLoopGetNextTimerFireDate");
    return loop != nullptr && detail::checked_mode(mode, "CFRunLoopGetNextTimerFireDate")
               ? loop->next_timer_fire_date(mode)
               : 0;
}

Boolean CFRunLoopContainsTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, CFRunLoopMode mode)
{
    run_loop* loop = nullptr;
    run_loop_timer* checked = nullptr;
    return arguments_valid(rl, timer, mode, "CFRunLoopContainsTimer", loop, checked) &&
           loop->contains_timer(checked, mode);
}

void CFRunLoopAddTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, CFRunLoopMode mode)
{
    run_loop* loop = nullptr;
    run_loop_timer* checked = nullptr;
    if (arguments_valid(rl, timer, mode, "CFRunLoopAddTimer", loop, checked))
        loop->add_timer(checked, mode);
}

void CFRunLoopRemoveTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, CFRunLoopMode mode)
{
    run_loop* loop = nullptr;
    run_loop_timer* checked = nullptr;
    if (arguments_valid(rl, timer, mode, "CFRunLoopRemoveTimer", loop, checked))
        loop->remove_timer(checked, mode);
}

} // extern "C"
