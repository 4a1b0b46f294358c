// find_hid_device: the HID device a registry entry ID names, for the hid commands.
#pragma once

#include "device/apple/device.hpp"

#include <cstdint>

namespace plinth::ioreg_tool {

// The entry `id` names, checked to conform to IOHIDDevice. Throws tool_error when
// there is no such entry or it is no HID device.
apple::device find_hid_device(std::uint64_t id);

} // namespace plinth::ioreg_tool
