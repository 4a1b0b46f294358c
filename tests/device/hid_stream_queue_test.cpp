// Tests of a hid_stream opened with a read queue: reports kept as they come, overflow rules, batch reads, cancel, removal, shutdown.
#include "device/apple/hid_read_queue.hpp"
#include "device/apple/hid_report_batch.hpp"
#include "device/hid_stream_support.hpp"
#include "error/apple/hid_errc.hpp"

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/system/system_error.hpp>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

namespace {

namespace sim = plinth::sim;
using plinth::apple::hid_open_mode;
using plinth::apple::hid_queue_overflow;
using plinth::apple::hid_read_queue;
using plinth::apple::hid_report_batch;
using plinth::apple::hid_stream;
using plinth::testing::hid_stream_test;
using plinth::testing::read_on_a_thread;
using plinth::testing::running_context;
using plinth::testing::shutting_context;
using namespace std::chrono_literals;

class hid_stream_queue_test : public hid_stream_test
{
protected:
    // A report whose bytes tell its number: 4 bytes, as the bare device's.
    static std::vector<std::uint8_t> numbered(std::uint32_t n)
    {
        return {static_cast<std::uint8_t>(n), static_cast<std::uint8_t>(n >> 8), static_cast<std::uint8_t>(n >> 16),
                0xEE};
    }
    static std::uint32_t number_of(std::span<std::uint8_t const> bytes)
    {
        return bytes[0] | (bytes[1] << 8) | (bytes[2] << 16);
    }
    void post_numbered(std::uint32_t first, std::uint32_t count)
    {
        for (auto n = first; n < first + count; ++n)
            post(bare_id, n % 7 + 1, numbered(n));
    }
    // The run-loop thread takes reports as they come; a test that posts waits
    // for them to be queued before it reads what the queue made of them.
    static void wait_until_queued(hid_stream const& stream, std::size_t count)
    {
        auto const deadline = std::chrono::steady_clock::now() + 10s;
        while (stream.queued_reports() + stream.dropped_reports() < count)
        {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline)
                << stream.queued_reports() << " queued and " << stream.dropped_reports() << " dropped of " << count;
            std::this_thread::sleep_for(1ms);
        }
    }
    // A blocking batch read on a thread of its own; the future holds its error code.
    static std::future<boost::system::error_code> read_batch_on_a_thread(hid_stream& stream, hid_report_batch& batch)
    {
        return std::async(std::launch::async, [&stream, &batch] {
            boost::system::error_code ec;
            stream.read_batch(batch, ec);
            return ec;
        });
    }
    // A blocking read on a thread of its own, seen to block once started: nothing
    // is queued for it yet.
    struct blocked_read
    {
        blocked_read(hid_stream& stream, std::optional<std::chrono::nanoseconds> timeout = std::nullopt)
            : result(timeout ? read_on_a_thread(stream, id, bytes, *timeout) : read_on_a_thread(stream, id, bytes))
        {
            EXPECT_EQ(result.wait_for(50ms), std::future_status::timeout);
        }
        std::array<std::uint8_t, 4> bytes{};
        std::uint8_t id = 0;
        std::future<boost::system::error_code> result;
    };
    static std::uint32_t read_number(hid_stream& stream, std::uint8_t* id = nullptr)
    {
        std::array<std::uint8_t, 4> bytes{};
        std::uint8_t report_id = 0;
        EXPECT_EQ(stream.read({&report_id, boost::asio::buffer(bytes)}), 4u);
        if (id != nullptr)
            *id = report_id;
        return number_of(bytes);
    }
};

TEST_F(hid_stream_queue_test, reports_that_come_with_no_read_pending_wait_in_order_with_their_ids)
{
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(bare_id), hid_open_mode::seized, hid_read_queue{8});
    ASSERT_TRUE(stream.is_open());
    ASSERT_TRUE(stream.read_queue());
    EXPECT_EQ(stream.read_queue()->capacity, 8u);
    post_numbered(0, 5);
    wait_until_queued(stream, 5);
    for (std::uint32_t n = 0; n < 5; ++n)
    {
        std::uint8_t id = 0;
        EXPECT_EQ(read_number(stream, &id), n);
        EXPECT_EQ(id, n % 7 + 1);
    }
    EXPECT_EQ(stream.queued_reports(), 0u);
    EXPECT_EQ(stream.dropped_reports(), 0u);
    EXPECT_EQ(sim::dropped_input_reports(bare_id), 0u) << "the device's own queue is drained as reports come";
}

