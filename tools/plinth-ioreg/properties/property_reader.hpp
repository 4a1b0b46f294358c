// All of an entry's own properties, read from the one dictionary IOKit copies out.
#pragma once

#include "tools/plinth-ioreg/properties/property_value.hpp"
#include "tools/plinth-ioreg/registry/walked_entry.hpp"

namespace plinth::ioreg_tool {

// All of the entry's own properties, from the one dictionary that
// IORegistryEntryCreateCFProperties copies out of the kernel. Every value is
// taken from that copy: reading a property again by its key would cost one more
// kernel round trip per property for the same value, and numbers, which the
// library's device::get_property narrows to 32-bit signed, must be shown at their
// full width anyway.
property_dictionary read_properties(walked_entry const& entry);

} // namespace plinth::ioreg_tool
