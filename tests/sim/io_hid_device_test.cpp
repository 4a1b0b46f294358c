// Tests of the simulated IOHIDDevice: open and seize, reports both ways, removal, run-loop delivery.
#include "sim/control/hid.hpp"
#include "sim/io_hid_support.hpp"
#include "sim/io_registry_support.hpp"
#include "sim/run_loop_support.hpp"
#include "support/threaded_sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDDevice.h>

#include <array>
#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::testing::io::as_device;
using plinth::testing::io::cf;
using plinth::testing::io::device_of;
using plinth::testing::io::string;
using plinth::testing::run_loop::eventually;
using plinth::testing::run_loop::loop_runner;
using namespace std::chrono_literals;

using io_hid_device_test = plinth::testing::threaded_sim_test;

sim::entry_id add_keyboard(sim::entry_id parent = sim::root_entry_id)
{
    return sim::add_entry({"IOUSBHostHIDDevice", "Keyboard", "1", {{"MaxInputReportSize", sim::make_number(4)}}},
                          parent);
}

// What an input-report callback saw.
struct report_log
{
    std::mutex mutex;
    std::vector<std::vector<std::uint8_t>> reports;
    std::vector<std::thread::id> threads;
    std::vector<CFIndex> lengths;
    std::array<std::uint8_t, 2> buffer{};

    static void input(void* context, IOReturn, void*, IOHIDReportType, uint32_t, uint8_t* report, CFIndex length)
    {
        auto& self = *static_cast<report_log*>(context);
        std::lock_guard const lock(self.mutex);
        self.reports.emplace_back(report, report + std::min<CFIndex>(length, 2));
        self.lengths.push_back(length);
        self.threads.push_back(std::this_thread::get_id());
    }

    std::size_t count()
    {
        std::lock_guard const lock(mutex);
        return reports.size();
    }
};

// One IOHIDDeviceRef of the device that logs its reports, scheduled on a loop.
struct reader
{
    cf device;
    report_log seen;

    reader(sim::entry_id id, CFRunLoopRef loop) : device(device_of(id))
    {
        IOHIDDeviceRegisterInputReportCallback(as_device(device), seen.buffer.data(), 2, report_log::input, &seen);
        IOHIDDeviceScheduleWithRunLoop(as_device(device), loop, kCFRunLoopDefaultMode);
    }
    reader(reader const&) = delete;
    reader& operator=(reader const&) = delete;

    IOHIDDeviceRef ref() const { return as_device(device); }

    std::vector<std::vector<std::uint8_t>> reports()
    {
        std::lock_guard const lock(seen.mutex);
        return seen.reports;
    }

    IOReturn send_output() const
    {
        std::uint8_t const byte = 1;
        return IOHIDDeviceSetReport(ref(), kIOHIDReportTypeOutput, 0, &byte, 1);
    }
};

using report_list = std::vector<std::vector<std::uint8_t>>;

void post(sim::entry_id id, std::uint8_t byte)
{
    sim::post_input_report(id, 0, std::vector<std::uint8_t>{byte});
}

TEST_F(io_hid_device_test, only_hid_devices_make_a_device_object_and_it_holds_its_service)
{
    auto const plain = sim::add_entry({"IOUSBHostDevice", "Plain"}, sim::root_entry_id);
    EXPECT_FALSE(device_of(plain));
    auto const keyboard = add_keyboard();
    auto const device = device_of(keyboard);
    ASSERT_TRUE(device);
    EXPECT_EQ(CFGetTypeID(device.get()), IOHIDDeviceGetTypeID());
    std::uint64_t id = 0;
    IORegistryEntryGetRegistryEntryID(IOHIDDeviceGetService(as_device(device)), &id);
    EXPECT_EQ(id, keyboard);
}