TEST_F(hid_stream_queue_test, the_device_is_scheduled_once_from_open_to_close_whatever_the_reads)
{
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(bare_id), hid_open_mode::seized, hid_read_queue{4});
    // The open scheduling and the queue's, in the mode the run-loop thread runs.
    EXPECT_EQ(sim::hid_schedulings(bare_id), 2u);
    post_numbered(0, 3);
    wait_until_queued(stream, 3);
    for (std::uint32_t n = 0; n < 3; ++n)
        EXPECT_EQ(read_number(stream), n);
    std::array<std::uint8_t, 4> bytes{};
    std::uint8_t id = 0;
    boost::system::error_code ec;
    EXPECT_EQ(stream.read({&id, boost::asio::buffer(bytes)}, 10ms, ec), 0u);
    EXPECT_EQ(ec, boost::asio::error::timed_out);
    EXPECT_EQ(sim::hid_schedulings(bare_id), 2u) << "a read neither schedules nor unschedules a queued stream";
    stream.close();
    EXPECT_EQ(sim::hid_schedulings(bare_id), 0u);
}

TEST_F(hid_stream_queue_test, a_full_queue_drops_the_newest_or_the_oldest_as_chosen_and_counts_each_drop)
{
    struct rule
    {
        hid_queue_overflow overflow;
        std::uint32_t first_kept;
    };
    for (auto const [overflow, first_kept] :
         {rule{hid_queue_overflow::drop_newest, 0}, rule{hid_queue_overflow::drop_oldest, 7}})
    {
        SCOPED_TRACE(overflow == hid_queue_overflow::drop_newest ? "drop_newest" : "drop_oldest");
        boost::asio::io_context context;
        hid_stream stream(context.get_executor(), entry(bare_id), hid_open_mode::seized, hid_read_queue{3, overflow});
        post_numbered(0, 10);
        wait_until_queued(stream, 10);
        EXPECT_EQ(stream.queued_reports(), 3u);
        EXPECT_EQ(stream.dropped_reports(), 7u);
        for (std::uint32_t n = first_kept; n < first_kept + 3; ++n)
            EXPECT_EQ(read_number(stream), n);
        // A slow reader learns what it missed; the count stays until the next open.
        post_numbered(10, 1);
        EXPECT_EQ(read_number(stream), 10u);
        EXPECT_EQ(stream.dropped_reports(), 7u);
        stream.close();
        EXPECT_EQ(stream.dropped_reports(), 7u);
        stream.open();
        EXPECT_EQ(stream.dropped_reports(), 0u);
        EXPECT_TRUE(stream.read_queue()) << "a later open keeps the queue";
    }
}

TEST_F(hid_stream_queue_test, a_batch_read_takes_every_queued_report_it_has_room_for_in_one_call)
{
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(bare_id), hid_open_mode::seized, hid_read_queue{16});
    post_numbered(0, 10);
    wait_until_queued(stream, 10);
    hid_report_batch batch(8, 3); // one byte short of the device's reports
    EXPECT_EQ(stream.read_batch(batch), 8u);
    ASSERT_EQ(batch.size(), 8u);
    for (std::uint32_t n = 0; n < 8; ++n)
    {
        EXPECT_EQ(batch[n].report_id, n % 7 + 1);
        ASSERT_EQ(batch[n].bytes.size(), 3u) << "cut to the batch's report size";
        EXPECT_EQ(batch[n].bytes[0], n);
    }
    EXPECT_EQ(stream.read_batch(batch), 2u);
    EXPECT_EQ(batch[1].bytes[0], 9u);
    // With nothing queued it waits for the next report, which it takes alone.
    auto waiting = std::async(std::launch::async, [&] { return stream.read_batch(batch); });
    EXPECT_EQ(waiting.wait_for(50ms), std::future_status::timeout);
    post_numbered(10, 1);
    EXPECT_EQ(waiting.get(), 1u);
    EXPECT_EQ(batch[0].bytes[0], 10u);
    boost::system::error_code ec;
    EXPECT_EQ(stream.read_batch(batch, 10ms, ec), 0u);
    EXPECT_EQ(ec, boost::asio::error::timed_out);
    EXPECT_TRUE(batch.empty()) << "a batch read that times out leaves no report of an earlier one";
}

