// Tests of the simulated IOHIDDeviceSetReportWithCallback and GetReportWithCallback: checks, delivery, timeouts, removal.
#include "sim/control/hid.hpp"
#include "sim/io_hid_support.hpp"
#include "sim/io_registry_support.hpp"
#include "sim/run_loop_support.hpp"
#include "support/threaded_sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDDevice.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::testing::io::as_device;
using plinth::testing::io::cf;
using plinth::testing::io::device_of;
using plinth::testing::run_loop::eventually;
using plinth::testing::run_loop::loop_runner;
using namespace std::chrono_literals;

using io_hid_device_requests_test = plinth::testing::threaded_sim_test;

sim::entry_id add_device(sim::dictionary extra = {})
{
    extra.emplace_back("MaxInputReportSize", sim::make_number(4));
    return sim::add_entry({"IOUSBHostHIDDevice", "Device", "1", std::move(extra)}, sim::root_entry_id);
}

// One request's callback, as it was called.
struct completion
{
    IOReturn result = 0;
    IOHIDReportType type{};
    std::uint32_t report_id = 0;
    std::uint8_t* report = nullptr;
    CFIndex length = -1;
    std::thread::id thread;
};

// Collects the completions of the requests made with it as their context.
struct completions
{
    std::mutex mutex;
    std::vector<completion> seen;

    static void callback(void* context, IOReturn result, void*, IOHIDReportType type, uint32_t report_id,
                         uint8_t* report, CFIndex length)
    {
        auto& self = *static_cast<completions*>(context);
        std::lock_guard const lock(self.mutex);
        self.seen.push_back({result, type, report_id, report, length, std::this_thread::get_id()});
    }

    std::size_t count()
    {
        std::lock_guard const lock(mutex);
        return seen.size();
    }
    completion at(std::size_t i)
    {
        std::lock_guard const lock(mutex);
        return seen.at(i);
    }
};

