// Tests of the simulated IOHIDElement: the element list a descriptor gives, its links, matching, getters, properties.
#include "sim/io_hid_element_support.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hid/IOHIDElement.h>

#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

namespace {

namespace sim = plinth::sim;
using namespace plinth::testing::io;

using io_hid_element_test = plinth::testing::sim_test;

cf matching(std::initializer_list<std::pair<char const*, std::int64_t>> keys)
{
    cf dictionary(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                            &kCFTypeDictionaryValueCallBacks));
    for (auto const& [key, number] : keys)
    {
        cf const value(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &number));
        CFDictionarySetValue(static_cast<CFMutableDictionaryRef>(const_cast<void*>(dictionary.get())),
                             string(key).get(), value.get());
    }
    return dictionary;
}

std::vector<std::uint32_t> cookies_of(CFArrayRef elements)
{
    std::vector<std::uint32_t> cookies;
    for (CFIndex i = 0; elements != nullptr && i < CFArrayGetCount(elements); ++i)
        cookies.push_back(IOHIDElementGetCookie(
            static_cast<IOHIDElementRef>(const_cast<void*>(CFArrayGetValueAtIndex(elements, i)))));
    return cookies;
}

std::vector<std::uint32_t> matched(IOHIDDeviceRef device, cf const& dictionary)
{
    cf const found(IOHIDDeviceCopyMatchingElements(device, dictionary.as<CFDictionaryRef>(), 0));
    return cookies_of(found.as<CFArrayRef>());
}

TEST_F(io_hid_element_test, the_list_follows_the_kernels_order_with_cookies_as_indexes)
{
    auto const device = device_of(add_mouse());
    cf const all(IOHIDDeviceCopyMatchingElements(as_device(device), nullptr, 0));
    ASSERT_TRUE(all);
    ASSERT_EQ(CFArrayGetCount(all.as<CFArrayRef>()), CFIndex{mouse_element_count});
    std::vector<std::pair<IOHIDElementType, std::uint32_t>> seen;
    for (std::uint32_t cookie = 0; cookie < mouse_element_count; ++cookie)
    {
        auto const element = element_of(as_device(device), cookie);
        EXPECT_EQ(IOHIDElementGetCookie(element), cookie);
        EXPECT_EQ(CFGetTypeID(element), IOHIDElementGetTypeID());
        EXPECT_EQ(IOHIDElementGetDevice(element), as_device(device));
        seen.emplace_back(IOHIDElementGetType(element), IOHIDElementGetUsage(element));
    }
    std::vector<std::pair<IOHIDElementType, std::uint32_t>> const expected{
        {kIOHIDElementTypeCollection, 0},    {kIOHIDElementTypeCollection, 2},   {kIOHIDElementTypeCollection, 1},
        {kIOHIDElementTypeInput_NULL, 0},    {kIOHIDElementTypeInput_NULL, 0},   {kIOHIDElementTypeInput_NULL, 0},
        {kIOHIDElementTypeInput_Button, 1},  {kIOHIDElementTypeInput_Button, 2}, {kIOHIDElementTypeInput_Button, 3},
        {kIOHIDElementTypeOutput, 1},        {kIOHIDElementTypeOutput, 2},       {kIOHIDElementTypeInput_Misc, 0x30},
        {kIOHIDElementTypeInput_Misc, 0x31}, {kIOHIDElementTypeFeature, 1},      {kIOHIDElementTypeInput_Misc, 0},
    };
    EXPECT_EQ(seen, expected);
    EXPECT_TRUE(IOHIDElementIsVirtual(element_of(as_device(device), root)));
    EXPECT_EQ(IOHIDElementGetReportID(element_of(as_device(device), null_report_3)), 3u);
    // The report handler carries the whole input report, its ID byte included.
    EXPECT_EQ(IOHIDElementGetReportSize(element_of(as_device(device), report_handler)), 32u);
}

TEST_F(io_hid_element_test, collections_hold_their_children_and_the_children_their_parent)
{
    auto const device = device_of(add_mouse());
    auto const ref = as_device(device);
    EXPECT_EQ(cookies_of(IOHIDElementGetChildren(element_of(ref, root))), (std::vector<std::uint32_t>{1, 3, 4, 5}));
    EXPECT_EQ(cookies_of(IOHIDElementGetChildren(element_of(ref, application))),
              (std::vector<std::uint32_t>{2, 9, 10, 13}));
    EXPECT_EQ(cookies_of(IOHIDElementGetChildren(element_of(ref, pointer))),
              (std::vector<std::uint32_t>{6, 7, 8, 11, 12}));
    EXPECT_EQ(IOHIDElementGetParent(element_of(ref, x_axis)), element_of(ref, pointer));
    EXPECT_EQ(IOHIDElementGetParent(element_of(ref, pointer)), element_of(ref, application));
    EXPECT_EQ(IOHIDElementGetParent(element_of(ref, root)), nullptr);
    EXPECT_EQ(IOHIDElementGetChildren(element_of(ref, x_axis)), nullptr);
    EXPECT_EQ(IOHIDElementGetCollectionType(element_of(ref, application)), kIOHIDElementCollectionTypeApplication);
}

