// Tests of opening a hid_stream: seized or shared, a device another program holds, Input Monitoring refused.
#include "device/apple/hid_device_client.hpp"
#include "device/apple/input_monitoring.hpp"
#include "device/hid_stream_support.hpp"
#include "error/apple/hid_errc.hpp"

#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/system/system_error.hpp>

#include <array>
#include <chrono>
#include <cstdint>
#include <string>

namespace {

namespace sim = plinth::sim;
using plinth::apple::find_hid_seizer;
using plinth::apple::hid_device_clients;
using plinth::apple::hid_errc;
using plinth::apple::hid_open_mode;
using plinth::apple::hid_stream;
using plinth::apple::input_monitoring_access;
using plinth::testing::hid_stream_test;
using plinth::testing::read_on_a_thread;
using namespace std::chrono_literals;

// Long enough that a report on its way arrives; a read that times out after it
// heard nothing.
constexpr auto quiet_wait = 200ms;

boost::system::error_code code(hid_errc e)
{
    return plinth::apple::make_error_code(e);
}

// A keyboard as the HID family publishes one: its primary usage is what gates it.
sim::entry_id add_gated_keyboard()
{
    return sim::add_entry({"IOUSBHostHIDDevice",
                           "Gated keyboard",
                           "14400000",
                           {{"PrimaryUsagePage", sim::make_number(1)},
                            {"PrimaryUsage", sim::make_number(6)},
                            {"MaxInputReportSize", sim::make_number(8)}}},
                          sim::root_entry_id);
}

// The text of a system_error without what Boost may add after it (the
// category and value in brackets).
std::string text_of(boost::system::system_error const& e)
{
    std::string const what = e.what();
    return what.substr(0, what.find(" ["));
}

TEST_F(hid_stream_test, two_shared_streams_each_receive_every_report)
{
    boost::asio::io_context context;
    hid_stream first(context.get_executor(), entry(bare_id), hid_open_mode::shared);
    hid_stream second(context.get_executor(), entry(bare_id), hid_open_mode::shared);
    ASSERT_TRUE(first.is_open());
    ASSERT_TRUE(second.is_open());
    EXPECT_EQ(first.open_mode(), hid_open_mode::shared);
    EXPECT_EQ(hid_device_clients(entry(bare_id)).size(), 2u);
    EXPECT_FALSE(first.seizer()) << "nobody seizes a device opened shared";

    for (std::uint8_t round = 1; round <= 3; ++round)
    {
        std::array<std::uint8_t, 4> a{}, b{};
        std::uint8_t id_a = 0, id_b = 0;
        auto reader_a = read_on_a_thread(first, id_a, a);
        auto reader_b = read_on_a_thread(second, id_b, b);
        post(bare_id, round, {round, 2, 3});
        EXPECT_FALSE(reader_a.get());
        EXPECT_FALSE(reader_b.get());
        EXPECT_EQ(a[0], round);
        EXPECT_EQ(b[0], round);
        EXPECT_EQ(id_a, round);
        EXPECT_EQ(id_b, round);
    }
}

TEST_F(hid_stream_test, a_seize_silences_a_shared_stream_which_stays_open_and_hears_again_once_released)
{
    boost::asio::io_context context;
    hid_stream shared(context.get_executor(), entry(bare_id), hid_open_mode::shared);
    hid_stream seizing(context.get_executor(), entry(bare_id));
    ASSERT_TRUE(shared.is_open());
    ASSERT_TRUE(seizing.is_open()) << "a seize takes the device from those that share it";
    EXPECT_EQ(seizing.open_mode(), hid_open_mode::seized);
    auto const holder = shared.seizer();
    ASSERT_TRUE(holder);
    EXPECT_EQ(holder->pid, static_cast<int>(getpid()));

    std::array<std::uint8_t, 4> silenced{}, heard{};
    std::uint8_t id = 0, seizer_id = 0;
    auto waiting = std::async(std::launch::async, [&] {
        boost::system::error_code ec;
        shared.read({&id, boost::asio::buffer(silenced)}, quiet_wait, ec);
        return ec;
    });
    auto seizer_read = read_on_a_thread(seizing, seizer_id, heard);
    post(bare_id, 0, {7});
    EXPECT_FALSE(seizer_read.get());
    EXPECT_EQ(heard[0], 7);
    EXPECT_EQ(waiting.get(), boost::asio::error::timed_out) << "the seized-out stream heard the report";
    EXPECT_TRUE(shared.is_open()) << "a stream silenced by a seize stays open";

    seizing.close();
    auto resumed = read_on_a_thread(shared, id, silenced);
    post(bare_id, 0, {8});
    EXPECT_FALSE(resumed.get());
    EXPECT_EQ(silenced[0], 8);
}

TEST_F(hid_stream_test, a_foreign_seize_refuses_every_open_naming_the_holder_and_leaves_no_client_of_ours)
{
    auto const foreign = sim::open_foreign_client(bare_id, 4242, "karabiner_grabber", kIOHIDOptionsTypeSeizeDevice);
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(bare_id), hid_open_mode::shared);
    EXPECT_FALSE(stream.is_open());
    for (auto mode : {hid_open_mode::shared, hid_open_mode::seized})
    {
        try
        {
            stream.open(mode);
            FAIL() << "opened a device another program holds seized";
        }
        catch (boost::system::system_error const& e)
        {
            EXPECT_EQ(e.code(), code(hid_errc::seized_by_another));
            EXPECT_EQ(text_of(e),
                      "open: seized by pid 4242, karabiner_grabbe: exclusive access: another program has seized the "
                      "device");
        }
        auto const clients = hid_device_clients(entry(bare_id));
        ASSERT_EQ(clients.size(), 1u) << "the refused open still holds a client";
        EXPECT_EQ(clients[0].pid, 4242);
    }
    boost::system::error_code ec;
    stream.open(ec);
    EXPECT_EQ(ec, code(hid_errc::seized_by_another));
    auto const holder = stream.seizer();
    ASSERT_TRUE(holder);
    EXPECT_EQ(holder->describe(), "pid 4242, karabiner_grabbe");
    EXPECT_EQ(holder->seizing, true);

