// Tests of the simulated notification ports: matching and interest notifications.
#include "sim/io_registry_support.hpp"
#include "sim/run_loop_support.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/IOMessage.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::testing::io::handle;
using plinth::testing::io::id_of;
using namespace std::chrono_literals;

// Each test has a notification port of its own, destroyed before the fixture
// counts handles and CF objects unless the test destroyed it itself.
class io_notification_test : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        port = IONotificationPortCreate(kIOMainPortDefault);
    }

    void TearDown() override
    {
        destroy_port();
        sim_test::TearDown();
    }

    void destroy_port()
    {
        if (port != nullptr)
            IONotificationPortDestroy(std::exchange(port, nullptr));
    }

    IONotificationPortRef port = nullptr;
};

// Takes every service an iterator holds, releasing each, and returns their IDs.
std::vector<std::uint64_t> drain(io_iterator_t iterator)
{
    std::vector<std::uint64_t> ids;
    while (io_object_t service = IOIteratorNext(iterator))
    {
        ids.push_back(id_of(service));
        IOObjectRelease(service);
    }
    return ids;
}

// What the callbacks saw, in order, and on which thread.
struct recorder
{
    struct event
    {
        std::thread::id thread;
        std::vector<std::uint64_t> drained; // matching: what the callback took
        std::uint32_t message = 0;          // interest
        std::uint64_t service = 0;          // interest
        io_object_t service_name = 0;       // interest
    };

    bool drain_in_callback = true;
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<event> events;

    void add(event e)
    {
        {
            std::lock_guard guard(mutex);
            events.push_back(std::move(e));
        }
        changed.notify_all();
    }

    bool wait_for_count(std::size_t count, std::chrono::milliseconds limit = 10s)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, limit, [&] { return events.size() >= count; });
    }

    std::size_t count()
    {
        std::lock_guard guard(mutex);
        return events.size();
    }

    static void matched(void* refcon, io_iterator_t iterator)
    {
        auto* self = static_cast<recorder*>(refcon);
        event e;
        e.thread = std::this_thread::get_id();
        if (self->drain_in_callback)
            e.drained = drain(iterator);
        self->add(std::move(e));
    }

    static void interest(void* refcon, io_service_t service, uint32_t type, void*)
    {
        static_cast<recorder*>(refcon)->add({std::this_thread::get_id(), {}, type, id_of(service), service});
    }
};

// Asks for notifications of USB host devices of `type`, recorded by `seen`.
kern_return_t watch_usb_devices(IONotificationPortRef port, io_name_t const type, recorder* seen,
                                io_iterator_t* iterator)
{
    return IOServiceAddMatchingNotification(port, type, IOServiceMatching("IOUSBHostDevice"), recorder::matched, seen,
                                            iterator);
}

// A thread whose run loop serves the notification port until it is told to end.
class serving_loop : public plinth::testing::run_loop::loop_runner
{
public:
    explicit serving_loop(IONotificationPortRef port)
        : loop_runner(kCFRunLoopDefaultMode, IONotificationPortGetRunLoopSource(port))
    {
    }
};

sim::entry_id add_device(char const* name)
{
    return sim::add_entry({"IOUSBHostDevice", name}, sim::root_entry_id);
}

TEST_F(io_notification_test, a_publish_notification_fires_only_once_drained_and_on_the_serving_thread)
{
    auto const first = add_device("First");
    auto const second = add_device("Second");
    sim::add_entry({"IOMedia", "Other"}, sim::root_entry_id);
    recorder seen;
    handle iterator;
    ASSERT_EQ(watch_usb_devices(port, kIOFirstMatchNotification, &seen, iterator.out()), KERN_SUCCESS);
    ASSERT_NE(iterator.get(), IO_OBJECT_NULL);
    {
        serving_loop loop(port);
        auto const third = add_device("Third");
        EXPECT_FALSE(seen.wait_for_count(1, 200ms)) << "not armed before the caller drains";

        // The existing services and the new one, most recent first.
        EXPECT_EQ(drain(iterator.get()), (std::vector<std::uint64_t>{third, second, first}));
        auto const fourth = add_device("Fourth");
        ASSERT_TRUE(seen.wait_for_count(1));
        auto const fifth = add_device("Fifth");
        ASSERT_TRUE(seen.wait_for_count(2)) << "re-armed by the callback's drain";
        loop.stop();

        std::lock_guard guard(seen.mutex);
        EXPECT_EQ(seen.events[0].drained, std::vector<std::uint64_t>{fourth});
        EXPECT_EQ(seen.events[1].drained, std::vector<std::uint64_t>{fifth});
        EXPECT_EQ(seen.events[0].thread, loop.thread_id());
        EXPECT_NE(seen.events[0].thread, std::this_thread::get_id());
    }
}

