// Tests of the simulated IOHIDQueue: what joins a queue and when, its depth, its callback, reading it, its lifetime.
#include "sim/control/hid.hpp"
#include "sim/io_hid_element_support.hpp"
#include "sim/run_loop_support.hpp"
#include "support/threaded_sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hid/IOHIDElement.h>
#include <IOKit/hid/IOHIDKeys.h>
#include <IOKit/hid/IOHIDQueue.h>
#include <IOKit/hid/IOHIDValue.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace sim = plinth::sim;
using namespace plinth::testing::io;
using plinth::testing::run_loop::eventually;
using plinth::testing::run_loop::loop_runner;

using io_hid_queue_test = plinth::testing::threaded_sim_test;
using seen_values = std::vector<std::pair<std::uint32_t, CFIndex>>;

void post_mouse(sim::entry_id id, std::uint8_t buttons, std::int8_t x, std::int8_t y = 0)
{
    std::vector<std::uint8_t> const report{1, buttons, static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y)};
    sim::post_input_report(id, 1, report);
}

cf queue_on(IOHIDDeviceRef device, CFIndex depth, std::vector<std::uint32_t> const& cookies,
            IOOptionBits options = kIOHIDQueueOptionsTypeNone)
{
    cf queue(IOHIDQueueCreate(kCFAllocatorDefault, device, depth, options));
    for (auto const cookie : cookies)
        IOHIDQueueAddElement(queue.as<IOHIDQueueRef>(), element_of(device, cookie));
    return queue;
}

// Everything the queue holds now, as (cookie, integer), each value released.
seen_values drain(cf const& queue)
{
    seen_values values;
    while (IOHIDValueRef const value = IOHIDQueueCopyNextValue(queue.as<IOHIDQueueRef>()))
    {
        values.emplace_back(IOHIDElementGetCookie(IOHIDValueGetElement(value)), IOHIDValueGetIntegerValue(value));
        CFRelease(value);
    }
    return values;
}

// What a value-available callback saw: how often, from which thread and sender.
struct available_log
{
    std::atomic<int> calls{0};
    std::mutex mutex;
    std::vector<std::thread::id> threads;
    std::vector<void*> senders;

    static void callback(void* context, IOReturn result, void* sender)
    {
        auto& self = *static_cast<available_log*>(context);
        EXPECT_EQ(result, kIOReturnSuccess);
        {
            std::lock_guard const lock(self.mutex);
            self.threads.push_back(std::this_thread::get_id());
            self.senders.push_back(sender);
        }
        ++self.calls;
    }
};

TEST_F(io_hid_queue_test, a_queue_fills_only_while_started_and_its_device_open_and_keeps_its_values_when_stopped)
{
    auto const mouse = add_mouse();
    auto const device = device_of(mouse);
    auto const ref = as_device(device);
    // X is relative: each of its values counts, changed or not.
    auto const queue = queue_on(ref, 8, {x_axis});
    auto const q = queue.as<IOHIDQueueRef>();
    IOHIDQueueStart(q);
    post_mouse(mouse, 0, 1);
    EXPECT_TRUE(drain(queue).empty()) << "the device is not open";
    ASSERT_EQ(IOHIDDeviceOpen(ref, 0), kIOReturnSuccess);
    IOHIDQueueStop(q);
    post_mouse(mouse, 0, 2);
    EXPECT_TRUE(drain(queue).empty()) << "the queue is stopped";
    IOHIDQueueStart(q);
    post_mouse(mouse, 0, 3);
    IOHIDQueueStop(q);
    post_mouse(mouse, 0, 4);
    EXPECT_EQ(drain(queue), (seen_values{{x_axis, 3}}));
    IOHIDQueueStart(q);
    IOHIDDeviceClose(ref, 0);
    post_mouse(mouse, 0, 5);
    EXPECT_TRUE(drain(queue).empty()) << "the device was closed";
}