TEST_F(hid_stream_queue_test, an_unqueued_stream_reads_batches_of_the_one_report_each_read_brings)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(bare_id));
    hid_report_batch batch(4, 4);
    auto waiting = std::async(std::launch::async, [&] { return stream.read_batch(batch); });
    EXPECT_EQ(waiting.wait_for(50ms), std::future_status::timeout);
    post_numbered(0, 1);
    EXPECT_EQ(waiting.get(), 1u);
    EXPECT_EQ(number_of(batch[0].bytes), 0u);
    auto async = stream.async_read_batch(batch, boost::asio::use_future);
    post_numbered(1, 1);
    EXPECT_EQ(async.get(), 1u);
    EXPECT_EQ(number_of(batch[0].bytes), 1u);
}

TEST_F(hid_stream_queue_test, asynchronous_reads_take_queued_reports_at_once_and_wait_when_there_are_none)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(bare_id), hid_open_mode::shared, hid_read_queue{8});
    post_numbered(0, 3);
    wait_until_queued(stream, 3);
    hid_report_batch batch(8, 4);
    EXPECT_EQ(stream.async_read_batch(batch, boost::asio::use_future).get(), 3u);
    EXPECT_EQ(number_of(batch[2].bytes), 2u);
    std::array<std::uint8_t, 4> bytes{};
    std::uint8_t id = 0;
    auto pending = stream.async_read({&id, boost::asio::buffer(bytes)}, boost::asio::use_future);
    EXPECT_EQ(pending.wait_for(50ms), std::future_status::timeout);
    post_numbered(3, 2);
    EXPECT_EQ(pending.get(), 4u);
    EXPECT_EQ(number_of(bytes), 3u);
    EXPECT_EQ(id, 3 % 7 + 1);
    wait_until_queued(stream, 1);
    EXPECT_EQ(stream.async_read({&id, boost::asio::buffer(bytes)}, boost::asio::use_future).get(), 4u);
    EXPECT_EQ(number_of(bytes), 4u);
}

TEST_F(hid_stream_queue_test, a_read_cancelled_or_timed_out_loses_no_report_that_comes_after)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(bare_id), hid_open_mode::seized, hid_read_queue{8});
    std::array<std::uint8_t, 4> bytes{};
    std::uint8_t id = 0;
    auto reader = read_on_a_thread(stream, id, bytes);
    EXPECT_EQ(reader.wait_for(50ms), std::future_status::timeout);
    stream.cancel();
    EXPECT_EQ(reader.get(), boost::asio::error::operation_aborted);

    // The code crosses threads as a value: an exception that a future hands from
    // the context's thread to this one is counted inside the C++ runtime, where
    // ThreadSanitizer cannot see the ordering and reports a race.
    boost::asio::cancellation_signal signal;
    std::promise<boost::system::error_code> cancelled;
    stream.async_read({&id, boost::asio::buffer(bytes)},
                      boost::asio::bind_cancellation_slot(
                          signal.slot(), [&](boost::system::error_code ec, std::size_t) { cancelled.set_value(ec); }));
    boost::asio::post(running.context, [&] { signal.emit(boost::asio::cancellation_type::terminal); });
    EXPECT_EQ(cancelled.get_future().get(), boost::asio::error::operation_aborted);
    boost::system::error_code ec;
    EXPECT_EQ(stream.read({&id, boost::asio::buffer(bytes)}, 5ms, ec), 0u);
    EXPECT_EQ(ec, boost::asio::error::timed_out);

    post_numbered(0, 2);
    wait_until_queued(stream, 2);
    EXPECT_EQ(read_number(stream), 0u);
    EXPECT_EQ(read_number(stream), 1u);
    EXPECT_EQ(stream.dropped_reports(), 0u);
}

// A batch read that is cancelled after its reports came (its completion not yet
// run, as when a timer wins the same round) gives all of them back, ahead of the
// reports queued since.
TEST_F(hid_stream_queue_test, a_batch_read_cancelled_after_its_reports_came_gives_them_all_back_in_order)
{
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(bare_id), hid_open_mode::seized, hid_read_queue{8});
    post_numbered(0, 3);
    wait_until_queued(stream, 3);
    hid_report_batch batch(8, 4);
    boost::asio::cancellation_signal signal;
    std::optional<boost::system::error_code> result;
    stream.async_read_batch(batch, boost::asio::bind_cancellation_slot(
                                       signal.slot(), [&](boost::system::error_code ec, std::size_t) { result = ec; }));
    post_numbered(3, 1);
    wait_until_queued(stream, 1);
    signal.emit(boost::asio::cancellation_type::terminal);
    context.run();
    ASSERT_TRUE(result);
    EXPECT_EQ(*result, boost::asio::error::operation_aborted);
    EXPECT_TRUE(batch.empty());
    std::vector<std::uint32_t> numbers;
    while (numbers.size() < 4)
    {
        ASSERT_NE(stream.read_batch(batch, 1s), 0u);
        for (std::size_t i = 0; i < batch.size(); ++i)
            numbers.push_back(number_of(batch[i].bytes));
    }
    EXPECT_EQ(numbers, (std::vector<std::uint32_t>{0, 1, 2, 3}));
}

