// A mouse-like HID device for the element and value tests: its descriptor, its entry and its elements by cookie.
#pragma once

#include "sim/control/registry.hpp"
#include "sim/io_hid_support.hpp"

#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hid/IOHIDElement.h>

#include <cstdint>
#include <vector>

namespace plinth::testing::io {

// Report 1 (input): 3 buttons, 5 bits of padding, relative X and Y. Report 2
// (feature): one vendor usage counted twice. Report 3 (output): 2 LEDs and padding.
inline std::vector<std::uint8_t> const& mouse_descriptor()
{
    static std::vector<std::uint8_t> const bytes{
        0x05, 0x01, 0x09, 0x02, 0xA1, 0x01,                                     // Generic Desktop, Mouse, Application
        0x85, 0x01, 0x09, 0x01, 0xA1, 0x00,                                     // Report 1, Pointer, Physical
        0x05, 0x09, 0x19, 0x01, 0x29, 0x03, 0x15, 0x00, 0x25, 0x01,             // Buttons 1-3, 0..1
        0x75, 0x01, 0x95, 0x03, 0x81, 0x02,                                     // 3 x 1 bit, Input (Var)
        0x75, 0x05, 0x95, 0x01, 0x81, 0x03,                                     // padding
        0x05, 0x01, 0x09, 0x30, 0x09, 0x31, 0x15, 0x81, 0x25, 0x7F,             // X, Y, -127..127
        0x75, 0x08, 0x95, 0x02, 0x81, 0x06, 0xC0,                               // 2 x 8 bits, Input (Var, Rel)
        0x85, 0x02, 0x06, 0x00, 0xFF, 0x09, 0x01, 0x15, 0x00, 0x26, 0xFF, 0x00, // Report 2, vendor 1
        0x75, 0x08, 0x95, 0x02, 0xB1, 0x02,                                     // Feature (Var)
        0x85, 0x03, 0x05, 0x08, 0x19, 0x01, 0x29, 0x02, 0x15, 0x00, 0x25, 0x01, // Report 3, LEDs 1-2
        0x75, 0x01, 0x95, 0x02, 0x91, 0x02, 0x75, 0x06, 0x95, 0x01, 0x91, 0x03, // Output, padding
        0xC0};
    return bytes;
}

// The mouse's elements by cookie, as the kernel lists them.
enum mouse_cookie : std::uint32_t
{
    root = 0,
    application = 1,
    pointer = 2,
    null_report_1 = 3,
    null_report_3 = 5,
    button_1 = 6,
    button_3 = 8,
    led_1 = 9,
    led_2 = 10,
    x_axis = 11,
    y_axis = 12,
    vendor_feature = 13,
    report_handler = 14,
    mouse_element_count = 15,
};

inline sim::entry_id add_mouse(std::vector<std::uint8_t> descriptor = mouse_descriptor())
{
    return sim::add_entry({"IOUSBHostHIDDevice", "Mouse", "1", {{"ReportDescriptor", sim::data(descriptor)}}},
                          sim::root_entry_id);
}

// The device's element with that cookie (owned by the device).
inline IOHIDElementRef element_of(IOHIDDeviceRef device, std::uint32_t cookie)
{
    cf const all(IOHIDDeviceCopyMatchingElements(device, nullptr, 0));
    if (!all || CFArrayGetCount(all.as<CFArrayRef>()) <= static_cast<CFIndex>(cookie))
        return nullptr;
    return static_cast<IOHIDElementRef>(
        const_cast<void*>(CFArrayGetValueAtIndex(all.as<CFArrayRef>(), static_cast<CFIndex>(cookie))));
}

} // namespace plinth::testing::io
