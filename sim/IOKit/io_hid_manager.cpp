// The HID manager over the simulated registry: matching, the devices it finds, and what it passes on to them.
#include <IOKit/hid/IOHIDManager.h>

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/hid/hid_manager_object.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"

namespace {

using plinth::sim::detail::hid_manager_object;

hid_manager_object* checked(IOHIDManagerRef manager, char const* function)
{
    return plinth::sim::detail::cf_checked<hid_manager_object>(manager, function);
}

// Runs `action` on the manager when `manager` is one; a misuse report otherwise.
template <typename Action>
void with_manager(IOHIDManagerRef manager, char const* function, Action&& action)
{
    if (auto* const checked_manager = checked(manager, function); checked_manager != nullptr)
        action(*checked_manager);
}

// Calls `set` with NULL for NULL criteria, else with a one-item array of them:
// the single-dictionary calls are the Multiple ones with one alternative.
template <typename Set>
void as_multiple(CFDictionaryRef matching, Set&& set)
{
    if (matching == nullptr)
    {
        set(nullptr);
        return;
    }
    void const* one[] = {matching};
    CFArrayRef const multiple = CFArrayCreate(kCFAllocatorDefault, one, 1, &kCFTypeArrayCallBacks);
    set(multiple);
    CFRelease(multiple);
}

} // namespace

