// Tests of device_watcher: lost or misordered events, early or misrouted completions, mishandled cancels and shutdown.
#include "device/apple/device_watcher.hpp"
#include "support/threaded_sim_test.hpp"

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/deferred.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/use_future.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <variant>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::apple::device_event;
using plinth::apple::device_match;
using plinth::apple::device_watcher;
using plinth::apple::watch_errc;
using kind = plinth::apple::device_event::kind_type;
using namespace std::chrono_literals;

// One wait's outcome, with the thread its handler ran on.
struct outcome
{
    boost::system::error_code error;
    device_event event;
    std::thread::id thread;
};

// Waits once and runs `context` on this thread until the wait completes (or 10 s pass).
std::optional<outcome> next(device_watcher& watcher, boost::asio::io_context& context)
{
    std::optional<outcome> result;
    watcher.async_wait([&result](boost::system::error_code error, device_event event) {
        result = outcome{error, std::move(event), std::this_thread::get_id()};
    });
    context.restart();
    auto const until = std::chrono::steady_clock::now() + 10s;
    while (!result && std::chrono::steady_clock::now() < until)
        context.run_one_for(100ms);
    return result;
}

// The IDs and kinds of `count` events, taken one wait at a time.
std::vector<std::pair<kind, std::uint64_t>> take(device_watcher& watcher, boost::asio::io_context& context,
                                                 std::size_t count)
{
    std::vector<std::pair<kind, std::uint64_t>> events;
    for (std::size_t i = 0; i < count; ++i)
    {
        auto const got = next(watcher, context);
        if (!got || got->error)
            break;
        events.emplace_back(got->event.kind, got->event.device.get_id());
    }
    return events;
}

sim::entry_id add_device(char const* class_name, char const* name, sim::dictionary properties = {})
{
    return sim::add_entry({class_name, name, {}, std::move(properties)}, sim::root_entry_id);
}

using device_watcher_test = plinth::testing::threaded_sim_test;

TEST_F(device_watcher_test, reports_present_entries_first_in_registry_order_then_arrivals_and_departures)
{
    auto const first = add_device("IOUSBHostDevice", "First");
    auto const second = add_device("IOUSBHostDevice", "Second");
    add_device("IOMedia", "Not watched");
    auto const third = add_device("IOUSBHostDevice", "Third");
    boost::asio::io_context context;
    device_watcher watcher(context.get_executor(), device_match{"IOUSBHostDevice"});

    for (auto const id : {first, second, third})
    {
        auto const got = next(watcher, context);
        ASSERT_TRUE(got && !got->error);
        EXPECT_EQ(got->event.kind, kind::arrived);
        EXPECT_TRUE(got->event.present_at_start);
        EXPECT_EQ(got->event.device.get_id(), id);
        EXPECT_EQ(got->thread, std::this_thread::get_id()) << "on the thread running the executor";
    }
    auto const mouse = add_device("IOUSBHostDevice", "Mouse");
    sim::remove_entry(first);
    auto const arrived = next(watcher, context);
    ASSERT_TRUE(arrived && !arrived->error);
    EXPECT_EQ(arrived->event.kind, kind::arrived);
    EXPECT_FALSE(arrived->event.present_at_start);
    EXPECT_EQ(arrived->event.device.get_id(), mouse);
    EXPECT_EQ(arrived->event.device.get_name(), "Mouse");
    auto const left = next(watcher, context);
    ASSERT_TRUE(left && !left->error);
    EXPECT_EQ(left->event.kind, kind::left);
    EXPECT_EQ(left->event.device.get_id(), first);
}

TEST_F(device_watcher_test, never_completes_inside_async_wait)
{
    add_device("IOUSBHostDevice", "Present");
    boost::asio::io_context context;
    device_watcher watcher(context.get_executor(), device_match{"IOUSBHostDevice"});
    bool called = false;
    watcher.async_wait([&called](boost::system::error_code, device_event) { called = true; });
    EXPECT_FALSE(called) << "an event was queued, yet the handler must wait for the executor";
    context.run();
    EXPECT_TRUE(called);
}

