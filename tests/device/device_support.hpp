// Helpers for the device tests: a registry entry found by its ID and wrapped as a device.
#pragma once

#include "device/apple/device.hpp"
#include "io_kit/io_kit_support.hpp"

namespace plinth::testing {

// The entry with registry entry ID `id` as a device, found by ID matching.
inline apple::device find_device(sim::entry_id id)
{
    return apple::device(entry_by_id(id));
}

} // namespace plinth::testing
