// Tests of the simulated IOHIDValue and the device's value functions: reading, setting, polling, the input value callback.
#include "sim/control/hid.hpp"
#include "sim/io_hid_element_support.hpp"
#include "sim/run_loop_support.hpp"
#include "support/threaded_sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hid/IOHIDElement.h>
#include <IOKit/hid/IOHIDValue.h>

#include <cstdint>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace sim = plinth::sim;
using namespace plinth::testing::io;
using plinth::testing::run_loop::eventually;
using plinth::testing::run_loop::loop_runner;

using io_hid_value_test = plinth::testing::threaded_sim_test;

void post_mouse(sim::entry_id id, std::uint8_t buttons, std::int8_t x, std::int8_t y)
{
    std::vector<std::uint8_t> const report{1, buttons, static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y)};
    sim::post_input_report(id, 1, report);
}

// What an input value callback saw: (cookie, integer) in order, and the threads.
struct value_log
{
    std::mutex mutex;
    std::vector<std::pair<std::uint32_t, CFIndex>> values;
    std::vector<std::thread::id> threads;

    static void callback(void* context, IOReturn result, void*, IOHIDValueRef value)
    {
        auto& self = *static_cast<value_log*>(context);
        std::lock_guard const lock(self.mutex);
        EXPECT_EQ(result, kIOReturnSuccess);
        self.values.emplace_back(IOHIDElementGetCookie(IOHIDValueGetElement(value)), IOHIDValueGetIntegerValue(value));
        self.threads.push_back(std::this_thread::get_id());
    }

    std::size_t count()
    {
        std::lock_guard const lock(mutex);
        return values.size();
    }
};

CFIndex value_of(IOHIDDeviceRef device, std::uint32_t cookie, IOReturn* result = nullptr, uint32_t options = 0)
{
    IOHIDValueRef value = nullptr;
    auto const got = IOHIDDeviceGetValueWithOptions(device, element_of(device, cookie), &value, options);
    if (result != nullptr)
        *result = got;
    return value == nullptr ? -9999 : IOHIDValueGetIntegerValue(value);
}

TEST_F(io_hid_value_test, get_value_needs_an_open_device_and_a_value_element_of_it)
{
    auto const mouse = add_mouse();
    auto const device = device_of(mouse);
    auto const ref = as_device(device);
    IOHIDValueRef value = nullptr;
    EXPECT_EQ(IOHIDDeviceGetValue(ref, element_of(ref, x_axis), &value), kIOReturnNotOpen);
    ASSERT_EQ(IOHIDDeviceOpen(ref, 0), kIOReturnSuccess);
    EXPECT_EQ(IOHIDDeviceGetValue(ref, element_of(ref, pointer), &value), kIOReturnBadArgument);
    auto const other = device_of(add_mouse());
    EXPECT_EQ(IOHIDDeviceGetValue(ref, element_of(as_device(other), x_axis), &value), kIOReturnBadArgument);
    // Never reported: zero.
    EXPECT_EQ(value_of(ref, x_axis), 0);
    post_mouse(mouse, 0b101, -5, 7);
    EXPECT_EQ(value_of(ref, x_axis), -5);
    EXPECT_EQ(value_of(ref, y_axis), 7);
    EXPECT_EQ(value_of(ref, button_1), 1);
    EXPECT_EQ(value_of(ref, button_1 + 1), 0);
    EXPECT_EQ(value_of(ref, button_3), 1);
    // The element keeps the value it hands out, and its element is the one asked for.
    ASSERT_EQ(IOHIDDeviceGetValue(ref, element_of(ref, x_axis), &value), kIOReturnSuccess);
    EXPECT_EQ(IOHIDValueGetElement(value), element_of(ref, x_axis));
    EXPECT_EQ(IOHIDValueGetLength(value), 1);
    EXPECT_EQ(IOHIDDeviceGetValue(ref, element_of(ref, x_axis), nullptr), kIOReturnBadArgument);
    EXPECT_EQ(take_misuse_reports().size(), 1u);
    IOHIDDeviceClose(ref, 0);
}

