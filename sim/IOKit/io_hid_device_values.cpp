// The IOHIDDevice functions for elements and values: matching elements, reading and setting values, the input value callback.
#include <IOKit/hid/IOHIDDevice.h>

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/hid/hid_client.hpp"
#include "sim/detail/hid/hid_device_elements.hpp"
#include "sim/detail/hid/hid_device_object.hpp"
#include "sim/detail/hid/hid_element_object.hpp"
#include "sim/detail/hid/hid_value_object.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace {

using plinth::sim::detail::count_iokit_call;
using plinth::sim::detail::hid_device_elements;
using plinth::sim::detail::checked_hid_device;
using plinth::sim::detail::hid_device_object;
using plinth::sim::detail::hid_element_info;
using plinth::sim::detail::hid_element_object;
using plinth::sim::detail::hid_value_object;

IOHIDReportType report_type_of(IOHIDElementType type)
{
    switch (type)
    {
    case kIOHIDElementTypeOutput: return kIOHIDReportTypeOutput;
    case kIOHIDElementTypeFeature: return kIOHIDReportTypeFeature;
    default: return kIOHIDReportTypeInput;
    }
}

// The element, when it is one of `device`'s that carries a value; else why not.
IOReturn value_element(hid_device_object& device, IOHIDElementRef element, char const* function,
                       hid_element_object*& found)
{
    found = plinth::sim::detail::cf_checked<hid_element_object>(element, function);
    if (found == nullptr)
        return kIOReturnBadArgument;
    if (auto const refused = device.connect(); refused != kIOReturnSuccess)
        return refused;
    if (!device.client().is_open())
        return kIOReturnNotOpen;
    if (found->device() != plinth::sim::detail::cf_ref<IOHIDDeviceRef>(&device) || !found->info().carries_value())
        return kIOReturnBadArgument;
    return kIOReturnSuccess;
}

// Matching several dictionaries takes the elements any of them matches.
std::optional<std::vector<std::uint32_t>> cookies_matching(hid_device_elements const& elements, CFArrayRef multiple)
{
    std::vector<std::uint32_t> cookies;
    for (CFIndex i = 0; i < CFArrayGetCount(multiple); ++i)
    {
        auto const one = CFArrayGetValueAtIndex(multiple, i);
        if (one == nullptr || CFGetTypeID(one) != CFDictionaryGetTypeID())
            continue;
        auto const found = elements.matching(static_cast<CFDictionaryRef>(one));
        cookies.insert(cookies.end(), found.begin(), found.end());
    }
    std::sort(cookies.begin(), cookies.end());
    cookies.erase(std::unique(cookies.begin(), cookies.end()), cookies.end());
    return cookies;
}

} // namespace

