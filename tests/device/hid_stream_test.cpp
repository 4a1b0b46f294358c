// Tests of hid_stream: failed opens, reads, writes, cancel, removal during a read, shutdown, its report descriptor.
#include "device/apple/device_match.hpp"
#include "device/apple/find_devices.hpp"
#include "device/hid_stream_support.hpp"
#include "error/apple/hid_errc.hpp"

#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/system/system_error.hpp>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::apple::hid_read_report;
using plinth::apple::hid_stream;
using plinth::apple::hid_write_report;
using plinth::testing::hid_stream_test;
using plinth::testing::log_capture;
using plinth::testing::read_on_a_thread;
using plinth::testing::running_context;
using plinth::testing::shutting_context;
using namespace std::chrono_literals;

TEST_F(hid_stream_test, a_stream_without_a_device_is_closed_and_cannot_open)
{
    boost::asio::io_context context;
    hid_stream stream(context.get_executor());
    EXPECT_FALSE(stream.is_open());
    try
    {
        stream.open();
        FAIL() << "opened without a device";
    }
    catch (boost::system::system_error const& e)
    {
        EXPECT_EQ(e.code(), plinth::apple::make_error_code(plinth::apple::hid_errc::not_open));
        EXPECT_NE(std::string(e.what()).find("open"), std::string::npos);
    }
    auto ec = make_error_code(boost::system::errc::io_error);
    stream.close(ec);
    EXPECT_EQ(ec, boost::system::errc::io_error) << "a successful close leaves the code alone";
    std::array<std::uint8_t, 4> bytes{};
    std::uint8_t id = 0;
    EXPECT_THROW(stream.read({&id, boost::asio::buffer(bytes)}), boost::system::system_error);
    EXPECT_THROW(stream.write({&id, boost::asio::buffer(bytes)}), boost::system::system_error);
    boost::system::error_code write_ec;
    EXPECT_EQ(stream.write({&id, boost::asio::buffer(bytes)}, write_ec), 0u);
    EXPECT_EQ(write_ec, plinth::apple::make_error_code(plinth::apple::hid_errc::not_open));
}

TEST_F(hid_stream_test, opening_seizes_the_device_once_and_a_second_client_is_refused_with_a_log_line)
{
    log_capture log;
    boost::asio::io_context context;
    hid_stream first(context.get_executor(), entry(keyboard_id));
    ASSERT_TRUE(first.is_open());
    first.open(); // a second open of an open stream does nothing
    auto ec = make_error_code(boost::system::errc::io_error);
    first.open(ec);
    EXPECT_EQ(ec, boost::system::errc::io_error);
    EXPECT_TRUE(log.lines().empty());

    hid_stream second(context.get_executor(), entry(keyboard_id));
    EXPECT_FALSE(second.is_open());
    auto const lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("2 Error opening HID: ", 0), 0u) << lines[0];

    first.close();
    EXPECT_FALSE(first.is_open());
    second.open();
    EXPECT_TRUE(second.is_open()) << "the device is free once the first stream closed it";
}

TEST_F(hid_stream_test, a_read_gets_the_next_report_with_its_id_copied_once_and_truncated_to_the_buffer)
{
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(keyboard_id));
    ASSERT_TRUE(stream.is_open());

    std::array<std::uint8_t, 4> small{0xee, 0xee, 0xee, 0xee};
    std::uint8_t id = 0;
    auto reader = std::async(std::launch::async, [&] { return stream.read({&id, boost::asio::buffer(small)}); });
    post(keyboard_id, 3, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(reader.get(), 4u) << "a longer report is cut to the buffer";
    EXPECT_EQ(id, 3);
    EXPECT_EQ(small, (std::array<std::uint8_t, 4>{1, 2, 3, 4}));

    std::array<std::uint8_t, 8> large{};
    large.fill(0xee);
    auto second = std::async(std::launch::async, [&] { return stream.read({&id, boost::asio::buffer(large)}); });
    post(keyboard_id, 0x1ff, {9, 8});
    EXPECT_EQ(second.get(), 2u);
    EXPECT_EQ(id, 0xff) << "the ID is stored as one byte";
    EXPECT_EQ(large[1], 8);
    EXPECT_EQ(large[2], 0xee) << "the rest of the buffer is untouched";
}

