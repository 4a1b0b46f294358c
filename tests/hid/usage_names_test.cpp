// Tests of HID usage names: real names on each page, numbered names, labels for unnamed usages, and sorted tables.
#include "hid/detail/usage_tables.hpp"
#include "hid/usage_names.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace {

using plinth::apple::hid_usage;
using plinth::apple::hid_usage_label;
using plinth::apple::hid_usage_name;
using plinth::apple::hid_usage_page_label;
using plinth::apple::hid_usage_page_name;

std::optional<std::string> name_of(std::uint16_t page, std::uint16_t id)
{
    return hid_usage_name(hid_usage{page, id});
}

TEST(usage_names, name_the_pages_devices_use_and_none_for_reserved_or_vendor_pages)
{
    EXPECT_EQ(hid_usage_page_name(0x01), "Generic Desktop");
    EXPECT_EQ(hid_usage_page_name(0x02), "Simulation Controls");
    EXPECT_EQ(hid_usage_page_name(0x05), "Game Controls");
    EXPECT_EQ(hid_usage_page_name(0x06), "Generic Device Controls");
    EXPECT_EQ(hid_usage_page_name(0x07), "Keyboard/Keypad");
    EXPECT_EQ(hid_usage_page_name(0x08), "LED");
    EXPECT_EQ(hid_usage_page_name(0x09), "Button");
    EXPECT_EQ(hid_usage_page_name(0x0A), "Ordinal");
    EXPECT_EQ(hid_usage_page_name(0x0B), "Telephony Device");
    EXPECT_EQ(hid_usage_page_name(0x0C), "Consumer");
    EXPECT_EQ(hid_usage_page_name(0x0D), "Digitizers");
    EXPECT_EQ(hid_usage_page_name(0x0F), "Physical Input Device");
    EXPECT_EQ(hid_usage_page_name(0x10), "Unicode");
    EXPECT_EQ(hid_usage_page_name(0x20), "Sensors");
    EXPECT_EQ(hid_usage_page_name(0x84), "Power");
    EXPECT_EQ(hid_usage_page_name(0x85), "Battery System");
    EXPECT_EQ(hid_usage_page_name(0x8C), "Barcode Scanner");
    EXPECT_EQ(hid_usage_page_name(0x90), "Camera Control");
    // The last page of the table: a search that stops one short misses it.
    EXPECT_EQ(hid_usage_page_name(0xF1D0), "FIDO Alliance");

    EXPECT_EQ(hid_usage_page_name(0x00), std::nullopt);
    EXPECT_EQ(hid_usage_page_name(0x13), std::nullopt); // reserved, between two named pages
    EXPECT_EQ(hid_usage_page_name(0x1234), std::nullopt);
    EXPECT_EQ(hid_usage_page_name(0xFF00), std::nullopt);
    EXPECT_EQ(hid_usage_page_name(0xFFFF), std::nullopt);
}

TEST(usage_names, name_a_mouse_a_gamepad_and_a_joystick)
{
    EXPECT_EQ(name_of(0x01, 0x01), "Pointer");
    EXPECT_EQ(name_of(0x01, 0x02), "Mouse");
    EXPECT_EQ(name_of(0x01, 0x04), "Joystick");
    EXPECT_EQ(name_of(0x01, 0x05), "Gamepad");
    EXPECT_EQ(name_of(0x01, 0x06), "Keyboard");
    EXPECT_EQ(name_of(0x01, 0x30), "X");
    EXPECT_EQ(name_of(0x01, 0x31), "Y");
    EXPECT_EQ(name_of(0x01, 0x32), "Z");
    EXPECT_EQ(name_of(0x01, 0x35), "Rz");
    EXPECT_EQ(name_of(0x01, 0x38), "Wheel");
    EXPECT_EQ(name_of(0x01, 0x39), "Hat Switch");
    EXPECT_EQ(name_of(0x01, 0x48), "Resolution Multiplier");
    EXPECT_EQ(name_of(0x01, 0x80), "System Control");
    EXPECT_EQ(name_of(0x01, 0x82), "System Sleep");
    EXPECT_EQ(name_of(0x01, 0x90), "D-pad Up");
    EXPECT_EQ(name_of(0x01, 0x93), "D-pad Left");

    EXPECT_EQ(name_of(0x05, 0x01), "3D Game Controller");
    EXPECT_EQ(name_of(0x05, 0x37), "Gamepad Fire/Jump");
    EXPECT_EQ(name_of(0x05, 0x39), "Gamepad Trigger");
    EXPECT_EQ(name_of(0x02, 0xBB), "Throttle");
    EXPECT_EQ(name_of(0x02, 0xBA), "Rudder");
    EXPECT_EQ(name_of(0x02, 0xC4), "Accelerator");
    EXPECT_EQ(name_of(0x06, 0x20), "Battery Strength");
}

