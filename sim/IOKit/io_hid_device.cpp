// The HID manager's device interface over the simulated registry: each
// IOHIDDeviceRef is one client of the device behind a registry entry.
#include <IOKit/hid/IOHIDDevice.h>

#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/hid/hid_client.hpp"
#include "sim/detail/hid/hid_device_object.hpp"
#include "sim/detail/hid/hid_hardware.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"
#include "sim/detail/kernel/object_lookup.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using plinth::sim::detail::count_iokit_call;
using plinth::sim::detail::hid_client;
using plinth::sim::detail::checked_hid_device;
using plinth::sim::detail::hid_device_object;
using plinth::sim::detail::hid_hardware;

// Why a report cannot go to or come from the device now, if it cannot: a refused
// Input Monitoring stops the call before it reaches the kernel.
IOReturn report_refusal(hid_device_object& device)
{
    if (auto const refused = device.connect(); refused != kIOReturnSuccess)
        return refused;
    auto const& client = device.client();
    if (client.hardware().is_removed())
        return kIOReturnOffline;
    if (!client.is_open())
        return kIOReturnNotOpen;
    if (client.hardware().seized_by_other(client.token()))
        return kIOReturnExclusiveAccess;
    return kIOReturnSuccess;
}

} // namespace

extern "C" {

CFTypeID IOHIDDeviceGetTypeID(void)
{
    return hid_device_object::class_type_id();
}

IOHIDDeviceRef IOHIDDeviceCreate(CFAllocatorRef, io_service_t service)
{
    count_iokit_call();
    auto const entry = plinth::sim::detail::lookup_entry(service, "IOHIDDeviceCreate");
    if (!entry || IOObjectConformsTo(service, "IOHIDDevice") == 0)
        return nullptr;
    IOObjectRetain(service);
    auto* const device = plinth::sim::detail::make_cf_object<hid_device_object>(service, entry.object);
    auto const ref = plinth::sim::detail::cf_ref<IOHIDDeviceRef>(device);
    device->attach_client(hid_client::create(hid_hardware::of(entry.object), ref));
    return ref;
}

io_service_t IOHIDDeviceGetService(IOHIDDeviceRef device)
{
    auto* const checked_device = checked_hid_device(device, "IOHIDDeviceGetService");
    return checked_device == nullptr ? IO_OBJECT_NULL : checked_device->service();
}

IOReturn IOHIDDeviceOpen(IOHIDDeviceRef device, IOOptionBits options)
{
    count_iokit_call();
    auto* const checked_device = checked_hid_device(device, "IOHIDDeviceOpen");
    if (checked_device == nullptr)
        return kIOReturnBadArgument;
    if (auto const refused = checked_device->connect(); refused != kIOReturnSuccess)
        return refused;
    return checked_device->client().open(options);
}

IOReturn IOHIDDeviceClose(IOHIDDeviceRef device, IOOptionBits)
{
    count_iokit_call();
    auto* const checked_device = checked_hid_device(device, "IOHIDDeviceClose");
    return checked_device == nullptr ? kIOReturnBadArgument : checked_device->client().close();
}

Boolean IOHIDDeviceConformsTo(IOHIDDeviceRef device, uint32_t usagePage, uint32_t usage)
{
    auto* const checked_device = checked_hid_device(device, "IOHIDDeviceConformsTo");
    if (checked_device == nullptr)
        return false;
    auto number_of = [&](char const* key) {
        CFStringRef const name = CFStringCreateWithCString(kCFAllocatorDefault, key, kCFStringEncodingUTF8);
        CFTypeRef const value = checked_device->property(name);
        CFRelease(name);
        int result = -1;
        if (value != nullptr && CFGetTypeID(value) == CFNumberGetTypeID())
            CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberIntType, &result);
        return result;
    };
    return number_of("DeviceUsagePage") == static_cast<int>(usagePage) &&
           (usage == 0 || number_of("DeviceUsage") == static_cast<int>(usage));
}

CFTypeRef IOHIDDeviceGetProperty(IOHIDDeviceRef device, CFStringRef key)
{
    count_iokit_call();
    auto* const checked_device = checked_hid_device(device, "IOHIDDeviceGetProperty");
    if (checked_device == nullptr || key == nullptr)
        return nullptr;
    return checked_device->property(key);
}

Boolean IOHIDDeviceSetProperty(IOHIDDeviceRef device, CFStringRef key, CFTypeRef property)
{
    count_iokit_call();
    auto* const checked_device = checked_hid_device(device, "IOHIDDeviceSetProperty");
    if (checked_device == nullptr || key == nullptr || property == nullptr ||
        CFGetTypeID(property) != CFNumberGetTypeID())
        return false;
    char name[64];
    std::int64_t number = 0;
    if (CFStringGetCString(key, name, sizeof name, kCFStringEncodingUTF8) == 0 ||
        CFNumberGetValue(static_cast<CFNumberRef>(property), kCFNumberSInt64Type, &number) == 0 || number < 0)
        return false;
    // The report queue's size keys go to the client's user client, where only a
    // queue made afterwards (at the first report callback) reads them.
    return checked_device->client().set_queue_property(name, static_cast<std::uint64_t>(number));
}

