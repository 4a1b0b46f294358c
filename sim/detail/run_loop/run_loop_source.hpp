// A version-0 run-loop source: its context, order, and signalled and valid flags.
#pragma once

#include "sim/detail/cf/cf_object.hpp"

#include <CoreFoundation/CFRunLoop.h>

#include <string>
#include <vector>

namespace plinth::sim::detail {

class run_loop;

// A version-0 run-loop source: a copy of its creator's context, its order, and
// the (loop, mode) pairs it is scheduled in. Its state is guarded by the run
// loops' shared mutex; its callouts always run with that mutex released.
class run_loop_source final : public cf_object
{
public:
    run_loop_source(CFIndex order, CFRunLoopSourceContext const& context);
    ~run_loop_source() override;

    static CFTypeID class_type_id();

    CFIndex order() const noexcept { return order_; }
    CFRunLoopSourceContext const& context() const noexcept { return context_; }

    // Guarded by run_loop::mutex().
    bool valid = true;
    bool signalled = false;
    struct membership
    {
        run_loop* loop;
        std::string mode;
    };
    std::vector<membership> memberships;

    bool equals(cf_object const& other) const override;
    CFHashCode hash() const override;
    std::string description() const override;

private:
    CFIndex order_;
    CFRunLoopSourceContext context_;
};

} // namespace plinth::sim::detail