TEST(usage_names, name_every_key_of_a_keyboard_from_its_error_codes_to_its_modifiers)
{
    EXPECT_EQ(name_of(0x07, 0x00), "Reserved (no event indicated)");
    EXPECT_EQ(name_of(0x07, 0x01), "Keyboard ErrorRollOver");
    EXPECT_EQ(name_of(0x07, 0x02), "Keyboard POSTFail");
    EXPECT_EQ(name_of(0x07, 0x04), "Keyboard a and A");
    EXPECT_EQ(name_of(0x07, 0x1D), "Keyboard z and Z");
    EXPECT_EQ(name_of(0x07, 0x1E), "Keyboard 1 and !");
    EXPECT_EQ(name_of(0x07, 0x27), "Keyboard 0 and )");
    EXPECT_EQ(name_of(0x07, 0x28), "Keyboard Return (ENTER)");
    EXPECT_EQ(name_of(0x07, 0x29), "Keyboard ESCAPE");
    EXPECT_EQ(name_of(0x07, 0x2A), "Keyboard DELETE (Backspace)");
    EXPECT_EQ(name_of(0x07, 0x2C), "Keyboard Spacebar");
    EXPECT_EQ(name_of(0x07, 0x31), "Keyboard \\ and |");
    EXPECT_EQ(name_of(0x07, 0x34), "Keyboard ' and \"");
    EXPECT_EQ(name_of(0x07, 0x39), "Keyboard Caps Lock");
    EXPECT_EQ(name_of(0x07, 0x3A), "Keyboard F1");
    EXPECT_EQ(name_of(0x07, 0x45), "Keyboard F12");
    EXPECT_EQ(name_of(0x07, 0x4F), "Keyboard RightArrow");
    EXPECT_EQ(name_of(0x07, 0x53), "Keypad Num Lock and Clear");
    EXPECT_EQ(name_of(0x07, 0x58), "Keypad ENTER");
    EXPECT_EQ(name_of(0x07, 0x64), "Keyboard Non-US \\ and |");
    EXPECT_EQ(name_of(0x07, 0x73), "Keyboard F24");
    EXPECT_EQ(name_of(0x07, 0x87), "Keyboard International1");
    EXPECT_EQ(name_of(0x07, 0x90), "Keyboard LANG1");
    EXPECT_EQ(name_of(0x07, 0xA4), "Keyboard ExSel");
    EXPECT_EQ(name_of(0x07, 0xB0), "Keypad 00");
    EXPECT_EQ(name_of(0x07, 0xDD), "Keypad Hexadecimal");
    EXPECT_EQ(name_of(0x07, 0xE0), "Keyboard LeftControl");
    EXPECT_EQ(name_of(0x07, 0xE3), "Keyboard Left GUI");
    EXPECT_EQ(name_of(0x07, 0xE7), "Keyboard Right GUI");

    // Every usage from 0x00 to 0xE7 has a name, but for the two reserved runs.
    for (std::uint16_t id = 0x00; id <= 0xE7; ++id)
    {
        bool const reserved = (id >= 0xA5 && id <= 0xAF) || id == 0xDE || id == 0xDF;
        EXPECT_EQ(name_of(0x07, id).has_value(), !reserved) << "usage 0x" << std::hex << id;
    }
    EXPECT_EQ(name_of(0x07, 0xE8), std::nullopt);
}

TEST(usage_names, name_the_leds_of_a_keyboard_and_a_headset)
{
    EXPECT_EQ(name_of(0x08, 0x01), "Num Lock");
    EXPECT_EQ(name_of(0x08, 0x02), "Caps Lock");
    EXPECT_EQ(name_of(0x08, 0x03), "Scroll Lock");
    EXPECT_EQ(name_of(0x08, 0x04), "Compose");
    EXPECT_EQ(name_of(0x08, 0x05), "Kana");
    EXPECT_EQ(name_of(0x08, 0x09), "Mute");
    EXPECT_EQ(name_of(0x08, 0x17), "Off-Hook");
    EXPECT_EQ(name_of(0x08, 0x4B), "Generic Indicator");
}