extern "C" {

CFArrayRef IOHIDDeviceCopyMatchingElements(IOHIDDeviceRef device, CFDictionaryRef matching, IOOptionBits)
{
    count_iokit_call();
    auto* const object = checked_hid_device(device, "IOHIDDeviceCopyMatchingElements");
    if (object == nullptr ||
        (matching != nullptr && plinth::sim::detail::cf_checked_object(matching, "IOHIDDeviceCopyMatchingElements",
                                                                       CFDictionaryGetTypeID()) == nullptr))
        return nullptr;
    // The elements come through the kernel connection, which Input Monitoring gates.
    if (object->connect() != kIOReturnSuccess)
        return nullptr;
    auto const* const elements = object->elements();
    return elements == nullptr ? nullptr : elements->copy_matching(matching);
}

void IOHIDDeviceRegisterInputValueCallback(IOHIDDeviceRef device, IOHIDValueCallback callback, void* context)
{
    auto* const object = checked_hid_device(device, "IOHIDDeviceRegisterInputValueCallback");
    if (object == nullptr)
        return;
    if (callback != nullptr && object->connect() != kIOReturnSuccess)
        return;
    object->elements();
    object->client().register_value(callback, context);
}

void IOHIDDeviceSetInputValueMatching(IOHIDDeviceRef device, CFDictionaryRef matching)
{
    auto* const object = checked_hid_device(device, "IOHIDDeviceSetInputValueMatching");
    if (object == nullptr ||
        (matching != nullptr && plinth::sim::detail::cf_checked_object(matching, "IOHIDDeviceSetInputValueMatching",
                                                                       CFDictionaryGetTypeID()) == nullptr))
        return;
    auto const* const elements = object->elements();
    if (elements == nullptr)
        return;
    std::optional<std::vector<std::uint32_t>> cookies;
    if (matching != nullptr)
        cookies = elements->matching(matching);
    object->client().set_value_matching(std::move(cookies));
}

void IOHIDDeviceSetInputValueMatchingMultiple(IOHIDDeviceRef device, CFArrayRef multiple)
{
    auto* const object = checked_hid_device(device, "IOHIDDeviceSetInputValueMatchingMultiple");
    if (object == nullptr || (multiple != nullptr &&
                              plinth::sim::detail::cf_checked_object(
                                  multiple, "IOHIDDeviceSetInputValueMatchingMultiple", CFArrayGetTypeID()) == nullptr))
        return;
    auto const* const elements = object->elements();
    if (elements == nullptr)
        return;
    object->client().set_value_matching(multiple == nullptr ? std::nullopt : cookies_matching(*elements, multiple));
}

// The element's stored value goes into its report, made of the stored values of
// the report's other elements, and the report to the device with a SET_REPORT.
IOReturn IOHIDDeviceSetValue(IOHIDDeviceRef device, IOHIDElementRef element, IOHIDValueRef value)
{
    count_iokit_call();
    auto* const object = checked_hid_device(device, "IOHIDDeviceSetValue");
    if (object == nullptr)
        return kIOReturnBadArgument;
    hid_element_object* target = nullptr;
    if (auto const refused = value_element(*object, element, "IOHIDDeviceSetValue", target);
        refused != kIOReturnSuccess)
        return refused;
    auto const& e = target->info();
    if (e.type != kIOHIDElementTypeOutput && e.type != kIOHIDElementTypeFeature)
        return kIOReturnBadArgument;
    auto* const given = plinth::sim::detail::cf_checked<hid_value_object>(value, "IOHIDDeviceSetValue");
    if (given == nullptr)
        return kIOReturnBadArgument;
    std::vector<std::uint8_t> bytes(given->bytes(), given->bytes() + std::max<CFIndex>(given->length(), 0));
    bytes.resize(e.byte_length(), 0);
    auto& client = object->client();
    client.store_element_value(e.cookie, bytes);
    auto const type = report_type_of(e.type);
    auto const report = client.element_report(type, e.report_id);
    return IOHIDDeviceSetReport(device, type, e.report_id, report.data(), static_cast<CFIndex>(report.size()));
}

// Synchronous, as on a Mac: the callback is never called.
IOReturn IOHIDDeviceSetValueWithCallback(IOHIDDeviceRef device, IOHIDElementRef element, IOHIDValueRef value,
                                         CFTimeInterval, IOHIDValueCallback, void*)
{
    return IOHIDDeviceSetValue(device, element, value);
}

IOReturn IOHIDDeviceGetValueWithOptions(IOHIDDeviceRef device, IOHIDElementRef element, IOHIDValueRef* pValue,
                                        uint32_t options)
{
    count_iokit_call();
    auto* const object = checked_hid_device(device, "IOHIDDeviceGetValue");
    if (object == nullptr)
        return kIOReturnBadArgument;
    if (pValue == nullptr)
    {
        plinth::sim::detail::report_misuse("IOHIDDeviceGetValue: pValue is NULL");
        return kIOReturnBadArgument;
    }
    hid_element_object* target = nullptr;
    if (auto const refused = value_element(*object, element, "IOHIDDeviceGetValue", target);
        refused != kIOReturnSuccess)
        return refused;
    auto const& e = target->info();
    auto& client = object->client();
    // Feature elements ask the device; input and output ones read the kernel's
    // last value, unless the caller forces or forbids the request.
    bool poll = e.type == kIOHIDElementTypeFeature || (options & kIOHIDDeviceGetValueWithUpdate) != 0;
    if ((options & kIOHIDDeviceGetValueWithoutUpdate) != 0)
        poll = false;
    if (poll)
    {
        auto const type = report_type_of(e.type);
        std::vector<std::uint8_t> report(
            std::max<std::size_t>(object->elements()->layout()->report_bytes(type, e.report_id), 1));
        auto length = static_cast<CFIndex>(report.size());
        if (auto const result = IOHIDDeviceGetReport(device, type, e.report_id, report.data(), &length);
            result != kIOReturnSuccess)
            return result;
        report.resize(static_cast<std::size_t>(length));
        client.take_polled_report(type, e.report_id, report);
    }
    auto const stored = client.element_value(e.cookie);
    *pValue = target->keep_value(object->elements()->make_value(e.cookie, stored.bytes, stored.timestamp));
    return kIOReturnSuccess;
}

IOReturn IOHIDDeviceGetValue(IOHIDDeviceRef device, IOHIDElementRef element, IOHIDValueRef* pValue)
{
    return IOHIDDeviceGetValueWithOptions(device, element, pValue, 0);
}

// Synchronous, as on a Mac: the callback is never called.
IOReturn IOHIDDeviceGetValueWithCallback(IOHIDDeviceRef device, IOHIDElementRef element, IOHIDValueRef* pValue,
                                         CFTimeInterval, IOHIDValueCallback, void*)
{
    return IOHIDDeviceGetValueWithOptions(device, element, pValue, 0);
}

} // extern "C"