TEST_F(device_watcher_test, keeps_every_event_in_order_across_bursts_from_another_thread)
{
    constexpr std::size_t devices = 300;
    boost::asio::io_context context;
    device_watcher watcher(context.get_executor(), device_match{"IOUSBHostDevice"});
    std::vector<std::pair<kind, std::uint64_t>> seen;
    std::function<void()> wait_next = [&] {
        watcher.async_wait([&](boost::system::error_code error, device_event event) {
            ASSERT_FALSE(error) << error.message();
            seen.emplace_back(event.kind, event.device.get_id());
            if (seen.size() < 2 * devices)
                wait_next();
        });
    };
    wait_next();
    std::thread reader([&context] { context.run_for(30s); });
    std::vector<sim::entry_id> added;
    for (std::size_t i = 0; i < devices; ++i)
    {
        added.push_back(add_device("IOUSBHostDevice", "Blinking"));
        if (i % 3 == 2) // bursts of three plugged, then unplugged together
            for (auto j = i - 2; j <= i; ++j)
                sim::remove_entry(added[j]);
    }
    reader.join();

    ASSERT_EQ(seen.size(), 2 * devices);
    std::vector<std::uint64_t> arrivals;
    std::map<std::uint64_t, std::size_t> arrived_at;
    for (std::size_t i = 0; i < seen.size(); ++i)
    {
        auto const [what, id] = seen[i];
        if (what == kind::arrived)
        {
            arrivals.push_back(id);
            EXPECT_TRUE(arrived_at.emplace(id, i).second) << "arrived twice: " << id;
        }
        else
        {
            auto const at = arrived_at.find(id);
            ASSERT_NE(at, arrived_at.end()) << "left before it arrived: " << id;
            EXPECT_LT(at->second, i);
        }
    }
    EXPECT_EQ(arrivals, std::vector<std::uint64_t>(added.begin(), added.end())) << "arrivals in the order made";
}

TEST_F(device_watcher_test, narrows_to_a_vendor_and_product_by_usb_or_hid_keys)
{
    auto const usb_keyboard = add_device(
        "IOService", "USB keyboard", {{"idVendor", sim::make_number(0x046d)}, {"idProduct", sim::make_number(0xc31c)}});
    add_device("IOService", "USB mouse",
               {{"idVendor", sim::make_number(0x046d)}, {"idProduct", sim::make_number(0xc077)}});
    add_device("IOService", "No IDs");
    auto const hid_keyboard = add_device(
        "IOService", "HID keyboard", {{"VendorID", sim::make_number(0x046d)}, {"ProductID", sim::make_number(0xc31c)}});
    add_device("IOService", "Other vendor",
               {{"VendorID", sim::make_number(0x05ac)}, {"ProductID", sim::make_number(0xc31c)}});
    boost::asio::io_context context;
    device_watcher watcher(context.get_executor(), device_match{"IOService", 0x046d, 0xc31c});
    auto const present = take(watcher, context, 2);
    EXPECT_EQ(present, (std::vector<std::pair<kind, std::uint64_t>>{{kind::arrived, usb_keyboard},
                                                                    {kind::arrived, hid_keyboard}}));

    // One that never arrived for the watcher never leaves for it either.
    sim::remove_entry(
        sim::add_entry({"IOService", "Late mouse", {}, {{"idVendor", sim::make_number(0x046d)}}}, sim::root_entry_id));
    auto const late = add_device("IOService", "Late keyboard",
                                 {{"idVendor", sim::make_number(0x046d)}, {"idProduct", sim::make_number(0xc31c)}});
    sim::remove_entry(usb_keyboard);
    // IOKit batches arrivals and departures apart: their order between two
    // entries is not kept.
    auto events = take(watcher, context, 2);
    std::sort(events.begin(), events.end());
    EXPECT_EQ(events, (std::vector<std::pair<kind, std::uint64_t>>{{kind::arrived, late}, {kind::left, usb_keyboard}}));
}

