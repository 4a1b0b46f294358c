// The pci listing: every PCI function with its identity, class, revision, subsystem and path.
#pragma once

#include "device/apple/pci_device.hpp"
#include "device/apple/tree.hpp"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace plinth::ioreg_tool {

// One PCI function as `pci` lists it.
struct pci_listing_item
{
    std::uint64_t id = 0;
    apple::pci_device::configuration_space space;
    std::optional<int> child_index;
    std::optional<std::string> path; // in the IOService plane
};

// Every PCI function, in the IOService plane's order.
std::vector<pci_listing_item> list_pci_devices(apple::tree const& registry);

// The common classes in words ("USB controller", "network controller"); empty
// for one without a name here.
std::string pci_class_name(std::uint8_t class_code, std::uint8_t subclass);

std::string format_pci_listing(std::vector<pci_listing_item> const& items);
nlohmann::ordered_json pci_listing_to_json(std::vector<pci_listing_item> const& items);

} // namespace plinth::ioreg_tool
