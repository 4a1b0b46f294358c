// Queues one call onto a CoreFoundation run loop, to run on its thread in a given mode.
#pragma once

#include "utility/oneshot_function.hpp"

#include <CoreFoundation/CFRunLoop.h>

namespace plinth::apple::detail {

// Queues `call` onto `loop`, to run once on the loop's thread the next time the
// loop runs in `mode`, and wakes the loop. Callable from any thread.
//
// CFRunLoopPerformBlock would do this, but it takes a block object, which needs a
// compiler extension; a one-shot version-0 source is public CoreFoundation on every
// platform. The source owns the call: it runs it at most once and invalidates
// itself, and the call is destroyed with the source, run or not (a loop that ends
// without serving `mode` destroys it unrun). `loop` must be alive.
// Throws std::bad_alloc when the source cannot be made.
void perform_on_run_loop(CFRunLoopRef loop, CFStringRef mode, rig::oneshot_function<void()> call);

} // namespace plinth::apple::detail