TEST_F(io_hid_queue_test, values_join_when_changed_or_relative_or_always_with_enqueue_all_and_every_queue_gets_them)
{
    auto const mouse = add_mouse();
    auto const device = device_of(mouse);
    auto const ref = as_device(device);
    ASSERT_EQ(IOHIDDeviceOpen(ref, 0), kIOReturnSuccess);
    auto const plain = queue_on(ref, 16, {button_1, x_axis});
    auto const all = queue_on(ref, 16, {button_1, x_axis}, kIOHIDQueueOptionsTypeEnqueueAll);
    IOHIDQueueStart(plain.as<IOHIDQueueRef>());
    IOHIDQueueStart(all.as<IOHIDQueueRef>());
    post_mouse(mouse, 1, 0);
    post_mouse(mouse, 1, 0);
    post_mouse(mouse, 0, 0);
    // Button 1 (absolute) only when it changed; X (relative) each time, even as 0.
    EXPECT_EQ(drain(plain), (seen_values{{button_1, 1}, {x_axis, 0}, {x_axis, 0}, {button_1, 0}, {x_axis, 0}}));
    EXPECT_EQ(drain(all),
              (seen_values{{button_1, 1}, {x_axis, 0}, {button_1, 1}, {x_axis, 0}, {button_1, 0}, {x_axis, 0}}));
    IOHIDDeviceClose(ref, 0);
}

TEST_F(io_hid_queue_test, changed_means_against_the_devices_last_value_not_what_a_new_queue_saw)
{
    auto const mouse = add_mouse();
    auto const device = device_of(mouse);
    auto const ref = as_device(device);
    ASSERT_EQ(IOHIDDeviceOpen(ref, 0), kIOReturnSuccess);
    auto const early = queue_on(ref, 8, {button_3});
    IOHIDQueueStart(early.as<IOHIDQueueRef>());
    post_mouse(mouse, 0b100, 0);
    auto const late = queue_on(ref, 8, {button_3});
    IOHIDQueueStart(late.as<IOHIDQueueRef>());
    // The same button again: unchanged for the device, so for every queue of it.
    post_mouse(mouse, 0b100, 0);
    EXPECT_TRUE(drain(late).empty());
    post_mouse(mouse, 0, 0);
    EXPECT_EQ(drain(late), (seen_values{{button_3, 0}}));
    EXPECT_EQ(drain(early), (seen_values{{button_3, 1}, {button_3, 0}}));
    IOHIDDeviceClose(ref, 0);
}

TEST_F(io_hid_queue_test, a_full_queue_drops_the_newest_value_and_set_depth_changes_the_room)
{
    auto const mouse = add_mouse();
    auto const device = device_of(mouse);
    auto const ref = as_device(device);
    ASSERT_EQ(IOHIDDeviceOpen(ref, 0), kIOReturnSuccess);
    auto const queue = queue_on(ref, 2, {x_axis});
    auto const q = queue.as<IOHIDQueueRef>();
    EXPECT_EQ(IOHIDQueueGetDepth(q), 2);
    IOHIDQueueStart(q);
    post_mouse(mouse, 0, 1);
    post_mouse(mouse, 0, 2);
    post_mouse(mouse, 0, 3);
    EXPECT_EQ(drain(queue), (seen_values{{x_axis, 1}, {x_axis, 2}}));
    IOHIDQueueSetDepth(q, 3);
    EXPECT_EQ(IOHIDQueueGetDepth(q), 3);
    for (std::int8_t x = 4; x <= 7; ++x)
        post_mouse(mouse, 0, x);
    EXPECT_EQ(drain(queue), (seen_values{{x_axis, 4}, {x_axis, 5}, {x_axis, 6}}));
    // Room again once read.
    post_mouse(mouse, 0, 8);
    EXPECT_EQ(drain(queue), (seen_values{{x_axis, 8}}));
    IOHIDDeviceClose(ref, 0);
}

