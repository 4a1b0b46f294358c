// The hid listing: every HID device with its usage, vendor and product, report sizes, ID and path.
#pragma once

#include "device/apple/tree.hpp"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace plinth::ioreg_tool {

// A program that has a HID device open, as the listing names it.
struct hid_listing_client
{
    std::optional<int> pid;                  // absent when the registry does not say which process
    std::optional<std::string> process_name; // its command name, as the kernel keeps it
    std::optional<bool> seizing;             // absent on systems that do not publish it
};

// One HID device as the hid command lists it.
struct hid_listing_item
{
    std::uint64_t id = 0;
    std::optional<int> usage_page;
    std::optional<int> usage;
    std::optional<int> vendor_id;
    std::optional<int> product_id;
    std::optional<std::string> product;
    std::optional<int> max_input_report_size;
    std::optional<int> max_output_report_size;
    std::string path;
    std::vector<hid_listing_client> clients; // in registry order; none when nobody has it open
};

// Every registry entry that is a HID device (conforms to IOHIDDevice), in
// IOService order.
std::vector<hid_listing_item> list_hid_devices(apple::tree const& registry);

// The usage in words for the common pages and usages ("Generic Desktop / Keyboard"),
// in hexadecimal otherwise; "-" when absent.
std::string describe_usage(std::optional<int> usage_page, std::optional<int> usage);

// "pid 4242, karabiner_grabbe (seized); an unknown process": who has it open.
std::string describe_clients(std::vector<hid_listing_client> const& clients);

// One line per device; one that somebody has open ends with "  open by " and
// describe_clients.
std::string format_hid_listing(std::vector<hid_listing_item> const& items);
nlohmann::ordered_json hid_listing_to_json(std::vector<hid_listing_item> const& items);

} // namespace plinth::ioreg_tool