TEST_F(hid_stream_test, reports_sent_while_nobody_reads_wait_for_the_next_reads_in_order)
{
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(keyboard_id));
    post(keyboard_id, 1, {1});
    post(keyboard_id, 2, {2});
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t id = 0;
    EXPECT_EQ(stream.read({&id, boost::asio::buffer(bytes)}), 1u);
    EXPECT_EQ(id, 1);
    EXPECT_EQ(stream.read({&id, boost::asio::buffer(bytes)}), 1u);
    EXPECT_EQ(id, 2);
}

TEST_F(hid_stream_test, cancel_from_another_thread_releases_a_blocked_reader_through_the_executor)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(keyboard_id));
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t id = 0;
    auto reader = std::async(std::launch::async, [&] {
        boost::system::error_code ec;
        auto const n = stream.read({&id, boost::asio::buffer(bytes)}, ec);
        return std::make_pair(ec, n);
    });
    EXPECT_EQ(reader.wait_for(50ms), std::future_status::timeout) << "no report: the reader waits";
    stream.cancel();
    auto const [ec, n] = reader.get();
    EXPECT_EQ(ec, boost::asio::error::operation_aborted);
    EXPECT_EQ(n, 0u);
    EXPECT_TRUE(stream.is_open()) << "cancelling does not close";

    // The stream still reads after a cancel.
    auto again = std::async(std::launch::async, [&] { return stream.read({&id, boost::asio::buffer(bytes)}); });
    post(keyboard_id, 7, {7});
    EXPECT_EQ(again.get(), 1u);
    EXPECT_EQ(id, 7);
}

TEST_F(hid_stream_test, the_throwing_read_reports_a_cancel_as_a_system_error_naming_read)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(keyboard_id));
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t id = 0;
    auto reader = std::async(std::launch::async, [&] { return stream.read({&id, boost::asio::buffer(bytes)}); });
    EXPECT_EQ(reader.wait_for(50ms), std::future_status::timeout);
    stream.cancel();
    try
    {
        reader.get();
        FAIL() << "a cancelled read returned";
    }
    catch (boost::system::system_error const& e)
    {
        EXPECT_EQ(e.code(), boost::asio::error::operation_aborted);
        EXPECT_NE(std::string(e.what()).find("read"), std::string::npos);
    }
}

TEST_F(hid_stream_test, removal_during_a_read_aborts_it_and_closes_the_stream_but_not_while_idle)
{
    boost::asio::io_context context;
    hid_stream idle(context.get_executor(), entry(bare_id));
    hid_stream reading(context.get_executor(), entry(keyboard_id));
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t id = 0;
    auto reader = read_on_a_thread(reading, id, bytes);
    EXPECT_EQ(reader.wait_for(50ms), std::future_status::timeout);
    sim::remove_entry(keyboard_id);
    sim::remove_entry(bare_id);
    EXPECT_EQ(reader.get(), boost::asio::error::operation_aborted);
    EXPECT_FALSE(reading.is_open());
    EXPECT_TRUE(idle.is_open()) << "an idle stream learns of the removal only through a read";
}

TEST_F(hid_stream_test, shutting_the_context_down_releases_blocked_readers)
{
    shutting_context context;
    {
        hid_stream first(context.get_executor(), entry(keyboard_id));
        hid_stream second(context.get_executor(), entry(bare_id));
        std::array<std::uint8_t, 8> a{};
        std::array<std::uint8_t, 8> b{};
        std::uint8_t id = 0;
        auto one = read_on_a_thread(first, id, a);
        auto two = read_on_a_thread(second, id, b);
        EXPECT_EQ(one.wait_for(50ms), std::future_status::timeout);
        context.shutdown();
        EXPECT_EQ(one.get(), boost::asio::error::operation_aborted);
        EXPECT_EQ(two.get(), boost::asio::error::operation_aborted);
    }
}

TEST_F(hid_stream_test, write_sends_an_output_report_with_id_zero_whatever_the_caller_names)
{
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(keyboard_id));
    std::uint8_t id = 5;
    std::array<std::uint8_t, 2> const bytes{0x01, 0x02};
    EXPECT_EQ(stream.write({&id, boost::asio::buffer(bytes)}), 2u);
    auto const sent = sim::output_reports(keyboard_id);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].type, kIOHIDReportTypeOutput);
    EXPECT_EQ(sent[0].report_id, 0u);
    EXPECT_EQ(sent[0].bytes, (std::vector<std::uint8_t>{0x01, 0x02}));
}

