// The device the HID examples open: the registry's first HID device.
#pragma once

#include "device/apple/device_class.hpp"
#include "device/apple/tree.hpp"

#if !defined(__APPLE__)
#include "sim/control/registry.hpp"
#endif

inline plinth::apple::device first_hid_device()
{
    using namespace plinth::apple;
#if !defined(__APPLE__)
    // Without IOKit the simulated registry starts empty: load the bundled Mac mini's,
    // whose first HID device is a USB keyboard.
    plinth::sim::load_bundled_registry();
#endif
    tree registry(io_kit::mach_port::master_port_default());
    auto hid_devices =
        registry.next_layer().io_service_get_matching_services(make_matching(device::device_class::hid_device));
    return device{io_kit::io_registry_entry(hid_devices.next())};
}
