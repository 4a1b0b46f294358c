// Helpers for the io_kit tests: a registry entry found by its ID through a matching dictionary.
#pragma once

#include "io_kit/io_registry_entry.hpp"
#include "io_kit/mach_port.hpp"
#include "sim/control/registry.hpp"

namespace plinth::testing {

// A new reference to the entry with registry entry ID `id`, found as a program
// finds it: by an ID-matching dictionary.
inline apple::io_kit::io_registry_entry entry_by_id(sim::entry_id id)
{
    using apple::io_kit::io_registry_entry;
    auto services = apple::io_kit::mach_port::master_port_default().io_service_get_matching_services(
        io_registry_entry::id_matching(id));
    return io_registry_entry(services.next());
}

} // namespace plinth::testing