TEST_F(hid_stream_test, the_usage_getters_answer_minus_one_for_a_device_without_usage_and_log_it)
{
    log_capture log;
    boost::asio::io_context context;
    hid_stream keyboard(context.get_executor(), entry(keyboard_id));
    EXPECT_EQ(keyboard.get_device_usage_page(), 1);
    EXPECT_EQ(keyboard.get_device_usage(), 6);
    EXPECT_EQ(keyboard.get_max_input_report_size(), 8);
    EXPECT_EQ(keyboard.get_max_output_report_size(), 2);

    hid_stream bare(context.get_executor(), entry(bare_id));
    EXPECT_EQ(static_cast<std::uint32_t>(bare.get_device_usage()), 0xFFFFFFFFu);
    EXPECT_EQ(static_cast<std::uint32_t>(bare.get_device_usage_page()), 0xFFFFFFFFu);
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"2 No device usage", "2 No device usage page"}));
    try
    {
        bare.get_max_output_report_size();
        FAIL() << "a missing size was answered";
    }
    catch (boost::system::system_error const& e)
    {
        EXPECT_EQ(e.code(), plinth::apple::make_error_code(plinth::apple::hid_errc::property_missing));
        EXPECT_NE(std::string(e.what()).find("get_capability"), std::string::npos);
    }
}

TEST_F(hid_stream_test, a_second_cancel_after_one_read_posts_a_call_that_throws_bad_function_call)
{
    running_context running;
    boost::asio::io_context handlers;
    hid_stream stream(handlers.get_executor(), entry(keyboard_id));
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t id = 0;
    auto reader = read_on_a_thread(stream, id, bytes);
    EXPECT_EQ(reader.wait_for(50ms), std::future_status::timeout);
    stream.cancel();
    stream.cancel();
    handlers.run_one();
    EXPECT_EQ(reader.get(), boost::asio::error::operation_aborted);
    EXPECT_THROW(handlers.run_one(), std::bad_function_call);
}

} // namespace

TEST_F(hid_stream_test, a_read_with_a_timeout_gives_timed_out_and_leaves_the_stream_ready_for_the_next_report)
{
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(keyboard_id));
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t id = 0;
    // Zero and negative ones too, down to where adding one to the clock would
    // overflow.
    for (std::chrono::nanoseconds const timeout :
         std::initializer_list<std::chrono::nanoseconds>{20ms, 0ms, -5ms, -1h, std::chrono::nanoseconds::min() + 1h})
    {
        boost::system::error_code ec;
        EXPECT_EQ(stream.read({&id, boost::asio::buffer(bytes)}, timeout, ec), 0u);
        EXPECT_EQ(ec, boost::asio::error::timed_out) << timeout.count() << " ns";
    }
    try
    {
        stream.read({&id, boost::asio::buffer(bytes)}, 1ms);
        FAIL() << "a read with no report returned";
    }
    catch (boost::system::system_error const& e)
    {
        EXPECT_EQ(e.code(), boost::asio::error::timed_out);
        EXPECT_NE(std::string(e.what()).find("read"), std::string::npos);
    }
    EXPECT_TRUE(stream.is_open());

    // A report that comes after a timeout waits for the next read, untimed or timed.
    post(keyboard_id, 3, {7, 8});
    EXPECT_EQ(stream.read({&id, boost::asio::buffer(bytes)}, 10s), 2u);
    EXPECT_EQ(id, 3);
    EXPECT_EQ(bytes[0], 7);
    post(keyboard_id, 4, {9});
    EXPECT_EQ(stream.read({&id, boost::asio::buffer(bytes)}), 1u);
    EXPECT_EQ(id, 4);

    stream.close();
    EXPECT_THROW(stream.read({&id, boost::asio::buffer(bytes)}, 1s), boost::system::system_error);
}

