// Tests of the simulated IOHIDManager: matching, first batch and hot-plug reports, removal, open and seize, input reports.
#include "sim/control/hid.hpp"
#include "sim/io_hid_support.hpp"
#include "sim/io_registry_support.hpp"
#include "sim/run_loop_support.hpp"
#include "support/threaded_sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hid/IOHIDManager.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::testing::io::cf;
using plinth::testing::io::string;
using plinth::testing::run_loop::eventually;
using plinth::testing::run_loop::loop_runner;
using plinth::testing::run_loop::on_a_thread_of_its_own;

using io_hid_manager_test = plinth::testing::threaded_sim_test;

sim::value usage_pair(std::int64_t page, std::int64_t usage)
{
    return sim::dictionary{{"DeviceUsagePage", sim::make_number(page)}, {"DeviceUsage", sim::make_number(usage)}};
}

// A HID device as a USB HID driver publishes one: its usage pairs, the first as its primary usage.
sim::entry_id add_hid_device(std::string const& name, std::int64_t vendor, std::int64_t product,
                             std::vector<std::pair<std::int64_t, std::int64_t>> const& pairs,
                             std::int64_t max_input_report_size = 8)
{
    sim::array published;
    for (auto const& [page, usage] : pairs)
        published.push_back(usage_pair(page, usage));
    return sim::add_entry({"IOUSBHostHIDDevice",
                           name,
                           std::nullopt,
                           {{"VendorID", sim::make_number(vendor)},
                            {"ProductID", sim::make_number(product)},
                            {"PrimaryUsagePage", sim::make_number(pairs.front().first)},
                            {"PrimaryUsage", sim::make_number(pairs.front().second)},
                            {"DeviceUsagePairs", published},
                            {"Transport", std::string("USB")},
                            {"MaxInputReportSize", sim::make_number(max_input_report_size)}}},
                          sim::root_entry_id);
}

sim::entry_id add_keyboard()
{
    return add_hid_device("Keyboard", 0x05ac, 0x0250, {{1, 6}});
}

sim::entry_id add_mouse()
{
    return add_hid_device("Mouse", 0x046d, 0xc077, {{1, 2}, {1, 1}});
}

cf number(std::int64_t value)
{
    return cf(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
}

cf matching(std::vector<std::pair<char const*, std::int64_t>> const& criteria)
{
    CFMutableDictionaryRef const dictionary = CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    for (auto const& [key, value] : criteria)
        CFDictionarySetValue(dictionary, string(key).get(), number(value).get());
    return cf(dictionary);
}

IOHIDManagerRef manager_of(cf const& manager)
{
    return manager.as<IOHIDManagerRef>();
}

// The registry IDs of the devices a manager holds, in any order; nullopt for a NULL set.
std::optional<std::vector<std::uint64_t>> devices_of(IOHIDManagerRef manager)
{
    cf const set(IOHIDManagerCopyDevices(manager));
    if (!set)
        return std::nullopt;
    auto const count = CFSetGetCount(set.as<CFSetRef>());
    std::vector<void const*> devices(static_cast<std::size_t>(count));
    CFSetGetValues(set.as<CFSetRef>(), devices.data());
    std::vector<std::uint64_t> ids;
    for (auto const* device : devices)
    {
        std::uint64_t id = 0;
        IORegistryEntryGetRegistryEntryID(IOHIDDeviceGetService(static_cast<IOHIDDeviceRef>(const_cast<void*>(device))),
                                          &id);
        ids.push_back(id);
    }
    std::ranges::sort(ids);
    return ids;
}

std::uint64_t id_of(IOHIDDeviceRef device)
{
    std::uint64_t id = 0;
    IORegistryEntryGetRegistryEntryID(IOHIDDeviceGetService(device), &id);
    return id;
}

// Runs the calling thread's loop in the default mode until it has nothing to do.
void run_pending()
{
    while (CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true) == kCFRunLoopRunHandledSource)
    {
    }
}

// What device callbacks saw: the device's registry ID, the result, the sender, the thread.
struct device_log
{
    struct call
    {
        std::uint64_t device;
        IOReturn result;
        void* sender;
        std::thread::id thread;
        // Whether the manager still listed the device while its callback ran.
        bool listed;
    };

    IOHIDManagerRef manager = nullptr;
    std::mutex mutex;
    std::vector<call> calls;

