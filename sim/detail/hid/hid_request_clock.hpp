// hid_request_clock: the kernel's timer for HID report requests, a thread that runs work at set times.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace plinth::sim::detail {

// The kernel's timer for HID report requests: runs work at a set time on a thread
// of its own, which starts with the first timer and ends once none is left, so
// that a program (or a test) with no request pending has no such thread.
class hid_request_clock
{
public:
    using clock = std::chrono::steady_clock;
    using timer_id = std::uint64_t;

    // Runs `work` on the clock's thread at `when` (at once when that is past),
    // with no lock of the clock held.
    static timer_id call_at(clock::time_point when, std::function<void()> work);
    // Forgets a timer that has not fired; nothing for one that has.
    static void cancel(timer_id id);
};

} // namespace plinth::sim::detail
