// io_registry_xml: a line of registry entries written as `ioreg -a` writes them.
#pragma once

#include "io_kit/io_registry_entry.hpp"

#include <span>
#include <string>

namespace plinth::apple::io_kit {

// `chain` (each entry a child of the one before it in `plane`, the topmost first)
// as the XML property list `ioreg -a` prints: each entry a dictionary of its
// properties with "IOObjectClass", "IORegistryEntryName", "IORegistryEntryID",
// "IORegistryEntryLocation" when it has one, and the next entry alone in its
// "IORegistryEntryChildren". Throws boost::system::system_error when IOKit
// refuses an entry's properties, or CoreFoundation cannot write them.
std::string registry_xml(std::span<io_registry_entry const> chain, char const* plane);

} // namespace plinth::apple::io_kit
