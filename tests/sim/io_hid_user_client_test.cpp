// Tests of the simulated IOHIDLibUserClient entries: one per client that opens a HID device, ours or another process's.
#include "sim/control/hid.hpp"
#include "sim/io_hid_support.hpp"
#include "sim/io_registry_support.hpp"
#include "sim/run_loop_support.hpp"
#include "support/threaded_sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDDevice.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::testing::io::as_device;
using plinth::testing::io::boolean_in;
using plinth::testing::io::class_of;
using plinth::testing::io::debug_state;
using plinth::testing::io::device_of;
using plinth::testing::io::id_of;
using plinth::testing::io::number_in;
using plinth::testing::io::text_property;
using plinth::testing::io::user_client_entries;
using plinth::testing::run_loop::eventually;
using plinth::testing::run_loop::loop_runner;

using io_hid_user_client_test = plinth::testing::threaded_sim_test;

sim::entry_id add_keyboard()
{
    return sim::add_entry({"IOUSBHostHIDDevice", "Keyboard", "1"}, sim::root_entry_id);
}

// One user-client entry below a device, read through IOKit as a program would.
struct user_client
{
    std::uint64_t id = 0;
    std::string class_name;
    bool conforms_to_user_client = false;
    std::string creator;
    std::optional<bool> opened;
    std::optional<bool> seized;
    std::optional<std::int64_t> options;
};

std::vector<user_client> user_clients_of(sim::entry_id device)
{
    std::vector<user_client> found;
    for (auto const& child : user_client_entries(device))
    {
        user_client seen;
        seen.id = id_of(child.get());
        seen.class_name = class_of(child.get());
        seen.conforms_to_user_client = IOObjectConformsTo(child.get(), "IOUserClient") != 0;
        seen.creator = text_property(child.get(), "IOUserClientCreator").value_or("<none>");
        if (auto const state = debug_state(child.get()))
        {
            seen.opened = boolean_in(state.as<CFDictionaryRef>(), "ClientOpened");
            seen.seized = boolean_in(state.as<CFDictionaryRef>(), "ClientSeized");
            seen.options = number_in(state.as<CFDictionaryRef>(), "ClientOptions");
        }
        found.push_back(seen);
    }
    return found;
}

user_client const* created_by(std::vector<user_client> const& clients, std::string const& creator)
{
    auto const found = std::ranges::find(clients, creator, &user_client::creator);
    return found == clients.end() ? nullptr : &*found;
}

std::string this_process_creator()
{
    std::ifstream comm("/proc/self/comm");
    std::string name;
    std::getline(comm, name);
    return "pid " + std::to_string(getpid()) + ", " + name;
}

