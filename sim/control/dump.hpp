// The public names of the registry dump description (the model's own types, re-exported).
#pragma once

#include "sim/control/value.hpp"
#include "sim/detail/registry/registry_description.hpp"

namespace plinth::sim {

// One entry as a registry dump shows it, and what one dump says about one plane:
// see sim/detail/registry/registry_description.hpp.
using detail::entry_id;
using detail::dump_entry;
using detail::dump;

} // namespace plinth::sim
