// Tests of the notifier service: its serving thread, notifications reaching it, tokens and their clean-up, and shutdown.
#include "device/apple/detail/notifier_service.hpp"
#include "device/apple/detail/perform_on_run_loop.hpp"
#include "io_kit/cf/dictionary.hpp"
#include "io_kit/io_iterator.hpp"
#include "support/threaded_sim_test.hpp"

#include <boost/asio/io_context.hpp>

#include <IOKit/IOKitLib.h>
#include <IOKit/IOMessage.h>

#include <atomic>
#include <chrono>
#include <cfloat>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace {

namespace sim = plinth::sim;
namespace io_kit = plinth::apple::io_kit;
using plinth::apple::detail::notifier_service;
using namespace std::chrono_literals;

// What a notification's callback saw: the IDs it drained, and on which thread.
struct arrivals
{
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::uint64_t> ids;
    std::vector<std::thread::id> threads;

    static void matched(void* refcon, io_iterator_t iterator)
    {
        auto& self = *static_cast<arrivals*>(refcon);
        std::vector<std::uint64_t> drained;
        while (io_object_t service = IOIteratorNext(iterator))
        {
            std::uint64_t id = 0;
            IORegistryEntryGetRegistryEntryID(service, &id);
            drained.push_back(id);
            IOObjectRelease(service);
        }
        {
            std::lock_guard const lock(self.mutex);
            self.ids.insert(self.ids.end(), drained.begin(), drained.end());
            self.threads.push_back(std::this_thread::get_id());
        }
        self.changed.notify_all();
    }

    bool wait_for(std::size_t count)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, 10s, [&] { return ids.size() >= count; });
    }
};

CF::Dictionary matching(char const* class_name)
{
    return CF::Dictionary(CF::AutoPointer(IOServiceMatching(class_name)));
}

// Registers a notification of `type` for `class_name` on the service's port and
// arms it by draining what already matches.
io_kit::io_iterator watch(notifier_service& service, char const* type, char const* class_name, arrivals& seen)
{
    auto notification =
        service.get_notification_port().add_matching_notification(type, matching(class_name), arrivals::matched, &seen);
    while (notification.next())
    {
    }
    return notification;
}

using notifier_test = plinth::testing::threaded_sim_test;

TEST_F(notifier_test, serves_its_port_on_a_loop_of_its_own)
{
    boost::asio::io_context context;
    auto& service = boost::asio::use_service<notifier_service>(context);
    ASSERT_NE(service.get_run_loop(), nullptr);
    EXPECT_TRUE(service.get_notification_port());
    EXPECT_NE(service.get_notification_port().get_run_loop_source(), nullptr);
}

TEST_F(notifier_test, arrivals_and_removals_reach_the_serving_loop_once_armed)
{
    sim::add_entry({"IOUSBHostDevice", "Present"}, sim::root_entry_id);
    boost::asio::io_context context;
    auto& service = boost::asio::use_service<notifier_service>(context);
    auto arrived = std::make_shared<arrivals>();
    auto left = std::make_shared<arrivals>();
    auto const arriving =
        service.get_token(watch(service, kIOFirstMatchNotification, "IOUSBHostDevice", *arrived), arrived);
    auto const leaving = service.get_token(watch(service, kIOTerminatedNotification, "IOUSBHostDevice", *left), left);

    auto const mouse = sim::add_entry({"IOUSBHostDevice", "Mouse"}, sim::root_entry_id);
    sim::add_entry({"IOPCIDevice", "Not watched"}, sim::root_entry_id);
    ASSERT_TRUE(arrived->wait_for(1));
    sim::remove_entry(mouse);
    ASSERT_TRUE(left->wait_for(1));

    std::lock_guard const lock(arrived->mutex);
    EXPECT_EQ(arrived->ids, std::vector<std::uint64_t>{mouse}) << "the entry present before arming is not new";
    EXPECT_EQ(left->ids, std::vector<std::uint64_t>{mouse});
    EXPECT_NE(arrived->threads.at(0), std::this_thread::get_id());
    EXPECT_EQ(arrived->threads.at(0), left->threads.at(0)) << "both on the one serving thread";
}

TEST_F(notifier_test, a_notification_not_yet_drained_stays_silent)
{
    boost::asio::io_context context;
    auto& service = boost::asio::use_service<notifier_service>(context);
    auto seen = std::make_shared<arrivals>();
    sim::add_entry({"IOUSBHostDevice", "Present"}, sim::root_entry_id);
    auto const token =
        service.get_token(service.get_notification_port().add_matching_notification(
                              kIOFirstMatchNotification, matching("IOUSBHostDevice"), arrivals::matched, seen.get()),
                          seen);
    sim::add_entry({"IOUSBHostDevice", "Mouse"}, sim::root_entry_id);
    // A notification on another class, armed after the mouse arrived, proves
    // the loop has served the port since.
    auto other = std::make_shared<arrivals>();
    auto const other_token = service.get_token(watch(service, kIOFirstMatchNotification, "IOPCIDevice", *other), other);
    sim::add_entry({"IOPCIDevice", "Late"}, sim::root_entry_id);
    ASSERT_TRUE(other->wait_for(1));
    std::lock_guard const lock(seen->mutex);
    EXPECT_TRUE(seen->ids.empty());
}

// The context a callback needs, which records whether it outlived the callback.
struct self_ending_context
{
    std::optional<notifier_service::token> token;
    std::atomic<bool> callback_returned{false};
    std::atomic<bool>* released_early = nullptr;
    std::atomic<bool>* released = nullptr;

