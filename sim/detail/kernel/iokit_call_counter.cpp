#include "sim/detail/kernel/iokit_call_counter.hpp"

#include <atomic>

namespace plinth::sim::detail {

namespace {

std::atomic<std::uint64_t> calls{0};

} // namespace

void count_iokit_call() noexcept
{
    calls.fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t iokit_calls() noexcept
{
    return calls.load(std::memory_order_relaxed);
}

void reset_iokit_calls() noexcept
{
    calls.store(0, std::memory_order_relaxed);
}

} // namespace plinth::sim::detail
