// What the simulated I/O Kit tells about its use: live handles and CF objects, IOKit calls made, misuse reported.
#pragma once

#include "sim/detail/diagnostics/misuse_reports.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// What the simulated I/O Kit tells about its use: live handles and CF objects (so
// that a test can prove it leaked nothing), calls made, and misuse.
namespace plinth::sim {

// Mach port names (io_object_t) that the process holds a reference to.
std::size_t live_handles() noexcept;

// CF objects created and not yet released; constants (CFSTR strings, the boolean
// singletons) are not counted.
std::size_t live_cf_objects() noexcept;

// Calls of IOKit functions (the IO* C interface) since the last reset_call_count().
std::uint64_t iokit_call_count() noexcept;

// The same calls without IOObjectRetain and IOObjectRelease: what reaches the
// kernel as a message. Those two only change the task's references to a Mach port
// name, which costs no trip to IOKit.
std::uint64_t iokit_round_trip_count() noexcept;
void reset_call_count() noexcept;

// Misuse seen since the last clear: a release of a dead handle, a use of a released
// one, and the like. Each report is one line that names the call and the handle.
// (report_misuse records one; the simulation itself calls it.)
using detail::misuse_reports;
using detail::clear_misuse_reports;
using detail::report_misuse;

} // namespace plinth::sim