TEST_F(device_watcher_test, reports_an_overflow_in_place_of_the_dropped_events_and_goes_on)
{
    boost::asio::io_context context;
    device_watcher watcher(context.get_executor(), device_match{"IOUSBHostDevice"}, 4);
    device_watcher sentinel(context.get_executor(), device_match{"IOMedia"});
    std::vector<sim::entry_id> added;
    for (int i = 0; i < 10; ++i)
        added.push_back(add_device("IOUSBHostDevice", "Flood"));
    // The port's messages are served in order: once the sentinel has its entry,
    // the watcher has had all ten.
    auto const marker = add_device("IOMedia", "Sentinel");
    auto const got_marker = next(sentinel, context);
    ASSERT_TRUE(got_marker && !got_marker->error);
    ASSERT_EQ(got_marker->event.device.get_id(), marker);

    EXPECT_EQ(watcher.dropped(), 0u);
    auto const kept = take(watcher, context, 4);
    ASSERT_EQ(kept.size(), 4u);
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(kept[i].second, added[i]) << "the oldest events are kept";
    auto const overflow = next(watcher, context);
    ASSERT_TRUE(overflow);
    EXPECT_EQ(overflow->error, watch_errc::overflow);
    EXPECT_EQ(overflow->error.message(), "device events were dropped: the watcher's queue was full");
    EXPECT_FALSE(overflow->event.device);
    EXPECT_EQ(watcher.dropped(), 6u);

    auto const after = add_device("IOUSBHostDevice", "After");
    sim::remove_entry(added[9]);
    EXPECT_EQ(take(watcher, context, 2),
              (std::vector<std::pair<kind, std::uint64_t>>{{kind::arrived, after}, {kind::left, added[9]}}))
        << "a dropped arrival still leaves";
}

TEST_F(device_watcher_test, cancel_aborts_pending_waits_and_keeps_the_events_for_the_next)
{
    boost::asio::io_context context;
    device_watcher watcher(context.get_executor(), device_match{"IOUSBHostDevice"});
    EXPECT_EQ(watcher.cancel(), 0u) << "nothing to cancel";

    std::vector<boost::system::error_code> errors;
    for (int i = 0; i < 2; ++i)
        watcher.async_wait([&errors](boost::system::error_code error, device_event) { errors.push_back(error); });
    EXPECT_EQ(watcher.cancel(), 2u);
    EXPECT_TRUE(errors.empty()) << "not inside cancel()";
    context.run();
    EXPECT_EQ(errors, (std::vector<boost::system::error_code>{boost::asio::error::operation_aborted,
                                                              boost::asio::error::operation_aborted}));

    auto const mouse = add_device("IOUSBHostDevice", "Mouse");
    auto const got = next(watcher, context);
    ASSERT_TRUE(got && !got->error);
    EXPECT_EQ(got->event.device.get_id(), mouse) << "the watcher goes on after a cancel";
}

TEST_F(device_watcher_test, a_cancelled_wait_whose_completion_is_under_way_leaves_its_event_queued)
{
    add_device("IOUSBHostDevice", "Present");
    boost::asio::io_context context;
    device_watcher watcher(context.get_executor(), device_match{"IOUSBHostDevice"});
    std::optional<boost::system::error_code> error;
    watcher.async_wait([&error](boost::system::error_code e, device_event) { error = e; });
    // The wait has its completion posted already; cancelling before it runs aborts it.
    EXPECT_EQ(watcher.cancel(), 1u);
    context.run();
    EXPECT_EQ(error, boost::asio::error::operation_aborted);
    auto const got = next(watcher, context);
    ASSERT_TRUE(got && !got->error);
    EXPECT_TRUE(got->event.present_at_start);
}

TEST_F(device_watcher_test, a_timer_racing_a_wait_wins_or_loses_whole_and_no_event_is_lost)
{
    using namespace boost::asio::experimental::awaitable_operators;
    constexpr int rounds = 200;
    boost::asio::io_context context;
    device_watcher watcher(context.get_executor(), device_match{"IOUSBHostDevice"});
    std::vector<std::uint64_t> received;
    int timeouts = 0;
    std::atomic<bool> done{false};
    boost::asio::co_spawn(
        context,
        [&]() -> boost::asio::awaitable<void> {
            boost::asio::steady_timer timer(context);
            while (received.size() < rounds)
            {
                timer.expires_after(std::chrono::microseconds(50 + received.size() % 7 * 40));
                auto const result = co_await (watcher.async_wait(boost::asio::use_awaitable) ||
                                              timer.async_wait(boost::asio::use_awaitable));
                if (result.index() == 0)
                    received.push_back(std::get<0>(result).device.get_id());
                else
                    ++timeouts;
            }
            done = true;
        },
        boost::asio::detached);
    std::vector<sim::entry_id> added;
    std::thread plugger([&added] {
        for (int i = 0; i < rounds; ++i)
        {
            added.push_back(add_device("IOUSBHostDevice", "Racing"));
            // Now and then a pause longer than any timer, so that timers win some
            // rounds however slow a sanitizer makes the rest.
            std::this_thread::sleep_for(i % 10 == 9 ? std::chrono::microseconds(3000)
                                                    : std::chrono::microseconds(i % 5 * 60));
        }
    });
    auto const until = std::chrono::steady_clock::now() + 20s;
    while (!done && std::chrono::steady_clock::now() < until)
        context.run_one_for(100ms);
    plugger.join();
    ASSERT_TRUE(done);
    EXPECT_EQ(received, added) << "every event once, in order, whichever side won each round";
    EXPECT_GT(timeouts, 0) << "the timer never won: the race was not run";
}

