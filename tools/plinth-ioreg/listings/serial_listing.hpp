// The serial listing: every serial port with its device files, terminal name, type and the USB device it is on.
#pragma once

#include "device/apple/tree.hpp"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace plinth::ioreg_tool {

// The USB device a serial port belongs to, as people pick a port by its adapter.
struct serial_port_owner
{
    std::optional<int> vendor_id;
    std::optional<int> product_id;
    std::optional<std::string> product;
    std::optional<std::string> serial_number;
};

// One serial port as `serial` lists it.
struct serial_listing_item
{
    std::uint64_t id = 0;
    std::optional<std::string> callout_device;
    std::optional<std::string> dialin_device;
    std::optional<std::string> tty_base_name;
    std::optional<std::string> tty_suffix;
    std::optional<std::string> type;
    std::optional<serial_port_owner> usb_device; // the first USB device above it in the IOService plane
};

// Every serial port (IOSerialBSDClient), in the IOService plane's order.
std::vector<serial_listing_item> list_serial_ports(apple::tree const& registry);

std::string format_serial_listing(std::vector<serial_listing_item> const& items);
nlohmann::ordered_json serial_listing_to_json(std::vector<serial_listing_item> const& items);

} // namespace plinth::ioreg_tool
