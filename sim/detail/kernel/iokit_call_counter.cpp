// The counters of IOKit calls and of reference calls among them.
#include "sim/detail/kernel/iokit_call_counter.hpp"

#include <atomic>

namespace plinth::sim::detail {

namespace {

std::atomic<std::uint64_t> calls{0};
std::atomic<std::uint64_t> references{0};

} // namespace

void count_iokit_call() noexcept
{
    calls.fetch_add(1, std::memory_order_relaxed);
}

void count_reference_call() noexcept
{
    // The call first: whoever sees this reference call (reading with acquire)
    // sees it among the calls too, so calls minus references never wraps.
    calls.fetch_add(1, std::memory_order_relaxed);
    references.fetch_add(1, std::memory_order_release);
}

std::uint64_t iokit_calls() noexcept
{
    return calls.load(std::memory_order_relaxed);
}

std::uint64_t reference_calls() noexcept
{
    return references.load(std::memory_order_acquire);
}

void reset_iokit_calls() noexcept
{
    calls.store(0, std::memory_order_relaxed);
    references.store(0, std::memory_order_relaxed);
}

} // namespace plinth::sim::detail