// The report is taken from the device's queue, then cancel() completes the read
// before the report callback can fill it: the callback found a read with no
// handler left and dropped the report with it.
TEST_F(hid_stream_test, a_report_taken_in_the_instant_a_read_is_cancelled_was_lost_and_is_now_the_next_reads)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(keyboard_id));
    std::atomic<bool> cancelled{false};
    sim::set_input_report_observer(keyboard_id, [&] {
        if (!cancelled.exchange(true))
            stream.cancel();
    });
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t id = 0;
    auto reader = read_on_a_thread(stream, id, bytes);
    EXPECT_EQ(reader.wait_for(50ms), std::future_status::timeout);
    post(keyboard_id, 4, {42});
    EXPECT_EQ(reader.get(), boost::asio::error::operation_aborted);
    sim::set_input_report_observer(keyboard_id, {});

    boost::system::error_code ec;
    EXPECT_EQ(stream.read({&id, boost::asio::buffer(bytes)}, 10s, ec), 1u) << ec.message();
    EXPECT_EQ(id, 4);
    EXPECT_EQ(bytes[0], 42);
}

// IOKit calls a report callback without holding anything the stream can wait on:
// one under way when another thread destroys the stream still reads the stream's
// state. The destructor must wait for it to return. The observer holds the
// callback back until the destructor has begun; freeing too soon shows under
// AddressSanitizer as a use after free.
TEST_F(hid_stream_test, destroying_a_stream_waits_for_a_report_callback_already_under_way)
{
    running_context running;
    auto stream = std::make_unique<hid_stream>(running.context.get_executor(), entry(keyboard_id));
    std::promise<void> callback_started;
    std::promise<void> destroying;
    auto const destroy_begun = destroying.get_future().share();
    sim::set_input_report_observer(keyboard_id, [&, destroy_begun] {
        callback_started.set_value();
        destroy_begun.wait();
        std::this_thread::sleep_for(50ms);
    });
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t id = 0;
    stream->async_read({&id, boost::asio::buffer(bytes)}, [](boost::system::error_code const&, std::size_t) {});
    post(keyboard_id, 4, {42});
    callback_started.get_future().wait();
    destroying.set_value();
    stream.reset();
    sim::set_input_report_observer(keyboard_id, {});
}

namespace {

using plinth::apple::device;
using plinth::apple::device_match;
using plinth::apple::find_devices;
using plinth::apple::hid_errc;
using plinth::apple::hid_report_type;

// The bundled Mac's one HID device that `match` accepts.
device bundled_hid_device(device_match const& match)
{
    auto found = find_devices(match);
    EXPECT_EQ(found.size(), 1u);
    return found.empty() ? device() : found.front();
}

TEST_F(hid_stream_test, the_report_descriptor_of_the_bundled_keyboard_has_the_boot_keyboards_reports)
{
    sim::load_bundled_registry();
    auto match = device_match::hid_with_usage(0x01, 0x06);
    match.vendor_id = 0x046d;
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), bundled_hid_device(match));
    auto const& descriptor = stream.get_report_descriptor();
    EXPECT_FALSE(descriptor.numbers_reports());
    ASSERT_EQ(descriptor.reports().size(), 2u);
    auto const* input = descriptor.report(hid_report_type::input, 0);
    auto const* output = descriptor.report(hid_report_type::output, 0);
    ASSERT_TRUE(input && output);
    EXPECT_EQ(input->byte_size(), 8u) << "modifiers, reserved byte, six keys";
    EXPECT_EQ(output->byte_size(), 1u) << "five LEDs and padding";
    EXPECT_EQ(descriptor.max_report_size(hid_report_type::input),
              static_cast<std::size_t>(stream.get_max_input_report_size()));
    // Left Shift and the A key, as the device sends them.
    std::vector<std::uint8_t> const report{0x02, 0x00, 0x04, 0x00, 0x00, 0x00, 0x00, 0x00};
    EXPECT_EQ(descriptor.value(hid_report_type::input, {0x07, 0xE1}, report), 1);
    EXPECT_EQ(descriptor.value(hid_report_type::input, {0x07, 0x04}, report), 1);
    EXPECT_EQ(descriptor.value(hid_report_type::input, {0x07, 0x05}, report), 0);
    EXPECT_EQ(&stream.get_report_descriptor(), &descriptor) << "parsed once, kept";
}

