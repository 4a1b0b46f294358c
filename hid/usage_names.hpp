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

// The page's name, or "Vendor-defined 0xFF00" / "Usage page 0x1234" when it has none.
std::string hid_usage_page_label(std::uint16_t page);

// "X", "Keyboard a and A", "Caps Lock" (LED), "Button 3", "Instance 2" (Ordinal),
// "U+00E9" (Unicode); nullopt when the tables do not name it.
std::optional<std::string> hid_usage_name(hid_usage usage);

// The usage's name, or "Vendor-defined 0xFF00:0x0001" / "Generic Desktop 0x00FF" when it has none.
std::string hid_usage_label(hid_usage usage);

} // namespace plinth::apple
