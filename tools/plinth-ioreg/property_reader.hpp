#pragma once

#include "tools/plinth-ioreg/property_value.hpp"
#include "tools/plinth-ioreg/registry_entry.hpp"

namespace plinth::ioreg_tool {

// All of the entry's own properties. The keys come from the entry's property
// dictionary; each value is read through the library's device::get_property where
// it has a type for it (strings, data, booleans), and from the dictionary where it
// has none (dictionaries, arrays, sets) or narrows it (numbers, which the library
// gives as 32-bit signed and ioreg shows unsigned at their full width).
property_dictionary read_properties(registry_entry const& entry);

} // namespace plinth::ioreg_tool