TEST_F(hid_stream_test, the_report_descriptor_of_the_vendor_board_gives_its_max_report_sizes)
{
    sim::load_bundled_registry();
    boost::asio::io_context context;
    auto const board = bundled_hid_device(device_match("IOHIDDevice", 0x0483, 0x5750));
    hid_stream stream(context.get_executor(), board);
    ASSERT_TRUE(stream.is_open());
    boost::system::error_code ec = make_error_code(boost::system::errc::io_error);
    auto const& descriptor = stream.get_report_descriptor(ec);
    EXPECT_FALSE(ec) << "a success clears the code";
    EXPECT_TRUE(descriptor.numbers_reports());
    EXPECT_EQ(descriptor.max_report_size(hid_report_type::input),
              static_cast<std::size_t>(stream.get_max_input_report_size()));
    EXPECT_EQ(descriptor.max_report_size(hid_report_type::output),
              static_cast<std::size_t>(stream.get_max_output_report_size()));
    EXPECT_EQ(descriptor.max_report_size(hid_report_type::feature),
              static_cast<std::size_t>(mpark::get<int>(board.get_property("MaxFeatureReportSize"))));
    EXPECT_EQ(descriptor.max_report_size(hid_report_type::input), 64u);
}

TEST_F(hid_stream_test, a_broken_or_missing_report_descriptor_is_an_error_that_a_later_call_reads_again)
{
    // An Application collection that never ends.
    auto const broken = sim::add_entry({"IOUSBHostHIDDevice",
                                        "Broken",
                                        "14300000",
                                        {{"MaxInputReportSize", sim::make_number(1)},
                                         {"ReportDescriptor", sim::data{0x05, 0x01, 0x09, 0x06, 0xA1, 0x01}}}},
                                       sim::root_entry_id);
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(broken));
    auto const bad = plinth::apple::make_error_code(hid_errc::bad_report_descriptor);
    try
    {
        stream.get_report_descriptor();
        FAIL() << "a broken descriptor was parsed";
    }
    catch (boost::system::system_error const& e)
    {
        EXPECT_EQ(e.code(), bad);
        EXPECT_NE(std::string(e.what()).find("get_report_descriptor"), std::string::npos);
    }
    boost::system::error_code ec;
    EXPECT_TRUE(stream.get_report_descriptor(ec).fields().empty());
    EXPECT_EQ(ec, bad);

    // Not data at all.
    sim::set_property(broken, "ReportDescriptor", std::string("05 01"));
    stream.get_report_descriptor(ec);
    EXPECT_EQ(ec, bad);

    // A failure is not kept: the next call reads the property again, and what it
    // parses stays, whatever the property becomes.
    sim::set_property(broken, "ReportDescriptor",
                      sim::data{0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01, 0x15, 0x00, 0x26, 0xFF,
                                0x00, 0x75, 0x08, 0x95, 0x01, 0x09, 0x01, 0x81, 0x02, 0xC0});
    auto const& fixed = stream.get_report_descriptor(ec);
    EXPECT_FALSE(ec);
    EXPECT_EQ(fixed.max_report_size(hid_report_type::input), 1u);
    sim::remove_property(broken, "ReportDescriptor");
    EXPECT_EQ(&stream.get_report_descriptor(), &fixed);

    // No property, and no device at all.
    hid_stream bare(context.get_executor(), entry(bare_id));
    bare.get_report_descriptor(ec);
    EXPECT_EQ(ec, plinth::apple::make_error_code(hid_errc::property_missing));
    hid_stream closed(context.get_executor());
    EXPECT_THROW(closed.get_report_descriptor(), boost::system::system_error);
    closed.get_report_descriptor(ec);
    EXPECT_EQ(ec, plinth::apple::make_error_code(hid_errc::property_missing));
}

TEST_F(hid_stream_test, concurrent_first_calls_parse_the_report_descriptor_once_for_all)
{
    sim::load_bundled_registry();
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), bundled_hid_device(device_match::hid_with_usage(0x01, 0x05)));
    std::vector<std::future<plinth::apple::hid_report_descriptor const*>> callers;
    for (int i = 0; i < 4; ++i)
        callers.push_back(std::async(std::launch::async, [&stream] { return &stream.get_report_descriptor(); }));
    std::vector<plinth::apple::hid_report_descriptor const*> seen;
    for (auto& caller : callers)
        seen.push_back(caller.get());
    for (auto const* descriptor : seen)
        EXPECT_EQ(descriptor, seen.front());
    EXPECT_EQ(seen.front()->max_report_size(hid_report_type::input), 7u);
}

// The first reader of two overlapping reads stays blocked for good: the test
// leaves its thread parked until the process ends, so it skips the check that
// every thread it started has ended.
class overlapping_read_test : public hid_stream_test
{
protected:
    void TearDown() override { plinth::testing::sim_test::TearDown(); }
};