TEST_F(io_hid_queue_test, elements_come_and_go_and_a_queue_of_another_device_is_misuse)
{
    auto const mouse = add_mouse();
    auto const device = device_of(mouse);
    auto const ref = as_device(device);
    auto const other = device_of(add_mouse());
    ASSERT_EQ(IOHIDDeviceOpen(ref, 0), kIOReturnSuccess);
    auto const queue = queue_on(ref, 8, {x_axis, y_axis});
    auto const q = queue.as<IOHIDQueueRef>();
    EXPECT_TRUE(IOHIDQueueContainsElement(q, element_of(ref, x_axis)));
    EXPECT_FALSE(IOHIDQueueContainsElement(q, element_of(ref, button_1)));
    IOHIDQueueRemoveElement(q, element_of(ref, x_axis));
    EXPECT_FALSE(IOHIDQueueContainsElement(q, element_of(ref, x_axis)));
    IOHIDQueueStart(q);
    post_mouse(mouse, 0, 5, 6);
    EXPECT_EQ(drain(queue), (seen_values{{y_axis, 6}}));
    EXPECT_TRUE(take_misuse_reports().empty());
    // The other mouse's X is no element of this queue's device.
    IOHIDQueueAddElement(q, element_of(as_device(other), x_axis));
    EXPECT_FALSE(IOHIDQueueContainsElement(q, element_of(as_device(other), x_axis)));
    IOHIDQueueRemoveElement(q, nullptr);
    EXPECT_EQ(take_misuse_reports().size(), 3u);
    post_mouse(mouse, 0, 7, 6);
    EXPECT_EQ(drain(queue), (seen_values{{y_axis, 6}}));
    IOHIDDeviceClose(ref, 0);
}