// An open device scheduled on a loop of its own, in the default mode.
class served_device
{
public:
    explicit served_device(sim::entry_id id) : device(device_of(id))
    {
        EXPECT_EQ(IOHIDDeviceOpen(ref(), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
        IOHIDDeviceScheduleWithRunLoop(ref(), runner.loop(), kCFRunLoopDefaultMode);
    }
    ~served_device()
    {
        IOHIDDeviceUnscheduleFromRunLoop(ref(), runner.loop(), kCFRunLoopDefaultMode);
        runner.stop();
        IOHIDDeviceClose(ref(), 0);
    }
    IOHIDDeviceRef ref() const { return as_device(device); }

    IOReturn set(std::uint8_t const* bytes, CFIndex length, CFTimeInterval timeout_ms, completions& done,
                 CFIndex id = 0)
    {
        return IOHIDDeviceSetReportWithCallback(ref(), kIOHIDReportTypeOutput, id, bytes, length, timeout_ms,
                                                completions::callback, &done);
    }
    IOReturn get(std::uint8_t* buffer, CFIndex length, CFTimeInterval timeout_ms, completions& done, CFIndex id = 1)
    {
        return IOHIDDeviceGetReportWithCallback(ref(), kIOHIDReportTypeFeature, id, buffer, &length, timeout_ms,
                                                completions::callback, &done);
    }

    cf device;
    loop_runner runner;
};

TEST_F(io_hid_device_requests_test, refused_requests_return_at_once_and_never_call_back)
{
    auto const id = add_device();
    auto const device = device_of(id);
    auto const other = device_of(id);
    completions done;
    std::uint8_t const byte = 1;
    std::array<std::uint8_t, 4> buffer{};
    CFIndex length = 4;
    EXPECT_EQ(IOHIDDeviceSetReportWithCallback(as_device(device), kIOHIDReportTypeOutput, 0, &byte, 1, 100,
                                               completions::callback, &done),
              kIOReturnNotOpen);
    EXPECT_EQ(IOHIDDeviceGetReportWithCallback(as_device(device), kIOHIDReportTypeFeature, 1, buffer.data(), &length,
                                               100, completions::callback, &done),
              kIOReturnNotOpen);
    {
        served_device served(id);
        ASSERT_EQ(IOHIDDeviceOpen(as_device(other), kIOHIDOptionsTypeNone), kIOReturnExclusiveAccess);
        EXPECT_EQ(IOHIDDeviceSetReportWithCallback(as_device(other), kIOHIDReportTypeOutput, 0, &byte, 1, 100,
                                                   completions::callback, &done),
                  kIOReturnExclusiveAccess);
        EXPECT_EQ(served.get(buffer.data(), 0, 100, done), kIOReturnBadArgument);
        EXPECT_EQ(served.get(buffer.data(), -1, 100, done), kIOReturnBadArgument);
        // Completions come in order: once this one is in, a refused one would be too.
        ASSERT_EQ(served.set(&byte, 1, 100, done), kIOReturnSuccess);
        ASSERT_TRUE(eventually([&] { return done.count() >= 1; }));
        EXPECT_EQ(done.count(), 1u);
        EXPECT_EQ(done.at(0).result, kIOReturnSuccess);
        IOHIDDeviceClose(as_device(other), 0);

        sim::remove_entry(id);
        EXPECT_EQ(served.set(&byte, 1, 100, done), kIOReturnNotAttached);
        EXPECT_EQ(served.get(buffer.data(), 4, 100, done), kIOReturnNotAttached);
    }
    EXPECT_EQ(done.count(), 1u);
}

TEST_F(io_hid_device_requests_test, completions_come_later_on_the_scheduled_loop_with_the_answer_in_the_buffer)
{
    auto const id = add_device();
    sim::set_feature_report(id, 1, std::vector<std::uint8_t>{1, 2, 3, 4, 5});
    served_device served(id);
    completions done;
    std::array<std::uint8_t, 2> const out{7, 8};
    ASSERT_EQ(served.set(out.data(), 2, 100, done, 5), kIOReturnSuccess);
    std::array<std::uint8_t, 3> buffer{};
    ASSERT_EQ(served.get(buffer.data(), 3, 100, done), kIOReturnSuccess);
    std::array<std::uint8_t, 3> unknown{};
    ASSERT_EQ(served.get(unknown.data(), 3, 100, done, 9), kIOReturnSuccess);
    ASSERT_TRUE(eventually([&] { return done.count() == 3; }));

    auto const sent = done.at(0);
    EXPECT_EQ(sent.result, kIOReturnSuccess);
    EXPECT_EQ(sent.type, kIOHIDReportTypeOutput);
    EXPECT_EQ(sent.report_id, 5u);
    EXPECT_EQ(sent.report, out.data()) << "the caller's pointer comes back";
    EXPECT_EQ(sent.length, 0) << "a set report's callback gets length 0";
    EXPECT_EQ(sent.thread, served.runner.thread_id());
    auto const captured = sim::output_reports(id);
    ASSERT_EQ(captured.size(), 1u);
    EXPECT_EQ(captured[0].bytes, (std::vector<std::uint8_t>{7, 8}));

    auto const got = done.at(1);
    EXPECT_EQ(got.result, kIOReturnSuccess);
    EXPECT_EQ(got.type, kIOHIDReportTypeFeature);
    EXPECT_EQ(got.report_id, 1u);
    EXPECT_EQ(got.report, buffer.data());
    EXPECT_EQ(got.length, 3) << "cut to the caller's buffer";
    EXPECT_EQ(buffer, (std::array<std::uint8_t, 3>{1, 2, 3}));
    EXPECT_EQ(done.at(2).result, kIOReturnUnsupported);
    EXPECT_EQ(unknown, (std::array<std::uint8_t, 3>{})) << "no answer, nothing copied";
}

TEST_F(io_hid_device_requests_test, a_device_scheduled_nowhere_running_keeps_its_completion_until_it_is)
{
    auto const id = add_device();
    auto const device = device_of(id);
    ASSERT_EQ(IOHIDDeviceOpen(as_device(device), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
    completions done;
    std::uint8_t const byte = 1;
    ASSERT_EQ(IOHIDDeviceSetReportWithCallback(as_device(device), kIOHIDReportTypeOutput, 0, &byte, 1, 100,
                                               completions::callback, &done),
              kIOReturnSuccess);
    {
        loop_runner runner(CFSTR("read"));
        IOHIDDeviceScheduleWithRunLoop(as_device(device), runner.loop(), kCFRunLoopDefaultMode);
        // Longer than the request's timeout: the completion (success, the device
        // answered at once) waits in the device however long it takes.
        std::this_thread::sleep_for(150ms);
        EXPECT_EQ(done.count(), 0u);
        IOHIDDeviceScheduleWithRunLoop(as_device(device), runner.loop(), CFSTR("read"));
        ASSERT_TRUE(eventually([&] { return done.count() == 1; }));
        EXPECT_EQ(done.at(0).result, kIOReturnSuccess);
        EXPECT_EQ(done.at(0).thread, runner.thread_id());
        IOHIDDeviceUnscheduleFromRunLoop(as_device(device), runner.loop(), kCFRunLoopDefaultMode);
        IOHIDDeviceUnscheduleFromRunLoop(as_device(device), runner.loop(), CFSTR("read"));
        runner.stop();
    }
    IOHIDDeviceClose(as_device(device), 0);
}

TEST_F(io_hid_device_requests_test, a_stalled_device_times_out_and_its_late_answer_is_discarded_once_it_comes)
{
    auto const id = add_device();
    sim::set_feature_report(id, 1, std::vector<std::uint8_t>{1, 2, 3, 4});
    served_device served(id);
    sim::stall_report_answers(id);
    completions done;
    std::uint8_t const byte = 6;
    std::array<std::uint8_t, 4> buffer{};
    ASSERT_EQ(served.set(&byte, 1, 50, done), kIOReturnSuccess);
    ASSERT_EQ(served.get(buffer.data(), 4, 50, done), kIOReturnSuccess);
    ASSERT_TRUE(eventually([&] { return done.count() == 2; }));
    EXPECT_EQ(done.at(0).result, kIOReturnTimeout);
    EXPECT_EQ(done.at(1).result, kIOReturnTimeout);
    EXPECT_TRUE(sim::output_reports(id).empty()) << "the device has not taken it yet";

    // The transfer was never cancelled: the device takes the report when it
    // answers, and nobody is called back again.
    sim::delay_report_answers(id, 0ms);
    ASSERT_TRUE(eventually([&] { return sim::output_reports(id).size() == 1; }));
    completions fence;
    ASSERT_EQ(served.set(&byte, 1, 50, fence), kIOReturnSuccess);
    ASSERT_TRUE(eventually([&] { return fence.count() == 1; }));
    EXPECT_EQ(done.count(), 2u);
    EXPECT_EQ(buffer, (std::array<std::uint8_t, 4>{})) << "the late answer is discarded";
}

TEST_F(io_hid_device_requests_test, a_delayed_device_answers_within_the_timeout)
{
    auto const id = add_device();
    served_device served(id);
    sim::delay_report_answers(id, 100ms);
    completions done;
    std::uint8_t const byte = 6;
    ASSERT_EQ(served.set(&byte, 1, 5000, done), kIOReturnSuccess);
    ASSERT_TRUE(eventually([&] { return done.count() == 1; }));
    EXPECT_EQ(done.at(0).result, kIOReturnSuccess);
    EXPECT_EQ(sim::output_reports(id).size(), 1u);
}

// The kernel uses a timeout only within 50…1 200 000 ms, else the device's
// "RequestTimeout" (µs, within 50 000…1 200 000 000), else 1000 ms. Each case uses
// a device that answers between the literal timeout and the one used, or one
// whose RequestTimeout is short, so that none waits long.
TEST_F(io_hid_device_requests_test, timeouts_out_of_range_give_way_to_the_device_default)
{
    std::uint8_t const byte = 1;
    {
        auto const id = add_device();
        served_device served(id);
        sim::delay_report_answers(id, 200ms);
        completions done;
        ASSERT_EQ(served.set(&byte, 1, 0, done), kIOReturnSuccess) << "0 ms means 1 s";
        ASSERT_EQ(served.set(&byte, 1, 49.9, done), kIOReturnSuccess) << "below 50 ms, 1 s too";
        ASSERT_TRUE(eventually([&] { return done.count() == 2; }));
        EXPECT_EQ(done.at(0).result, kIOReturnSuccess);
        EXPECT_EQ(done.at(1).result, kIOReturnSuccess);
    }
    {
        // A RequestTimeout of 100 ms stands in for a timeout above the maximum,
        // which would otherwise be taken as twenty minutes.
        auto const id = add_device({{"RequestTimeout", sim::make_number(100'000)}});
        served_device served(id);
        sim::stall_report_answers(id);
        completions done;
        ASSERT_EQ(served.set(&byte, 1, 1'200'001, done), kIOReturnSuccess);
        ASSERT_EQ(served.set(&byte, 1, -5, done), kIOReturnSuccess);
        ASSERT_TRUE(eventually([&] { return done.count() == 2; }));
        EXPECT_EQ(done.at(0).result, kIOReturnTimeout);
        EXPECT_EQ(done.at(1).result, kIOReturnTimeout);
    }
    {
        // A RequestTimeout below 50 000 µs is not used either: 1 s it is.
        auto const id = add_device({{"RequestTimeout", sim::make_number(10'000)}});
        served_device served(id);
        sim::delay_report_answers(id, 200ms);
        completions done;
        ASSERT_EQ(served.set(&byte, 1, 0, done), kIOReturnSuccess);
        ASSERT_TRUE(eventually([&] { return done.count() == 1; }));
        EXPECT_EQ(done.at(0).result, kIOReturnSuccess);
    }
}

TEST_F(io_hid_device_requests_test, removal_aborts_pending_requests_and_ends_a_blocked_synchronous_one)
{
    auto const id = add_device();
    served_device served(id);
    sim::stall_report_answers(id);
    completions done;
    std::uint8_t const byte = 1;
    std::array<std::uint8_t, 4> buffer{};
    ASSERT_EQ(served.set(&byte, 1, 1'200'000, done), kIOReturnSuccess);
    ASSERT_EQ(served.get(buffer.data(), 4, 1'200'000, done), kIOReturnSuccess);
    auto blocked = std::async(std::launch::async,
                              [&] { return IOHIDDeviceSetReport(served.ref(), kIOHIDReportTypeOutput, 0, &byte, 1); });
    EXPECT_EQ(blocked.wait_for(50ms), std::future_status::timeout) << "a synchronous request waits for the device";
    sim::remove_entry(id);
    EXPECT_EQ(blocked.get(), kIOReturnOffline);
    ASSERT_TRUE(eventually([&] { return done.count() == 2; }));
    EXPECT_EQ(done.at(0).result, kIOReturnAborted);
    EXPECT_EQ(done.at(1).result, kIOReturnAborted);
}

TEST_F(io_hid_device_requests_test, a_synchronous_request_to_a_stalled_device_completes_once_it_answers)
{
    auto const id = add_device();
    sim::set_feature_report(id, 1, std::vector<std::uint8_t>{4, 3});
    served_device served(id);
    sim::stall_report_answers(id);
    auto blocked = std::async(std::launch::async, [&] {
        std::array<std::uint8_t, 4> buffer{};
        CFIndex length = 4;
        auto const result = IOHIDDeviceGetReport(served.ref(), kIOHIDReportTypeFeature, 1, buffer.data(), &length);
        return std::pair(result, length);
    });
    EXPECT_EQ(blocked.wait_for(50ms), std::future_status::timeout);
    sim::delay_report_answers(id, 0ms);
    auto const [result, length] = blocked.get();
    EXPECT_EQ(result, kIOReturnSuccess);
    EXPECT_EQ(length, 2);
    EXPECT_THROW(sim::stall_report_answers(sim::root_entry_id), std::invalid_argument);
}

} // namespace
