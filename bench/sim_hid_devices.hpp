// sim_hid_devices: HID devices added to the simulated registry for the read benchmarks, and the library's device of one.
#pragma once

// The read benchmarks play USB HID devices of the simulated I/O Kit: entries
// added below the registry's root with the report size they send, found again
// through the library's registry tree as a program finds its device.
#include "device/apple/device.hpp"
#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"
#include "sim/control/registry.hpp"

#include <optional>
#include <string>

namespace plinth::bench {

// A HID device named "Bench <index>" whose input reports hold up to
// `max_input_report_size` bytes.
inline sim::entry_id add_hid_device(int index, int max_input_report_size)
{
    return sim::add_entry({"IOUSBHostHIDDevice",
                           "Bench " + std::to_string(index),
                           std::nullopt,
                           {{"MaxInputReportSize", sim::make_number(max_input_report_size)}}},
                          sim::root_entry_id);
}

// The library's device of entry `id`, looked up by its registry ID.
inline apple::device device_of(sim::entry_id id)
{
    apple::tree const registry(apple::io_kit::mach_port::master_port_default());
    return apple::device(apple::io_kit::io_registry_entry(registry.get_by_id(id).next()));
}

} // namespace plinth::bench