TEST_F(io_notification_test, arrivals_between_drains_accumulate_behind_one_callback)
{
    recorder seen;
    seen.drain_in_callback = false;
    handle iterator;
    ASSERT_EQ(watch_usb_devices(port, kIOPublishNotification, &seen, iterator.out()), KERN_SUCCESS);
    EXPECT_TRUE(drain(iterator.get()).empty());
    serving_loop loop(port);
    auto const a = add_device("A");
    auto const b = add_device("B");
    auto const c = add_device("C");
    ASSERT_TRUE(seen.wait_for_count(1));
    EXPECT_FALSE(seen.wait_for_count(2, 200ms)) << "disarmed until drained";
    EXPECT_EQ(drain(iterator.get()), (std::vector<std::uint64_t>{c, b, a}));
    add_device("D");
    EXPECT_TRUE(seen.wait_for_count(2));
    loop.stop();
}

TEST_F(io_notification_test, a_terminated_notification_starts_empty_and_reports_removed_services)
{
    auto const doomed = add_device("Doomed");
    add_device("Kept");
    recorder seen;
    handle iterator;
    ASSERT_EQ(watch_usb_devices(port, kIOTerminatedNotification, &seen, iterator.out()), KERN_SUCCESS);
    EXPECT_TRUE(drain(iterator.get()).empty()) << "nothing has terminated yet";
    serving_loop loop(port);
    sim::remove_entry(doomed);
    ASSERT_TRUE(seen.wait_for_count(1));
    loop.stop();
    std::lock_guard guard(seen.mutex);
    EXPECT_EQ(seen.events[0].drained, std::vector<std::uint64_t>{doomed});
    EXPECT_EQ(seen.events[0].thread, loop.thread_id());
}

TEST_F(io_notification_test, general_interest_reports_the_termination_of_the_service)
{
    auto const doomed = add_device("Doomed");
    auto const kept = add_device("Kept");
    handle service(IOServiceGetMatchingService(kIOMainPortDefault, IORegistryEntryIDMatching(doomed)));
    handle other(IOServiceGetMatchingService(kIOMainPortDefault, IORegistryEntryIDMatching(kept)));
    recorder seen;
    handle notifier, other_notifier;
    ASSERT_EQ(IOServiceAddInterestNotification(port, service.get(), kIOGeneralInterest, recorder::interest, &seen,
                                               notifier.out()),
              KERN_SUCCESS);
    ASSERT_EQ(IOServiceAddInterestNotification(port, other.get(), kIOGeneralInterest, recorder::interest, &seen,
                                               other_notifier.out()),
              KERN_SUCCESS);
    serving_loop loop(port);
    sim::remove_entry(doomed);
    ASSERT_TRUE(seen.wait_for_count(1));
    EXPECT_FALSE(seen.wait_for_count(2, 100ms)) << "only the removed service speaks";
    loop.stop();
    std::lock_guard guard(seen.mutex);
    EXPECT_EQ(seen.events[0].message, kIOMessageServiceIsTerminated);
    EXPECT_EQ(seen.events[0].service, doomed);
    EXPECT_EQ(seen.events[0].service_name, service.get()) << "the task's one name for the service";
    EXPECT_EQ(seen.events[0].thread, loop.thread_id());
    EXPECT_EQ(IOObjectGetUserRetainCount(service.get()), 1u) << "the message's right went with the callout";
}

TEST_F(io_notification_test, releasing_the_notification_cancels_it)
{
    recorder seen;
    io_iterator_t iterator = IO_OBJECT_NULL;
    ASSERT_EQ(watch_usb_devices(port, kIOMatchedNotification, &seen, &iterator), KERN_SUCCESS);
    drain(iterator);
    serving_loop loop(port);
    IOObjectRelease(iterator);
    EXPECT_EQ(sim::live_handles(), 0u);
    add_device("Late");
    EXPECT_FALSE(seen.wait_for_count(1, 200ms));
    loop.stop();
}

