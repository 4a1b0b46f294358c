// Walks the I/O Registry from its root and finds a USB keyboard by its path.
#include "device/apple/tree.hpp"
#include "device/apple/usb_device.hpp"

#if !defined(__APPLE__)
#include "sim/control/registry.hpp"
#endif

#include <iostream>

int main()
{
    using namespace plinth::apple;
#if !defined(__APPLE__)
    // Without IOKit the simulated registry starts empty: load the bundled Mac's.
    plinth::sim::load_bundled_registry();
#endif
    tree registry(io_kit::mach_port::master_port_default());

    // The children of the root in the IOService plane.
    auto children = registry.get_root_node().get_children(plinth::plane::service);
    while (auto object = children.next())
    {
        device d{io_kit::io_registry_entry(std::move(object))};
        std::cout << d.get_name() << " <" << d.get_class() << ">\n";
    }

    // An entry by path, seen as a USB device; properties come as one of four types.
    usb_device keyboard(registry.get_by_path("IOUSB:/USB2.0 Hub@14100000/USB Keyboard@14110000"));
    if (!keyboard)
        return 1;
    std::cout << keyboard.get_product() << ", port " << keyboard.get_port_number() << '\n';
    auto vendor = keyboard.get_property("idVendor"); // variant<int, string, bytes, bool>
    if (auto const* id = mpark::get_if<int>(&vendor))
        std::cout << "vendor " << *id << '\n';
}
