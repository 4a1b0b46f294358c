// The machine's absolute time, in which the kernel stamps HID reports and values.
#pragma once

#include <chrono>
#include <cstdint>

namespace plinth::sim::detail {

// Nanoseconds of the monotonic clock, which is how an Intel Mac counts its
// absolute time (one tick a nanosecond).
inline std::uint64_t absolute_time_now() noexcept
{
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count());
}

} // namespace plinth::sim::detail
