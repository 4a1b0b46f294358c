// Tests of the simulated Input Monitoring: which devices are gated, IOHIDCheckAccess and IOHIDRequestAccess, the answer an IOHIDDeviceRef keeps.
#include "sim/control/dump.hpp"
#include "sim/control/hid.hpp"
#include "sim/io_hid_support.hpp"
#include "sim/io_registry_support.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hidsystem/IOHIDLib.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::testing::io::as_device;
using plinth::testing::io::device_of;
using plinth::testing::io::find_entry;
using plinth::testing::io::property;
using plinth::testing::io::user_client_entries;

using io_hid_access_test = plinth::testing::sim_test;

using usage = std::pair<int, int>;

sim::value usage_pairs(std::vector<usage> const& pairs)
{
    sim::array items;
    for (auto const& [page, id] : pairs)
        items.emplace_back(
            sim::dictionary{{"DeviceUsagePage", sim::make_number(page)}, {"DeviceUsage", sim::make_number(id)}});
    return items;
}

sim::entry_id add_device(std::vector<usage> const& pairs, std::string const& class_name = "IOUSBHostHIDDevice")
{
    return sim::add_entry({class_name, "Device", "1", {{"DeviceUsagePairs", usage_pairs(pairs)}}}, sim::root_entry_id);
}

sim::entry_id add_device_with_primary_usage(usage primary)
{
    return sim::add_entry(
        {"IOUSBHostHIDDevice",
         "Device",
         "1",
         {{"PrimaryUsagePage", sim::make_number(primary.first)}, {"PrimaryUsage", sim::make_number(primary.second)}}},
        sim::root_entry_id);
}

// The tag as a program reads it: true, false, or absent.
std::optional<bool> tag_of(sim::entry_id id)
{
    auto const tag = property(find_entry(id).get(), "RequiresTCCAuthorization");
    if (!tag || CFGetTypeID(tag.get()) != CFBooleanGetTypeID())
        return std::nullopt;
    return CFBooleanGetValue(tag.as<CFBooleanRef>()) != 0;
}

TEST_F(io_hid_access_test, keyboards_mice_and_touch_pads_are_tagged_and_nothing_else)
{
    EXPECT_EQ(tag_of(add_device({{0x01, 0x06}})), true) << "keyboard";
    EXPECT_EQ(tag_of(add_device({{0x01, 0x02}, {0x01, 0x01}})), true) << "mouse";
    EXPECT_EQ(tag_of(add_device({{0x0D, 0x05}})), true) << "touch pad";
    EXPECT_EQ(tag_of(add_device({{0x0C, 0x01}, {0xFF43, 0x202}, {0x01, 0x06}})), true)
        << "one keyboard collection gates the whole interface";
    EXPECT_EQ(tag_of(add_device_with_primary_usage({0x01, 0x06})), true) << "no pairs: the primary usage";

    EXPECT_EQ(tag_of(add_device({{0x01, 0x07}})), std::nullopt) << "keypad";
    EXPECT_EQ(tag_of(add_device({{0x01, 0x05}})), std::nullopt) << "game pad";
    EXPECT_EQ(tag_of(add_device({{0x01, 0x04}})), std::nullopt) << "joystick";
    EXPECT_EQ(tag_of(add_device({{0x0C, 0x01}})), std::nullopt) << "consumer control";
    EXPECT_EQ(tag_of(add_device({{0xFF00, 0x01}})), std::nullopt) << "vendor";
    EXPECT_EQ(tag_of(add_device({{0x0D, 0x04}})), std::nullopt) << "touch screen";
    EXPECT_EQ(tag_of(add_device({{0x01, 0x06}}, "IOUSBHostDevice")), std::nullopt) << "not an IOHIDDevice";
    auto const pairs_win = sim::add_entry({"IOUSBHostHIDDevice",
                                           "Device",
                                           "1",
                                           {{"DeviceUsagePairs", usage_pairs({{0x01, 0x05}})},
                                            {"PrimaryUsagePage", sim::make_number(1)},
                                            {"PrimaryUsage", sim::make_number(6)}}},
                                          sim::root_entry_id);
    EXPECT_EQ(tag_of(pairs_win), std::nullopt) << "the pairs, when published, are the device's usages";
}

