// Tests of sim::hid_replay: recorded reports read back through a hid_stream in order, none lost or doubled, at
// every pace and with a slow reader; recorded and made-up registry entries; removal at the end; several at once.
#include "device/hid_stream_support.hpp"
#include "hid/recording.hpp"
#include "sim/control/hid_replay.hpp"
#include "sim/control/loaders.hpp"

#include <boost/asio/error.hpp>

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::apple::hid_open_mode;
using plinth::apple::hid_recording;
using plinth::apple::hid_stream;
using plinth::testing::running_context;
using namespace std::chrono_literals;

// A mouse that numbers its reports (ID 1: three buttons in three bytes), recorded on Linux.
constexpr char const* mouse_header =
    "D: 0\n"
    "R: 25 05 01 09 02 a1 01 85 01 05 09 19 01 29 03 15 00 25 01 75 08 95 03 81 02 c0\n"
    "N: Replayed Mouse\n"
    "I: 3 046d c077\n";

// The mouse sending `count` reports `spacing` apart, each telling its number in its second byte.
hid_recording mouse_recording(int count, std::chrono::microseconds spacing = 1ms)
{
    std::string text = mouse_header;
    for (int i = 0; i < count; ++i)
    {
        auto const at = spacing.count() * (i + 1);
        text += fmt::format("E: {:06}.{:06} 4 01 {:02x} 00 00\n", at / 1'000'000, at % 1'000'000, i);
    }
    return hid_recording::parse(text);
}

std::vector<int> zero_to(int count)
{
    std::vector<int> v;
    for (int i = 0; i < count; ++i)
        v.push_back(i);
    return v;
}

std::string text_of(plinth::apple::device const& d, char const* key)
{
    return mpark::get<std::string>(d.get_property(key));
}

int number_of(plinth::apple::device const& d, char const* key)
{
    return mpark::get<int>(d.get_property(key));
}

class hid_replay_test : public plinth::testing::hid_stream_test
{
protected:
    // Reads `expected` reports, or until a read fails: their numbers, and the failure.
    static std::pair<std::vector<int>, boost::system::error_code> read_reports(hid_stream& stream, std::size_t expected,
                                                                               std::chrono::milliseconds pause = 0ms)
    {
        std::vector<int> numbers;
        boost::system::error_code ec;
        while (numbers.size() < expected)
        {
            std::array<std::uint8_t, 4> bytes{};
            std::uint8_t id = 0;
            auto const n = stream.read({&id, boost::asio::buffer(bytes)}, 5s, ec);
            if (ec)
                break;
            EXPECT_EQ(id, 1);
            EXPECT_EQ(n, 4u);
            EXPECT_EQ(bytes[0], 1) << "the report ID comes first, as the device sent it";
            numbers.push_back(bytes[1]);
            std::this_thread::sleep_for(pause);
        }
        return {numbers, ec};
    }
};

TEST_F(hid_replay_test, a_stepped_replay_gives_each_report_when_the_test_asks_and_then_says_it_is_done)
{
    running_context running;
    auto const recording = mouse_recording(3);
    sim::hid_replay replay(recording, 0, {sim::replay_pace::stepped});
    hid_stream stream(running.context.get_executor(), entry(replay.device()));
    for (int i = 0; i < 3; ++i)
    {
        ASSERT_TRUE(replay.next());
        auto const [numbers, ec] = read_reports(stream, 1);
        EXPECT_EQ(numbers, std::vector<int>{i});
    }
    EXPECT_FALSE(replay.next());
    EXPECT_FALSE(replay.next());
    EXPECT_TRUE(replay.wait_until_done(0s));
    EXPECT_EQ(replay.played(), 3u);
    EXPECT_TRUE(sim::contains(replay.device())) << "the device stays unless the replay removes it at the end";
    EXPECT_THROW(replay.start(), std::logic_error);
}

TEST_F(hid_replay_test, as_fast_as_read_every_report_arrives_in_order_and_the_removal_ends_the_pending_read)
{
    running_context running;
    auto const recording = mouse_recording(200);
    sim::hid_replay replay(recording, 0, {sim::replay_pace::as_fast_as_read, true});
    hid_stream stream(running.context.get_executor(), entry(replay.device()));
    replay.start();
    auto const [numbers, ec] = read_reports(stream, 201);
    EXPECT_EQ(numbers, zero_to(200));
    EXPECT_EQ(ec, boost::asio::error::operation_aborted) << "the read after the last report meets the unplug";
    EXPECT_TRUE(replay.wait_until_done(5s));
    EXPECT_FALSE(sim::contains(replay.device()));
    EXPECT_THROW(replay.next(), std::logic_error);
}

