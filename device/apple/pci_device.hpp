// pci_device: a PCI function's configuration-header identity and child index as the registry publishes them.
#pragma once

#include "device/apple/device.hpp"

#include <cstdint>
#include <optional>

namespace plinth::apple {

// A PCI function (class "IOPCIDevice"): the identity part of its configuration
// header as the registry publishes it. Built from any device: an entry of another
// class gives the null pci_device. Its queries never throw: what the registry does
// not tell becomes a fixed "unknown" value.
class pci_device : public device
{
public:
    // All ones is what a configuration read of an absent function returns; the
    // record starts from it.
    struct configuration_space
    {
        std::uint16_t vendor_id = 0xFFFF;
        std::uint16_t device_id = 0xFFFF;
        std::uint8_t revision_id = 0xFF;
        std::uint8_t class_code = 0xFF; // base class
        std::uint8_t subclass = 0xFF;
        std::uint8_t programming_interface = 0xFF;
        std::uint16_t subsystem_id = 0xFFFF;
        std::uint16_t subsystem_vendor_id = 0xFFFF;
    };

    // The null pci_device.
    pci_device() noexcept = default;

    // Keeps `d` when its entry conforms to "IOPCIDevice", the null handle otherwise.
    explicit pci_device(device d) noexcept;

    // The null device gives the all-ones record. On a device, a missing or
    // non-data property leaves its fields all ones, except the two subsystem
    // fields, which fall back to 0x00FF.
    configuration_space get_configuration_space() const noexcept;

    // "IOChildIndex" when it is a number; empty otherwise.
    std::optional<int> get_child_index() const noexcept;
};

} // namespace plinth::apple