TEST_F(io_notification_test, destroying_the_port_cancels_its_notifications)
{
    recorder seen;
    handle iterator;
    ASSERT_EQ(watch_usb_devices(port, kIOFirstPublishNotification, &seen, iterator.out()), KERN_SUCCESS);
    drain(iterator.get());
    {
        serving_loop loop(port);
        loop.stop();
    }
    destroy_port();
    add_device("Late");
    EXPECT_EQ(seen.count(), 0u);
    EXPECT_EQ(drain(iterator.get()).size(), 1u) << "the iterator still collects";
}

TEST_F(io_notification_test, a_port_destroyed_while_served_leaves_its_loop)
{
    recorder seen;
    handle iterator;
    ASSERT_EQ(watch_usb_devices(port, kIOFirstMatchNotification, &seen, iterator.out()), KERN_SUCCESS);
    drain(iterator.get());
    std::promise<CFRunLoopRunResult> result;
    std::promise<CFRunLoopRef> published;
    std::thread runner([&] {
        published.set_value(CFRunLoopGetCurrent());
        CFRunLoopAddSource(CFRunLoopGetCurrent(), IONotificationPortGetRunLoopSource(port), kCFRunLoopDefaultMode);
        result.set_value(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 60, false));
    });
    CFRunLoopRef loop = published.get_future().get();
    EXPECT_TRUE(plinth::testing::run_loop::wait_until_waiting(loop));
    destroy_port();
    add_device("Late");
    CFRunLoopWakeUp(loop);
    EXPECT_EQ(result.get_future().get(), kCFRunLoopRunFinished) << "the mode lost its only source";
    runner.join();
    EXPECT_EQ(seen.count(), 0u);
}

TEST_F(io_notification_test, refuses_unknown_types_and_consumes_the_dictionary)
{
    io_iterator_t iterator = 1;
    EXPECT_EQ(IOServiceAddMatchingNotification(port, "NoSuchNotification", IOServiceMatching("IOService"),
                                               recorder::matched, nullptr, &iterator),
              kIOReturnUnsupported);
    EXPECT_EQ(iterator, IO_OBJECT_NULL);
    EXPECT_EQ(take_misuse_reports().size(), 1u);
    EXPECT_EQ(IOServiceAddMatchingNotification(port, kIOFirstMatchNotification, nullptr, recorder::matched, nullptr,
                                               &iterator),
              kIOReturnBadArgument);
}

TEST_F(io_notification_test, holds_at_most_1024_arrivals)
{
    handle iterator;
    ASSERT_EQ(watch_usb_devices(port, kIOMatchedNotification, nullptr, iterator.out()), KERN_SUCCESS);
    for (int i = 0; i < 1030; ++i)
        add_device("Many");
    EXPECT_EQ(drain(iterator.get()).size(), 1024u);
}

// Services published from several threads at once while the loop's callback
// drains: each arrives exactly once, whatever the interleaving of arming,
// firing and draining.
TEST_F(io_notification_test, services_added_from_several_threads_each_arrive_once)
{
    constexpr int threads = 4;
    constexpr int per_thread = 100;
    recorder seen;
    handle iterator;
    ASSERT_EQ(watch_usb_devices(port, kIOFirstMatchNotification, &seen, iterator.out()), KERN_SUCCESS);
    drain(iterator.get());
    serving_loop loop(port);
    std::vector<std::thread> adders;
    for (int t = 0; t < threads; ++t)
        adders.emplace_back([] {
            for (int i = 0; i < per_thread; ++i)
                add_device("Concurrent");
        });
    for (auto& adder : adders)
        adder.join();
    auto const total = [&] {
        std::lock_guard guard(seen.mutex);
        std::size_t count = 0;
        for (auto const& e : seen.events)
            count += e.drained.size();
        return count;
    };
    plinth::testing::run_loop::eventually([&] { return total() >= threads * per_thread; });
    loop.stop();
    EXPECT_EQ(total(), static_cast<std::size_t>(threads * per_thread));
    std::lock_guard guard(seen.mutex);
    std::vector<std::uint64_t> all;
    for (auto const& e : seen.events)
    {
        EXPECT_EQ(e.thread, loop.thread_id());
        all.insert(all.end(), e.drained.begin(), e.drained.end());
    }
    std::sort(all.begin(), all.end());
    EXPECT_EQ(std::adjacent_find(all.begin(), all.end()), all.end()) << "no service twice";
}

} // namespace
