// IOHIDDeviceSetReportWithCallback and IOHIDDeviceGetReportWithCallback: report requests that complete through the run loop.
#include <IOKit/hid/IOHIDDevice.h>

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/hid/hid_client.hpp"
#include "sim/detail/hid/hid_device_object.hpp"
#include "sim/detail/hid/hid_hardware.hpp"
#include "sim/detail/hid/hid_report_requests.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"

#include <chrono>
#include <cstdint>

namespace {

using plinth::sim::detail::count_iokit_call;
using plinth::sim::detail::hid_client;
using plinth::sim::detail::hid_device_object;

// The kernel's bounds on a request's timeout (kIOHIDDeviceMin/MaxAsyncRequestTimeout)
// and its default (kIOHIDDeviceDefaultAsyncRequestTimeout), in milliseconds.
constexpr std::uint32_t min_timeout_ms = 50;
constexpr std::uint32_t max_timeout_ms = 1'200'000;
constexpr std::uint32_t default_timeout_ms = 1000;

// The timeout the kernel uses for a request that asked for `timeout`.
std::chrono::milliseconds request_timeout(hid_device_object& device, CFTimeInterval timeout)
{
    // The timeout is in milliseconds, converted to uint32_t: 49.9 is 49.
    if (timeout >= 0 && timeout < 4294967296.0)
    {
        auto const ms = static_cast<std::uint32_t>(timeout);
        // Used only within 50…1 200 000 ms; 0, and anything else, means the device's default.
        if (ms >= min_timeout_ms && ms <= max_timeout_ms)
            return std::chrono::milliseconds(ms);
    }
    // The device's default is its "RequestTimeout" property, in µs, used only within 50 000…1 200 000 000 µs.
    CFTypeRef const property = device.property(CFSTR("RequestTimeout"));
    long long us = 0;
    if (property != nullptr && CFGetTypeID(property) == CFNumberGetTypeID() &&
        CFNumberGetValue(static_cast<CFNumberRef>(property), kCFNumberLongLongType, &us) != 0 &&
        us >= 1000LL * min_timeout_ms && us <= 1000LL * max_timeout_ms)
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::microseconds(us));
    // Without one, 1000 ms.
    return std::chrono::milliseconds(default_timeout_ms);
}

// Why the kernel refuses a request at submission, if it does; a refused request's
// callback is never called.
IOReturn submission_refusal(hid_device_object& device)
{
    // A refused Input Monitoring stops the call before it reaches the kernel: kIOReturnNotPermitted.
    if (auto const refused = device.connect(); refused != kIOReturnSuccess)
        return refused;
    auto const& client = device.client();
    // Not open: kIOReturnNotOpen.
    if (!client.is_open())
        return kIOReturnNotOpen;
    // Seized by another client: kIOReturnExclusiveAccess.
    if (client.hardware().seized_by_other(client.token()))
        return kIOReturnExclusiveAccess;
    // The device is gone: kIOReturnNotAttached.
    if (client.hardware().is_removed())
        return kIOReturnNotAttached;
    return kIOReturnSuccess;
}

} // namespace

extern "C" {

IOReturn IOHIDDeviceSetReportWithCallback(IOHIDDeviceRef device, IOHIDReportType reportType, CFIndex reportID,
                                          const uint8_t* report, CFIndex reportLength, CFTimeInterval timeout,
                                          IOHIDReportCallback callback, void* context)
{
    count_iokit_call();
    auto* const checked_device = plinth::sim::detail::checked_hid_device(device, "IOHIDDeviceSetReportWithCallback");
    if (checked_device == nullptr || reportLength < 0 || (report == nullptr && reportLength > 0))
        return kIOReturnBadArgument;
    auto& client = checked_device->client();
    if (auto const refused = submission_refusal(*checked_device); refused != kIOReturnSuccess)
        return refused;
    // Accepted: kIOReturnSuccess now, the callback (which may be NULL) once, later.
    client.requests().submit_set(reportType, static_cast<std::uint32_t>(reportID), report, reportLength,
                                 request_timeout(*checked_device, timeout), callback, context);
    return kIOReturnSuccess;
}

IOReturn IOHIDDeviceGetReportWithCallback(IOHIDDeviceRef device, IOHIDReportType reportType, CFIndex reportID,
                                          uint8_t* report, CFIndex* pReportLength, CFTimeInterval timeout,
                                          IOHIDReportCallback callback, void* context)
{
    count_iokit_call();
    auto* const checked_device = plinth::sim::detail::checked_hid_device(device, "IOHIDDeviceGetReportWithCallback");
    if (checked_device == nullptr || pReportLength == nullptr || report == nullptr || callback == nullptr)
        return kIOReturnBadArgument;
    auto& client = checked_device->client();
    if (auto const refused = submission_refusal(*checked_device); refused != kIOReturnSuccess)
        return refused;
    // A buffer of no length is refused at submission: *pReportLength <= 0 gives kIOReturnBadArgument.
    if (*pReportLength <= 0)
        return kIOReturnBadArgument;
    // The answer's length reaches the callback; *pReportLength is read, never
    // written: the caller's variable need not outlive the call.
    client.requests().submit_get(reportType, static_cast<std::uint32_t>(reportID), report, *pReportLength,
                                 request_timeout(*checked_device, timeout), callback, context);
    return kIOReturnSuccess;
}

} // extern "C"