    ASSERT_EQ(sim::close_foreign_client(foreign), kIOReturnSuccess);
    stream.open();
    EXPECT_TRUE(stream.is_open());
    EXPECT_EQ(stream.open_mode(), hid_open_mode::seized) << "the mode of the last open(mode) is kept";
    EXPECT_EQ(find_hid_seizer(entry(bare_id))->pid, static_cast<int>(getpid()));
}

TEST_F(hid_stream_test, a_stream_that_seizes_refuses_a_second_seize_from_this_program_and_names_it)
{
    boost::asio::io_context context;
    hid_stream first(context.get_executor(), entry(bare_id));
    hid_stream second(context.get_executor(), entry(bare_id), hid_open_mode::shared);
    EXPECT_FALSE(second.is_open());
    boost::system::error_code ec;
    second.open(ec);
    EXPECT_EQ(ec, code(hid_errc::seized_by_another));
    ASSERT_TRUE(second.seizer());
    EXPECT_EQ(second.seizer()->pid, static_cast<int>(getpid()));
    EXPECT_EQ(hid_device_clients(entry(bare_id)).size(), 1u);
}

TEST_F(hid_stream_test, refused_input_monitoring_fails_a_keyboard_clearly_and_leaves_a_device_not_gated_alone)
{
    sim::set_hid_access(kIOHIDAccessTypeDenied);
    EXPECT_EQ(plinth::apple::check_input_monitoring_access(), input_monitoring_access::denied);
    EXPECT_FALSE(plinth::apple::request_input_monitoring_access()) << "a refusal stands when asked again";

    auto const gated = add_gated_keyboard();
    boost::asio::io_context context;
    for (auto mode : {hid_open_mode::seized, hid_open_mode::shared})
    {
        hid_stream keyboard(context.get_executor(), entry(gated), mode);
        EXPECT_FALSE(keyboard.is_open());
        try
        {
            keyboard.open();
            FAIL() << "opened a keyboard without Input Monitoring";
        }
        catch (boost::system::system_error const& e)
        {
            EXPECT_EQ(e.code(), code(hid_errc::input_monitoring_denied));
            EXPECT_EQ(text_of(e), "open: not permitted: this program lacks the Input Monitoring permission");
        }
        EXPECT_TRUE(hid_device_clients(entry(gated)).empty()) << "a refused program makes no client";
    }
    hid_stream bare(context.get_executor(), entry(bare_id));
    EXPECT_TRUE(bare.is_open()) << "a device that is no keyboard, mouse or touch pad needs no permission";
}

TEST_F(hid_stream_test, input_monitoring_asked_for_the_first_time_takes_the_users_answer)
{
    sim::set_hid_access(kIOHIDAccessTypeUnknown);
    sim::set_hid_access_answer(true);
    EXPECT_EQ(plinth::apple::check_input_monitoring_access(), input_monitoring_access::unknown);
    boost::asio::io_context context;
    hid_stream keyboard(context.get_executor(), entry(add_gated_keyboard()));
    EXPECT_TRUE(keyboard.is_open()) << "the open asks, and the user grants";
    EXPECT_EQ(plinth::apple::check_input_monitoring_access(), input_monitoring_access::granted);

    sim::set_hid_access(kIOHIDAccessTypeUnknown);
    sim::set_hid_access_answer(false);
    EXPECT_FALSE(plinth::apple::request_input_monitoring_access());
    EXPECT_EQ(plinth::apple::check_input_monitoring_access(), input_monitoring_access::denied);
}

TEST_F(hid_stream_test, an_open_that_fails_after_the_device_opened_closes_it_again)
{
    auto const no_size = sim::add_entry({"IOUSBHostHIDDevice", "No size", "14300000", {}}, sim::root_entry_id);
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(no_size));
    boost::system::error_code ec;
    stream.open(ec);
    EXPECT_EQ(ec, code(hid_errc::property_missing));
    EXPECT_FALSE(stream.is_open());
    EXPECT_TRUE(hid_device_clients(entry(no_size)).empty()) << "the half-made open still holds the device";
    hid_stream other(context.get_executor(), entry(no_size), hid_open_mode::shared);
    other.open(ec);
    EXPECT_EQ(ec, code(hid_errc::property_missing)) << "and not exclusive access";
}

} // namespace
