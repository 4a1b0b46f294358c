// The usb listing: every USB device, nested by hub, with its identity and, with -v, its descriptor.
#pragma once

#include "device/apple/tree.hpp"
#include "device/apple/usb_device.hpp"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace plinth::ioreg_tool {

// One USB device as `usb` lists it; a field the registry does not give (or gives
// in another form) is absent.
struct usb_listing_item
{
    std::uint64_t id = 0;
    int depth = 0; // the number of USB devices (hubs) above it
    std::optional<int> vendor_id;
    std::optional<int> product_id;
    std::optional<std::string> product;
    std::optional<std::string> manufacturer;
    std::optional<std::string> serial_number;
    std::optional<int> address;
    std::optional<int> port_number;
    std::optional<int> location_id;
    std::optional<apple::usb_device::device_descriptor> descriptor;
};

// Every USB device, in the IOUSB plane's order and nesting where the registry has
// that plane, in the IOService plane's order otherwise. There a device shows up
// twice on Macs that keep a legacy mirror of each device: the second entry at a
// location already listed is left out.
std::vector<usb_listing_item> list_usb_devices(apple::tree const& registry);

// One line per device, indented by its depth; `verbose` adds the descriptor's
// fields on a line of their own.
std::string format_usb_listing(std::vector<usb_listing_item> const& items, bool verbose);

nlohmann::ordered_json usb_listing_to_json(std::vector<usb_listing_item> const& items);

} // namespace plinth::ioreg_tool