    static void record(void* context, IOReturn result, void* sender, IOHIDDeviceRef device)
    {
        auto& log = *static_cast<device_log*>(context);
        auto const listed = devices_of(log.manager);
        bool const still_there = listed && std::ranges::find(*listed, id_of(device)) != listed->end();
        std::lock_guard const lock(log.mutex);
        log.calls.push_back({id_of(device), result, sender, std::this_thread::get_id(), still_there});
    }

    std::size_t size()
    {
        std::lock_guard const lock(mutex);
        return calls.size();
    }
};

TEST_F(io_hid_manager_test, matching_selects_hid_devices_by_usage_pairs_ids_and_alternatives)
{
    auto const keyboard = add_keyboard();
    auto const mouse = add_mouse();
    sim::add_entry({"IOUSBHostDevice", "Hub"}, sim::root_entry_id);
    cf const manager(IOHIDManagerCreate(kCFAllocatorDefault, kIOHIDManagerOptionNone));

    // No matching yet: no device set at all.
    EXPECT_EQ(devices_of(manager_of(manager)), std::nullopt);

    IOHIDManagerSetDeviceMatching(manager_of(manager), nullptr);
    EXPECT_EQ(devices_of(manager_of(manager)), (std::vector<std::uint64_t>{keyboard, mouse}));

    // A usage matches any of the device's pairs, not only its primary one.
    IOHIDManagerSetDeviceMatching(manager_of(manager),
                                  matching({{"DeviceUsagePage", 1}, {"DeviceUsage", 1}}).as<CFDictionaryRef>());
    EXPECT_EQ(devices_of(manager_of(manager)), std::vector<std::uint64_t>{mouse});

    IOHIDManagerSetDeviceMatching(manager_of(manager),
                                  matching({{"VendorID", 0x05ac}, {"ProductID", 0x0250}}).as<CFDictionaryRef>());
    EXPECT_EQ(devices_of(manager_of(manager)), std::vector<std::uint64_t>{keyboard});

    // A list of usage pairs matches a device that has any one of them.
    auto const gamepad = matching({{"DeviceUsagePage", 1}, {"DeviceUsage", 5}});
    auto const pointer = matching({{"DeviceUsagePage", 1}, {"DeviceUsage", 1}});
    void const* pairs[] = {gamepad.get(), pointer.get()};
    cf const pair_list(CFArrayCreate(kCFAllocatorDefault, pairs, 2, &kCFTypeArrayCallBacks));
    auto const by_pairs = matching({});
    CFDictionarySetValue(by_pairs.as<CFMutableDictionaryRef>(), string("DeviceUsagePairs").get(), pair_list.get());
    IOHIDManagerSetDeviceMatching(manager_of(manager), by_pairs.as<CFDictionaryRef>());
    EXPECT_EQ(devices_of(manager_of(manager)), std::vector<std::uint64_t>{mouse});

    // Dictionaries of one array are alternatives; what is no dictionary is passed over.
    auto const keyboards = matching({{"PrimaryUsagePage", 1}, {"PrimaryUsage", 6}});
    auto const mice = matching({{"PrimaryUsagePage", 1}, {"PrimaryUsage", 2}});
    auto const stray = number(7);
    void const* alternatives[] = {keyboards.get(), stray.get(), mice.get()};
    cf const multiple(CFArrayCreate(kCFAllocatorDefault, alternatives, 3, &kCFTypeArrayCallBacks));
    IOHIDManagerSetDeviceMatchingMultiple(manager_of(manager), multiple.as<CFArrayRef>());
    EXPECT_EQ(devices_of(manager_of(manager)), (std::vector<std::uint64_t>{keyboard, mouse}));

    // Matching anew empties the set: what matches nothing leaves it empty, not NULL.
    IOHIDManagerSetDeviceMatching(manager_of(manager), matching({{"VendorID", 0x1234}}).as<CFDictionaryRef>());
    EXPECT_EQ(devices_of(manager_of(manager)), std::vector<std::uint64_t>{});

    cf const fresh(IOHIDManagerCreate(kCFAllocatorDefault, kIOHIDManagerOptionNone));
    IOHIDManagerSetDeviceMatching(fresh.as<IOHIDManagerRef>(), matching({{"VendorID", 0x1234}}).as<CFDictionaryRef>());
    EXPECT_EQ(devices_of(fresh.as<IOHIDManagerRef>()), std::nullopt) << "a set nothing ever matched is never made";
}

