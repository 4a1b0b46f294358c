// io_registry_entry_properties: one registry entry's properties, all at once, as a new CF dictionary.
#pragma once

#include "io_kit/cf/dictionary.hpp"
#include "io_kit/io_registry_entry_view.hpp"

namespace plinth::apple::io_kit {

// A new dictionary of all of `entry`'s own properties
// (IORegistryEntryCreateCFProperties with the default allocator): the one way to
// learn which keys an entry has. Throws boost::system::system_error with IOKit's
// return code when IOKit refuses, as for a null or released entry.
CF::Dictionary create_cf_properties(io_registry_entry_view entry);

} // namespace plinth::apple::io_kit
