#include "sim/control/diagnostics.hpp"

#include "sim/detail/kernel/handle_table.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"

namespace plinth::sim {

std::size_t live_handles() noexcept
{
    return detail::handle_table::instance().live_count();
}

std::uint64_t iokit_call_count() noexcept
{
    return detail::iokit_calls();
}

void reset_call_count() noexcept
{
    detail::reset_iokit_calls();
}

} // namespace plinth::sim