TEST_F(io_hid_value_test, a_feature_value_polls_the_device_and_without_update_does_not)
{
    auto const mouse = add_mouse();
    auto const device = device_of(mouse);
    auto const ref = as_device(device);
    ASSERT_EQ(IOHIDDeviceOpen(ref, 0), kIOReturnSuccess);
    sim::set_feature_report(mouse, 2, std::vector<std::uint8_t>{2, 0x34, 0x12});
    EXPECT_EQ(value_of(ref, vendor_feature), 0x1234);
    sim::set_feature_report(mouse, 2, std::vector<std::uint8_t>{2, 0x01, 0x00});
    EXPECT_EQ(value_of(ref, vendor_feature, nullptr, kIOHIDDeviceGetValueWithoutUpdate), 0x1234);
    EXPECT_EQ(value_of(ref, vendor_feature), 1);
    // An input element asked with update reads the device's present input report.
    sim::set_input_report(mouse, 1, std::vector<std::uint8_t>{1, 0, 9, 0});
    EXPECT_EQ(value_of(ref, x_axis), 0);
    EXPECT_EQ(value_of(ref, x_axis, nullptr, kIOHIDDeviceGetValueWithUpdate), 9);
    IOHIDDeviceClose(ref, 0);
}

TEST_F(io_hid_value_test, set_value_sends_the_report_of_the_elements_stored_values)
{
    auto const mouse = add_mouse();
    auto const device = device_of(mouse);
    auto const ref = as_device(device);
    cf const on(IOHIDValueCreateWithIntegerValue(kCFAllocatorDefault, element_of(ref, led_2), 0, 1));
    EXPECT_EQ(IOHIDDeviceSetValue(ref, element_of(ref, led_2), on.as<IOHIDValueRef>()), kIOReturnNotOpen);
    ASSERT_EQ(IOHIDDeviceOpen(ref, 0), kIOReturnSuccess);
    EXPECT_EQ(IOHIDDeviceSetValue(ref, element_of(ref, x_axis), on.as<IOHIDValueRef>()), kIOReturnBadArgument);
    ASSERT_EQ(IOHIDDeviceSetValue(ref, element_of(ref, led_2), on.as<IOHIDValueRef>()), kIOReturnSuccess);
    cf const also(IOHIDValueCreateWithIntegerValue(kCFAllocatorDefault, element_of(ref, led_1), 0, 1));
    ASSERT_EQ(
        IOHIDDeviceSetValueWithCallback(ref, element_of(ref, led_1), also.as<IOHIDValueRef>(), 0, nullptr, nullptr),
        kIOReturnSuccess);
    auto const sent = sim::output_reports(mouse);
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0].type, kIOHIDReportTypeOutput);
    EXPECT_EQ(sent[0].report_id, 3u);
    EXPECT_EQ(sent[0].bytes, (std::vector<std::uint8_t>{3, 0b10}));
    EXPECT_EQ(sent[1].bytes, (std::vector<std::uint8_t>{3, 0b11}));
    IOHIDDeviceClose(ref, 0);
}

