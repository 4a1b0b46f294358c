// A run-loop timer: its callout, context, order, interval and next fire date.
#pragma once

#include "sim/detail/cf/cf_object.hpp"

#include <CoreFoundation/CFRunLoop.h>

#include <string>
#include <vector>

namespace plinth::sim::detail {

class run_loop;

// A timer: a copy of its creator's context, its order and interval, and the one
// loop (in one or more of its modes) it is in. Its state is guarded by the run
// loops' shared mutex; its callout always runs with that mutex released.
class run_loop_timer final : public cf_object
{
public:
    run_loop_timer(CFAbsoluteTime fire_date, CFTimeInterval interval, CFIndex order, CFRunLoopTimerCallBack fire,
                   CFRunLoopTimerContext const& context);
    ~run_loop_timer() override;

    static CFTypeID class_type_id();

    CFIndex order() const noexcept { return order_; }
    CFTimeInterval interval() const noexcept { return interval_; }
    bool repeats() const noexcept { return interval_ > 0; }
    CFRunLoopTimerCallBack callout() const noexcept { return callout_; }
    CFRunLoopTimerContext const& context() const noexcept { return context_; }

    // After a firing at `now`: the first date of the timer's schedule (its fire
    // date plus a whole number of intervals) that is later than `now`, so that a
    // timer that fell behind skips what it missed rather than firing in a burst.
    void advance_past(CFAbsoluteTime now) noexcept;

    // The context's info, now the caller's to release: an invalidated timer lets
    // go of it at once, not when its last reference goes. Guarded by
    // run_loop::mutex(); the context then tells NULL.
    void* take_info() noexcept;

    // Guarded by run_loop::mutex().
    bool valid = true;
    CFAbsoluteTime next_fire;
    CFTimeInterval tolerance = 0;
    run_loop* loop = nullptr; // the loop whose modes hold it, if any
    std::vector<std::string> modes;

    std::string description() const override;

private:
    CFTimeInterval interval_;
    CFIndex order_;
    CFRunLoopTimerCallBack callout_;
    CFRunLoopTimerContext context_;
    bool info_taken_ = false;
};

} // namespace plinth::sim::detail