// Blocks until the read started on another thread is pending: it schedules the
// device in the read mode, beside the open stream's own scheduling, under the
// record's lock.
void wait_for_a_pending_read(sim::entry_id device)
{
    while (sim::hid_schedulings(device) < 2)
        std::this_thread::yield();
}

TEST_F(overlapping_read_test, a_read_started_while_another_is_pending_replaces_it_and_the_first_caller_stays_blocked)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(keyboard_id));
    // The parked reader's buffer and outcome outlive the test: nothing ever writes
    // to them, as its read was replaced, but its thread still refers to them.
    struct parked_read
    {
        std::array<std::uint8_t, 8> bytes{};
        std::uint8_t id = 0;
        std::promise<std::string> ended;
    };
    auto parked = std::make_shared<parked_read>();
    auto first_ended = parked->ended.get_future();
    std::thread([parked, &stream] {
        try
        {
            boost::system::error_code ec;
            stream.read({&parked->id, boost::asio::buffer(parked->bytes)}, ec);
            parked->ended.set_value("returned: " + ec.message());
        }
        catch (std::exception const& e)
        {
            parked->ended.set_value(std::string("threw: ") + e.what());
        }
    }).detach();
    wait_for_a_pending_read(keyboard_id);

    // The later read is started here, so that it has replaced the first before
    // the report comes.
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t id = 0;
    std::promise<boost::system::error_code> second;
    stream.async_read({&id, boost::asio::buffer(bytes)},
                      [&second](boost::system::error_code ec, std::size_t) { second.set_value(ec); });
    post(keyboard_id, 0, {4, 2});
    EXPECT_FALSE(second.get_future().get());
    EXPECT_EQ(bytes[0], 4) << "the later read takes the report";
    EXPECT_EQ(first_ended.wait_for(300ms), std::future_status::timeout)
        << "the replaced reader woke: " << first_ended.get();
    EXPECT_EQ(parked->bytes[0], 0) << "the replaced read was written to";
}

TEST_F(hid_stream_test, a_timed_read_that_a_later_read_replaced_times_out_at_its_deadline_and_leaves_that_read_be)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(keyboard_id));
    std::array<std::uint8_t, 8> first_bytes{}, bytes{};
    std::uint8_t first_id = 0, id = 0;
    auto first = read_on_a_thread(stream, first_id, first_bytes, 500ms);
    wait_for_a_pending_read(keyboard_id);
    std::promise<boost::system::error_code> second;
    stream.async_read({&id, boost::asio::buffer(bytes)},
                      [&second](boost::system::error_code ec, std::size_t) { second.set_value(ec); });
    EXPECT_EQ(first.get(), boost::asio::error::timed_out);
    post(keyboard_id, 0, {9});
    EXPECT_FALSE(second.get_future().get()) << "the first read's deadline withdrew the read that replaced it";
    EXPECT_EQ(bytes[0], 9);
}

} // namespace

namespace {

// cancel() posts an aborted read's handler; its caller, timed, has long gone
// when the handler runs. Running it then must not end the read that is waiting
// by that time.
TEST_F(hid_stream_test, a_cancelled_timed_reads_handler_run_late_leaves_the_next_blocking_read_waiting)
{
    boost::asio::io_context handlers;
    hid_stream stream(handlers.get_executor(), entry(keyboard_id));
    std::array<std::uint8_t, 8> first_bytes{}, bytes{};
    std::uint8_t first_id = 0, id = 0;
    auto first = read_on_a_thread(stream, first_id, first_bytes, 200ms);
    wait_for_a_pending_read(keyboard_id);
    stream.cancel();
    EXPECT_EQ(first.get(), boost::asio::error::operation_aborted);

    auto second = read_on_a_thread(stream, id, bytes);
    wait_for_a_pending_read(keyboard_id);
    EXPECT_EQ(handlers.run_one(), 1u) << "the first read's handler was not posted";
    EXPECT_EQ(second.wait_for(100ms), std::future_status::timeout) << "the late handler ended the next read";
    post(keyboard_id, 5, {6});
    EXPECT_EQ(second.get(), boost::system::error_code());
    EXPECT_EQ(id, 5);
    EXPECT_EQ(bytes[0], 6);
}

} // namespace
