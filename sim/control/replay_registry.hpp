// replay_registry: the registry entries a replayed HID device gets, recorded or made from a Linux recording's header.
#pragma once

#include "hid/recording.hpp"
#include "sim/detail/registry/registry_description.hpp"

#include <vector>

namespace plinth::sim::detail {

// The entries added for one replayed device.
struct replay_entries
{
    // Those hung under the top of the IOService plane: removing them removes the device.
    std::vector<entry_id> tops;
    // The HID device, whose clients get the reports.
    entry_id hid = 0;
};

// Adds `device`'s entries to the registry: its recorded ones with new IDs, or
// ones made from its identity, name and descriptor. Throws std::invalid_argument
// when the recorded entries hold no HID device.
replay_entries add_replay_entries(apple::hid_recorded_device const& device);

} // namespace plinth::sim::detail