TEST(usage_names, name_the_media_and_application_keys_of_a_consumer_control)
{
    EXPECT_EQ(name_of(0x0C, 0x001), "Consumer Control");
    EXPECT_EQ(name_of(0x0C, 0x030), "Power");
    EXPECT_EQ(name_of(0x0C, 0x06F), "Display Brightness Increment");
    EXPECT_EQ(name_of(0x0C, 0x070), "Display Brightness Decrement");
    EXPECT_EQ(name_of(0x0C, 0x0B0), "Play");
    EXPECT_EQ(name_of(0x0C, 0x0B5), "Scan Next Track");
    EXPECT_EQ(name_of(0x0C, 0x0B6), "Scan Previous Track");
    EXPECT_EQ(name_of(0x0C, 0x0B8), "Eject");
    EXPECT_EQ(name_of(0x0C, 0x0CD), "Play/Pause");
    EXPECT_EQ(name_of(0x0C, 0x0E2), "Mute");
    EXPECT_EQ(name_of(0x0C, 0x0E9), "Volume Increment");
    EXPECT_EQ(name_of(0x0C, 0x0EA), "Volume Decrement");
    EXPECT_EQ(name_of(0x0C, 0x183), "AL Consumer Control Configuration");
    EXPECT_EQ(name_of(0x0C, 0x18A), "AL Email Reader");
    EXPECT_EQ(name_of(0x0C, 0x192), "AL Calculator");
    EXPECT_EQ(name_of(0x0C, 0x194), "AL Local Machine Browser");
    EXPECT_EQ(name_of(0x0C, 0x221), "AC Search");
    EXPECT_EQ(name_of(0x0C, 0x223), "AC Home");
    EXPECT_EQ(name_of(0x0C, 0x224), "AC Back");
    EXPECT_EQ(name_of(0x0C, 0x227), "AC Refresh");
    EXPECT_EQ(name_of(0x0C, 0x22A), "AC Bookmarks");
    EXPECT_EQ(name_of(0x0C, 0x238), "AC Pan");
    EXPECT_EQ(name_of(0x0C, 0x29F), "AC Desktop Show All Windows");
    // Usage IDs above 0xFF: a table that kept only the low byte would name 0x10A "Eject".
    EXPECT_EQ(name_of(0x0C, 0x10A), "Motion");
    EXPECT_EQ(name_of(0x0C, 0x20A), std::nullopt);
}

TEST(usage_names, name_touch_screens_pens_and_touch_pads)
{
    EXPECT_EQ(name_of(0x0D, 0x02), "Pen");
    EXPECT_EQ(name_of(0x0D, 0x04), "Touch Screen");
    EXPECT_EQ(name_of(0x0D, 0x05), "Touch Pad");
    EXPECT_EQ(name_of(0x0D, 0x0E), "Device Configuration");
    EXPECT_EQ(name_of(0x0D, 0x20), "Stylus");
    EXPECT_EQ(name_of(0x0D, 0x22), "Finger");
    EXPECT_EQ(name_of(0x0D, 0x30), "Tip Pressure");
    EXPECT_EQ(name_of(0x0D, 0x32), "In Range");
    EXPECT_EQ(name_of(0x0D, 0x42), "Tip Switch");
    EXPECT_EQ(name_of(0x0D, 0x44), "Barrel Switch");
    EXPECT_EQ(name_of(0x0D, 0x45), "Eraser");
    EXPECT_EQ(name_of(0x0D, 0x47), "Touch Valid");
    EXPECT_EQ(name_of(0x0D, 0x51), "Contact Identifier");
    EXPECT_EQ(name_of(0x0D, 0x54), "Contact Count");
    EXPECT_EQ(name_of(0x0D, 0x55), "Contact Count Maximum");
    EXPECT_EQ(name_of(0x0D, 0x56), "Scan Time");
}

TEST(usage_names, name_telephony_force_feedback_sensor_and_power_usages)
{
    EXPECT_EQ(name_of(0x0B, 0x05), "Headset");
    EXPECT_EQ(name_of(0x0B, 0x20), "Hook Switch");
    EXPECT_EQ(name_of(0x0B, 0x2F), "Phone Mute");
    EXPECT_EQ(name_of(0x0B, 0xBB), "Phone Key Pound");

    EXPECT_EQ(name_of(0x0F, 0x21), "Set Effect Report");
    EXPECT_EQ(name_of(0x0F, 0x26), "ET Constant Force");
    EXPECT_EQ(name_of(0x0F, 0x5A), "Set Envelope Report");
    EXPECT_EQ(name_of(0x0F, 0x96), "PID Device Control");

    EXPECT_EQ(name_of(0x20, 0x01), "Sensor");
    EXPECT_EQ(name_of(0x20, 0x41), "Light: Ambient Light");
    EXPECT_EQ(name_of(0x20, 0x73), "Motion: Accelerometer 3D");
    EXPECT_EQ(name_of(0x20, 0x76), "Motion: Gyrometer 3D");
    EXPECT_EQ(name_of(0x20, 0x83), "Orientation: Compass 3D");
    EXPECT_EQ(name_of(0x20, 0x316), "Property: Reporting State");
    EXPECT_EQ(name_of(0x20, 0x453), "Data Field: Acceleration Axis X");
    EXPECT_EQ(name_of(0x20, 0x4D1), "Data Field: Illuminance");

    EXPECT_EQ(name_of(0x84, 0x04), "UPS");
    EXPECT_EQ(name_of(0x84, 0x30), "Voltage");
    EXPECT_EQ(name_of(0x84, 0xFF), "iSerialNumber");
    EXPECT_EQ(name_of(0x85, 0x44), "Charging");
    EXPECT_EQ(name_of(0x85, 0x66), "Remaining Capacity");
    EXPECT_EQ(name_of(0x85, 0xD0), "AC Present");
}

