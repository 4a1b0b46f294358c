// hid describe: a HID device's report descriptor, read from the registry, as a listing or as JSON.
#pragma once

#include "device/apple/device.hpp"
#include "hid/report_descriptor.hpp"

#include <cstdint>
#include <string>

namespace plinth::ioreg_tool {

// The listing of the report descriptor of the HID device `id` names, beside the
// report sizes it publishes (JSON with `as_json`). Needs no access to the device: the
// registry holds the descriptor. Throws tool_error when the entry is no HID device,
// has no "ReportDescriptor" data, or its descriptor is malformed (saying at which
// byte and item).
std::string describe_hid_device(std::uint64_t id, bool as_json);

// The parsed "ReportDescriptor" of `device` (whose ID is `id`). Throws tool_error as
// describe_hid_device does when there is none or it is malformed.
apple::hid_report_descriptor read_report_descriptor(apple::device const& device, std::uint64_t id);

} // namespace plinth::ioreg_tool