TEST_F(io_hid_manager_test, a_service_matching_two_alternatives_is_two_devices)
{
    add_mouse();
    cf const manager(IOHIDManagerCreate(kCFAllocatorDefault, kIOHIDManagerOptionNone));
    auto const by_usage = matching({{"DeviceUsagePage", 1}, {"DeviceUsage", 2}});
    auto const by_vendor = matching({{"VendorID", 0x046d}});
    void const* alternatives[] = {by_usage.get(), by_vendor.get()};
    cf const multiple(CFArrayCreate(kCFAllocatorDefault, alternatives, 2, &kCFTypeArrayCallBacks));
    IOHIDManagerSetDeviceMatchingMultiple(manager_of(manager), multiple.as<CFArrayRef>());
    EXPECT_EQ(devices_of(manager_of(manager))->size(), 2u);
}

TEST_F(io_hid_manager_test, the_first_batch_is_reported_on_the_first_pass_of_the_loop_not_inside_the_calls)
{
    on_a_thread_of_its_own([&] {
        auto const keyboard = add_keyboard();
        auto const mouse = add_mouse();
        cf const manager(IOHIDManagerCreate(kCFAllocatorDefault, kIOHIDManagerOptionNone));
        device_log matched;
        matched.manager = manager_of(manager);
        IOHIDManagerSetDeviceMatching(manager_of(manager), nullptr);
        IOHIDManagerRegisterDeviceMatchingCallback(manager_of(manager), device_log::record, &matched);
        IOHIDManagerScheduleWithRunLoop(manager_of(manager), CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
        EXPECT_EQ(matched.size(), 0u) << "nothing is reported before the loop runs";

        run_pending();
        ASSERT_EQ(matched.size(), 2u);
        // In the order of the device set, which is no order at all.
        EXPECT_EQ(std::min(matched.calls[0].device, matched.calls[1].device), keyboard);
        EXPECT_EQ(std::max(matched.calls[0].device, matched.calls[1].device), mouse);
        for (auto const& call : matched.calls)
        {
            EXPECT_EQ(call.result, kIOReturnSuccess);
            EXPECT_EQ(call.sender, manager.get()) << "the sender of a matching callback is the manager";
            EXPECT_TRUE(call.listed);
        }
        run_pending();
        EXPECT_EQ(matched.size(), 2u) << "each device is reported once";

        IOHIDManagerUnscheduleFromRunLoop(manager_of(manager), CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
    });
}

TEST_F(io_hid_manager_test, a_first_batch_with_no_matching_callback_is_never_reported)
{
    on_a_thread_of_its_own([&] {
        add_keyboard();
        cf const manager(IOHIDManagerCreate(kCFAllocatorDefault, kIOHIDManagerOptionNone));
        IOHIDManagerSetDeviceMatching(manager_of(manager), nullptr);
        IOHIDManagerScheduleWithRunLoop(manager_of(manager), CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
        run_pending();
        device_log matched;
        matched.manager = manager_of(manager);
        IOHIDManagerRegisterDeviceMatchingCallback(manager_of(manager), device_log::record, &matched);
        run_pending();
        EXPECT_EQ(matched.size(), 0u);
        IOHIDManagerUnscheduleFromRunLoop(manager_of(manager), CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
    });
}

TEST_F(io_hid_manager_test, arrivals_and_removals_are_reported_on_the_managers_loop_thread)
{
    add_keyboard();
    cf const manager(IOHIDManagerCreate(kCFAllocatorDefault, kIOHIDManagerOptionNone));
    device_log matched;
    device_log removed;
    matched.manager = removed.manager = manager_of(manager);
    IOHIDManagerRegisterDeviceMatchingCallback(manager_of(manager), device_log::record, &matched);
    IOHIDManagerRegisterDeviceRemovalCallback(manager_of(manager), device_log::record, &removed);
    IOHIDManagerSetDeviceMatching(manager_of(manager), matching({{"DeviceUsagePage", 1}}).as<CFDictionaryRef>());
    {
        loop_runner loop;
        IOHIDManagerScheduleWithRunLoop(manager_of(manager), loop.loop(), kCFRunLoopDefaultMode);
        ASSERT_TRUE(eventually([&] { return matched.size() == 1; }));

        auto const mouse = add_mouse();
        ASSERT_TRUE(eventually([&] { return matched.size() == 2; }));
        EXPECT_EQ(matched.calls[1].device, mouse);
        EXPECT_EQ(matched.calls[1].thread, loop.thread_id());
        EXPECT_TRUE(matched.calls[1].listed) << "an arrival is reported once it is in the set";

        sim::remove_entry(mouse);
        ASSERT_TRUE(eventually([&] { return removed.size() == 1; }));
        EXPECT_EQ(removed.calls[0].device, mouse);
        EXPECT_EQ(removed.calls[0].sender, manager.get());
        EXPECT_EQ(removed.calls[0].thread, loop.thread_id());
        EXPECT_TRUE(removed.calls[0].listed) << "the device leaves the set after its removal is reported";
        EXPECT_TRUE(eventually([&] { return devices_of(manager_of(manager))->size() == 1; }));

        IOHIDManagerUnscheduleFromRunLoop(manager_of(manager), loop.loop(), kCFRunLoopDefaultMode);
    }
}

TEST_F(io_hid_manager_test, an_unscheduled_manager_hears_of_no_arrival_even_when_scheduled_again)
{
    on_a_thread_of_its_own([&] {
        cf const manager(IOHIDManagerCreate(kCFAllocatorDefault, kIOHIDManagerOptionNone));
        device_log matched;
        matched.manager = manager_of(manager);
        IOHIDManagerRegisterDeviceMatchingCallback(manager_of(manager), device_log::record, &matched);
        IOHIDManagerSetDeviceMatching(manager_of(manager), nullptr);
        IOHIDManagerScheduleWithRunLoop(manager_of(manager), CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
        // Unscheduling from another loop or mode is ignored.
        IOHIDManagerUnscheduleFromRunLoop(manager_of(manager), CFRunLoopGetCurrent(), kCFRunLoopCommonModes);
        add_keyboard();
        run_pending();
        EXPECT_EQ(matched.size(), 1u);

        IOHIDManagerUnscheduleFromRunLoop(manager_of(manager), CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
        IOHIDManagerScheduleWithRunLoop(manager_of(manager), CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
        add_mouse();
        run_pending();
        EXPECT_EQ(matched.size(), 1u);
        EXPECT_EQ(devices_of(manager_of(manager))->size(), 1u);
        IOHIDManagerUnscheduleFromRunLoop(manager_of(manager), CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
    });
}

TEST_F(io_hid_manager_test, open_with_seize_opens_every_device_and_each_that_arrives)
{
    on_a_thread_of_its_own([&] {
        auto const keyboard = add_keyboard();
        cf const manager(IOHIDManagerCreate(kCFAllocatorDefault, kIOHIDManagerOptionNone));
        // Open before any matching succeeds and opens nothing.
        EXPECT_EQ(IOHIDManagerOpen(manager_of(manager), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
        EXPECT_EQ(IOHIDManagerOpen(manager_of(manager), kIOHIDOptionsTypeNone), kIOReturnSuccess) << "already open";
        device_log matched;
        matched.manager = manager_of(manager);
        IOHIDManagerRegisterDeviceMatchingCallback(manager_of(manager), device_log::record, &matched);
        IOHIDManagerSetDeviceMatching(manager_of(manager), nullptr);
        IOHIDManagerScheduleWithRunLoop(manager_of(manager), CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
        run_pending();

        // Another client of the seized keyboard is refused.
        auto const other = plinth::testing::io::device_of(keyboard);
        EXPECT_EQ(IOHIDDeviceOpen(other.as<IOHIDDeviceRef>(), kIOHIDOptionsTypeNone), kIOReturnExclusiveAccess);

        // A device that arrives is opened the same way, and its matching callback says how that went.
        auto const mouse = add_mouse();
        auto const mouse_client = plinth::testing::io::device_of(mouse);
        EXPECT_EQ(IOHIDDeviceOpen(mouse_client.as<IOHIDDeviceRef>(), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess)
            << "the manager has not heard of the mouse before its loop runs";
        run_pending();
        ASSERT_EQ(matched.size(), 2u);
        EXPECT_EQ(matched.calls[1].result, kIOReturnExclusiveAccess);
        IOHIDDeviceClose(mouse_client.as<IOHIDDeviceRef>(), 0);

        // Close unschedules and closes every device.
        EXPECT_EQ(IOHIDManagerClose(manager_of(manager), 0), kIOReturnSuccess);
        EXPECT_EQ(IOHIDDeviceOpen(other.as<IOHIDDeviceRef>(), kIOHIDOptionsTypeNone), kIOReturnSuccess);
        IOHIDDeviceClose(other.as<IOHIDDeviceRef>(), 0);
        EXPECT_EQ(IOHIDManagerClose(manager_of(manager), 0), kIOReturnNotOpen);
        EXPECT_EQ(sim::hid_schedulings(keyboard), 0u);
    });
}

// What the manager's input report callback saw.
struct report_log
{
    struct report
    {
        std::uint64_t device;
        std::uint32_t id;
        std::vector<std::uint8_t> bytes;
        std::uint8_t* buffer;
        std::uint64_t stamp;
    };
    std::mutex mutex;
    std::vector<report> reports;

    static void record(void* context, IOReturn, void* sender, IOHIDReportType, std::uint32_t id, std::uint8_t* bytes,
                       CFIndex length)
    {
        auto& log = *static_cast<report_log*>(context);
        std::lock_guard const lock(log.mutex);
        log.reports.push_back({id_of(static_cast<IOHIDDeviceRef>(sender)), id,
                               std::vector<std::uint8_t>(bytes, bytes + length), bytes, 0});
    }

    static void record_stamped(void* context, IOReturn result, void* sender, IOHIDReportType type, std::uint32_t id,
                               std::uint8_t* bytes, CFIndex length, std::uint64_t stamp)
    {
        record(context, result, sender, type, id, bytes, length);
        auto& log = *static_cast<report_log*>(context);
        std::lock_guard const lock(log.mutex);
        log.reports.back().stamp = stamp;
    }
};

TEST_F(io_hid_manager_test, input_reports_of_every_open_device_reach_the_manager_with_the_device_as_sender)
{
    on_a_thread_of_its_own([&] {
        auto const keyboard = add_keyboard();
        auto const mouse = add_mouse();
        cf const manager(IOHIDManagerCreate(kCFAllocatorDefault, kIOHIDManagerOptionNone));
        report_log plain;
        report_log stamped;
        IOHIDManagerRegisterInputReportCallback(manager_of(manager), report_log::record, &plain);
        IOHIDManagerRegisterInputReportWithTimeStampCallback(manager_of(manager), report_log::record_stamped, &stamped);
        IOHIDManagerSetDeviceMatching(manager_of(manager), nullptr);
        IOHIDManagerScheduleWithRunLoop(manager_of(manager), CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
        ASSERT_EQ(IOHIDManagerOpen(manager_of(manager), kIOHIDOptionsTypeNone), kIOReturnSuccess);

        std::array<std::uint8_t, 3> const click{1, 0, 0};
        std::array<std::uint8_t, 8> const key{0, 0, 4, 0, 0, 0, 0, 0};
        sim::post_input_report(mouse, 0, click);
        sim::post_input_report(keyboard, 0, key);
        run_pending();

        ASSERT_EQ(plain.reports.size(), 2u);
        EXPECT_EQ(plain.reports[0].device, mouse);
        EXPECT_EQ(plain.reports[0].bytes, std::vector<std::uint8_t>(click.begin(), click.end()));
        EXPECT_EQ(plain.reports[1].device, keyboard);
        EXPECT_EQ(plain.reports[1].bytes, std::vector<std::uint8_t>(key.begin(), key.end()));
        EXPECT_NE(plain.reports[0].buffer, plain.reports[1].buffer) << "each device reports into a buffer of its own";
        ASSERT_EQ(stamped.reports.size(), 2u);
        EXPECT_GT(stamped.reports[0].stamp, 0u);
        EXPECT_LE(stamped.reports[0].stamp, stamped.reports[1].stamp);

        EXPECT_EQ(IOHIDManagerClose(manager_of(manager), 0), kIOReturnSuccess);
        sim::post_input_report(mouse, 0, click);
        run_pending();
        EXPECT_EQ(plain.reports.size(), 2u) << "a closed manager hears nothing";
    });
}

TEST_F(io_hid_manager_test, properties_are_the_managers_own_and_pass_on_to_its_devices)
{
    auto const keyboard = add_keyboard();
    cf const manager(IOHIDManagerCreate(kCFAllocatorDefault, kIOHIDManagerOptionNone));
    auto const count_key = string("MaxReportBufferCount");
    auto const size_key = string("ReportBufferEntrySize");
    EXPECT_EQ(IOHIDManagerGetProperty(manager_of(manager), count_key.as<CFStringRef>()), nullptr);
    // A queue of 1024 entries of 64 bytes, four times the kernel's default.
    auto const count = number(1024);
    auto const size = number(64);
    EXPECT_TRUE(IOHIDManagerSetProperty(manager_of(manager), count_key.as<CFStringRef>(), count.get()));
    EXPECT_TRUE(CFEqual(IOHIDManagerGetProperty(manager_of(manager), count_key.as<CFStringRef>()), count.get()));

    IOHIDManagerSetDeviceMatching(manager_of(manager), nullptr);
    // Set after matching, the pair still reaches the device the manager holds.
    EXPECT_TRUE(IOHIDManagerSetProperty(manager_of(manager), size_key.as<CFStringRef>(), size.get()));
    report_log reports;
    IOHIDManagerRegisterInputReportCallback(manager_of(manager), report_log::record, &reports);
    ASSERT_EQ(IOHIDManagerOpen(manager_of(manager), kIOHIDOptionsTypeNone), kIOReturnSuccess);
    // 600 unread reports of 8 bytes (32 in the queue) overflow the default
    // 16 384 bytes, not the manager's 65 536.
    std::array<std::uint8_t, 8> const key_report{};
    for (int i = 0; i < 600; ++i)
        sim::post_input_report(keyboard, 0, key_report);
    EXPECT_EQ(sim::dropped_input_reports(keyboard), 0u);
    IOHIDManagerClose(manager_of(manager), 0);
}

TEST_F(io_hid_manager_test, independent_devices_are_matched_but_not_opened_or_scheduled)
{
    on_a_thread_of_its_own([&] {
        auto const keyboard = add_keyboard();
        cf const manager(IOHIDManagerCreate(kCFAllocatorDefault, kIOHIDManagerOptionIndependentDevices));
        IOHIDManagerSetDeviceMatching(manager_of(manager), nullptr);
        IOHIDManagerScheduleWithRunLoop(manager_of(manager), CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
        ASSERT_EQ(IOHIDManagerOpen(manager_of(manager), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
        EXPECT_EQ(devices_of(manager_of(manager))->size(), 1u);
        EXPECT_EQ(sim::hid_schedulings(keyboard), 0u);
        auto const other = plinth::testing::io::device_of(keyboard);
        EXPECT_EQ(IOHIDDeviceOpen(other.as<IOHIDDeviceRef>(), kIOHIDOptionsTypeNone), kIOReturnSuccess);
        IOHIDDeviceClose(other.as<IOHIDDeviceRef>(), 0);
        IOHIDManagerClose(manager_of(manager), 0);
    });
}

TEST_F(io_hid_manager_test, releasing_a_busy_manager_closes_and_unschedules_its_devices)
{
    on_a_thread_of_its_own([&] {
        auto const keyboard = add_keyboard();
        {
            cf const manager(IOHIDManagerCreate(kCFAllocatorDefault, kIOHIDManagerOptionNone));
            IOHIDManagerSetDeviceMatching(manager_of(manager), nullptr);
            IOHIDManagerScheduleWithRunLoop(manager_of(manager), CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
            ASSERT_EQ(IOHIDManagerOpen(manager_of(manager), kIOHIDOptionsTypeSeizeDevice), kIOReturnSuccess);
            EXPECT_EQ(sim::hid_schedulings(keyboard), 1u);
        }
        EXPECT_EQ(sim::hid_schedulings(keyboard), 0u);
        auto const other = plinth::testing::io::device_of(keyboard);
        EXPECT_EQ(IOHIDDeviceOpen(other.as<IOHIDDeviceRef>(), kIOHIDOptionsTypeNone), kIOReturnSuccess);
        IOHIDDeviceClose(other.as<IOHIDDeviceRef>(), 0);
    });
}

TEST_F(io_hid_manager_test, misuse_is_reported_and_the_call_fails)
{
    on_a_thread_of_its_own([&] {
        EXPECT_EQ(IOHIDManagerOpen(nullptr, 0), kIOReturnBadArgument);
        EXPECT_EQ(IOHIDManagerCopyDevices(nullptr), nullptr);
        auto const text = string("not a manager");
        IOHIDManagerSetDeviceMatching(reinterpret_cast<IOHIDManagerRef>(const_cast<void*>(text.get())), nullptr);
        EXPECT_EQ(take_misuse_reports().size(), 3u);

        cf const manager(IOHIDManagerCreate(kCFAllocatorDefault, kIOHIDManagerOptionNone));
        IOHIDManagerScheduleWithRunLoop(manager_of(manager), CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
        IOHIDManagerScheduleWithRunLoop(manager_of(manager), CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
        EXPECT_EQ(take_misuse_reports().size(), 1u) << "a manager is scheduled once";
        EXPECT_FALSE(IOHIDManagerSetProperty(manager_of(manager), nullptr, text.get()));
        IOHIDManagerUnscheduleFromRunLoop(manager_of(manager), CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
        EXPECT_EQ(CFGetTypeID(manager.get()), IOHIDManagerGetTypeID());
    });
}

} // namespace
