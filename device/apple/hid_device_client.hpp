// hid_device_client: a program that has a HID device open, as the device's IOHIDLibUserClient entries tell it.
#pragma once

#include "device/apple/device.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace plinth::apple {

// One connection to a HID device: every IOHIDDeviceRef that opens it makes one,
// a registry child of the device in the service plane, which the kernel removes
// when the connection ends.
struct hid_device_client
{
    // The process that made it, from the entry's "IOUserClientCreator" ("pid 349,
    // karabiner_grabbe"): its ID, and its command name as the kernel keeps it (at
    // most 16 characters). -1 and an empty name when the entry has no such text or
    // the text is not of that form.
    int pid = -1;
    std::string process_name;
    // What the entry's "DebugState" says, on the systems that publish it (macOS 12
    // and later); unknown elsewhere. `seizing`: the client opened the device with
    // kIOHIDOptionsTypeSeizeDevice and holds it. `silenced`: another client holds
    // it seized, so this one receives nothing.
    std::optional<bool> seizing;
    std::optional<bool> silenced;
    // The user-client entry itself.
    apple::device entry;

    // "pid 349, karabiner_grabbe", or "an unknown process".
    std::string describe() const;
};

// The pid and name of a creator text "pid N, name"; nothing unless it has that
// form (N a decimal number that fits an int, then ", ", then a name).
struct user_client_creator
{
    int pid;
    std::string process_name;
};
std::optional<user_client_creator> parse_user_client_creator(std::string_view text);

// The clients that have `hid_device` open, in registry order. Throws
// boost::system::system_error with IOKit's code when the registry refuses the
// walk (a device that has left the registry has no clients: an empty list).
std::vector<hid_device_client> hid_device_clients(device const& hid_device);

// The client that holds `hid_device` seized, when the system says which (see
// hid_device_client::seizing); nothing otherwise.
std::optional<hid_device_client> find_hid_seizer(device const& hid_device);

} // namespace plinth::apple
