#pragma once

#include <cstdint>

namespace plinth::sim::detail {

// Counts calls of the IO* C functions; every one of them calls this first.
void count_iokit_call() noexcept;
std::uint64_t iokit_calls() noexcept;
void reset_iokit_calls() noexcept;

} // namespace plinth::sim::detail
