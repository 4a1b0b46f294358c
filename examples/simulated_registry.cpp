// Builds a registry in code, merges a dump into it, and proves nothing leaked.
#include "device/apple/tree.hpp"
#include "device/apple/usb_device.hpp"
#include "sim/control/diagnostics.hpp"
#include "sim/control/loaders.hpp"
#include "sim/control/registry.hpp"

#include <iostream>

int main(int argc, char** argv)
{
    namespace sim = plinth::sim;
    sim::reset_registry();
    auto hub = sim::add_entry({"IOUSBHostDevice", "Hub", "14100000", {{"idVendor", sim::make_number(0x05ac)}}},
                              sim::root_entry_id);
    sim::attach(hub, sim::root_entry_id, "IOUSB");
    sim::load_dump_file(argc > 1 ? argv[1] : "keyboard-ioreg-l.txt"); // `ioreg -l` text or `ioreg -a` XML

    { // ... the code under test ...
        plinth::apple::tree registry(plinth::apple::io_kit::mach_port::master_port_default());
        auto services = registry.get_root_node().get_children(plinth::plane::service);
        while (auto object = services.next())
        {
            plinth::apple::usb_device usb{
                plinth::apple::device(plinth::apple::io_kit::io_registry_entry(std::move(object)))};
            if (usb)
                std::cout << usb.get_name() << ": vendor " << mpark::get<int>(usb.get_property("idVendor")) << '\n';
        }
    }
    return sim::live_handles() == 0 && sim::live_cf_objects() == 0 ? 0 : 1;
}
