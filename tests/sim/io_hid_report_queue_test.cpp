// Tests of the simulated kernel's per-client input report queue: its size in bytes, drops, and when it fills.
#include "sim/control/hid.hpp"
#include "sim/io_hid_support.hpp"
#include "sim/io_registry_support.hpp"
#include "sim/run_loop_support.hpp"
#include "support/threaded_sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDDevice.h>

#include <cstdint>
#include <mutex>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::testing::io::cf;
using plinth::testing::io::debug_state;
using plinth::testing::io::device_of;
using plinth::testing::io::number_in;
using plinth::testing::io::user_client_entries;
using plinth::testing::run_loop::eventually;
using plinth::testing::run_loop::loop_runner;

using io_hid_report_queue_test = plinth::testing::threaded_sim_test;

constexpr std::size_t report_size = 64;
// 4 + 20 bytes of headers and the report, rounded up to 4 bytes.
constexpr std::size_t entry_cost = 88;

sim::entry_id add_device(sim::dictionary extra = {}, std::int64_t max_input = report_size)
{
    extra.emplace_back("MaxInputReportSize", sim::make_number(max_input));
    return sim::add_entry({"IOUSBHostHIDDevice", "Gamepad", std::nullopt, std::move(extra)}, sim::root_entry_id);
}

sim::dictionary queue_properties(std::int64_t count, std::int64_t entry_size)
{
    return {{"MaxReportBufferCount", sim::make_number(count)}, {"ReportBufferEntrySize", sim::make_number(entry_size)}};
}

// Posts `count` reports of `size` bytes, numbered from `first` by report ID; each
// report's first and last bytes carry the number too.
void post_numbered(sim::entry_id device, std::uint32_t first, std::size_t count, std::size_t size = report_size)
{
    std::vector<std::uint8_t> bytes(size);
    for (std::uint32_t n = first; n < first + count; ++n)
    {
        bytes.front() = static_cast<std::uint8_t>(n);
        bytes.back() = static_cast<std::uint8_t>(n >> 8);
        sim::post_input_report(device, n, bytes);
    }
}

std::vector<std::uint32_t> numbers(std::uint32_t first, std::size_t count)
{
    std::vector<std::uint32_t> all(count);
    std::iota(all.begin(), all.end(), first);
    return all;
}

// One IOHIDDeviceRef that takes reports and reads none until told to drain.
struct slow_reader
{
    cf device;
    std::vector<std::uint8_t> buffer;
    std::mutex mutex;
    std::vector<std::uint32_t> ids;
    std::vector<CFIndex> lengths;
    std::vector<std::uint8_t> first_bytes, last_bytes;

    explicit slow_reader(sim::entry_id id, std::size_t buffer_size = report_size)
        : device(device_of(id)), buffer(buffer_size)
    {
    }

    IOHIDDeviceRef ref() const { return device.as<IOHIDDeviceRef>(); }

    IOReturn open(IOOptionBits options = kIOHIDOptionsTypeNone) const { return IOHIDDeviceOpen(ref(), options); }

    void listen()
    {
        IOHIDDeviceRegisterInputReportCallback(ref(), buffer.data(), static_cast<CFIndex>(buffer.size()), input, this);
    }

    bool set(char const* key, std::int64_t value) const
    {
        cf const number(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
        return IOHIDDeviceSetProperty(ref(), plinth::testing::io::string(key).as<CFStringRef>(), number.get()) != 0;
    }

    // Lets a loop serve the device until `count` reports have come in all.
    bool drain(std::size_t count)
    {
        loop_runner runner;
        IOHIDDeviceScheduleWithRunLoop(ref(), runner.loop(), kCFRunLoopDefaultMode);
        bool const done = eventually([&] {
            std::lock_guard const lock(mutex);
            return ids.size() >= count;
        });
        IOHIDDeviceUnscheduleFromRunLoop(ref(), runner.loop(), kCFRunLoopDefaultMode);
        return done;
    }

    std::vector<std::uint32_t> seen()
    {
        std::lock_guard const lock(mutex);
        return ids;
    }

private:
    static void input(void* context, IOReturn, void*, IOHIDReportType, uint32_t id, uint8_t* report, CFIndex length)
    {
        auto& self = *static_cast<slow_reader*>(context);
        std::lock_guard const lock(self.mutex);
        self.ids.push_back(id);
        self.lengths.push_back(length);
        self.first_bytes.push_back(report[0]);
        self.last_bytes.push_back(report[length - 1]);
    }
};

// What one client's report queue shows in its user client's DebugState.
struct queue_state
{
    std::int64_t size = -1;
    std::int64_t enqueue_errors = -1;