TEST_F(io_hid_access_test, a_loaded_dump_is_tagged_too_and_keeps_a_tag_it_already_has)
{
    sim::dump d;
    d.entries.push_back({0x100001000,
                         "IOUSBHostHIDDevice",
                         "Keyboard",
                         "1",
                         sim::dictionary{{"DeviceUsagePairs", usage_pairs({{0x01, 0x06}})}},
                         {}});
    d.entries.push_back(
        {0x100001001,
         "IOUSBHostHIDDevice",
         "Mouse",
         "2",
         sim::dictionary{{"DeviceUsagePairs", usage_pairs({{0x01, 0x02}})}, {"RequiresTCCAuthorization", false}},
         {}});
    d.tops = {0x100001000, 0x100001001};
    sim::merge(d);
    EXPECT_EQ(tag_of(0x100001000), true);
    EXPECT_EQ(tag_of(0x100001001), false) << "what the dumped machine said stands";
}

TEST_F(io_hid_access_test, denied_a_keyboard_refuses_every_open_without_a_user_client_and_a_game_pad_opens)
{
    auto const keyboard = add_device({{0x01, 0x06}});
    auto const gamepad = add_device({{0x01, 0x05}});
    sim::set_hid_access(kIOHIDAccessTypeDenied);
    auto const keys = device_of(keyboard);
    EXPECT_EQ(IOHIDDeviceOpen(as_device(keys), kIOHIDOptionsTypeNone), kIOReturnNotPermitted);
    EXPECT_EQ(IOHIDDeviceOpen(as_device(keys), kIOHIDOptionsTypeSeizeDevice), kIOReturnNotPermitted);
    EXPECT_EQ(user_client_entries(keyboard).size(), 0u) << "the refusal comes before the kernel";
    EXPECT_EQ(IOHIDDeviceClose(as_device(keys), 0), kIOReturnNotOpen);
    std::uint8_t byte = 1;
    EXPECT_EQ(IOHIDDeviceSetReport(as_device(keys), kIOHIDReportTypeOutput, 0, &byte, 1), kIOReturnNotPermitted);

    auto const pad = device_of(gamepad);
    EXPECT_EQ(IOHIDDeviceOpen(as_device(pad), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
    EXPECT_EQ(user_client_entries(gamepad).size(), 1u);
    EXPECT_EQ(IOHIDDeviceClose(as_device(pad), 0), kIOReturnSuccess);
}

TEST_F(io_hid_access_test, each_device_object_keeps_the_answer_it_got_and_a_new_one_asks_again)
{
    auto const keyboard = add_device({{0x01, 0x06}});
    sim::set_hid_access(kIOHIDAccessTypeUnknown);
    auto const granted = device_of(keyboard);
    EXPECT_EQ(IOHIDDeviceOpen(as_device(granted), kIOHIDOptionsTypeNone), kIOReturnSuccess)
        << "undecided: the user is asked and grants";
    EXPECT_EQ(IOHIDCheckAccess(kIOHIDRequestTypeListenEvent), kIOHIDAccessTypeGranted);
    ASSERT_EQ(IOHIDDeviceClose(as_device(granted), 0), kIOReturnSuccess);

    sim::set_hid_access(kIOHIDAccessTypeDenied); // the user changes their mind in System Settings
    EXPECT_EQ(IOHIDDeviceOpen(as_device(granted), kIOHIDOptionsTypeNone), kIOReturnSuccess)
        << "the device object keeps its answer";
    auto const refused = device_of(keyboard);
    EXPECT_EQ(IOHIDDeviceOpen(as_device(refused), kIOHIDOptionsTypeNone), kIOReturnNotPermitted);
    EXPECT_EQ(user_client_entries(keyboard).size(), 1u) << "only the granted one's user client";

    sim::set_hid_access(kIOHIDAccessTypeGranted);
    EXPECT_EQ(IOHIDDeviceOpen(as_device(refused), kIOHIDOptionsTypeNone), kIOReturnNotPermitted)
        << "a refusal kept is kept too";
    auto const fresh = device_of(keyboard);
    EXPECT_EQ(IOHIDDeviceOpen(as_device(fresh), kIOHIDOptionsTypeNone), kIOReturnSuccess);
    EXPECT_EQ(IOHIDDeviceClose(as_device(fresh), 0), kIOReturnSuccess);
    EXPECT_EQ(IOHIDDeviceClose(as_device(granted), 0), kIOReturnSuccess);
}

TEST_F(io_hid_access_test, registering_for_reports_asks_as_an_open_would)
{
    auto const keyboard = add_device({{0x01, 0x06}});
    sim::set_hid_access(kIOHIDAccessTypeUnknown);
    sim::set_hid_access_answer(false);
    auto const device = device_of(keyboard);
    std::uint8_t buffer[4] = {};
    IOHIDDeviceRegisterInputReportCallback(
        as_device(device), buffer, sizeof buffer,
        [](void*, IOReturn, void*, IOHIDReportType, uint32_t, uint8_t*, CFIndex) {}, nullptr);
    EXPECT_EQ(IOHIDCheckAccess(kIOHIDRequestTypeListenEvent), kIOHIDAccessTypeDenied) << "the user said no";
    sim::set_hid_access(kIOHIDAccessTypeGranted);
    EXPECT_EQ(IOHIDDeviceOpen(as_device(device), kIOHIDOptionsTypeNone), kIOReturnNotPermitted)
        << "the answer came with the registration";
}

TEST_F(io_hid_access_test, check_access_never_asks_and_request_access_asks_only_while_undecided)
{
    EXPECT_EQ(IOHIDCheckAccess(kIOHIDRequestTypeListenEvent), kIOHIDAccessTypeGranted) << "the default";
    EXPECT_TRUE(IOHIDRequestAccess(kIOHIDRequestTypeListenEvent));

    sim::set_hid_access(kIOHIDAccessTypeUnknown);
    sim::set_hid_access_answer(false);
    EXPECT_EQ(IOHIDCheckAccess(kIOHIDRequestTypeListenEvent), kIOHIDAccessTypeUnknown);
    EXPECT_EQ(IOHIDCheckAccess(kIOHIDRequestTypeListenEvent), kIOHIDAccessTypeUnknown) << "checking decided nothing";
    EXPECT_FALSE(IOHIDRequestAccess(kIOHIDRequestTypeListenEvent));
    EXPECT_EQ(IOHIDCheckAccess(kIOHIDRequestTypeListenEvent), kIOHIDAccessTypeDenied);
    sim::set_hid_access_answer(true);
    EXPECT_FALSE(IOHIDRequestAccess(kIOHIDRequestTypeListenEvent)) << "a decided user is not asked again";

    EXPECT_EQ(IOHIDCheckAccess(kIOHIDRequestTypePostEvent), kIOHIDAccessTypeGranted) << "each type on its own";
    sim::set_hid_access(kIOHIDAccessTypeUnknown, kIOHIDRequestTypePostEvent);
    EXPECT_TRUE(IOHIDRequestAccess(kIOHIDRequestTypePostEvent));
    EXPECT_EQ(IOHIDCheckAccess(kIOHIDRequestTypePostEvent), kIOHIDAccessTypeGranted);
    // A type the system does not know gives Unknown and false; only C can pass one,
    // as a C++ value of IOHIDRequestType outside its two enumerators is undefined.
}

TEST_F(io_hid_access_test, the_declarations_have_apples_values)
{
    EXPECT_EQ(kIOHIDRequestTypePostEvent, 0);
    EXPECT_EQ(kIOHIDRequestTypeListenEvent, 1);
    EXPECT_EQ(kIOHIDAccessTypeGranted, 0);
    EXPECT_EQ(kIOHIDAccessTypeDenied, 1);
    EXPECT_EQ(kIOHIDAccessTypeUnknown, 2);
}

} // namespace
