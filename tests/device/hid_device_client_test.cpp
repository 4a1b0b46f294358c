// Tests of hid_device_client: the creator text of a user client, and a device's clients read from the registry.
#include "device/apple/hid_device_client.hpp"
#include "device/hid_stream_support.hpp"

#include <boost/asio/io_context.hpp>

#include <gtest/gtest.h>

#include <string>

namespace {

namespace sim = plinth::sim;
using plinth::apple::hid_device_clients;
using plinth::apple::parse_user_client_creator;
using plinth::testing::hid_stream_test;

TEST(user_client_creator, reads_the_pid_and_the_name_the_kernel_writes_and_nothing_else)
{
    auto const parsed = parse_user_client_creator("pid 349, diagnosticd");
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->pid, 349);
    EXPECT_EQ(parsed->process_name, "diagnosticd");
    EXPECT_EQ(parse_user_client_creator("pid 0, kernel_task")->pid, 0);
    EXPECT_EQ(parse_user_client_creator("pid 12, a, b")->process_name, "a, b") << "the name is the rest";
    EXPECT_EQ(parse_user_client_creator("pid 12, ")->process_name, "");
    for (char const* bad : {"", "pid", "pid , x", "pid -1, x", "pid 12 x", "pid 12,x", "PID 12, x", " pid 12, x",
                            "pid 99999999999, x", "pid 0x10, x"})
        EXPECT_FALSE(parse_user_client_creator(bad)) << bad;
}

TEST_F(hid_stream_test, a_devices_clients_are_its_user_clients_in_registry_order_with_what_debug_state_says)
{
    auto const first = sim::open_foreign_client(bare_id, 10, "first", kIOHIDOptionsTypeNone);
    auto const second = sim::open_foreign_client(bare_id, 20, "second", kIOHIDOptionsTypeSeizeDevice);
    // Another kind of user client below the device is no HID client.
    sim::add_entry({"IOUserClient", "Other", "", {{"IOUserClientCreator", std::string("pid 30, other")}}}, bare_id);

    auto const clients = hid_device_clients(entry(bare_id));
    ASSERT_EQ(clients.size(), 2u);
    EXPECT_EQ(clients[0].describe(), "pid 10, first");
    EXPECT_EQ(clients[0].seizing, false);
    EXPECT_EQ(clients[0].silenced, true) << "the seize silenced the shared client";
    EXPECT_EQ(clients[1].describe(), "pid 20, second");
    EXPECT_EQ(clients[1].seizing, true);
    EXPECT_EQ(clients[1].silenced, false);
    EXPECT_EQ(plinth::apple::find_hid_seizer(entry(bare_id))->pid, 20);

    EXPECT_EQ(sim::close_foreign_client(second), kIOReturnSuccess);
    EXPECT_FALSE(plinth::apple::find_hid_seizer(entry(bare_id)));
    EXPECT_EQ(hid_device_clients(entry(bare_id)).size(), 1u);
    EXPECT_EQ(sim::close_foreign_client(first), kIOReturnSuccess);
    EXPECT_TRUE(hid_device_clients(entry(bare_id)).empty());
}

TEST_F(hid_stream_test, a_client_without_debug_state_or_a_readable_creator_is_listed_as_unknown)
{
    sim::add_entry({"IOHIDLibUserClient", "Old", "", {{"IOUserClientCreator", std::string("launchd")}}}, bare_id);
    auto const clients = hid_device_clients(entry(bare_id));
    ASSERT_EQ(clients.size(), 1u);
    EXPECT_EQ(clients[0].pid, -1);
    EXPECT_EQ(clients[0].describe(), "an unknown process");
    EXPECT_FALSE(clients[0].seizing);
    EXPECT_FALSE(plinth::apple::find_hid_seizer(entry(bare_id)));
    EXPECT_TRUE(hid_device_clients(plinth::apple::device()).empty());
}

} // namespace