TEST_F(io_hid_element_test, matching_filters_by_each_key_and_range_and_ignores_unknown_keys)
{
    auto const device = device_of(add_mouse());
    auto const ref = as_device(device);
    EXPECT_EQ(matched(ref, matching({{kIOHIDElementUsagePageKey, 9}})), (std::vector<std::uint32_t>{6, 7, 8}));
    EXPECT_EQ(matched(ref, matching({{kIOHIDElementTypeKey, kIOHIDElementTypeOutput}})),
              (std::vector<std::uint32_t>{9, 10}));
    EXPECT_EQ(matched(ref, matching({{kIOHIDElementUsagePageKey, 1},
                                     {kIOHIDElementUsageMinKey, 0x30},
                                     {kIOHIDElementUsageMaxKey, 0x31}})),
              (std::vector<std::uint32_t>{11, 12}));
    EXPECT_EQ(matched(ref, matching({{kIOHIDElementCookieMinKey, 6}, {kIOHIDElementCookieMaxKey, 8}})),
              (std::vector<std::uint32_t>{6, 7, 8}));
    EXPECT_EQ(matched(ref, matching({{kIOHIDElementReportIDKey, 3}})), (std::vector<std::uint32_t>{5, 9, 10}));
    EXPECT_EQ(matched(ref, matching({{kIOHIDElementCookieKey, 13}})), (std::vector<std::uint32_t>{13}));
    EXPECT_EQ(matched(ref, matching({{kIOHIDElementCollectionTypeKey, 1}})), (std::vector<std::uint32_t>{1}));
    EXPECT_EQ(matched(ref, matching({{"NoSuchKey", 5}})).size(), std::size_t{mouse_element_count});
    // No match is NULL, not an empty array.
    cf const none(
        IOHIDDeviceCopyMatchingElements(ref, matching({{kIOHIDElementUsagePageKey, 0x42}}).as<CFDictionaryRef>(), 0));
    EXPECT_FALSE(none);
}

TEST_F(io_hid_element_test, a_device_without_a_descriptor_or_with_a_bad_one_has_no_elements)
{
    auto const plain = device_of(sim::add_entry({"IOUSBHostHIDDevice", "Plain"}, sim::root_entry_id));
    EXPECT_EQ(IOHIDDeviceCopyMatchingElements(as_device(plain), nullptr, 0), nullptr);
    // An End Collection with no collection open.
    auto const broken = device_of(add_mouse({0xC0}));
    EXPECT_EQ(IOHIDDeviceCopyMatchingElements(as_device(broken), nullptr, 0), nullptr);
}

TEST_F(io_hid_element_test, getters_read_the_descriptors_items)
{
    auto const device = device_of(add_mouse());
    auto const x = element_of(as_device(device), x_axis);
    EXPECT_TRUE(IOHIDElementIsRelative(x));
    EXPECT_FALSE(IOHIDElementIsArray(x));
    EXPECT_EQ(IOHIDElementGetLogicalMin(x), -127);
    EXPECT_EQ(IOHIDElementGetLogicalMax(x), 127);
    EXPECT_EQ(IOHIDElementGetReportSize(x), 8u);
    EXPECT_EQ(IOHIDElementGetReportCount(x), 1u);
    EXPECT_EQ(IOHIDElementGetReportID(x), 1u);
    EXPECT_EQ(IOHIDElementGetUsagePage(x), 1u);
    EXPECT_EQ(IOHIDElementGetName(x), nullptr);
    auto const feature = element_of(as_device(device), vendor_feature);
    EXPECT_EQ(IOHIDElementGetUsagePage(feature), 0xFF00u);
    EXPECT_EQ(IOHIDElementGetReportCount(feature), 2u);
    EXPECT_FALSE(IOHIDElementIsRelative(feature));
}

TEST_F(io_hid_element_test, properties_answer_the_standard_keys_and_keep_what_is_set)
{
    auto const device = device_of(add_mouse());
    auto const x = element_of(as_device(device), x_axis);
    auto const usage = IOHIDElementGetProperty(x, string(kIOHIDElementUsageKey).as<CFStringRef>());
    ASSERT_NE(usage, nullptr);
    std::int64_t number = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(usage), kCFNumberSInt64Type, &number);
    EXPECT_EQ(number, 0x30);
    EXPECT_EQ(IOHIDElementGetProperty(x, string("Unknown").as<CFStringRef>()), nullptr);
    auto const key = string(kIOHIDElementCalibrationMinKey);
    auto const value = matching({});
    EXPECT_TRUE(IOHIDElementSetProperty(x, key.as<CFStringRef>(), value.get()));
    EXPECT_EQ(IOHIDElementGetProperty(x, key.as<CFStringRef>()), value.get());
}

TEST_F(io_hid_element_test, null_and_foreign_objects_are_misuse)
{
    EXPECT_EQ(IOHIDElementGetCookie(nullptr), 0u);
    EXPECT_EQ(IOHIDDeviceCopyMatchingElements(nullptr, nullptr, 0), nullptr);
    auto const text = string("not an element");
    EXPECT_EQ(IOHIDElementGetParent(static_cast<IOHIDElementRef>(const_cast<void*>(text.get()))), nullptr);
    EXPECT_EQ(take_misuse_reports().size(), 3u);
}

TEST_F(io_hid_element_test, an_element_kept_past_its_device_forgets_the_device)
{
    auto device = device_of(add_mouse());
    cf const kept(CFRetain(element_of(as_device(device), x_axis)));
    {
        auto const gone = std::move(device);
    }
    EXPECT_EQ(IOHIDElementGetDevice(kept.as<IOHIDElementRef>()), nullptr);
    EXPECT_EQ(IOHIDElementGetUsage(kept.as<IOHIDElementRef>()), 0x30u);
}

} // namespace
