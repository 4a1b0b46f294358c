// consumer: a program outside the project that prints the registry root's name and parses a HID descriptor.
#include "device/apple/tree.hpp"
#include "hid/report_descriptor.hpp"
#if !defined(__APPLE__)
#include "sim/control/registry.hpp"
#endif

#include <cstdint>
#include <iostream>

int main()
{
#if !defined(__APPLE__)
    plinth::sim::load_bundled_registry();
#endif
    plinth::apple::tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
    std::cout << registry.get_root_node().get_name() << '\n';
    // A boot mouse's descriptor: three buttons, five bits of padding, X and Y.
    std::uint8_t const mouse[] = {0x05, 0x01, 0x09, 0x02, 0xA1, 0x01, 0x05, 0x09, 0x19, 0x01, 0x29, 0x03,
                                  0x15, 0x00, 0x25, 0x01, 0x95, 0x03, 0x75, 0x01, 0x81, 0x02, 0x95, 0x01,
                                  0x75, 0x05, 0x81, 0x01, 0x05, 0x01, 0x09, 0x30, 0x09, 0x31, 0x15, 0x81,
                                  0x25, 0x7F, 0x75, 0x08, 0x95, 0x02, 0x81, 0x06, 0xC0};
    auto const descriptor = plinth::apple::hid_report_descriptor::parse(mouse);
    return descriptor.max_report_size(plinth::apple::hid_report_type::input) == 3 ? 0 : 1;
}
