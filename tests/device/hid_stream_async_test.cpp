// Tests of hid_stream's asynchronous reads: tokens, executors, allocators, cancellation, removal and shutdown.
#include "device/completion_support.hpp"
#include "device/hid_stream_support.hpp"
#include "error/apple/hid_errc.hpp"

#include <boost/asio/bind_allocator.hpp>
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/deferred.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/use_future.hpp>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <future>
#include <optional>
#include <thread>
#include <variant>
#include <vector>

// Every heap allocation of the process, on any thread: a read loop in steady
// state must make none.
#include "support/counted_heap.hpp"

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
using namespace boost::asio::experimental::awaitable_operators;

// Runs a coroutine on `context` and hands its result over. (co_spawn with
// use_future would complete on the system executor, whose threads outlive the test.)
template <typename T, typename Coroutine>
std::future<T> spawn(asio::io_context& context, Coroutine coroutine)
{
    auto promise = std::make_shared<std::promise<T>>();
    auto future = promise->get_future();
    asio::co_spawn(context, std::move(coroutine), [promise](std::exception_ptr e, T value) {
        if (e)
            promise->set_exception(e);
        else
            promise->set_value(std::move(value));
    });
    return future;
}

TEST_F(hid_stream_test, every_kind_of_completion_token_gets_the_report)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(keyboard_id));
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t id = 0;

    recording_handler handler;
    auto plain = handler.result();
    stream.async_read({&id, asio::buffer(bytes)}, handler);
    post(keyboard_id, 2, {1, 2, 3});
    auto const got = plain.get();
    EXPECT_FALSE(got.ec);
    EXPECT_EQ(got.n, 3u);
    EXPECT_EQ(id, 2);
    EXPECT_EQ(bytes[2], 3);

    auto future = stream.async_read({&id, asio::buffer(bytes)}, asio::use_future);
    post(keyboard_id, 4, {5});
    EXPECT_EQ(future.get(), 1u);
    EXPECT_EQ(id, 4);

    auto coroutine = spawn<std::size_t>(running.context, [&]() -> asio::awaitable<std::size_t> {
        co_return co_await stream.async_read({&id, asio::buffer(bytes)}, asio::use_awaitable);
    });
    post(keyboard_id, 6, {7, 8});
    EXPECT_EQ(coroutine.get(), 2u);
    EXPECT_EQ(id, 6);

    // A deferred read starts only when it is given its handler.
    auto deferred = stream.async_read({&id, asio::buffer(bytes)}, asio::deferred);
    post(keyboard_id, 9, {10});
    EXPECT_EQ(std::move(deferred)(asio::use_future).get(), 1u);
    EXPECT_EQ(id, 9);
    EXPECT_EQ(bytes[0], 10);
}

TEST_F(hid_stream_test, the_handler_runs_on_its_own_executor_never_inside_async_read_nor_on_the_run_loop_thread)
{
    // The handlers' context goes last: the streams' thread may still be returning
    // from the post that handed the handler over when the handler has run.
    running_context handlers;
    running_context streams;
    std::atomic<std::thread::id> run_loop_thread;
    sim::set_input_report_observer(keyboard_id, [&] { run_loop_thread = std::this_thread::get_id(); });
    hid_stream stream(streams.context.get_executor(), entry(keyboard_id));
    std::array<std::uint8_t, 8> bytes{};
    recording_handler handler;
    auto done = handler.result();
    stream.async_read({nullptr, asio::buffer(bytes)}, asio::bind_executor(handlers.context, handler));
    post(keyboard_id, 1, {1});
    auto const got = done.get();
    EXPECT_FALSE(got.ec);
    EXPECT_EQ(got.thread, thread_of(handlers.context));
    EXPECT_NE(got.thread, run_loop_thread.load());
    sim::set_input_report_observer(keyboard_id, nullptr);

    // A closed stream fails the read through the executor too, not in the call.
    asio::io_context idle;
    hid_stream closed(idle.get_executor());
    bool returned = false;
    std::optional<error_code> failed;
    closed.async_read({nullptr, asio::buffer(bytes)}, [&](error_code ec, std::size_t) {
        EXPECT_TRUE(returned) << "completed inside async_read";
        failed = ec;
    });
    returned = true;
    EXPECT_FALSE(failed);
    idle.run();
    EXPECT_EQ(failed, make_error_code(plinth::apple::hid_errc::not_open));
}