TEST(usage_names, number_buttons_instances_and_unicode_characters)
{
    EXPECT_EQ(name_of(0x09, 0), "No Button Pressed");
    EXPECT_EQ(name_of(0x09, 1), "Button 1");
    EXPECT_EQ(name_of(0x09, 3), "Button 3");
    EXPECT_EQ(name_of(0x09, 0xFFFF), "Button 65535");

    EXPECT_EQ(name_of(0x0A, 0), std::nullopt);
    EXPECT_EQ(name_of(0x0A, 2), "Instance 2");
    EXPECT_EQ(name_of(0x0A, 300), "Instance 300");

    EXPECT_EQ(name_of(0x10, 0x00E9), "U+00E9");
    EXPECT_EQ(name_of(0x10, 0x0041), "U+0041");
    EXPECT_EQ(name_of(0x10, 0x20AC), "U+20AC");
}

TEST(usage_names, leave_reserved_usages_and_unlisted_pages_unnamed)
{
    EXPECT_EQ(name_of(0x01, 0x00), std::nullopt);
    EXPECT_EQ(name_of(0x01, 0x03), std::nullopt);
    EXPECT_EQ(name_of(0x01, 0x3F), std::nullopt);
    EXPECT_EQ(name_of(0x01, 0xFF), std::nullopt);
    EXPECT_EQ(name_of(0x01, 0xFFFF), std::nullopt);
    EXPECT_EQ(name_of(0x03, 0x01), std::nullopt); // a named page whose usages are not listed
    EXPECT_EQ(name_of(0x1234, 0x01), std::nullopt);
    EXPECT_EQ(name_of(0xFF00, 0x01), std::nullopt);
}

TEST(usage_names, label_unnamed_pages_and_usages_by_number)
{
    EXPECT_EQ(hid_usage_page_label(0x01), "Generic Desktop");
    EXPECT_EQ(hid_usage_page_label(0xFF00), "Vendor-defined 0xFF00");
    EXPECT_EQ(hid_usage_page_label(0xFFFF), "Vendor-defined 0xFFFF");
    EXPECT_EQ(hid_usage_page_label(0xFEFF), "Usage page 0xFEFF");
    EXPECT_EQ(hid_usage_page_label(0x1234), "Usage page 0x1234");
    EXPECT_EQ(hid_usage_page_label(0x0000), "Usage page 0x0000");

    EXPECT_EQ(hid_usage_label({0x01, 0x30}), "X");
    EXPECT_EQ(hid_usage_label({0x09, 3}), "Button 3");
    EXPECT_EQ(hid_usage_label({0x01, 0xFF}), "Generic Desktop 0x00FF");
    EXPECT_EQ(hid_usage_label({0x0A, 0}), "Ordinal 0x0000");
    EXPECT_EQ(hid_usage_label({0xFF00, 0x0001}), "Vendor-defined 0xFF00:0x0001");
    EXPECT_EQ(hid_usage_label({0xFFA0, 0xABCD}), "Vendor-defined 0xFFA0:0xABCD");
    EXPECT_EQ(hid_usage_label({0x1234, 0x0056}), "Usage page 0x1234:0x0056");
}

// Lookups search by binary search: a table out of order or with an ID twice would
// make some of its names unreachable.
TEST(usage_names, tables_are_sorted_by_id_without_duplicates_and_every_name_is_found)
{
    auto const pages = plinth::apple::detail::usage_pages();
    ASSERT_FALSE(pages.empty());
    for (std::size_t i = 1; i < pages.size(); ++i)
        EXPECT_LT(pages[i - 1].page, pages[i].page) << "page table at row " << i;

    for (auto const& page : pages)
    {
        EXPECT_FALSE(page.name.empty()) << "page 0x" << std::hex << page.page;
        EXPECT_EQ(hid_usage_page_name(page.page), page.name);
        for (std::size_t i = 1; i < page.usages.size(); ++i)
            EXPECT_LT(page.usages[i - 1].id, page.usages[i].id) << page.name << " at row " << i;
        for (auto const& usage : page.usages)
        {
            EXPECT_FALSE(usage.name.empty()) << page.name << " 0x" << std::hex << usage.id;
            EXPECT_EQ(hid_usage_name(hid_usage{page.page, usage.id}), usage.name)
                << page.name << " 0x" << std::hex << usage.id;
        }
    }
}

} // namespace
