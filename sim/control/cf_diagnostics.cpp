#include "sim/control/diagnostics.hpp"

#include "sim/detail/cf/cf_live_objects.hpp"

namespace plinth::sim {

std::size_t live_cf_objects() noexcept
{
    return detail::cf_live_objects::instance().count();
}

} // namespace plinth::sim
