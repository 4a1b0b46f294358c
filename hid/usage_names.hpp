// The names of HID usage pages and usages, from the HID Usage Tables, for printing.
#pragma once

#include "hid/usage.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace plinth::apple {

// "Generic Desktop", "Keyboard/Keypad", "Button"...; nullopt for a page the tables do
// not name (vendor-defined pages 0xFF00-0xFFFF among them).
std::optional<std::string_view> hid_usage_page_name(std::uint16_t page) noexcept;

// The page's name, or "Vendor-defined 0xFF00" (pages 0xFF00-0xFFFF) / "Usage page 0x1234"
// (any other page without a name) when it has none.
std::string hid_usage_page_label(std::uint16_t page);

// "X", "Keyboard a and A", "Caps Lock" (LED), "Button 3", "Instance 2" (Ordinal),
// "U+00E9" (Unicode); nullopt when the tables do not name it. Usage 0, "Undefined" on
// most pages, has no name but where it means something: "No Button Pressed" (Button)
// and "Reserved (no event indicated)" (Keyboard/Keypad, the value of an empty key slot).
std::optional<std::string> hid_usage_name(hid_usage usage);

// The usage's name, or when it has none: on a named page, the page's name and the ID
// ("Generic Desktop 0x00FF"); on a page without a name, the page's label, a colon and
// the ID ("Vendor-defined 0xFF00:0x0001", "Usage page 0x1234:0x0056"). Numbers are
// 0x and four upper-case hex digits.
std::string hid_usage_label(hid_usage usage);

} // namespace plinth::apple