TEST_F(io_hid_value_test, values_reach_the_callback_on_the_loop_in_order_once_changed_or_relative)
{
    auto const mouse = add_mouse();
    auto const device = device_of(mouse);
    auto const ref = as_device(device);
    loop_runner runner;
    value_log seen;
    ASSERT_EQ(IOHIDDeviceOpen(ref, 0), kIOReturnSuccess);
    IOHIDDeviceRegisterInputValueCallback(ref, value_log::callback, &seen);
    IOHIDDeviceScheduleWithRunLoop(ref, runner.loop(), kCFRunLoopDefaultMode);
    post_mouse(mouse, 0b001, 3, 0);
    // Button 1 unchanged: not again; X relative: again, even unchanged; Y changed.
    post_mouse(mouse, 0b001, 3, 2);
    ASSERT_TRUE(eventually([&] { return seen.count() == 7; }));
    std::vector<std::pair<std::uint32_t, CFIndex>> const expected{{button_1, 1},
                                                                  {x_axis, 3},
                                                                  {y_axis, 0},
                                                                  {report_handler, 0x0301'01},
                                                                  {x_axis, 3},
                                                                  {y_axis, 2},
                                                                  {report_handler, 0x0203'0101}};
    std::lock_guard const lock(seen.mutex);
    ASSERT_EQ(seen.values.size(), expected.size());
    EXPECT_EQ(seen.values[0], expected[0]);
    EXPECT_EQ(seen.values[1], expected[1]);
    EXPECT_EQ(seen.values[2].first, std::uint32_t{y_axis});
    EXPECT_EQ(seen.values[3].first, std::uint32_t{report_handler});
    EXPECT_EQ(seen.values[4], expected[4]);
    EXPECT_EQ(seen.values[5], expected[5]);
    EXPECT_EQ(seen.values[6].first, std::uint32_t{report_handler});
    for (auto const& thread : seen.threads)
        EXPECT_EQ(thread, runner.thread_id());
    IOHIDDeviceUnscheduleFromRunLoop(ref, runner.loop(), kCFRunLoopDefaultMode);
    IOHIDDeviceClose(ref, 0);
}

TEST_F(io_hid_value_test, input_value_matching_limits_the_callback_to_the_matched_elements)
{
    auto const mouse = add_mouse();
    auto const device = device_of(mouse);
    auto const ref = as_device(device);
    loop_runner runner;
    value_log seen;
    ASSERT_EQ(IOHIDDeviceOpen(ref, 0), kIOReturnSuccess);
    IOHIDDeviceRegisterInputValueCallback(ref, value_log::callback, &seen);
    std::int64_t const page = 9;
    cf const number(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &page));
    cf const buttons(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                               &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(static_cast<CFMutableDictionaryRef>(const_cast<void*>(buttons.get())),
                         string(kIOHIDElementUsagePageKey).get(), number.get());
    IOHIDDeviceSetInputValueMatching(ref, buttons.as<CFDictionaryRef>());
    IOHIDDeviceScheduleWithRunLoop(ref, runner.loop(), kCFRunLoopDefaultMode);
    post_mouse(mouse, 0b110, 4, 4);
    ASSERT_TRUE(eventually([&] { return seen.count() == 2; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    {
        std::lock_guard const lock(seen.mutex);
        EXPECT_EQ(seen.values, (std::vector<std::pair<std::uint32_t, CFIndex>>{{button_1 + 1, 1}, {button_3, 1}}));
    }
    IOHIDDeviceUnscheduleFromRunLoop(ref, runner.loop(), kCFRunLoopDefaultMode);
    IOHIDDeviceClose(ref, 0);
}

TEST_F(io_hid_value_test, a_removal_while_values_are_queued_loses_nothing_else)
{
    auto const mouse = add_mouse();
    value_log seen;
    {
        auto const device = device_of(mouse);
        auto const ref = as_device(device);
        ASSERT_EQ(IOHIDDeviceOpen(ref, 0), kIOReturnSuccess);
        IOHIDDeviceRegisterInputValueCallback(ref, value_log::callback, &seen);
        // Queued, with no loop to drain them.
        post_mouse(mouse, 1, 1, 1);
        post_mouse(mouse, 0, 2, 2);
        sim::remove_entry(mouse);
    }
    EXPECT_EQ(seen.count(), 0u);
}

TEST_F(io_hid_value_test, values_made_by_hand_read_and_scale)
{
    auto const device = device_of(add_mouse());
    auto const x = element_of(as_device(device), x_axis);
    cf const value(IOHIDValueCreateWithIntegerValue(kCFAllocatorDefault, x, 42, 127));
    EXPECT_EQ(CFGetTypeID(value.get()), IOHIDValueGetTypeID());
    EXPECT_EQ(IOHIDValueGetTimeStamp(value.as<IOHIDValueRef>()), 42u);
    EXPECT_EQ(IOHIDValueGetIntegerValue(value.as<IOHIDValueRef>()), 127);
    EXPECT_DOUBLE_EQ(IOHIDValueGetScaledValue(value.as<IOHIDValueRef>(), kIOHIDValueScaleTypeCalibrated), 1.0);
    EXPECT_DOUBLE_EQ(IOHIDValueGetScaledValue(value.as<IOHIDValueRef>(), kIOHIDValueScaleTypePhysical), 127.0);
    std::uint8_t const bytes[] = {0xFB};
    cf const from_bytes(IOHIDValueCreateWithBytes(kCFAllocatorDefault, x, 0, bytes, 1));
    EXPECT_EQ(IOHIDValueGetIntegerValue(from_bytes.as<IOHIDValueRef>()), -5);
    cf const no_copy(IOHIDValueCreateWithBytesNoCopy(kCFAllocatorDefault, x, 0, bytes, 1));
    EXPECT_EQ(IOHIDValueGetBytePtr(no_copy.as<IOHIDValueRef>()), bytes);
    EXPECT_EQ(IOHIDValueCreateWithBytes(kCFAllocatorDefault, x, 0, nullptr, 1), nullptr);
    EXPECT_EQ(IOHIDValueCreateWithIntegerValue(kCFAllocatorDefault, nullptr, 0, 1), nullptr);
    EXPECT_EQ(IOHIDValueGetIntegerValue(nullptr), 0);
    EXPECT_EQ(take_misuse_reports().size(), 3u);
}

} // namespace