TEST_F(io_hid_queue_test, the_callback_runs_on_the_queues_loop_when_it_becomes_non_empty_not_per_value)
{
    auto const mouse = add_mouse();
    auto const device = device_of(mouse);
    auto const ref = as_device(device);
    loop_runner runner;
    available_log log;
    ASSERT_EQ(IOHIDDeviceOpen(ref, 0), kIOReturnSuccess);
    auto const queue = queue_on(ref, 8, {x_axis});
    auto const q = queue.as<IOHIDQueueRef>();
    IOHIDQueueRegisterValueAvailableCallback(q, available_log::callback, &log);
    IOHIDQueueScheduleWithRunLoop(q, runner.loop(), kCFRunLoopDefaultMode);
    IOHIDQueueStart(q);
    post_mouse(mouse, 0, 1);
    post_mouse(mouse, 0, 2);
    post_mouse(mouse, 0, 3);
    ASSERT_TRUE(eventually([&] { return log.calls == 1; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(log.calls, 1) << "values joining a queue that is not empty announce nothing";
    EXPECT_EQ(drain(queue), (seen_values{{x_axis, 1}, {x_axis, 2}, {x_axis, 3}}));
    post_mouse(mouse, 0, 4);
    ASSERT_TRUE(eventually([&] { return log.calls == 2; }));
    {
        std::lock_guard const lock(log.mutex);
        for (auto const& thread : log.threads)
            EXPECT_EQ(thread, runner.thread_id());
        for (auto const* sender : log.senders)
            EXPECT_EQ(sender, queue.get());
    }
    // Unscheduled: the value waits, and no callback runs.
    IOHIDQueueUnscheduleFromRunLoop(q, runner.loop(), kCFRunLoopDefaultMode);
    EXPECT_EQ(drain(queue), (seen_values{{x_axis, 4}}));
    post_mouse(mouse, 0, 5);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(log.calls, 2);
    EXPECT_EQ(drain(queue), (seen_values{{x_axis, 5}}));
    IOHIDQueueStop(q);
    IOHIDDeviceClose(ref, 0);
}

TEST_F(io_hid_queue_test, copy_next_value_with_timeout_wakes_for_a_report_from_another_thread_and_else_times_out)
{
    auto const mouse = add_mouse();
    auto const device = device_of(mouse);
    auto const ref = as_device(device);
    ASSERT_EQ(IOHIDDeviceOpen(ref, 0), kIOReturnSuccess);
    auto const queue = queue_on(ref, 8, {x_axis});
    auto const q = queue.as<IOHIDQueueRef>();
    IOHIDQueueStart(q);
    auto const before_timeout = std::chrono::steady_clock::now();
    EXPECT_EQ(IOHIDQueueCopyNextValueWithTimeout(q, 0.05), nullptr);
    EXPECT_GE(std::chrono::steady_clock::now() - before_timeout, std::chrono::milliseconds(45));
    EXPECT_EQ(IOHIDQueueCopyNextValueWithTimeout(q, -1), nullptr);
    std::thread reporter([mouse] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        post_mouse(mouse, 0, 9);
    });
    auto const before_value = std::chrono::steady_clock::now();
    IOHIDValueRef const value = IOHIDQueueCopyNextValueWithTimeout(q, 30);
    auto const waited = std::chrono::steady_clock::now() - before_value;
    reporter.join();
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(IOHIDValueGetIntegerValue(value), 9);
    EXPECT_EQ(IOHIDValueGetElement(value), element_of(ref, x_axis));
    EXPECT_LT(waited, std::chrono::seconds(10));
    CFRelease(value);
    IOHIDDeviceClose(ref, 0);
}

TEST_F(io_hid_queue_test, a_queue_keeps_its_device_and_either_release_order_leaves_nothing)
{
    auto const mouse = add_mouse();
    // The device first: the queue still holds it, and reads it.
    {
        std::optional<cf> device(device_of(mouse));
        auto const ref = as_device(*device);
        ASSERT_EQ(IOHIDDeviceOpen(ref, 0), kIOReturnSuccess);
        auto const queue = queue_on(ref, 4, {x_axis});
        auto const q = queue.as<IOHIDQueueRef>();
        IOHIDQueueStart(q);
        device.reset();
        EXPECT_EQ(IOHIDQueueGetDevice(q), ref);
        EXPECT_EQ(CFGetTypeID(IOHIDQueueGetDevice(q)), IOHIDDeviceGetTypeID());
        post_mouse(mouse, 0, 1);
        EXPECT_EQ(drain(queue), (seen_values{{x_axis, 1}}));
        IOHIDDeviceClose(ref, 0);
    }
    // The queue first, with a value left in it and a loop it was scheduled on.
    {
        loop_runner runner;
        auto const device = device_of(mouse);
        auto const ref = as_device(device);
        ASSERT_EQ(IOHIDDeviceOpen(ref, 0), kIOReturnSuccess);
        {
            auto const queue = queue_on(ref, 4, {x_axis});
            IOHIDQueueScheduleWithRunLoop(queue.as<IOHIDQueueRef>(), runner.loop(), kCFRunLoopDefaultMode);
            IOHIDQueueStart(queue.as<IOHIDQueueRef>());
            post_mouse(mouse, 0, 2);
        }
        // The device goes on without it.
        post_mouse(mouse, 0, 3);
        IOHIDDeviceClose(ref, 0);
    }
}

TEST_F(io_hid_queue_test, null_and_foreign_arguments_are_reported_and_fail)
{
    auto const mouse = add_mouse();
    auto const device = device_of(mouse);
    auto const ref = as_device(device);
    auto const not_a_device = string("mouse");
    EXPECT_EQ(IOHIDQueueCreate(kCFAllocatorDefault, nullptr, 4, 0), nullptr);
    EXPECT_EQ(IOHIDQueueCreate(kCFAllocatorDefault, not_a_device.as<IOHIDDeviceRef>(), 4, 0), nullptr);
    EXPECT_EQ(IOHIDQueueCopyNextValue(nullptr), nullptr);
    EXPECT_EQ(IOHIDQueueCopyNextValueWithTimeout(not_a_device.as<IOHIDQueueRef>(), 0), nullptr);
    EXPECT_EQ(IOHIDQueueGetDevice(nullptr), nullptr);
    IOHIDQueueStart(nullptr);
    EXPECT_EQ(take_misuse_reports().size(), 6u);
    // Not a depth: no queue, but no crash either.
    EXPECT_EQ(IOHIDQueueCreate(kCFAllocatorDefault, ref, 0, 0), nullptr);
    auto const queue = queue_on(ref, 4, {});
    auto const q = queue.as<IOHIDQueueRef>();
    EXPECT_EQ(CFGetTypeID(q), IOHIDQueueGetTypeID());
    EXPECT_NE(IOHIDQueueGetTypeID(), IOHIDDeviceGetTypeID());
    IOHIDQueueAddElement(q, nullptr);
    IOHIDQueueAddElement(q, reinterpret_cast<IOHIDElementRef>(const_cast<void*>(device.get())));
    IOHIDQueueScheduleWithRunLoop(q, nullptr, kCFRunLoopDefaultMode);
    loop_runner runner;
    IOHIDQueueScheduleWithRunLoop(q, runner.loop(), nullptr);
    EXPECT_EQ(take_misuse_reports().size(), 4u);
}

} // namespace