TEST_F(hid_stream_test, cancel_aborts_an_async_read_and_its_report_goes_to_the_next_read)
{
    asio::io_context context;
    hid_stream stream(context.get_executor(), entry(keyboard_id));
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t id = 0;
    std::vector<error_code> completions;
    auto record = [&](error_code ec, std::size_t) { completions.push_back(ec); };
    stream.async_read({&id, asio::buffer(bytes)}, record);
    stream.cancel();
    context.run();
    ASSERT_EQ(completions.size(), 1u);
    EXPECT_EQ(completions[0], asio::error::operation_aborted);

    post(keyboard_id, 3, {4});
    std::size_t got = 0;
    stream.async_read({&id, asio::buffer(bytes)}, [&](error_code ec, std::size_t n) {
        EXPECT_FALSE(ec);
        got = n;
    });
    context.restart();
    context.run();
    EXPECT_EQ(got, 1u);
    EXPECT_EQ(id, 3);
}

TEST_F(hid_stream_test, a_cancellation_slot_withdraws_only_its_own_read_among_several_streams)
{
    auto const third_id = sim::add_entry(
        {"IOUSBHostHIDDevice", "Third", "14300000", {{"MaxInputReportSize", sim::make_number(4)}}}, sim::root_entry_id);
    asio::io_context context;
    std::vector<std::unique_ptr<hid_stream>> streams;
    std::vector<sim::entry_id> const ids{keyboard_id, bare_id, third_id};
    for (auto const id : ids)
        streams.push_back(std::make_unique<hid_stream>(context.get_executor(), entry(id)));
    std::array<asio::cancellation_signal, 3> signals;
    std::array<std::array<std::uint8_t, 4>, 3> buffers{};
    std::array<std::optional<error_code>, 3> results;
    for (std::size_t i = 0; i < 3; ++i)
        streams[i]->async_read({nullptr, asio::buffer(buffers[i])},
                               asio::bind_cancellation_slot(
                                   signals[i].slot(), [&results, i](error_code ec, std::size_t) { results[i] = ec; }));
    signals[1].emit(asio::cancellation_type::terminal);
    for (std::size_t i = 0; i < 3; ++i)
        post(ids[i], 1, {static_cast<std::uint8_t>(10 + i)});
    context.run();
    EXPECT_EQ(results[0], error_code());
    EXPECT_EQ(results[1], asio::error::operation_aborted);
    EXPECT_EQ(results[2], error_code());
    EXPECT_EQ(buffers[2][0], 12);

    // The withdrawn read took nothing: its device's report waits for the next.
    std::size_t got = 0;
    streams[1]->async_read({nullptr, asio::buffer(buffers[1])}, [&](error_code, std::size_t n) { got = n; });
    context.restart();
    context.run();
    EXPECT_EQ(got, 1u);
    EXPECT_EQ(buffers[1][0], 11);
}

// A report handed back by a cancelled read completes the next read at once; a
// cancellation that reaches that read before its completion runs (a timer
// winning the same round) hands the report back again rather than drop it.
TEST_F(hid_stream_test, a_kept_report_survives_cancellations_that_beat_its_completion)
{
    asio::io_context context;
    hid_stream stream(context.get_executor(), entry(keyboard_id));
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t id = 0;
    std::vector<std::pair<error_code, std::size_t>> results;
    auto record = [&](error_code ec, std::size_t n) { results.emplace_back(ec, n); };

    asio::cancellation_signal first;
    post(keyboard_id, 7, {42, 43});
    stream.async_read({&id, asio::buffer(bytes)}, asio::bind_cancellation_slot(first.slot(), record));
    // Time for the run-loop thread to fill the read and post its completion,
    // which nobody runs yet. (Should it not have, the cancellation withdraws the
    // read and the report stays with the device: the end is the same.)
    std::this_thread::sleep_for(100ms);
    first.emit(asio::cancellation_type::terminal);
    context.restart();
    context.run();
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].first, asio::error::operation_aborted);

    asio::cancellation_signal second;
    stream.async_read({&id, asio::buffer(bytes)}, asio::bind_cancellation_slot(second.slot(), record));
    second.emit(asio::cancellation_type::terminal);
    context.restart();
    context.run();
    ASSERT_EQ(results.size(), 2u);
    EXPECT_EQ(results[1].first, asio::error::operation_aborted);

    // A later report, so that a lost one shows as the wrong report, not a hang.
    post(keyboard_id, 8, {44});
    stream.async_read({&id, asio::buffer(bytes)}, record);
    context.restart();
    context.run();
    ASSERT_EQ(results.size(), 3u);
    EXPECT_FALSE(results[2].first);
    EXPECT_EQ(results[2].second, 2u);
    EXPECT_EQ(id, 7);
    EXPECT_EQ(bytes[0], 42);
}