void IOHIDDeviceScheduleWithRunLoop(IOHIDDeviceRef device, CFRunLoopRef runLoop, CFStringRef runLoopMode)
{
    if (auto* const checked_device = checked_hid_device(device, "IOHIDDeviceScheduleWithRunLoop");
        checked_device != nullptr && runLoop != nullptr && runLoopMode != nullptr)
        checked_device->client().schedule(runLoop, runLoopMode);
}

void IOHIDDeviceUnscheduleFromRunLoop(IOHIDDeviceRef device, CFRunLoopRef runLoop, CFStringRef runLoopMode)
{
    if (auto* const checked_device = checked_hid_device(device, "IOHIDDeviceUnscheduleFromRunLoop");
        checked_device != nullptr && runLoop != nullptr && runLoopMode != nullptr)
        checked_device->client().unschedule(runLoop, runLoopMode);
}

void IOHIDDeviceRegisterRemovalCallback(IOHIDDeviceRef device, IOHIDCallback callback, void* context)
{
    if (auto* const checked_device = checked_hid_device(device, "IOHIDDeviceRegisterRemovalCallback"))
        checked_device->client().register_removal(callback, context);
}

void IOHIDDeviceRegisterInputReportCallback(IOHIDDeviceRef device, uint8_t* report, CFIndex reportLength,
                                            IOHIDReportCallback callback, void* context)
{
    if (auto* const checked_device = checked_hid_device(device, "IOHIDDeviceRegisterInputReportCallback"))
    {
        // Registering for reports needs the kernel connection too: it is where the
        // user is asked for Input Monitoring when the device has not been opened.
        if (callback != nullptr)
            checked_device->connect();
        checked_device->client().register_input(report, reportLength, callback, context);
    }
}

void IOHIDDeviceRegisterInputReportWithTimeStampCallback(IOHIDDeviceRef device, uint8_t* report, CFIndex reportLength,
                                                         IOHIDReportWithTimeStampCallback callback, void* context)
{
    if (auto* const checked_device = checked_hid_device(device, "IOHIDDeviceRegisterInputReportWithTimeStampCallback"))
    {
        if (callback != nullptr)
            checked_device->connect();
        checked_device->register_stamped_input(report, reportLength, callback, context);
    }
}

IOReturn IOHIDDeviceSetReport(IOHIDDeviceRef device, IOHIDReportType reportType, CFIndex reportID,
                              const uint8_t* report, CFIndex reportLength)
{
    count_iokit_call();
    auto* const checked_device = checked_hid_device(device, "IOHIDDeviceSetReport");
    if (checked_device == nullptr || reportLength < 0 || (report == nullptr && reportLength > 0))
        return kIOReturnBadArgument;
    auto& client = checked_device->client();
    if (auto const refused = report_refusal(*checked_device); refused != kIOReturnSuccess)
        return refused;
    // A synchronous request blocks until the device answers; a device that leaves
    // meanwhile gives the removal's error.
    if (!client.hardware().wait_for_answer(hid_hardware::clock::now()))
        return kIOReturnOffline;
    client.hardware().record_output(reportType, static_cast<std::uint32_t>(reportID),
                                    std::vector<std::uint8_t>(report, report + reportLength));
    return kIOReturnSuccess;
}

IOReturn IOHIDDeviceGetReport(IOHIDDeviceRef device, IOHIDReportType reportType, CFIndex reportID, uint8_t* report,
                              CFIndex* pReportLength)
{
    count_iokit_call();
    auto* const checked_device = checked_hid_device(device, "IOHIDDeviceGetReport");
    if (checked_device == nullptr || pReportLength == nullptr || *pReportLength <= 0 || report == nullptr)
        return kIOReturnBadArgument;
    auto& client = checked_device->client();
    if (auto const refused = report_refusal(*checked_device); refused != kIOReturnSuccess)
        return refused;
    if (!client.hardware().wait_for_answer(hid_hardware::clock::now()))
        return kIOReturnOffline;
    std::vector<std::uint8_t> bytes;
    // A device answers only for report IDs it has; the error for the others
    // depends on the transport on a Mac, and the simulation gives one for all.
    if (!client.hardware().current_report(reportType, static_cast<std::uint32_t>(reportID), bytes))
        return kIOReturnUnsupported;
    // The device sends at most the length asked for: a short buffer gets the
    // report's first bytes.
    auto const n = std::min<std::size_t>(bytes.size(), static_cast<std::size_t>(*pReportLength));
    std::memcpy(report, bytes.data(), n);
    *pReportLength = static_cast<CFIndex>(n);
    return kIOReturnSuccess;
}

} // extern "C"