    friend bool operator==(queue_state const&, queue_state const&) = default;
};

// The EventQueueMap entries of every user client of the device, in registry order.
std::vector<queue_state> queue_states(sim::entry_id device)
{
    std::vector<queue_state> found;
    for (auto const& client : user_client_entries(device))
    {
        auto const state = debug_state(client.get());
        if (!state)
            continue;
        auto const map = CFDictionaryGetValue(state.as<CFDictionaryRef>(), CFSTR("EventQueueMap"));
        if (map == nullptr || CFGetTypeID(map) != CFArrayGetTypeID())
        {
            ADD_FAILURE() << "a DebugState without an EventQueueMap array";
            continue;
        }
        auto const queues = static_cast<CFArrayRef>(map);
        for (CFIndex i = 0; i < CFArrayGetCount(queues); ++i)
        {
            auto const queue = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(queues, i));
            found.push_back(
                {number_in(queue, "QueueSize").value_or(-1), number_in(queue, "EnqueueErrorCount").value_or(-1)});
        }
    }
    return found;
}

TEST_F(io_hid_report_queue_test, the_default_queue_holds_186_reports_of_64_bytes_keeps_the_oldest_and_counts_the_rest)
{
    auto const gamepad = add_device();
    slow_reader reader(gamepad);
    ASSERT_EQ(reader.open(), kIOReturnSuccess);
    reader.listen();
    EXPECT_EQ(queue_states(gamepad), (std::vector<queue_state>{{16384, 0}}));

    post_numbered(gamepad, 0, 200);
    EXPECT_EQ(sim::dropped_input_reports(gamepad), 200u - 186u);
    EXPECT_EQ(queue_states(gamepad), (std::vector<queue_state>{{16384, 14}}));

    ASSERT_TRUE(reader.drain(186));
    EXPECT_EQ(reader.seen(), numbers(0, 186)) << "the oldest stay, in order";
    {
        std::lock_guard const lock(reader.mutex);
        EXPECT_EQ(reader.lengths, std::vector<CFIndex>(186, 64));
        EXPECT_EQ(reader.first_bytes[185], 185);
        EXPECT_EQ(reader.last_bytes[185], 0) << "every byte of a report comes through";
    }

    // Drained, the queue has its whole room again.
    post_numbered(gamepad, 1000, 186);
    EXPECT_EQ(sim::dropped_input_reports(gamepad), 14u);
    post_numbered(gamepad, 2000, 1);
    EXPECT_EQ(sim::dropped_input_reports(gamepad), 15u);
    EXPECT_EQ(queue_states(gamepad), (std::vector<queue_state>{{16384, 15}}));
    IOHIDDeviceClose(reader.ref(), 0);
}

TEST_F(io_hid_report_queue_test, each_report_costs_its_headers_and_bytes_rounded_up_to_four)
{
    struct sized
    {
        std::size_t report_bytes;
        std::size_t held;
    };
    // 28, 88 and 92 bytes an entry.
    for (auto const [report_bytes, held] : {sized{1, 585}, sized{61, 186}, sized{65, 178}})
    {
        SCOPED_TRACE(report_bytes);
        auto const device = add_device({}, static_cast<std::int64_t>(report_bytes));
        slow_reader reader(device, report_bytes);
        ASSERT_EQ(reader.open(), kIOReturnSuccess);
        reader.listen();
        post_numbered(device, 0, held + 3, report_bytes);
        EXPECT_EQ(sim::dropped_input_reports(device), 3u);
        IOHIDDeviceClose(reader.ref(), 0);
    }
}

TEST_F(io_hid_report_queue_test, the_device_queue_properties_size_the_queue_within_its_bounds)
{
    struct sizing
    {
        sim::dictionary properties;
        std::int64_t queue_size;
    };
    std::vector<sizing> const cases{
        {queue_properties(1000, entry_cost), 88000},
        {queue_properties(2, entry_cost), 16384},      // raised to the minimum
        {queue_properties(10000, entry_cost), 131072}, // capped at the maximum
        {queue_properties(1000, 9000), 16384},         // an entry size over 8167 asks for nothing
        {{{"MaxReportBufferCount", sim::make_number(1000)}}, 16384},
    };
    for (auto const& [properties, queue_size] : cases)
    {
        SCOPED_TRACE(queue_size);
        auto const device = add_device(properties);
        slow_reader reader(device);
        ASSERT_EQ(reader.open(), kIOReturnSuccess);
        reader.listen();
        auto const held = static_cast<std::size_t>(queue_size) / entry_cost;
        post_numbered(device, 0, held + 2);
        EXPECT_EQ(sim::dropped_input_reports(device), 2u);
        EXPECT_EQ(queue_states(device), (std::vector<queue_state>{{queue_size, 2}}));
        IOHIDDeviceClose(reader.ref(), 0);
    }
}

