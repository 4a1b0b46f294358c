// device_match: which entries a device_watcher reports: a class, narrowed to a vendor and product ID.
#pragma once

#include "device/apple/device.hpp"

#include <optional>
#include <string>
#include <utility>

namespace plinth::apple {

// Which registry entries a device_watcher reports: the services of one class (and
// its subclasses, as IOServiceMatching matches them), narrowed, when given, to one
// vendor ID and one product ID.
//
// The IDs are compared with the entry's own "idVendor" and "idProduct" (USB
// devices and interfaces) or, when it has no such property, "VendorID" and
// "ProductID" (HID devices). An entry with neither does not match a given ID.
struct device_match
{
    // Every service.
    device_match() = default;
    explicit device_match(std::string class_name_, std::optional<int> vendor_id_ = std::nullopt,
                          std::optional<int> product_id_ = std::nullopt)
        : class_name(std::move(class_name_)), vendor_id(vendor_id_), product_id(product_id_)
    {
    }

    std::string class_name = "IOService";
    std::optional<int> vendor_id;
    std::optional<int> product_id;

    // Whether `entry` has the vendor and product IDs asked for (always true when
    // none is asked for). The class is IOKit's to match. Never throws.
    bool accepts(device const& entry) const noexcept;
};

} // namespace plinth::apple
