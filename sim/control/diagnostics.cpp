// The diagnostics of the control interface, read from the handle table, the CF object set and the call counters.
#include "sim/control/diagnostics.hpp"

#include "sim/detail/cf/cf_live_objects.hpp"
#include "sim/detail/kernel/handle_table.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"

namespace plinth::sim {

std::size_t live_handles() noexcept
{
    return detail::handle_table::instance().live_count();
}

std::size_t live_cf_objects() noexcept
{
    return detail::cf_live_objects::instance().count();
}

std::uint64_t iokit_call_count() noexcept
{
    return detail::iokit_calls();
}

std::uint64_t iokit_round_trip_count() noexcept
{
    // References first: every reference call seen there is among the calls read
    // after it, so the difference never wraps below zero.
    auto const references = detail::reference_calls();
    auto const calls = detail::iokit_calls();
    return calls - references;
}

void reset_call_count() noexcept
{
    detail::reset_iokit_calls();
}

} // namespace plinth::sim