// An io_context whose shutdown a test can call while the context still exists.
struct shutting_context : boost::asio::io_context
{
    using boost::asio::io_context::shutdown;
};

TEST_F(device_watcher_test, context_shutdown_destroys_pending_waits_without_calling_them)
{
    shutting_context context;
    device_watcher watcher(context.get_executor(), device_match{"IOUSBHostDevice"});
    auto const alive = std::make_shared<int>(0);
    std::weak_ptr<int> const handler_state = alive;
    bool called = false;
    watcher.async_wait([held = alive, &called](boost::system::error_code, device_event) { called = true; });
    watcher.async_wait([held = alive, &called](boost::system::error_code, device_event) { called = true; });
    context.shutdown();
    add_device("IOUSBHostDevice", "After shutdown");
    watcher.async_wait([held = alive, &called](boost::system::error_code, device_event) { called = true; });
    EXPECT_EQ(alive.use_count(), 1) << "every handler destroyed";
    EXPECT_FALSE(called);
}

// The watcher goes first with a wait pending, then its context, whose destruction
// drops the wait's posted completion unrun. The wait must go with it: the watcher's
// state may live on a little in a notification's clean-up thread, and a wait kept
// there would destroy its executor after the context (a use after free that
// AddressSanitizer, or a crash, shows within a few rounds).
TEST_F(device_watcher_test, a_pending_wait_goes_with_its_context_when_the_watcher_went_first)
{
    for (int round = 0; round < 20; ++round)
    {
        auto const alive = std::make_shared<int>(0);
        {
            boost::asio::io_context context;
            device_watcher watcher(context.get_executor(), device_match{"IOUSBHostDevice"});
            std::function<void(boost::system::error_code, device_event)> again = [&, held = alive](auto error, auto) {
                if (!error)
                    watcher.async_wait(again);
            };
            watcher.async_wait(again);
            context.poll();
        }
        EXPECT_EQ(alive.use_count(), 1) << "round " << round << ": every handler destroyed with the context";
    }
}

TEST_F(device_watcher_test, completes_through_the_handlers_associated_executor)
{
    add_device("IOUSBHostDevice", "First");
    add_device("IOUSBHostDevice", "Second");
    boost::asio::io_context context;
    device_watcher watcher(context.get_executor(), device_match{"IOUSBHostDevice"});

    auto const strand = boost::asio::make_strand(context);
    bool in_strand = false;
    watcher.async_wait(boost::asio::bind_executor(
        strand, [&](boost::system::error_code, device_event) { in_strand = strand.running_in_this_thread(); }));
    context.run();
    EXPECT_TRUE(in_strand);

    // Through the watcher's context, as Asio's operations complete, to the other one.
    boost::asio::io_context other;
    std::promise<std::thread::id> ran_on;
    watcher.async_wait(boost::asio::bind_executor(other, [&](boost::system::error_code error, device_event) {
        EXPECT_FALSE(error);
        ran_on.set_value(std::this_thread::get_id());
    }));
    std::thread other_thread([&other] { other.run(); });
    auto const other_id = other_thread.get_id();
    context.restart();
    context.run();
    other_thread.join();
    EXPECT_EQ(ran_on.get_future().get(), other_id);
}

TEST_F(device_watcher_test, works_with_futures_and_deferred_operations)
{
    auto const present = add_device("IOUSBHostDevice", "Present");
    boost::asio::io_context context;
    device_watcher watcher(context.get_executor(), device_match{"IOUSBHostDevice"});
    auto future = watcher.async_wait(boost::asio::use_future);
    std::thread runner([&context] { context.run(); });
    EXPECT_EQ(future.get().device.get_id(), present);
    runner.join();

    auto const later = add_device("IOUSBHostDevice", "Later");
    auto operation = watcher.async_wait(boost::asio::deferred);
    std::optional<std::uint64_t> got;
    std::move(operation)([&got](boost::system::error_code, device_event event) { got = event.device.get_id(); });
    context.restart();
    context.run();
    EXPECT_EQ(got, later);
}

} // namespace