TEST_F(io_hid_report_queue_test, queue_properties_set_on_a_device_ref_size_only_its_own_later_queue)
{
    auto const gamepad = add_device(queue_properties(1000, entry_cost));
    slow_reader sized(gamepad);
    slow_reader plain(gamepad);
    EXPECT_FALSE(sized.set("VendorID", 1)) << "only the queue's keys are taken";
    // Looked up on the client first, then on the device: the entry size comes from the device.
    EXPECT_TRUE(sized.set("MaxReportBufferCount", 400));
    ASSERT_EQ(sized.open(), kIOReturnSuccess);
    ASSERT_EQ(plain.open(), kIOReturnSuccess);
    sized.listen();
    plain.listen();
    EXPECT_TRUE(sized.set("MaxReportBufferCount", 2000)) << "kept, for a queue made later";
    EXPECT_TRUE(plain.set("ReportBufferEntrySize", 8000));

    post_numbered(gamepad, 0, 405);
    EXPECT_EQ(sim::dropped_input_reports(gamepad), 5u);
    EXPECT_EQ(queue_states(gamepad), (std::vector<queue_state>{{400 * 88, 5}, {88000, 0}}));
    ASSERT_TRUE(sized.drain(400));
    EXPECT_EQ(sized.seen(), numbers(0, 400));
    IOHIDDeviceClose(sized.ref(), 0);
    IOHIDDeviceClose(plain.ref(), 0);
}

TEST_F(io_hid_report_queue_test, the_queue_fills_only_while_the_device_is_open_with_a_report_callback)
{
    auto const gamepad = add_device();
    slow_reader reader(gamepad);
    reader.listen();
    post_numbered(gamepad, 0, 200); // not open
    ASSERT_EQ(reader.open(), kIOReturnSuccess);
    IOHIDDeviceRegisterInputReportCallback(reader.ref(), reader.buffer.data(), 64, nullptr, nullptr);
    post_numbered(gamepad, 1000, 200); // no callback
    EXPECT_EQ(sim::dropped_input_reports(gamepad), 0u) << "a report with no queue to go to is no drop";
    reader.listen();
    post_numbered(gamepad, 2000, 2);
    ASSERT_TRUE(reader.drain(2));
    EXPECT_EQ(reader.seen(), numbers(2000, 2));
    IOHIDDeviceClose(reader.ref(), 0);
}

TEST_F(io_hid_report_queue_test, a_client_seized_out_by_another_queues_nothing_and_counts_nothing)
{
    auto const gamepad = add_device();
    auto const seizer = sim::open_foreign_client(gamepad, 4242, "karabiner", kIOHIDOptionsTypeSeizeDevice);
    ASSERT_EQ(seizer.open_result, kIOReturnSuccess);
    slow_reader reader(gamepad);
    ASSERT_EQ(reader.open(), kIOReturnExclusiveAccess);
    reader.listen();
    post_numbered(gamepad, 0, 300);
    EXPECT_EQ(sim::dropped_input_reports(gamepad), 0u);
    EXPECT_EQ(queue_states(gamepad), (std::vector<queue_state>{{16384, 0}})) << "the seizer has no queue here";

    ASSERT_EQ(sim::close_foreign_client(seizer), kIOReturnSuccess);
    post_numbered(gamepad, 1000, 3);
    ASSERT_TRUE(reader.drain(3));
    EXPECT_EQ(reader.seen(), numbers(1000, 3)) << "only what came after the seizer closed";
    IOHIDDeviceClose(reader.ref(), 0);
}

TEST_F(io_hid_report_queue_test, a_huge_report_travels_out_of_band_and_takes_little_room)
{
    constexpr std::size_t huge = 9000;
    auto const scanner = add_device({}, huge);
    slow_reader reader(scanner, huge);
    ASSERT_EQ(reader.open(), kIOReturnSuccess);
    reader.listen();
    // Queued inline, one 9000-byte report would fill a 16 384-byte queue.
    post_numbered(scanner, 0x101, 3, huge);
    EXPECT_EQ(sim::dropped_input_reports(scanner), 0u);
    ASSERT_TRUE(reader.drain(3));
    EXPECT_EQ(reader.seen(), numbers(0x101, 3));
    std::lock_guard const lock(reader.mutex);
    EXPECT_EQ(reader.lengths, std::vector<CFIndex>(3, huge));
    EXPECT_EQ(reader.first_bytes, (std::vector<std::uint8_t>{1, 2, 3}));
    EXPECT_EQ(reader.last_bytes, (std::vector<std::uint8_t>{1, 1, 1}));
    IOHIDDeviceClose(reader.ref(), 0);
}

} // namespace
