// A run-loop timer: its callout, context, order, interval and next fire date.
#include "sim/detail/run_loop/run_loop_timer.hpp"

#include "sim/detail/cf/cf_type_registry.hpp"

#include <cmath>
#include <sstream>

namespace plinth::sim::detail {

run_loop_timer::run_loop_timer(CFAbsoluteTime fire_date, CFTimeInterval interval, CFIndex order,
                               CFRunLoopTimerCallBack fire, CFRunLoopTimerContext const& context)
    : cf_object(class_type_id(), false),
      next_fire(fire_date),
      interval_(interval > 0 ? interval : 0),
      order_(order),
      callout_(fire),
      context_(context)
{
    if (context_.retain != nullptr)
        context_.info = const_cast<void*>(context_.retain(context_.info));
}

run_loop_timer::~run_loop_timer()
{
    if (!info_taken_ && context_.release != nullptr)
        context_.release(context_.info);
}

void* run_loop_timer::take_info() noexcept
{
    void* const info = context_.info;
    context_.info = nullptr;
    info_taken_ = true;
    return info;
}

CFTypeID run_loop_timer::class_type_id()
{
    static CFTypeID const id = cf_type_registry::id_for("CFRunLoopTimer");
    return id;
}

void run_loop_timer::advance_past(CFAbsoluteTime now) noexcept
{
    if (!repeats())
        return;
    auto const missed = std::floor((now - next_fire) / interval_);
    next_fire += (missed > 0 ? missed + 1 : 1) * interval_;
    if (next_fire <= now)
        next_fire += interval_;
}

std::string run_loop_timer::description() const
{
    std::ostringstream out;
    out << description_head() << "{order = " << order_ << ", interval = " << interval_ << ", info = " << context_.info
        << "}";
    return out.str();
}

} // namespace plinth::sim::detail