extern "C" {

CFTypeID IOHIDManagerGetTypeID(void)
{
    return hid_manager_object::class_type_id();
}

IOHIDManagerRef IOHIDManagerCreate(CFAllocatorRef, IOOptionBits options)
{
    plinth::sim::detail::count_iokit_call();
    return plinth::sim::detail::cf_ref<IOHIDManagerRef>(
        plinth::sim::detail::make_cf_object<hid_manager_object>(options));
}

IOReturn IOHIDManagerOpen(IOHIDManagerRef manager, IOOptionBits options)
{
    plinth::sim::detail::count_iokit_call();
    auto* const checked_manager = checked(manager, "IOHIDManagerOpen");
    return checked_manager == nullptr ? kIOReturnBadArgument : checked_manager->open(options);
}

IOReturn IOHIDManagerClose(IOHIDManagerRef manager, IOOptionBits)
{
    plinth::sim::detail::count_iokit_call();
    auto* const checked_manager = checked(manager, "IOHIDManagerClose");
    return checked_manager == nullptr ? kIOReturnBadArgument : checked_manager->close();
}

CFTypeRef IOHIDManagerGetProperty(IOHIDManagerRef manager, CFStringRef key)
{
    auto* const checked_manager = checked(manager, "IOHIDManagerGetProperty");
    return checked_manager == nullptr || key == nullptr ? nullptr : checked_manager->property(key);
}

Boolean IOHIDManagerSetProperty(IOHIDManagerRef manager, CFStringRef key, CFTypeRef value)
{
    auto* const checked_manager = checked(manager, "IOHIDManagerSetProperty");
    if (checked_manager == nullptr || key == nullptr || value == nullptr)
        return false;
    checked_manager->set_property(key, value);
    return true;
}

void IOHIDManagerScheduleWithRunLoop(IOHIDManagerRef manager, CFRunLoopRef runLoop, CFStringRef runLoopMode)
{
    with_manager(manager, "IOHIDManagerScheduleWithRunLoop", [&](hid_manager_object& checked_manager) {
        if (runLoop != nullptr && runLoopMode != nullptr)
            checked_manager.schedule(runLoop, runLoopMode);
    });
}

void IOHIDManagerUnscheduleFromRunLoop(IOHIDManagerRef manager, CFRunLoopRef runLoop, CFStringRef runLoopMode)
{
    with_manager(manager, "IOHIDManagerUnscheduleFromRunLoop",
                 [&](hid_manager_object& checked_manager) { checked_manager.unschedule(runLoop, runLoopMode); });
}

void IOHIDManagerSetDeviceMatching(IOHIDManagerRef manager, CFDictionaryRef matching)
{
    plinth::sim::detail::count_iokit_call();
    with_manager(manager, "IOHIDManagerSetDeviceMatching", [&](hid_manager_object& checked_manager) {
        as_multiple(matching, [&](CFArrayRef multiple) { checked_manager.set_matching(multiple); });
    });
}

void IOHIDManagerSetDeviceMatchingMultiple(IOHIDManagerRef manager, CFArrayRef multiple)
{
    plinth::sim::detail::count_iokit_call();
    with_manager(manager, "IOHIDManagerSetDeviceMatchingMultiple", [&](hid_manager_object& checked_manager) {
        if (multiple != nullptr && CFGetTypeID(multiple) != CFArrayGetTypeID())
            plinth::sim::detail::report_misuse("IOHIDManagerSetDeviceMatchingMultiple: the criteria are no CFArray");
        else
            checked_manager.set_matching(multiple);
    });
}

CFSetRef IOHIDManagerCopyDevices(IOHIDManagerRef manager)
{
    auto* const checked_manager = checked(manager, "IOHIDManagerCopyDevices");
    return checked_manager == nullptr ? nullptr : checked_manager->copy_devices();
}

void IOHIDManagerRegisterDeviceMatchingCallback(IOHIDManagerRef manager, IOHIDDeviceCallback callback, void* context)
{
    with_manager(manager, "IOHIDManagerRegisterDeviceMatchingCallback",
                 [&](hid_manager_object& checked_manager) { checked_manager.register_matching(callback, context); });
}

void IOHIDManagerRegisterDeviceRemovalCallback(IOHIDManagerRef manager, IOHIDDeviceCallback callback, void* context)
{
    with_manager(manager, "IOHIDManagerRegisterDeviceRemovalCallback",
                 [&](hid_manager_object& checked_manager) { checked_manager.register_removal(callback, context); });
}

void IOHIDManagerRegisterInputReportCallback(IOHIDManagerRef manager, IOHIDReportCallback callback, void* context)
{
    with_manager(manager, "IOHIDManagerRegisterInputReportCallback", [&](hid_manager_object& checked_manager) {
        checked_manager.register_input_report(callback, context);
    });
}

void IOHIDManagerRegisterInputReportWithTimeStampCallback(IOHIDManagerRef manager,
                                                          IOHIDReportWithTimeStampCallback callback, void* context)
{
    with_manager(manager, "IOHIDManagerRegisterInputReportWithTimeStampCallback",
                 [&](hid_manager_object& checked_manager) {
                     checked_manager.register_input_report_with_time_stamp(callback, context);
                 });
}

void IOHIDManagerRegisterInputValueCallback(IOHIDManagerRef manager, IOHIDValueCallback callback, void* context)
{
    with_manager(manager, "IOHIDManagerRegisterInputValueCallback",
                 [&](hid_manager_object& checked_manager) { checked_manager.register_input_value(callback, context); });
}

void IOHIDManagerSetInputValueMatching(IOHIDManagerRef manager, CFDictionaryRef matching)
{
    with_manager(manager, "IOHIDManagerSetInputValueMatching", [&](hid_manager_object& checked_manager) {
        as_multiple(matching, [&](CFArrayRef multiple) { checked_manager.set_input_value_matching(multiple); });
    });
}

void IOHIDManagerSetInputValueMatchingMultiple(IOHIDManagerRef manager, CFArrayRef multiple)
{
    with_manager(manager, "IOHIDManagerSetInputValueMatchingMultiple",
                 [&](hid_manager_object& checked_manager) { checked_manager.set_input_value_matching(multiple); });
}

void IOHIDManagerSaveToPropertyDomain(IOHIDManagerRef manager, CFStringRef, CFStringRef, CFStringRef, IOOptionBits)
{
    // The simulated machine keeps no preferences between runs: nothing to save to.
    with_manager(manager, "IOHIDManagerSaveToPropertyDomain", [](hid_manager_object&) {});
}

} // extern "C"
