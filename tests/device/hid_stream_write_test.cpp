// Tests of hid_stream's report requests that cannot hang: timed and asynchronous writes and feature reports.
#include "device/completion_support.hpp"
#include "device/hid_stream_support.hpp"
#include "error/apple/hid_errc.hpp"
#include "error/apple/io_return.hpp"

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_future.hpp>

#include <IOKit/IOReturn.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <tuple>
#include <vector>

namespace {

namespace sim = plinth::sim;
namespace asio = boost::asio;
using boost::system::error_code;
using plinth::apple::hid_stream;
using plinth::testing::hid_stream_test;
using plinth::testing::recording_handler;
using plinth::testing::running_context;
using plinth::testing::thread_of;
using namespace std::chrono_literals;

// Long enough for anything the tests wait for; a hang fails instead of blocking.
constexpr auto bounded = 10s;

template <typename T>
bool ready(std::future<T> const& f)
{
    return f.wait_for(bounded) == std::future_status::ready;
}

class hid_stream_write_test : public hid_stream_test
{
protected:
    // A device whose own default deadline for requests is short: what IOKit uses
    // for any timeout out of its range.
    sim::entry_id add_device_with_request_timeout(std::int64_t microseconds)
    {
        return sim::add_entry(
            {"IOUSBHostHIDDevice",
             "Quick",
             "14300000",
             {{"MaxInputReportSize", sim::make_number(4)}, {"RequestTimeout", sim::make_number(microseconds)}}},
            sim::root_entry_id);
    }
};

TEST_F(hid_stream_write_test, a_write_to_a_device_that_never_answers_times_out_while_reports_reach_a_reader)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(keyboard_id));
    sim::stall_report_answers(keyboard_id);
    std::array<std::uint8_t, 2> const out{1, 2};

    // A write that waits for the device: the reader is not held up by it.
    auto waiting = std::async(std::launch::async, [&] {
        error_code ec;
        auto const n = stream.write({nullptr, asio::buffer(out)}, 60s, ec);
        return std::pair(ec, n);
    });
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t id = 0;
    for (std::uint8_t i = 1; i <= 3; ++i)
    {
        auto read = stream.async_read({&id, asio::buffer(bytes)}, asio::use_future);
        post(keyboard_id, i, {i, 0, 0});
        ASSERT_TRUE(ready(read));
        EXPECT_EQ(read.get(), 3u);
        EXPECT_EQ(id, i);
    }
    EXPECT_EQ(waiting.wait_for(0s), std::future_status::timeout) << "the device has not answered";

    // A second write gives up at its deadline.
    auto timed_out = std::async(std::launch::async, [&] {
        error_code ec;
        auto const n = stream.write({nullptr, asio::buffer(out)}, 50ms, ec);
        return std::pair(ec, n);
    });
    ASSERT_TRUE(ready(timed_out));
    auto const [ec, n] = timed_out.get();
    EXPECT_EQ(ec, asio::error::timed_out);
    EXPECT_EQ(n, 0u);
    EXPECT_TRUE(stream.is_open());

    // The device answers at last: the first write succeeds, and both reports
    // reach it (the one whose caller gave up too: a sent report is not taken back).
    sim::delay_report_answers(keyboard_id, 0ms);
    ASSERT_TRUE(ready(waiting));
    auto const [first_ec, first_n] = waiting.get();
    EXPECT_FALSE(first_ec);
    EXPECT_EQ(first_n, 2u);
    EXPECT_EQ(sim::output_reports(keyboard_id).size(), 2u);
}

TEST_F(hid_stream_write_test, reports_that_come_while_only_a_write_waits_go_to_the_next_reads_in_order)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(keyboard_id));
    sim::stall_report_answers(keyboard_id);
    std::array<std::uint8_t, 1> const out{1};
    recording_handler handler;
    auto written = handler.result();
    stream.async_write({nullptr, asio::buffer(out)}, handler);
    for (std::uint8_t i = 1; i <= 3; ++i)
        post(keyboard_id, i, {i});
    sim::delay_report_answers(keyboard_id, 0ms);
    ASSERT_TRUE(ready(written));
    EXPECT_FALSE(written.get().ec);
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t id = 0;
    for (std::uint8_t i = 1; i <= 3; ++i)
    {
        auto read = stream.async_read({&id, asio::buffer(bytes)}, asio::use_future);
        ASSERT_TRUE(ready(read));
        EXPECT_EQ(read.get(), 1u);
        EXPECT_EQ(id, i);
    }
}

