// device_match: which entries a device_watcher reports: a class, narrowed to a vendor and product ID and a HID usage.
#pragma once

#include "device/apple/device.hpp"

#include <optional>
#include <string>
#include <utility>

namespace plinth::apple {

// Which registry entries a device_watcher reports: the services of one class (and
// its subclasses, as IOServiceMatching matches them), narrowed, when given, to one
// vendor ID and one product ID, and to one HID usage page and usage.
//
// The IDs are compared with the entry's own "idVendor" and "idProduct" (USB
// devices and interfaces) or, when it has no such property, "VendorID" and
// "ProductID" (HID devices). An entry with neither does not match a given ID.
//
// The usage is compared with each usage the entry says it serves: its primary one
// ("PrimaryUsagePage" and "PrimaryUsage") and every pair of its "DeviceUsagePairs"
// array ("DeviceUsagePage" and "DeviceUsage"), as a composite HID device lists the
// top-level collections behind its primary one. One pair that has both the page
// and the usage asked for is enough; a page alone matches any usage on that page,
// a usage alone that usage on any page. An entry with no usage does not match a
// given one.
struct device_match
{
    // Every service.
    device_match() = default;
    explicit device_match(std::string class_name_, std::optional<int> vendor_id_ = std::nullopt,
                          std::optional<int> product_id_ = std::nullopt)
        : class_name(std::move(class_name_)), vendor_id(vendor_id_), product_id(product_id_)
    {
    }

    // The HID devices ("IOHIDDevice") that serve `usage_page_`, and `usage_` on it
    // when given: hid_with_usage(0x01, 0x05) for game pads, hid_with_usage(0x0C)
    // for anything on the Consumer page.
    static device_match hid_with_usage(int usage_page_, std::optional<int> usage_ = std::nullopt);

    std::string class_name = "IOService";
    std::optional<int> vendor_id;
    std::optional<int> product_id;
    std::optional<int> usage_page;
    std::optional<int> usage;

    // Whether `entry` has the vendor and product IDs and the usage asked for
    // (always true when none is asked for). The class is IOKit's to match. Never
    // throws.
    bool accepts(device const& entry) const noexcept;
};

} // namespace plinth::apple