    ~self_ending_context()
    {
        *released_early = !callback_returned;
        *released = true;
    }

    static void matched(void* refcon, io_iterator_t iterator)
    {
        auto& self = *static_cast<self_ending_context*>(refcon);
        while (io_object_t service = IOIteratorNext(iterator))
            IOObjectRelease(service);
        // Dropping the token here, on the loop's own thread, must not wait for the loop.
        self.token.reset();
        // Give the clean-up every chance to release the context too early.
        std::this_thread::sleep_for(20ms);
        self.callback_returned = true;
    }
};

TEST_F(notifier_test, a_token_dropped_inside_its_own_callback_releases_its_context_after_the_callback)
{
    std::atomic<bool> released{false};
    std::atomic<bool> released_early{false};
    {
        boost::asio::io_context context;
        auto& service = boost::asio::use_service<notifier_service>(context);
        auto self = std::make_shared<self_ending_context>();
        self->released = &released;
        self->released_early = &released_early;
        auto notification = service.get_notification_port().add_matching_notification(
            kIOFirstMatchNotification, matching("IOUSBHostDevice"), self_ending_context::matched, self.get());
        while (notification.next())
        {
        }
        auto* raw = self.get();
        raw->token.emplace(service.get_token(std::move(notification), std::move(self)));
        sim::add_entry({"IOUSBHostDevice", "Mouse"}, sim::root_entry_id);
        auto const until = std::chrono::steady_clock::now() + 10s;
        while (!released && std::chrono::steady_clock::now() < until)
            std::this_thread::sleep_for(1ms);
        ASSERT_TRUE(released) << "the clean-up never released the context";
        EXPECT_FALSE(released_early) << "the context went while its callback still ran";
    }
}

TEST_F(notifier_test, a_token_outliving_its_service_ends_quietly)
{
    std::weak_ptr<arrivals> context_left;
    std::optional<notifier_service::token> token;
    {
        boost::asio::io_context context;
        auto& service = boost::asio::use_service<notifier_service>(context);
        auto seen = std::make_shared<arrivals>();
        context_left = seen;
        token.emplace(service.get_token(watch(service, kIOFirstMatchNotification, "IOUSBHostDevice", *seen), seen));
    }
    // The service dropped every notification when it shut down: the context went then.
    EXPECT_TRUE(context_left.expired());
    token.reset();
}

TEST_F(notifier_test, an_empty_token_starts_and_ends_its_clean_up)
{
    {
        notifier_service::token empty;
    }
    // The fixture proves the clean-up thread has ended.
}

TEST_F(notifier_test, shutdown_is_harmless_twice_and_leaves_no_loop)
{
    boost::asio::io_context context;
    auto& service = boost::asio::use_service<notifier_service>(context);
    service.shutdown();
    EXPECT_EQ(service.get_run_loop(), nullptr);
    EXPECT_FALSE(service.get_notification_port());
    service.shutdown();
}

// A callback that runs the serving loop itself, as a synchronous call inside a
// callback may: the run it makes is nested in the one that called it back.
struct nesting_callback
{
    std::promise<void> nested_run_started;
    CFRunLoopRunResult nested_result = 0;

    static void matched(void* refcon, io_iterator_t iterator)
    {
        auto& self = *static_cast<nesting_callback*>(refcon);
        while (io_object_t service = IOIteratorNext(iterator))
            IOObjectRelease(service);
        CFRunLoopRef const loop = CFRunLoopGetCurrent();
        plinth::apple::detail::perform_on_run_loop(loop, kCFRunLoopDefaultMode,
                                                   [&self] { self.nested_run_started.set_value(); });
        self.nested_result = CFRunLoopRunInMode(kCFRunLoopDefaultMode, DBL_MAX, false);
    }
};

// A stop that only the innermost run sees ends the nested run and leaves the one
// it is nested in serving: shutdown's join would never return.
TEST_F(notifier_test, shutdown_while_a_callback_runs_the_loop_stops_the_loop_it_is_nested_in_too)
{
    boost::asio::io_context context;
    auto& service = boost::asio::use_service<notifier_service>(context);
    auto nesting = std::make_shared<nesting_callback>();
    auto started = nesting->nested_run_started.get_future();
    auto notification = service.get_notification_port().add_matching_notification(
        kIOFirstMatchNotification, matching("IOUSBHostDevice"), nesting_callback::matched, nesting.get());
    while (notification.next())
    {
    }
    auto const token = service.get_token(std::move(notification), nesting);
    sim::add_entry({"IOUSBHostDevice", "Mouse"}, sim::root_entry_id);
    started.wait();
    service.shutdown();
    EXPECT_EQ(nesting->nested_result, kCFRunLoopRunStopped) << "the nested run ends with the loop";
    EXPECT_EQ(service.get_run_loop(), nullptr);
}

TEST_F(notifier_test, dropping_a_token_ends_its_notification_and_then_releases_its_context)
{
    boost::asio::io_context context;
    auto& service = boost::asio::use_service<notifier_service>(context);
    auto seen = std::make_shared<arrivals>();
    std::weak_ptr<arrivals> context_left = seen;
    auto* raw = seen.get();
    {
        auto const token =
            service.get_token(watch(service, kIOFirstMatchNotification, "IOUSBHostDevice", *raw), std::move(seen));
        sim::add_entry({"IOUSBHostDevice", "Mouse"}, sim::root_entry_id);
        ASSERT_TRUE(raw->wait_for(1));
    }
    ASSERT_TRUE(plinth::testing::threads_return_to(threads_before + 1)) << "the clean-up thread did not end";
    EXPECT_TRUE(context_left.expired());
}

} // namespace
