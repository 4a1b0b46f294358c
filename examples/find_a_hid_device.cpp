// Finds a HID device by its vendor and product IDs and prints what it is.
#include "device/apple/device_class.hpp"
#include "device/apple/device_match.hpp"
#include "device/apple/tree.hpp"

#if !defined(__APPLE__)
#include "sim/control/registry.hpp"
#endif

#include <iostream>
#include <string>

int main()
{
    using namespace plinth::apple;
#if !defined(__APPLE__)
    plinth::sim::load_bundled_registry(); // its Custom HID board is 0483:5750
#endif
    tree registry(io_kit::mach_port::master_port_default());
    device_match const wanted{"IOHIDDevice", 0x0483, 0x5750}; // "VendorID" and "ProductID"

    // Every HID device, as IOKit matches their class; the IDs decide.
    auto hid_devices =
        registry.next_layer().io_service_get_matching_services(make_matching(device::device_class::hid_device));
    while (auto object = hid_devices.next()) {
        device d{io_kit::io_registry_entry(std::move(object))};
        if (wanted.accepts(d)) {
            std::cout << mpark::get<std::string>(d.get_property("Product")) << ", registry ID " << std::hex
                      << std::showbase << d.get_id() << '\n';
            return 0;
        }
    }
    return 1;
}