TEST_F(hid_stream_queue_test, after_a_removal_the_queued_reports_are_read_before_the_read_that_learns_of_it)
{
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(bare_id), hid_open_mode::seized, hid_read_queue{8});
    post_numbered(0, 2);
    wait_until_queued(stream, 2);
    sim::remove_entry(bare_id);
    EXPECT_EQ(read_number(stream), 0u);
    EXPECT_EQ(read_number(stream), 1u);
    std::array<std::uint8_t, 4> bytes{};
    std::uint8_t id = 0;
    boost::system::error_code ec;
    stream.read({&id, boost::asio::buffer(bytes)}, 10s, ec);
    EXPECT_EQ(ec, boost::asio::error::operation_aborted);
    EXPECT_FALSE(stream.is_open());
}

TEST_F(hid_stream_queue_test, removal_during_a_queued_read_aborts_it_and_closes_the_stream)
{
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(bare_id), hid_open_mode::seized, hid_read_queue{8});
    hid_report_batch batch(4, 4);
    auto reader = read_batch_on_a_thread(stream, batch);
    EXPECT_EQ(reader.wait_for(50ms), std::future_status::timeout);
    sim::remove_entry(bare_id);
    EXPECT_EQ(reader.get(), boost::asio::error::operation_aborted);
    EXPECT_FALSE(stream.is_open());
}

TEST_F(hid_stream_queue_test, shutting_the_context_down_releases_queued_readers)
{
    shutting_context context;
    hid_stream stream(context.get_executor(), entry(bare_id), hid_open_mode::seized, hid_read_queue{8});
    hid_report_batch batch(4, 4);
    auto reader = read_batch_on_a_thread(stream, batch);
    EXPECT_EQ(reader.wait_for(50ms), std::future_status::timeout);
    context.shutdown();
    EXPECT_EQ(reader.get(), boost::asio::error::operation_aborted);
}

// cancel() takes the blocked reader off the queue at once, so that a report that
// comes meanwhile is the next read's, but the reader learns of it only through
// the executor, as a reader waiting for its handler does.
TEST_F(hid_stream_queue_test, a_cancelled_queued_reader_takes_no_report_and_is_released_through_the_executor)
{
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(bare_id), hid_open_mode::seized, hid_read_queue{8});
    blocked_read reader(stream, 10s);
    stream.cancel();
    post_numbered(7, 1);
    wait_until_queued(stream, 1);
    EXPECT_EQ(reader.result.wait_for(50ms), std::future_status::timeout) << "released before the executor ran";
    EXPECT_EQ(context.run_one(), 1u);
    EXPECT_EQ(reader.result.get(), boost::asio::error::operation_aborted);
    EXPECT_EQ(read_number(stream), 7u);
}

// Overlapping reads break the one-read-at-a-time rule: as with any stream, the
// later read gets the reports and the earlier one waits to its deadline.
TEST_F(hid_stream_queue_test, a_queued_reader_that_a_later_read_replaces_gets_nothing_and_times_out)
{
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(bare_id), hid_open_mode::seized, hid_read_queue{8});
    blocked_read replaced(stream, 300ms);
    std::array<std::uint8_t, 4> bytes{};
    std::uint8_t id = 0;
    std::optional<boost::system::error_code> result;
    stream.async_read({&id, boost::asio::buffer(bytes)},
                      [&](boost::system::error_code ec, std::size_t) { result = ec; });
    post_numbered(3, 2);
    EXPECT_EQ(replaced.result.get(), boost::asio::error::timed_out);
    context.run();
    ASSERT_TRUE(result);
    EXPECT_FALSE(*result);
    EXPECT_EQ(number_of(bytes), 3u);
    EXPECT_EQ(read_number(stream), 4u) << "the replaced reader took no report";
}

// A reader still blocked when its stream is destroyed (by another thread, or one
// that a later read replaced) is let go, not left waiting on freed memory.
TEST_F(hid_stream_queue_test, destroying_a_queued_stream_releases_its_blocked_readers)
{
    boost::asio::io_context context;
    std::optional<hid_stream> stream(std::in_place, context.get_executor(), entry(bare_id), hid_open_mode::seized,
                                     hid_read_queue{8});
    blocked_read first(*stream);
    blocked_read second(*stream);
    stream.reset();
    EXPECT_EQ(first.result.get(), boost::asio::error::operation_aborted);
    EXPECT_EQ(second.result.get(), boost::asio::error::operation_aborted);
}