// With a removal delay the device stays plugged in after its last report, so that
// a program handing reports to another thread takes the last one before the
// unplug; stopped meanwhile, the replay leaves the device where it is.
TEST_F(hid_replay_test, a_removal_delay_keeps_the_device_after_its_last_report_and_stop_cancels_the_removal)
{
    running_context running;
    auto const recording = mouse_recording(3);
    sim::replay_options options{sim::replay_pace::as_fast_as_read, true};
    options.removal_delay = 10s;
    sim::hid_replay replay(recording, 0, options);
    hid_stream stream(running.context.get_executor(), entry(replay.device()));
    replay.start();
    auto const [numbers, ec] = read_reports(stream, 3);
    EXPECT_EQ(numbers, zero_to(3));
    EXPECT_FALSE(replay.wait_until_done(50ms)) << "the removal is still to come";
    EXPECT_TRUE(sim::contains(replay.device()));
    replay.stop();
    EXPECT_TRUE(replay.wait_until_done(5s)) << "stop ends the wait at once";
    EXPECT_TRUE(sim::contains(replay.device()));
}

// A program that finds the device only after the replay started misses nothing
// when the replay waits for a reader; stopped, the replay plays no more and the
// device stays.
TEST_F(hid_replay_test, a_replay_that_waits_for_a_reader_plays_from_the_first_report_once_one_reads)
{
    running_context running;
    auto const recording = mouse_recording(20);
    sim::replay_options options{sim::replay_pace::as_fast_as_read};
    options.wait_for_reader = true;
    sim::hid_replay replay(recording, 0, options);
    replay.start();
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(replay.played(), 0u) << "nothing plays before someone reads";
    hid_stream stream(running.context.get_executor(), entry(replay.device()));
    auto const [numbers, ec] = read_reports(stream, 10);
    EXPECT_EQ(numbers, zero_to(10));
    replay.stop();
    auto const played = replay.played();
    EXPECT_LE(played, 11u) << "as fast as read: at most one report ahead of the reader";
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(replay.played(), played);
    EXPECT_TRUE(sim::contains(replay.device()));
}

// The reader takes a report every 3 ms from a device that sent one every
// millisecond: the kernel's queue holds the rest, as on a Mac, and nothing is lost.
TEST_F(hid_replay_test, in_real_time_a_slow_reader_still_gets_every_report_once_in_order)
{
    running_context running;
    auto const recording = mouse_recording(60);
    sim::hid_replay replay(recording, 0, {sim::replay_pace::real_time, true});
    hid_stream stream(running.context.get_executor(), entry(replay.device()), hid_open_mode::shared);
    replay.start();
    auto const [numbers, ec] = read_reports(stream, 61, 3ms);
    EXPECT_EQ(numbers, zero_to(60));
    EXPECT_EQ(ec, boost::asio::error::operation_aborted);
    EXPECT_EQ(sim::dropped_input_reports(replay.device()), 0u);
}

TEST_F(hid_replay_test, a_linux_recording_becomes_a_usb_device_with_what_its_header_says)
{
    auto const recording = mouse_recording(1);
    sim::hid_replay replay(recording, 0, {sim::replay_pace::stepped});
    auto const hid = entry(replay.device());
    EXPECT_EQ(hid.get_class(), "IOUSBHostHIDDevice");
    EXPECT_EQ(text_of(hid, "Product"), "Replayed Mouse");
    EXPECT_EQ(text_of(hid, "Transport"), "USB");
    EXPECT_EQ(number_of(hid, "VendorID"), 0x046d);
    EXPECT_EQ(number_of(hid, "ProductID"), 0xc077);
    EXPECT_EQ(number_of(hid, "PrimaryUsagePage"), 1);
    EXPECT_EQ(number_of(hid, "PrimaryUsage"), 2);
    EXPECT_EQ(number_of(hid, "MaxInputReportSize"), 4);
    auto const usb = hid.get_parent(plinth::plane::service).get_parent(plinth::plane::service);
    EXPECT_EQ(usb.get_class(), "IOUSBHostDevice");
    EXPECT_EQ(number_of(usb, "idVendor"), 0x046d);
}

