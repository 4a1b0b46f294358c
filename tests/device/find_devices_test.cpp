// Tests of find_devices: a listing that differs from a watcher's first round, a wrong order, a leaked handle.
#include "device/apple/find_devices.hpp"
#include "device/apple/device_watcher.hpp"
#include "support/threaded_sim_test.hpp"

#include <boost/asio/io_context.hpp>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::apple::device;
using plinth::apple::device_event;
using plinth::apple::device_match;
using plinth::apple::device_watcher;
using plinth::apple::find_devices;

std::vector<std::uint64_t> ids_of(std::vector<device> const& devices)
{
    std::vector<std::uint64_t> ids;
    for (auto const& d : devices)
        ids.push_back(d.get_id());
    return ids;
}

// The IDs a watcher on `match` reports before anything changes: the events queued
// when it is made, each an arrival present at start, taken until no more is ready.
std::vector<std::uint64_t> watcher_first_round(device_match const& match)
{
    boost::asio::io_context context;
    device_watcher watcher(context.get_executor(), match);
    std::vector<std::uint64_t> ids;
    std::function<void(boost::system::error_code, device_event)> on_event = [&](auto error, device_event event) {
        if (error)
            return;
        EXPECT_EQ(event.kind, device_event::kind_type::arrived);
        EXPECT_TRUE(event.present_at_start);
        ids.push_back(event.device.get_id());
        watcher.async_wait(on_event);
    };
    watcher.async_wait(on_event);
    context.poll();
    return ids;
}

using find_devices_test = plinth::testing::threaded_sim_test;

TEST_F(find_devices_test, lists_what_a_watcher_reports_first_on_the_bundled_mac)
{
    sim::load_bundled_registry();
    auto logitech = device_match("IOService", 0x046d);
    auto game_pads = device_match::hid_with_usage(0x01, 0x05);
    for (auto const& match : {device_match("IOUSBHostDevice"), device_match::hid_with_usage(0x01), game_pads, logitech,
                              device_match("IOHIDDevice", 0x0483, 0x5750), device_match("IOMedia")})
    {
        auto const found = ids_of(find_devices(match));
        EXPECT_FALSE(found.empty()) << match.class_name;
        EXPECT_EQ(found, watcher_first_round(match)) << match.class_name;
    }
    auto const pads = find_devices(game_pads);
    ASSERT_EQ(pads.size(), 1u);
    EXPECT_EQ(mpark::get<std::string>(pads[0].get_property("Product")), "Dual Action");
    EXPECT_TRUE(find_devices(device_match("IOHIDDevice", 0x1234)).empty());
    EXPECT_TRUE(find_devices(device_match("NoSuchClass")).empty());
}

TEST_F(find_devices_test, lists_in_registry_id_order_not_tree_order)
{
    // Made in the order first, second, then a child of first: a walk of the tree
    // meets the child before second, the kernel made it after.
    auto const first = sim::add_entry({"IOHIDDevice", "First", {}, {}}, sim::root_entry_id);
    auto const second = sim::add_entry({"IOHIDDevice", "Second", {}, {}}, sim::root_entry_id);
    auto const child = sim::add_entry({"IOHIDDevice", "Child of first", {}, {}}, first);
    sim::add_entry({"IOMedia", "Other class", {}, {}}, sim::root_entry_id);
    auto const found = ids_of(find_devices(device_match("IOHIDDevice")));
    EXPECT_EQ(found, (std::vector<std::uint64_t>{first, second, child}));
    EXPECT_EQ(found, watcher_first_round(device_match("IOHIDDevice")));
}

TEST_F(find_devices_test, holds_one_handle_per_device_and_none_once_they_go)
{
    sim::load_bundled_registry();
    boost::system::error_code ec = make_error_code(boost::system::errc::io_error);
    {
        auto const keyboards = find_devices(device_match::hid_with_usage(0x01, 0x06), ec);
        EXPECT_FALSE(ec);
        EXPECT_EQ(keyboards.size(), 2u);
        // The iterator and every rejected entry are released before it returns.
        EXPECT_EQ(sim::live_handles(), keyboards.size());
    }
    EXPECT_EQ(sim::live_handles(), 0u);
    EXPECT_EQ(sim::live_cf_objects(), 0u);
}

} // namespace
