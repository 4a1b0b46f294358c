// device_event: one entry arriving or leaving, as a device_watcher reports it.
#pragma once

#include "device/apple/device.hpp"

namespace plinth::apple {

// One registry entry arriving or leaving, as a device_watcher reports it.
struct device_event
{
    enum class kind_type
    {
        arrived,
        left,
    };

    kind_type kind = kind_type::arrived;
    // The entry. One that has left is detached from the registry: its ID, class
    // and name can still be read, its path and parents no longer.
    apple::device device;
    // True for the entries that already matched when the watcher started, which
    // it reports first, as arrivals, in registry order.
    bool present_at_start = false;
};

} // namespace plinth::apple