// A device recorded on a Mac, with its entries as `ioreg -a` gives them.
constexpr char const* recorded_keyboard = R"(D: 0
R: 7 05 01 09 06 a1 01 c0
N: Magic Keyboard
I: 3 05ac 029c
#@ X: <?xml version="1.0" encoding="UTF-8"?>
#@ X: <!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
#@ X: <plist version="1.0">
#@ X: <dict>
#@ X:   <key>IOObjectClass</key><string>IOUSBHostDevice</string>
#@ X:   <key>IORegistryEntryName</key><string>Magic Keyboard</string>
#@ X:   <key>IORegistryEntryID</key><integer>4294969999</integer>
#@ X:   <key>idVendor</key><integer>1452</integer>
#@ X:   <key>IORegistryEntryChildren</key>
#@ X:   <array>
#@ X:     <dict>
#@ X:       <key>IOObjectClass</key><string>IOUSBHostHIDDevice</string>
#@ X:       <key>IORegistryEntryName</key><string>IOUSBHostHIDDevice</string>
#@ X:       <key>IORegistryEntryID</key><integer>4294970000</integer>
#@ X:       <key>Product</key><string>Magic Keyboard</string>
#@ X:       <key>MaxInputReportSize</key><integer>8</integer>
#@ X:       <key>ReportDescriptor</key><data>BQEJBqEBwA==</data>
#@ X:     </dict>
#@ X:   </array>
#@ X: </dict>
#@ X: </plist>
#@ F: 9 2 09 2a
E: 000000.001000 2 0b 00
)";

TEST_F(hid_replay_test, a_mac_recording_replays_its_own_entries_and_feature_answers_and_twice_is_two_devices)
{
    running_context running;
    auto const recording = hid_recording::parse(recorded_keyboard);
    auto const entries_before = sim::entry_count();
    {
        sim::hid_replay first(recording, 0, {sim::replay_pace::stepped});
        sim::hid_replay second(recording, 0, {sim::replay_pace::stepped});
        EXPECT_NE(first.device(), second.device());
        EXPECT_EQ(sim::entry_count(), entries_before + 4);
        auto const hid = entry(second.device());
        EXPECT_EQ(text_of(hid, "Product"), "Magic Keyboard");
        EXPECT_EQ(number_of(hid.get_parent(plinth::plane::service), "idVendor"), 1452);

        hid_stream stream(running.context.get_executor(), hid);
        std::array<std::uint8_t, 2> feature{};
        std::uint8_t feature_id = 9;
        EXPECT_EQ(stream.get_feature_report({&feature_id, boost::asio::buffer(feature)}), 2u);
        EXPECT_EQ(feature, (std::array<std::uint8_t, 2>{0x09, 0x2a}));
        ASSERT_TRUE(second.next());
        std::array<std::uint8_t, 8> bytes{};
        std::uint8_t id = 0xff;
        EXPECT_EQ(stream.read({&id, boost::asio::buffer(bytes)}, 5s), 2u);
        EXPECT_EQ(id, 0) << "the keyboard numbers no reports";
        EXPECT_EQ(bytes[0], 0x0b);
    }
    EXPECT_EQ(sim::entry_count(), entries_before) << "a replay takes its device with it";
}

TEST_F(hid_replay_test, refuses_a_device_the_recording_has_not_and_entries_with_no_hid_device_leaving_nothing)
{
    auto const recording = mouse_recording(1);
    EXPECT_THROW(sim::hid_replay(recording, 1), std::invalid_argument);

    auto no_hid = recording;
    no_hid.devices[0].registry = "<plist version=\"1.0\"><dict><key>IOObjectClass</key><string>IOUSBHostDevice</string>"
                                 "<key>IORegistryEntryID</key><integer>77</integer></dict></plist>\n";
    auto const entries_before = sim::entry_count();
    EXPECT_THROW(sim::hid_replay(no_hid, 0), std::invalid_argument);
    EXPECT_EQ(sim::entry_count(), entries_before);
    no_hid.devices[0].registry = "<plist><dict>\n";
    EXPECT_THROW(sim::hid_replay(no_hid, 0), sim::dump_error);
    EXPECT_EQ(sim::entry_count(), entries_before);
}

} // namespace