TEST_F(hid_stream_write_test, async_requests_complete_once_with_the_device_result_on_the_handler_executor)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(keyboard_id));
    std::array<std::uint8_t, 2> const out{7, 8};
    recording_handler handler;
    auto written = handler.result();
    stream.async_write({nullptr, asio::buffer(out)}, handler);
    ASSERT_TRUE(ready(written));
    auto const got = written.get();
    EXPECT_FALSE(got.ec);
    EXPECT_EQ(got.n, 2u);
    EXPECT_EQ(got.thread, thread_of(running.context));

    std::uint8_t id = 3;
    auto output = stream.async_send_output_report({&id, asio::buffer(out)}, asio::use_future);
    auto feature = stream.async_send_feature_report({&id, asio::buffer(out.data(), 1)}, asio::use_future);
    EXPECT_EQ(output.get(), 2u);
    EXPECT_EQ(feature.get(), 1u);
    auto const sent = sim::output_reports(keyboard_id);
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_EQ(sent[0].type, kIOHIDReportTypeOutput);
    EXPECT_EQ(sent[0].report_id, 0u);
    EXPECT_EQ(sent[1].report_id, 3u);
    EXPECT_EQ(sent[2].type, kIOHIDReportTypeFeature);
    EXPECT_EQ(sent[2].bytes, (std::vector<std::uint8_t>{7}));

    sim::set_feature_report(keyboard_id, 3, std::vector<std::uint8_t>{3, 4, 5});
    std::array<std::uint8_t, 2> received{};
    auto asked = stream.async_get_feature_report({&id, asio::buffer(received)}, asio::use_future);
    EXPECT_EQ(asked.get(), 2u) << "cut to the buffer";
    EXPECT_EQ(received, (std::array<std::uint8_t, 2>{3, 4}));

    std::uint8_t unknown = 9;
    recording_handler refused;
    auto none = refused.result();
    stream.async_get_feature_report({&unknown, asio::buffer(received)}, refused);
    ASSERT_TRUE(ready(none));
    EXPECT_EQ(none.get().ec, plinth::apple::make_error_code(kIOReturnUnsupported));

    // A closed stream fails through the executor too.
    stream.close();
    auto closed = stream.async_write({nullptr, asio::buffer(out)}, asio::use_future);
    ASSERT_TRUE(ready(closed));
    try
    {
        closed.get();
        ADD_FAILURE() << "a closed stream wrote";
    }
    catch (boost::system::system_error const& e)
    {
        EXPECT_EQ(e.code(), plinth::apple::make_error_code(plinth::apple::hid_errc::not_open));
    }
}

TEST_F(hid_stream_write_test, cancelling_an_async_write_completes_it_aborted_and_its_late_completion_is_discarded)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(keyboard_id));
    sim::stall_report_answers(keyboard_id);
    std::array<std::uint8_t, 1> const out{1};

    asio::cancellation_signal signal;
    recording_handler by_slot;
    auto slot_result = by_slot.result();
    stream.async_write({nullptr, asio::buffer(out)}, asio::bind_cancellation_slot(signal.slot(), by_slot));
    // Total cancellation promises no effect at all, which a sent report cannot keep.
    asio::post(running.context, [&] { signal.emit(asio::cancellation_type::total); });
    asio::post(running.context, [&] { signal.emit(asio::cancellation_type::terminal); });
    ASSERT_TRUE(ready(slot_result));
    EXPECT_EQ(slot_result.get().ec, asio::error::operation_aborted);

    std::array<std::uint8_t, 4> received{};
    recording_handler by_cancel;
    auto cancel_result = by_cancel.result();
    stream.async_get_feature_report({nullptr, asio::buffer(received)}, by_cancel);
    stream.cancel();
    ASSERT_TRUE(ready(cancel_result));
    EXPECT_EQ(cancel_result.get().ec, asio::error::operation_aborted);

    // The device answers both late: nothing is called twice, nothing written.
    sim::set_feature_report(keyboard_id, 0, std::vector<std::uint8_t>{9, 9});
    sim::delay_report_answers(keyboard_id, 0ms);
    auto fence = stream.async_write({nullptr, asio::buffer(out)}, asio::use_future);
    EXPECT_EQ(fence.get(), 1u);
    EXPECT_EQ(received, (std::array<std::uint8_t, 4>{}));
}

TEST_F(hid_stream_write_test, unplugging_during_a_write_completes_it_with_iokit_abort)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(keyboard_id));
    sim::stall_report_answers(keyboard_id);
    std::array<std::uint8_t, 1> const out{1};
    recording_handler handler;
    auto written = handler.result();
    stream.async_write({nullptr, asio::buffer(out)}, handler);
    std::array<std::uint8_t, 4> received{};
    recording_handler asking;
    auto asked = asking.result();
    stream.async_get_feature_report({nullptr, asio::buffer(received)}, asking);
    sim::remove_entry(keyboard_id);
    ASSERT_TRUE(ready(written));
    EXPECT_EQ(written.get().ec, plinth::apple::make_error_code(kIOReturnAborted));
    ASSERT_TRUE(ready(asked));
    EXPECT_EQ(asked.get().ec, plinth::apple::make_error_code(kIOReturnAborted));
    // Submitted now, a request is refused at once: the device is gone.
    auto late = stream.async_write({nullptr, asio::buffer(out)}, asio::use_future);
    ASSERT_TRUE(ready(late));
    EXPECT_THROW(late.get(), boost::system::system_error);
}