TEST_F(io_hid_device_test, a_seized_device_refuses_other_clients_and_close_needs_an_open)
{
    auto const keyboard = add_keyboard();
    auto const first = device_of(keyboard);
    auto const second = device_of(keyboard);
    EXPECT_EQ(IOHIDDeviceClose(as_device(first), 0), kIOReturnNotOpen);
    EXPECT_EQ(IOHIDDeviceOpen(as_device(first), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
    EXPECT_EQ(IOHIDDeviceOpen(as_device(second), kIOHIDOptionsTypeNone), kIOReturnExclusiveAccess);
    std::uint8_t const byte = 1;
    EXPECT_EQ(IOHIDDeviceSetReport(as_device(second), kIOHIDReportTypeOutput, 0, &byte, 1), kIOReturnExclusiveAccess);
    EXPECT_EQ(IOHIDDeviceClose(as_device(first), 0), kIOReturnSuccess);
    EXPECT_EQ(IOHIDDeviceOpen(as_device(second), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
    EXPECT_EQ(IOHIDDeviceClose(as_device(second), 0), kIOReturnSuccess);
}

TEST_F(io_hid_device_test, shared_clients_each_receive_every_report_in_order)
{
    auto const keyboard = add_keyboard();
    loop_runner runner;
    reader first(keyboard, runner.loop());
    reader second(keyboard, runner.loop());
    ASSERT_EQ(IOHIDDeviceOpen(first.ref(), kIOHIDOptionsTypeNone), kIOReturnSuccess);
    ASSERT_EQ(IOHIDDeviceOpen(second.ref(), kIOHIDOptionsTypeNone), kIOReturnSuccess);
    for (std::uint8_t i = 1; i <= 3; ++i)
        post(keyboard, i);
    ASSERT_TRUE(eventually([&] { return first.seen.count() == 3 && second.seen.count() == 3; }));
    EXPECT_EQ(first.reports(), (report_list{{1}, {2}, {3}}));
    EXPECT_EQ(second.reports(), (report_list{{1}, {2}, {3}}));
    EXPECT_EQ(first.send_output(), kIOReturnSuccess) << "shared clients may all write";
    EXPECT_EQ(second.send_output(), kIOReturnSuccess);
    IOHIDDeviceUnscheduleFromRunLoop(first.ref(), runner.loop(), kCFRunLoopDefaultMode);
    IOHIDDeviceUnscheduleFromRunLoop(second.ref(), runner.loop(), kCFRunLoopDefaultMode);
    IOHIDDeviceClose(first.ref(), 0);
    IOHIDDeviceClose(second.ref(), 0);
}

TEST_F(io_hid_device_test, a_seize_silences_shared_clients_until_the_seizer_closes_and_they_resume)
{
    auto const keyboard = add_keyboard();
    loop_runner runner;
    reader shared(keyboard, runner.loop());
    reader seizer(keyboard, runner.loop());
    ASSERT_EQ(IOHIDDeviceOpen(shared.ref(), kIOHIDOptionsTypeNone), kIOReturnSuccess);
    post(keyboard, 1);
    ASSERT_TRUE(eventually([&] { return shared.seen.count() == 1; }));

    EXPECT_EQ(IOHIDDeviceOpen(seizer.ref(), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess)
        << "a seize succeeds while others have the device open";
    post(keyboard, 2);
    ASSERT_TRUE(eventually([&] { return seizer.seen.count() == 1; }));
    EXPECT_EQ(shared.send_output(), kIOReturnExclusiveAccess);
    EXPECT_EQ(seizer.send_output(), kIOReturnSuccess);

    ASSERT_EQ(IOHIDDeviceClose(seizer.ref(), 0), kIOReturnSuccess);
    post(keyboard, 3);
    ASSERT_TRUE(eventually([&] { return shared.seen.count() == 2; }));
    EXPECT_EQ(shared.reports(), (report_list{{1}, {3}})) << "the report sent while seized never reached it";
    EXPECT_EQ(seizer.reports(), (report_list{{2}}));
    EXPECT_EQ(shared.send_output(), kIOReturnSuccess);
    IOHIDDeviceUnscheduleFromRunLoop(shared.ref(), runner.loop(), kCFRunLoopDefaultMode);
    IOHIDDeviceUnscheduleFromRunLoop(seizer.ref(), runner.loop(), kCFRunLoopDefaultMode);
    EXPECT_EQ(IOHIDDeviceClose(shared.ref(), 0), kIOReturnSuccess);
}

TEST_F(io_hid_device_test, an_open_refused_for_exclusive_access_counts_as_open_and_works_once_the_seizer_closes)
{
    auto const keyboard = add_keyboard();
    loop_runner runner;
    reader seizer(keyboard, runner.loop());
    reader late(keyboard, runner.loop());
    reader second_seizer(keyboard, runner.loop());
    ASSERT_EQ(IOHIDDeviceOpen(seizer.ref(), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
    EXPECT_EQ(IOHIDDeviceOpen(late.ref(), kIOHIDOptionsTypeNone), kIOReturnExclusiveAccess);
    EXPECT_EQ(IOHIDDeviceOpen(second_seizer.ref(), kIOHIDOptionsTypeSeizeDevice), kIOReturnExclusiveAccess)
        << "the first seizer keeps the device";
    post(keyboard, 1);
    ASSERT_TRUE(eventually([&] { return seizer.seen.count() == 1; }));
    EXPECT_EQ(late.send_output(), kIOReturnExclusiveAccess);
    EXPECT_EQ(second_seizer.send_output(), kIOReturnExclusiveAccess);
    std::array<std::uint8_t, 2> buffer{};
    CFIndex length = 2;
    EXPECT_EQ(IOHIDDeviceGetReport(late.ref(), kIOHIDReportTypeInput, 0, buffer.data(), &length),
              kIOReturnExclusiveAccess);

    ASSERT_EQ(IOHIDDeviceClose(seizer.ref(), 0), kIOReturnSuccess);
    post(keyboard, 2);
    ASSERT_TRUE(eventually([&] { return late.seen.count() == 1 && second_seizer.seen.count() == 1; }));
    EXPECT_EQ(late.reports(), (report_list{{2}}));
    EXPECT_EQ(second_seizer.reports(), (report_list{{2}}));
    EXPECT_EQ(late.send_output(), kIOReturnSuccess);
    EXPECT_EQ(IOHIDDeviceGetReport(late.ref(), kIOHIDReportTypeInput, 0, buffer.data(), &length), kIOReturnSuccess);
    IOHIDDeviceUnscheduleFromRunLoop(late.ref(), runner.loop(), kCFRunLoopDefaultMode);
    IOHIDDeviceUnscheduleFromRunLoop(second_seizer.ref(), runner.loop(), kCFRunLoopDefaultMode);
    IOHIDDeviceUnscheduleFromRunLoop(seizer.ref(), runner.loop(), kCFRunLoopDefaultMode);
    EXPECT_EQ(IOHIDDeviceClose(late.ref(), 0), kIOReturnSuccess) << "the refused open was an open";
    EXPECT_EQ(IOHIDDeviceClose(second_seizer.ref(), 0), kIOReturnSuccess);
}

TEST_F(io_hid_device_test, releasing_an_open_seizing_device_object_ends_the_seize)
{
    auto const keyboard = add_keyboard();
    auto other = device_of(keyboard);
    {
        auto const seizer = device_of(keyboard);
        ASSERT_EQ(IOHIDDeviceOpen(as_device(seizer), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
        EXPECT_EQ(IOHIDDeviceOpen(as_device(other), kIOHIDOptionsTypeNone), kIOReturnExclusiveAccess);
    }
    std::uint8_t const byte = 1;
    EXPECT_EQ(IOHIDDeviceSetReport(as_device(other), kIOHIDReportTypeOutput, 0, &byte, 1), kIOReturnSuccess);
    EXPECT_EQ(IOHIDDeviceClose(as_device(other), 0), kIOReturnSuccess);
}

TEST_F(io_hid_device_test, properties_follow_the_get_rule_and_come_from_ancestors_too)
{
    auto const parent =
        sim::add_entry({"IOUSBHostDevice", "Parent", "1", {{"VendorID", sim::make_number(0x46d)}}}, sim::root_entry_id);
    auto const keyboard = add_keyboard(parent);
    auto const device = device_of(keyboard);
    auto const key = string("VendorID");
    CFTypeRef const vendor = IOHIDDeviceGetProperty(as_device(device), key.as<CFStringRef>());
    ASSERT_NE(vendor, nullptr);
    int value = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(vendor), kCFNumberIntType, &value);
    EXPECT_EQ(value, 0x46d);
    EXPECT_EQ(IOHIDDeviceGetProperty(as_device(device), key.as<CFStringRef>()), vendor) << "kept, not copied";
    auto const missing = string("Nothing");
    EXPECT_EQ(IOHIDDeviceGetProperty(as_device(device), missing.as<CFStringRef>()), nullptr);
}

TEST_F(io_hid_device_test, reports_reach_only_a_loop_running_a_scheduled_mode_in_order_and_truncated)
{
    auto const keyboard = add_keyboard();
    auto const device = device_of(keyboard);
    report_log seen;
    ASSERT_EQ(IOHIDDeviceOpen(as_device(device), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
    IOHIDDeviceRegisterInputReportCallback(as_device(device), seen.buffer.data(), 2, report_log::input, &seen);
    {
        loop_runner runner(CFSTR("read"));
        // Scheduled only in the default mode, which the loop does not run: the
        // reports wait in the client's queue.
        IOHIDDeviceScheduleWithRunLoop(as_device(device), runner.loop(), kCFRunLoopDefaultMode);
        sim::post_input_report(keyboard, 1, std::vector<std::uint8_t>{1, 2, 3});
        sim::post_input_report(keyboard, 2, std::vector<std::uint8_t>{4});
        std::this_thread::sleep_for(50ms);
        EXPECT_EQ(seen.count(), 0u);
        IOHIDDeviceScheduleWithRunLoop(as_device(device), runner.loop(), CFSTR("read"));
        ASSERT_TRUE(eventually([&] { return seen.count() == 2; }));
        std::lock_guard const lock(seen.mutex);
        EXPECT_EQ(seen.reports[0], (std::vector<std::uint8_t>{1, 2})) << "cut to the registered buffer";
        EXPECT_EQ(seen.lengths[0], 3) << "the callback still learns the report's size";
        EXPECT_EQ(seen.reports[1], (std::vector<std::uint8_t>{4}));
        EXPECT_EQ(seen.threads[0], runner.thread_id());
    }
    IOHIDDeviceClose(as_device(device), 0);
}

// The time-stamped callback gets the reports as the plain one does, each stamped
// with the machine's absolute time when it was delivered; registering a plain
// callback afterwards replaces it.
TEST_F(io_hid_device_test, a_time_stamped_callback_gets_each_report_with_a_rising_stamp_until_a_plain_one_replaces_it)
{
    struct stamped_log
    {
        std::mutex mutex;
        std::vector<std::uint8_t> first_bytes;
        std::vector<std::uint64_t> stamps;
        std::array<std::uint8_t, 2> buffer{};
    } stamped;
    auto const keyboard = add_keyboard();
    auto const device = device_of(keyboard);
    ASSERT_EQ(IOHIDDeviceOpen(as_device(device), kIOHIDOptionsTypeNone), kIOReturnSuccess);
    IOHIDDeviceRegisterInputReportWithTimeStampCallback(
        as_device(device), stamped.buffer.data(), 2,
        [](void* context, IOReturn result, void* sender, IOHIDReportType type, uint32_t, uint8_t* report, CFIndex,
           uint64_t stamp) {
            auto& log = *static_cast<stamped_log*>(context);
            EXPECT_EQ(result, kIOReturnSuccess);
            EXPECT_NE(sender, nullptr);
            EXPECT_EQ(type, kIOHIDReportTypeInput);
            std::lock_guard const lock(log.mutex);
            log.first_bytes.push_back(report[0]);
            log.stamps.push_back(stamp);
        },
        &stamped);
    loop_runner runner(kCFRunLoopDefaultMode);
    IOHIDDeviceScheduleWithRunLoop(as_device(device), runner.loop(), kCFRunLoopDefaultMode);
    auto const before =
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count();
    post(keyboard, 7);
    post(keyboard, 8);
    ASSERT_TRUE(eventually([&] {
        std::lock_guard const lock(stamped.mutex);
        return stamped.stamps.size() == 2;
    }));
    report_log plain;
    IOHIDDeviceRegisterInputReportCallback(as_device(device), plain.buffer.data(), 2, report_log::input, &plain);
    post(keyboard, 9);
    ASSERT_TRUE(eventually([&] { return plain.count() == 1; }));
    IOHIDDeviceUnscheduleFromRunLoop(as_device(device), runner.loop(), kCFRunLoopDefaultMode);
    std::lock_guard const lock(stamped.mutex);
    EXPECT_EQ(stamped.first_bytes, (std::vector<std::uint8_t>{7, 8}));
    EXPECT_GE(stamped.stamps[0], static_cast<std::uint64_t>(before));
    EXPECT_LE(stamped.stamps[0], stamped.stamps[1]);
    IOHIDDeviceClose(as_device(device), 0);
}

TEST_F(io_hid_device_test, the_report_observer_runs_on_the_delivering_thread_just_before_each_callback)
{
    auto const keyboard = add_keyboard();
    auto const device = device_of(keyboard);
    report_log seen;
    std::vector<std::size_t> callbacks_before_observer;
    std::vector<std::thread::id> observer_threads;
    sim::set_input_report_observer(keyboard, [&] {
        std::lock_guard const lock(seen.mutex);
        callbacks_before_observer.push_back(seen.reports.size());
        observer_threads.push_back(std::this_thread::get_id());
    });
    ASSERT_EQ(IOHIDDeviceOpen(as_device(device), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
    IOHIDDeviceRegisterInputReportCallback(as_device(device), seen.buffer.data(), 2, report_log::input, &seen);
    {
        loop_runner runner(kCFRunLoopDefaultMode);
        IOHIDDeviceScheduleWithRunLoop(as_device(device), runner.loop(), kCFRunLoopDefaultMode);
        for (std::uint8_t i = 0; i < 3; ++i)
            sim::post_input_report(keyboard, 1, std::vector<std::uint8_t>{i});
        ASSERT_TRUE(eventually([&] { return seen.count() == 3; }));
        std::lock_guard const lock(seen.mutex);
        EXPECT_EQ(callbacks_before_observer, (std::vector<std::size_t>{0, 1, 2}));
        EXPECT_EQ(observer_threads, std::vector<std::thread::id>(3, runner.thread_id()));
        IOHIDDeviceUnscheduleFromRunLoop(as_device(device), runner.loop(), kCFRunLoopDefaultMode);
    }
    sim::set_input_report_observer(keyboard, nullptr);
    IOHIDDeviceClose(as_device(device), 0);
    EXPECT_THROW(sim::set_input_report_observer(sim::root_entry_id, [] {}), std::invalid_argument);
}

TEST_F(io_hid_device_test, unplugging_raises_removal_on_the_serving_loop_and_a_new_device_works_after_replugging)
{
    auto const keyboard = add_keyboard();
    auto const device = device_of(keyboard);
    ASSERT_EQ(IOHIDDeviceOpen(as_device(device), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
    std::atomic<std::thread::id> removed_on{};
    IOHIDDeviceRegisterRemovalCallback(
        as_device(device),
        [](void* context, IOReturn, void*) {
            static_cast<std::atomic<std::thread::id>*>(context)->store(std::this_thread::get_id());
        },
        &removed_on);
    {
        loop_runner runner(kCFRunLoopDefaultMode);
        IOHIDDeviceScheduleWithRunLoop(as_device(device), runner.loop(), kCFRunLoopDefaultMode);
        sim::remove_entry(keyboard);
        ASSERT_TRUE(eventually([&] { return removed_on.load() != std::thread::id(); }));
        EXPECT_EQ(removed_on.load(), runner.thread_id());
    }
    std::uint8_t const byte = 1;
    EXPECT_EQ(IOHIDDeviceSetReport(as_device(device), kIOHIDReportTypeOutput, 0, &byte, 1), kIOReturnOffline);

    sim::add_entry({"IOUSBHostHIDDevice", "Keyboard", "1", {{"MaxInputReportSize", sim::make_number(4)}}, keyboard},
                   sim::root_entry_id);
    auto const again = device_of(keyboard);
    ASSERT_TRUE(again);
    EXPECT_EQ(IOHIDDeviceOpen(as_device(again), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
    EXPECT_EQ(IOHIDDeviceClose(as_device(again), 0), kIOReturnSuccess);
}

TEST_F(io_hid_device_test, set_report_is_captured_and_get_report_answers_features)
{
    auto const keyboard = add_keyboard();
    auto const device = device_of(keyboard);
    std::array<std::uint8_t, 4> buffer{};
    CFIndex length = static_cast<CFIndex>(buffer.size());
    EXPECT_EQ(IOHIDDeviceGetReport(as_device(device), kIOHIDReportTypeFeature, 3, buffer.data(), &length),
              kIOReturnNotOpen);
    std::uint8_t const out[] = {9, 8};
    EXPECT_EQ(IOHIDDeviceSetReport(as_device(device), kIOHIDReportTypeOutput, 0, out, 2), kIOReturnNotOpen);

    ASSERT_EQ(IOHIDDeviceOpen(as_device(device), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
    EXPECT_EQ(IOHIDDeviceSetReport(as_device(device), kIOHIDReportTypeOutput, 7, out, 2), kIOReturnSuccess);
    EXPECT_EQ(IOHIDDeviceSetReport(as_device(device), kIOHIDReportTypeFeature, 3, out, 1), kIOReturnSuccess);
    auto const sent = sim::output_reports(keyboard);
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0].type, kIOHIDReportTypeOutput);
    EXPECT_EQ(sent[0].report_id, 7u);
    EXPECT_EQ(sent[0].bytes, (std::vector<std::uint8_t>{9, 8}));
    EXPECT_EQ(sent[1].type, kIOHIDReportTypeFeature);

    length = 0;
    EXPECT_EQ(IOHIDDeviceGetReport(as_device(device), kIOHIDReportTypeFeature, 3, buffer.data(), &length),
              kIOReturnBadArgument);
    sim::set_feature_report(keyboard, 3, std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6});
    length = static_cast<CFIndex>(buffer.size());
    EXPECT_EQ(IOHIDDeviceGetReport(as_device(device), kIOHIDReportTypeFeature, 3, buffer.data(), &length),
              kIOReturnSuccess);
    EXPECT_EQ(length, 4);
    EXPECT_EQ(buffer, (std::array<std::uint8_t, 4>{1, 2, 3, 4}));
    EXPECT_EQ(IOHIDDeviceClose(as_device(device), 0), kIOReturnSuccess);
    EXPECT_THROW(sim::set_feature_report(sim::root_entry_id, 1, std::vector<std::uint8_t>{1}), std::invalid_argument);
    EXPECT_THROW(sim::post_input_report(0x7777777, 1, std::vector<std::uint8_t>{1}), std::invalid_argument);
}

TEST_F(io_hid_device_test, get_report_answers_input_reports_set_or_last_sent_and_never_output_reports)
{
    auto const keyboard = add_keyboard();
    sim::set_input_report(keyboard, 2, std::vector<std::uint8_t>{2, 7}); // before any client made the device
    auto const device = device_of(keyboard);
    auto const other = device_of(keyboard);
    ASSERT_EQ(IOHIDDeviceOpen(as_device(device), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
    std::array<std::uint8_t, 4> buffer{};
    auto get = [&](IOHIDReportType type, CFIndex id, IOHIDDeviceRef from) {
        buffer.fill(0);
        CFIndex length = static_cast<CFIndex>(buffer.size());
        auto const result = IOHIDDeviceGetReport(from, type, id, buffer.data(), &length);
        return std::make_pair(result, std::vector<std::uint8_t>(buffer.begin(), buffer.begin() + length));
    };
    using answer = std::pair<IOReturn, std::vector<std::uint8_t>>;
    EXPECT_EQ(get(kIOHIDReportTypeInput, 2, as_device(device)), (answer{kIOReturnSuccess, {2, 7}}));
    EXPECT_EQ(get(kIOHIDReportTypeInput, 3, as_device(device)).first, kIOReturnUnsupported);
    EXPECT_EQ(get(kIOHIDReportTypeFeature, 2, as_device(device)).first, kIOReturnUnsupported)
        << "input and feature reports of one ID are different reports";

    report_log seen;
    IOHIDDeviceRegisterInputReportCallback(as_device(device), seen.buffer.data(), 2, report_log::input, &seen);
    {
        loop_runner runner(kCFRunLoopDefaultMode);
        IOHIDDeviceScheduleWithRunLoop(as_device(device), runner.loop(), kCFRunLoopDefaultMode);
        sim::post_input_report(keyboard, 2, std::vector<std::uint8_t>{2, 8});
        ASSERT_TRUE(eventually([&] { return seen.count() == 1; }));
        EXPECT_EQ(get(kIOHIDReportTypeInput, 2, as_device(device)), (answer{kIOReturnSuccess, {2, 8}}))
            << "the last report sent is the present one";
        sim::set_input_report(keyboard, 2, std::vector<std::uint8_t>{2, 9});
        EXPECT_EQ(get(kIOHIDReportTypeInput, 2, as_device(device)), (answer{kIOReturnSuccess, {2, 9}}));
        std::this_thread::sleep_for(20ms);
        EXPECT_EQ(seen.count(), 1u) << "setting the present report sends nothing";
        IOHIDDeviceUnscheduleFromRunLoop(as_device(device), runner.loop(), kCFRunLoopDefaultMode);
    }
    IOHIDDeviceRegisterInputReportCallback(as_device(device), seen.buffer.data(), 2, nullptr, nullptr);

    // What a client sends is recorded, and changes no answer: the device decides.
    sim::set_feature_report(keyboard, 2, std::vector<std::uint8_t>{2, 1});
    std::uint8_t const sent[] = {2, 5};
    EXPECT_EQ(IOHIDDeviceSetReport(as_device(device), kIOHIDReportTypeFeature, 2, sent, 2), kIOReturnSuccess);
    EXPECT_EQ(IOHIDDeviceSetReport(as_device(device), kIOHIDReportTypeOutput, 2, sent, 2), kIOReturnSuccess);
    EXPECT_EQ(get(kIOHIDReportTypeFeature, 2, as_device(device)), (answer{kIOReturnSuccess, {2, 1}}));
    EXPECT_EQ(get(kIOHIDReportTypeOutput, 2, as_device(device)).first, kIOReturnUnsupported);
    auto const recorded = sim::output_reports(keyboard);
    ASSERT_EQ(recorded.size(), 2u);
    EXPECT_EQ(recorded[0].type, kIOHIDReportTypeFeature);
    EXPECT_EQ(recorded[0].report_id, 2u);
    EXPECT_EQ(recorded[1].type, kIOHIDReportTypeOutput);

    EXPECT_EQ(get(kIOHIDReportTypeInput, 2, as_device(other)).first, kIOReturnNotOpen);
    EXPECT_EQ(IOHIDDeviceOpen(as_device(other), kIOHIDOptionsTypeNone), kIOReturnExclusiveAccess);
    EXPECT_EQ(get(kIOHIDReportTypeInput, 2, as_device(other)).first, kIOReturnExclusiveAccess)
        << "the seizer alone talks to the device";
    sim::remove_entry(keyboard);
    EXPECT_EQ(get(kIOHIDReportTypeInput, 2, as_device(device)).first, kIOReturnOffline);
    EXPECT_THROW(sim::set_input_report(sim::root_entry_id, 1, std::vector<std::uint8_t>{1}), std::invalid_argument);
    EXPECT_THROW(sim::set_input_report(keyboard, 1, std::vector<std::uint8_t>{1}), std::invalid_argument)
        << "an unplugged device takes no reports";
}

} // namespace
