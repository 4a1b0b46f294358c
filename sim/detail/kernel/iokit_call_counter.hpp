// The counters of IOKit calls and of reference calls among them.
#pragma once

#include <cstdint>

namespace plinth::sim::detail {

// Counts calls of the IO* C functions; every one of them calls one of the two
// counting functions first. Most are messages to the kernel; IOObjectRetain and
// IOObjectRelease only change the task's own references to a Mach port name
// (mach_port_mod_refs / mach_port_deallocate), so they count as calls but not as
// round trips to IOKit.
void count_iokit_call() noexcept;
void count_reference_call() noexcept;

std::uint64_t iokit_calls() noexcept;     // all calls
std::uint64_t reference_calls() noexcept; // of which reference counting
void reset_iokit_calls() noexcept;

} // namespace plinth::sim::detail