TEST_F(hid_stream_write_test, shutdown_destroys_a_pending_write_handler_uncalled)
{
    auto context = std::make_unique<plinth::testing::shutting_context>();
    std::optional<hid_stream> stream(std::in_place, context->get_executor(), entry(keyboard_id));
    sim::stall_report_answers(keyboard_id);
    std::array<std::uint8_t, 1> const out{1};
    auto const alive = std::make_shared<int>(0);
    std::weak_ptr<int> const watch = alive;
    bool called = false;
    stream->async_write({nullptr, asio::buffer(out)},
                        [&called, held = alive](error_code, std::size_t) { called = true; });
    context->shutdown();
    EXPECT_FALSE(called);
    EXPECT_EQ(watch.use_count(), 1) << "only the test holds it: the handler is gone";
    stream.reset();
    context.reset();
    EXPECT_FALSE(called);
}

TEST_F(hid_stream_write_test, a_short_library_timeout_holds_though_iokit_would_wait_a_second)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(keyboard_id));
    sim::stall_report_answers(keyboard_id);
    std::array<std::uint8_t, 2> const out{1, 2};
    std::array<std::uint8_t, 2> in{};
    auto attempts = std::async(std::launch::async, [&] {
        std::vector<error_code> codes(4);
        stream.write({nullptr, asio::buffer(out)}, 10ms, codes[0]);
        stream.send_output_report({nullptr, asio::buffer(out)}, 10ms, codes[1]);
        stream.send_feature_report({nullptr, asio::buffer(out)}, 10ms, codes[2]);
        stream.get_feature_report({nullptr, asio::buffer(in)}, 10ms, codes[3]);
        return codes;
    });
    ASSERT_TRUE(ready(attempts));
    for (auto const& ec : attempts.get())
        EXPECT_EQ(ec, asio::error::timed_out) << "IOKit's own would be kIOReturnTimeout, a second later";
    EXPECT_THROW(stream.write({nullptr, asio::buffer(out)}, 10ms), boost::system::system_error);
}

TEST_F(hid_stream_write_test, a_timeout_beyond_iokit_maximum_still_waits_for_a_device_that_answers_late)
{
    // IOKit would replace a 30-minute timeout by the device's default, 100 ms here,
    // and time out before the device answers.
    auto const quick = add_device_with_request_timeout(100'000);
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(quick));
    sim::set_feature_report(quick, 0, std::vector<std::uint8_t>{5, 6});
    sim::delay_report_answers(quick, 300ms);
    std::array<std::uint8_t, 2> const out{1, 2};
    std::array<std::uint8_t, 2> in{};
    auto attempts = std::async(std::launch::async, [&] {
        error_code sent;
        error_code got;
        auto const n = stream.write({nullptr, asio::buffer(out)}, 30min, sent);
        auto const m = stream.get_feature_report({nullptr, asio::buffer(in)}, 30min, got);
        return std::tuple(sent, n, got, m);
    });
    ASSERT_TRUE(ready(attempts));
    auto const [sent, n, got, m] = attempts.get();
    EXPECT_FALSE(sent);
    EXPECT_EQ(n, 2u);
    EXPECT_FALSE(got);
    EXPECT_EQ(m, 2u);
    EXPECT_EQ(in, (std::array<std::uint8_t, 2>{5, 6}));
}

TEST_F(hid_stream_write_test, reports_taken_while_a_refused_write_had_the_device_scheduled_reach_the_next_reads)
{
    // A write is refused by IOKit (here: another program holds the device seized)
    // after the stream has scheduled the device for the write's completion. In
    // that instant the run-loop thread may take a queued report from IOKit for the
    // stream, and it must then wait for the next read rather than vanish. The
    // instant is short, and widest at a stream's first request: many new streams,
    // each with reports queued and writes refused, give it many chances.
    constexpr int rounds = 40;
    constexpr int reports = 8;
    running_context running;
    std::array<std::uint8_t, 2> const out{1, 2};
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t id = 0;
    for (int round = 0; round < rounds; ++round)
    {
        hid_stream stream(running.context.get_executor(), entry(keyboard_id), plinth::apple::hid_open_mode::shared);
        ASSERT_TRUE(stream.is_open());
        for (int i = 1; i <= reports; ++i)
            post(keyboard_id, 1, {static_cast<std::uint8_t>(i)});
        auto const foreign = sim::open_foreign_client(keyboard_id, 4242, "grabber", kIOHIDOptionsTypeSeizeDevice);
        for (int i = 1; i <= reports; ++i)
        {
            error_code ec;
            stream.write({nullptr, asio::buffer(out)}, 1s, ec);
            ASSERT_EQ(ec, plinth::apple::make_error_code(kIOReturnExclusiveAccess));
        }
        EXPECT_EQ(sim::close_foreign_client(foreign), kIOReturnSuccess);
        for (int i = 1; i <= reports; ++i)
        {
            error_code ec;
            auto const n = stream.read({&id, asio::buffer(bytes)}, 2s, ec);
            ASSERT_FALSE(ec) << "round " << round << ", report " << i << ": " << ec.message();
            EXPECT_EQ(n, 1u);
            ASSERT_EQ(bytes[0], static_cast<std::uint8_t>(i)) << "round " << round << ": reports lost";
        }
    }
    EXPECT_EQ(sim::dropped_input_reports(keyboard_id), 0u);
}

} // namespace