TEST_F(hid_stream_test, removal_and_shutdown_complete_pending_async_reads_with_operation_aborted)
{
    running_context running;
    {
        hid_stream stream(running.context.get_executor(), entry(keyboard_id));
        std::array<std::uint8_t, 8> bytes{};
        // The code crosses threads as a value: an exception that a future hands from
        // the context's thread to this one is counted inside the C++ runtime, where
        // ThreadSanitizer cannot see the ordering and reports a race.
        std::promise<error_code> removed;
        stream.async_read({nullptr, asio::buffer(bytes)}, [&](error_code ec, std::size_t) { removed.set_value(ec); });
        sim::remove_entry(keyboard_id);
        EXPECT_EQ(removed.get_future().get(), asio::error::operation_aborted);
        EXPECT_FALSE(stream.is_open());
    }

    // Nobody runs the context when it shuts down: the reads complete on the
    // thread that shuts it down, as blocked synchronous readers are released.
    plinth::testing::shutting_context context;
    hid_stream first(context.get_executor(), entry(bare_id));
    std::array<std::uint8_t, 8> bytes{};
    auto future = first.async_read({nullptr, asio::buffer(bytes)}, asio::use_future);
    std::optional<error_code> called;
    auto const third_id = sim::add_entry(
        {"IOUSBHostHIDDevice", "Third", "14300000", {{"MaxInputReportSize", sim::make_number(4)}}}, sim::root_entry_id);
    hid_stream third(context.get_executor(), entry(third_id));
    third.async_read({nullptr, asio::buffer(bytes)}, [&](error_code ec, std::size_t) { called = ec; });
    context.shutdown();
    EXPECT_EQ(called, asio::error::operation_aborted);
    ASSERT_EQ(future.wait_for(0s), std::future_status::ready);
    EXPECT_THROW(future.get(), boost::system::system_error);
}

// Counts what goes through it: the operation's state must.
template <typename T>
struct counting_allocator
{
    using value_type = T;
    std::atomic<int>* allocations;

    explicit counting_allocator(std::atomic<int>* count) noexcept : allocations(count) {}
    template <typename U>
    counting_allocator(counting_allocator<U> const& other) noexcept : allocations(other.allocations) // NOLINT
    {
    }
    T* allocate(std::size_t n)
    {
        allocations->fetch_add(1);
        return std::allocator<T>().allocate(n);
    }
    void deallocate(T* p, std::size_t n) noexcept { std::allocator<T>().deallocate(p, n); }
    template <typename U>
    bool operator==(counting_allocator<U> const& other) const noexcept
    {
        return allocations == other.allocations;
    }
};

TEST_F(hid_stream_test, the_operation_state_comes_from_the_handler_allocator)
{
    asio::io_context context;
    hid_stream stream(context.get_executor(), entry(keyboard_id));
    std::atomic<int> allocations{0};
    std::array<std::uint8_t, 8> bytes{};
    int completed = 0;
    for (int i = 0; i < 3; ++i)
    {
        post(keyboard_id, 1, {1});
        stream.async_read({nullptr, asio::buffer(bytes)},
                          asio::bind_allocator(counting_allocator<void>(&allocations),
                                               [&](error_code ec, std::size_t) { completed += ec ? 0 : 1; }));
        context.restart();
        context.run();
    }
    EXPECT_EQ(completed, 3);
    EXPECT_EQ(allocations.load(), 3) << "one state per read, from the handler's allocator";
}

TEST_F(hid_stream_test, a_read_loop_in_steady_state_allocates_nothing_on_any_thread)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(keyboard_id));
    std::atomic<int> reads{0};
    std::array<std::uint8_t, 8> bytes{};
    std::function<void()> read_next;
    read_next = [&] {
        stream.async_read({nullptr, asio::buffer(bytes)}, [&](error_code ec, std::size_t) {
            if (ec)
                return;
            reads.fetch_add(1);
            reads.notify_one();
            read_next();
        });
    };
    asio::post(running.context, read_next);
    auto read_one = [&](int n) {
        post(keyboard_id, 1, {1, 2});
        for (int seen = reads.load(); seen < n; seen = reads.load())
            reads.wait(seen);
    };
    for (int i = 1; i <= 200; ++i)
        read_one(i);
    std::uint64_t counted = 0;
    for (int i = 201; i <= 400; ++i)
    {
        // The report is posted outside the window: only the read is counted.
        post(keyboard_id, 1, {1, 2});
        auto const before = plinth::testing::heap_allocations.load();
        for (int seen = reads.load(); seen < i; seen = reads.load())
            reads.wait(seen);
        counted += plinth::testing::heap_allocations.load() - before;
    }
    EXPECT_EQ(counted, 0u);
    asio::post(running.context, [&] { stream.cancel(); });
    asio::post(running.context, asio::use_future).get();
}

} // namespace