TEST_F(hid_stream_queue_test, a_queue_of_no_reports_is_refused_and_the_device_is_left_as_found)
{
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(bare_id));
    stream.close();
    try
    {
        stream.open(hid_open_mode::seized, hid_read_queue{0});
        FAIL() << "opened with a queue of no reports";
    }
    catch (boost::system::system_error const& e)
    {
        EXPECT_EQ(e.code(), boost::asio::error::invalid_argument);
        EXPECT_NE(std::string(e.what()).find("open"), std::string::npos);
    }
    EXPECT_FALSE(stream.is_open());
    EXPECT_EQ(sim::hid_schedulings(bare_id), 0u);
    boost::system::error_code ec;
    stream.open(hid_open_mode::seized, hid_read_queue{static_cast<std::size_t>(-1) / 2}, ec);
    EXPECT_EQ(ec, boost::asio::error::invalid_argument) << "a queue that cannot fit in memory";
    EXPECT_FALSE(stream.is_open());
    EXPECT_EQ(sim::hid_schedulings(bare_id), 0u);
    // Within what a size can count, beyond the machine's memory (reports of the bare
    // device's 4 bytes): refused before anything is allocated.
    auto const memory =
        static_cast<std::size_t>(sysconf(_SC_PHYS_PAGES)) * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    stream.open(hid_open_mode::seized, hid_read_queue{memory / 4 + 1}, ec);
    EXPECT_EQ(ec, boost::asio::error::invalid_argument) << "a queue larger than the machine's memory";
    EXPECT_FALSE(stream.is_open());
    EXPECT_EQ(sim::hid_schedulings(bare_id), 0u);
    stream.open(hid_open_mode::seized, hid_read_queue{2});
    EXPECT_TRUE(stream.is_open());
    EXPECT_THROW(hid_report_batch(0, 4), std::invalid_argument);
    EXPECT_THROW(hid_report_batch(4, 0), std::invalid_argument);
}

// A reader that reads as fast as it can and one made slow on purpose, each
// beside a poster: every report is read once, in order, or counted as dropped.
TEST_F(hid_stream_queue_test, every_report_is_read_once_in_order_or_counted_as_dropped)
{
    for (bool const slow : {false, true})
    {
        SCOPED_TRACE(slow ? "slow reader" : "fast reader");
        boost::asio::io_context context;
        hid_stream stream(context.get_executor(), entry(bare_id), hid_open_mode::seized,
                          hid_read_queue{slow ? 4u : 64u, hid_queue_overflow::drop_oldest});
        constexpr std::uint32_t total = 2000;
        auto const kernel_drops_before = sim::dropped_input_reports(bare_id);
        auto const accounted = [&](std::size_t read) {
            return read + stream.dropped_reports() + (sim::dropped_input_reports(bare_id) - kernel_drops_before);
        };
        std::atomic<bool> posted{false};
        std::thread poster([&] {
            for (std::uint32_t n = 0; n < total; ++n)
                post(bare_id, 1, numbered(n));
            posted = true;
        });
        std::vector<std::uint32_t> seen;
        hid_report_batch batch(16, 4);
        auto const deadline = std::chrono::steady_clock::now() + 60s;
        while (!posted || stream.queued_reports() != 0 || accounted(seen.size()) != total)
        {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline)
                << seen.size() << " read, " << stream.dropped_reports() << " dropped by the stream, "
                << sim::dropped_input_reports(bare_id) - kernel_drops_before << " by the device, of " << total;
            boost::system::error_code ec;
            stream.read_batch(batch, 100ms, ec);
            if (ec == boost::asio::error::timed_out)
                continue;
            ASSERT_FALSE(ec) << ec.message();
            for (std::size_t i = 0; i < batch.size(); ++i)
                seen.push_back(number_of(batch[i].bytes));
            if (slow)
                std::this_thread::sleep_for(200us);
        }
        poster.join();
        for (std::size_t i = 1; i < seen.size(); ++i)
            ASSERT_LT(seen[i - 1], seen[i]) << "a report read twice or out of order at " << i;
        EXPECT_EQ(accounted(seen.size()), total);
        if (!seen.empty() && sim::dropped_input_reports(bare_id) == kernel_drops_before)
        {
            EXPECT_EQ(seen.back(), total - 1) << "dropping the oldest keeps the last report";
        }
    }
}

} // namespace