TEST_F(io_hid_user_client_test, an_open_adds_a_user_client_naming_this_process_and_close_removes_it)
{
    auto const keyboard = add_keyboard();
    auto const device = device_of(keyboard);
    EXPECT_TRUE(user_clients_of(keyboard).empty()) << "making a device object opens nothing";
    auto const entries_before = sim::entry_count();

    ASSERT_EQ(IOHIDDeviceOpen(as_device(device), kIOHIDOptionsTypeNone), kIOReturnSuccess);
    auto clients = user_clients_of(keyboard);
    ASSERT_EQ(clients.size(), 1u);
    EXPECT_EQ(clients[0].class_name, "IOHIDLibUserClient");
    EXPECT_TRUE(clients[0].conforms_to_user_client);
    EXPECT_EQ(clients[0].creator, this_process_creator());
    EXPECT_EQ(clients[0].opened, true);
    EXPECT_EQ(clients[0].seized, false);
    EXPECT_EQ(clients[0].options, 0);
    EXPECT_GT(clients[0].id, keyboard) << "a new entry takes a registry ID of its own";

    ASSERT_EQ(IOHIDDeviceOpen(as_device(device), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
    clients = user_clients_of(keyboard);
    ASSERT_EQ(clients.size(), 1u) << "one connection per device object, however often it opens";
    EXPECT_EQ(clients[0].options, 1) << "it seizes now";

    ASSERT_EQ(IOHIDDeviceClose(as_device(device), 0), kIOReturnSuccess);
    EXPECT_TRUE(user_clients_of(keyboard).empty());
    EXPECT_EQ(sim::entry_count(), entries_before);
    EXPECT_EQ(IOHIDDeviceClose(as_device(device), 0), kIOReturnNotOpen);
}

TEST_F(io_hid_user_client_test, the_debug_state_tells_the_seizer_from_the_clients_it_silences)
{
    auto const keyboard = add_keyboard();
    auto const shared = device_of(keyboard);
    auto const seizer = device_of(keyboard);
    auto const foreign = sim::open_foreign_client(keyboard, 501, "hidreader", kIOHIDOptionsTypeNone);
    ASSERT_EQ(foreign.open_result, kIOReturnSuccess);
    ASSERT_EQ(IOHIDDeviceOpen(as_device(shared), kIOHIDOptionsTypeNone), kIOReturnSuccess);
    ASSERT_EQ(IOHIDDeviceOpen(as_device(seizer), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);

    auto clients = user_clients_of(keyboard);
    ASSERT_EQ(clients.size(), 3u);
    auto const* other_process = created_by(clients, "pid 501, hidreader");
    ASSERT_NE(other_process, nullptr);
    EXPECT_EQ(other_process->seized, true) << "silenced by our seize";
    auto const ours = std::ranges::count(clients, this_process_creator(), &user_client::creator);
    EXPECT_EQ(ours, 2);
    // The seizer: open, seize option set, and not silenced by anyone.
    auto const seizers = std::ranges::count_if(clients, [](user_client const& c) {
        return c.opened == true && c.options.value_or(0) & 1 && c.seized == false;
    });
    EXPECT_EQ(seizers, 1);
    auto const silenced = std::ranges::count(clients, std::optional<bool>(true), &user_client::seized);
    EXPECT_EQ(silenced, 2);

    ASSERT_EQ(IOHIDDeviceClose(as_device(seizer), 0), kIOReturnSuccess);
    clients = user_clients_of(keyboard);
    ASSERT_EQ(clients.size(), 2u);
    EXPECT_TRUE(std::ranges::all_of(clients, [](user_client const& c) { return c.seized == false; }))
        << "the seizer closed: the others are live again";

    EXPECT_EQ(sim::close_foreign_client(foreign), kIOReturnSuccess);
    EXPECT_EQ(sim::close_foreign_client(foreign), kIOReturnNotOpen);
    ASSERT_EQ(IOHIDDeviceClose(as_device(shared), 0), kIOReturnSuccess);
    EXPECT_TRUE(user_clients_of(keyboard).empty());
}

TEST_F(io_hid_user_client_test, a_foreign_seize_refuses_our_open_and_its_entry_names_the_other_process)
{
    auto const keyboard = add_keyboard();
    auto const foreign = sim::open_foreign_client(keyboard, 4242, "karabiner_grabber", kIOHIDOptionsTypeSeizeDevice);
    EXPECT_EQ(foreign.open_result, kIOReturnSuccess);
    auto clients = user_clients_of(keyboard);
    ASSERT_EQ(clients.size(), 1u);
    EXPECT_EQ(clients[0].creator, "pid 4242, karabiner_grabbe") << "the kernel keeps 16 characters of the name";
    EXPECT_EQ(clients[0].options, 1);
    EXPECT_EQ(clients[0].seized, false);

    auto const device = device_of(keyboard);
    std::atomic<int> reports{0};
    std::uint8_t buffer[4] = {};
    IOHIDDeviceRegisterInputReportCallback(
        as_device(device), buffer, sizeof buffer,
        [](void* context, IOReturn, void*, IOHIDReportType, uint32_t, uint8_t*, CFIndex) {
            ++*static_cast<std::atomic<int>*>(context);
        },
        &reports);
    loop_runner runner;
    IOHIDDeviceScheduleWithRunLoop(as_device(device), runner.loop(), kCFRunLoopDefaultMode);
    EXPECT_EQ(IOHIDDeviceOpen(as_device(device), kIOHIDOptionsTypeNone), kIOReturnExclusiveAccess);
    clients = user_clients_of(keyboard);
    ASSERT_EQ(clients.size(), 2u) << "refused or not, our client joined the open set";
    auto const* ours = created_by(clients, this_process_creator());
    ASSERT_NE(ours, nullptr);
    EXPECT_EQ(ours->seized, true);
    auto const second_foreign = sim::open_foreign_client(keyboard, 77, "other", kIOHIDOptionsTypeSeizeDevice);
    EXPECT_EQ(second_foreign.open_result, kIOReturnExclusiveAccess) << "foreign clients obey the same rules";

    sim::post_input_report(keyboard, 0, std::vector<std::uint8_t>{1});
    ASSERT_EQ(sim::close_foreign_client(foreign), kIOReturnSuccess);
    sim::post_input_report(keyboard, 0, std::vector<std::uint8_t>{2});
    ASSERT_TRUE(eventually([&] { return reports.load() == 1; }));
    EXPECT_EQ(buffer[0], 2) << "the report sent while the other process held the device never came";
    EXPECT_EQ(sim::close_foreign_client(second_foreign), kIOReturnSuccess);
    IOHIDDeviceUnscheduleFromRunLoop(as_device(device), runner.loop(), kCFRunLoopDefaultMode);
    EXPECT_EQ(IOHIDDeviceClose(as_device(device), 0), kIOReturnSuccess);
    EXPECT_TRUE(user_clients_of(keyboard).empty());
    EXPECT_THROW(sim::open_foreign_client(sim::root_entry_id, 1, "x", 0), std::invalid_argument);
}

TEST_F(io_hid_user_client_test, no_entry_outlives_its_client_or_its_device)
{
    auto const entries_before = sim::entry_count();
    auto const keyboard = add_keyboard();
    {
        auto const released = device_of(keyboard);
        ASSERT_EQ(IOHIDDeviceOpen(as_device(released), kIOHIDOptionsTypeNone), kIOReturnSuccess);
        ASSERT_EQ(user_clients_of(keyboard).size(), 1u);
    }
    EXPECT_TRUE(user_clients_of(keyboard).empty()) << "releasing an open device object closes it";

    auto const device = device_of(keyboard);
    ASSERT_EQ(IOHIDDeviceOpen(as_device(device), kIOHIDOptionsTypeNone), kIOReturnSuccess);
    auto const foreign = sim::open_foreign_client(keyboard, 90, "daemon", kIOHIDOptionsTypeNone);
    auto const clients = user_clients_of(keyboard);
    ASSERT_EQ(clients.size(), 2u);
    sim::remove_entry(keyboard);
    EXPECT_EQ(sim::entry_count(), entries_before) << "the user clients left with their device";

    // Entries that took the IDs the user clients had are not theirs to remove.
    for (auto const& client : clients)
        sim::add_entry({"IOService", "Bystander", {}, {}, client.id}, sim::root_entry_id);
    EXPECT_EQ(IOHIDDeviceClose(as_device(device), 0), kIOReturnSuccess);
    EXPECT_EQ(sim::close_foreign_client(foreign), kIOReturnSuccess);
    for (auto const& client : clients)
        EXPECT_TRUE(sim::contains(client.id));
}

} // namespace
