// <IOKit/hid/IOHIDManager.h> as Apple declares it: the HID manager, which finds HID devices and serves them as a group.
#ifndef _IOKIT_HID_IOHIDMANAGER_H_
#define _IOKIT_HID_IOHIDMANAGER_H_

// A manager matches HID devices by the keys of IOHIDKeys.h, reports them as they
// come and go, and opens, schedules and listens to all of them at once. Its
// callbacks run on the run loop it is scheduled on. The dispatch-queue forms
// (IOHIDManagerSetDispatchQueue, SetCancelHandler, Activate, Cancel) are left out:
// the simulation has no dispatch queues, and a program that uses them should fail
// to build here rather than run without its callbacks.

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOReturn.h>
#include <IOKit/IOTypes.h>
#include <IOKit/hid/IOHIDBase.h>
#include <IOKit/hid/IOHIDDevice.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef CF_OPTIONS(uint32_t, IOHIDManagerOptions) {
    kIOHIDManagerOptionNone = 0x0,
    kIOHIDManagerOptionUsePersistentProperties = 0x1,
    kIOHIDManagerOptionDoNotLoadProperties = 0x2,
    kIOHIDManagerOptionDoNotSaveProperties = 0x4,
    kIOHIDManagerOptionIndependentDevices = 0x8,
};

typedef struct __IOHIDManager* IOHIDManagerRef;

CFTypeID IOHIDManagerGetTypeID(void);

IOHIDManagerRef IOHIDManagerCreate(CFAllocatorRef allocator, IOOptionBits options);

// Open opens every matched device with `options` (kIOHIDOptionsTypeSeizeDevice
// seizes them), and each that matches later. Close unschedules the manager first.
IOReturn IOHIDManagerOpen(IOHIDManagerRef manager, IOOptionBits options);
IOReturn IOHIDManagerClose(IOHIDManagerRef manager, IOOptionBits options);

// Get rule: the caller does not own the result. SetProperty passes the pair on to
// every matched device.
CFTypeRef IOHIDManagerGetProperty(IOHIDManagerRef manager, CFStringRef key);
Boolean IOHIDManagerSetProperty(IOHIDManagerRef manager, CFStringRef key, CFTypeRef value);

void IOHIDManagerScheduleWithRunLoop(IOHIDManagerRef manager, CFRunLoopRef runLoop, CFStringRef runLoopMode);
void IOHIDManagerUnscheduleFromRunLoop(IOHIDManagerRef manager, CFRunLoopRef runLoop, CFStringRef runLoopMode);

// NULL matches every HID device; several dictionaries match a device that any one matches.
void IOHIDManagerSetDeviceMatching(IOHIDManagerRef manager, CFDictionaryRef matching);
void IOHIDManagerSetDeviceMatchingMultiple(IOHIDManagerRef manager, CFArrayRef multiple);

// Create rule; NULL until a device has matched.
CFSetRef IOHIDManagerCopyDevices(IOHIDManagerRef manager);

void IOHIDManagerRegisterDeviceMatchingCallback(IOHIDManagerRef manager, IOHIDDeviceCallback callback, void* context);
void IOHIDManagerRegisterDeviceRemovalCallback(IOHIDManagerRef manager, IOHIDDeviceCallback callback, void* context);

// The sender these callbacks see is the device the report or value came from.
void IOHIDManagerRegisterInputReportCallback(IOHIDManagerRef manager, IOHIDReportCallback callback, void* context);
void IOHIDManagerRegisterInputReportWithTimeStampCallback(IOHIDManagerRef manager,
                                                          IOHIDReportWithTimeStampCallback callback, void* context);
void IOHIDManagerRegisterInputValueCallback(IOHIDManagerRef manager, IOHIDValueCallback callback, void* context);
void IOHIDManagerSetInputValueMatching(IOHIDManagerRef manager, CFDictionaryRef matching);
void IOHIDManagerSetInputValueMatchingMultiple(IOHIDManagerRef manager, CFArrayRef multiple);

void IOHIDManagerSaveToPropertyDomain(IOHIDManagerRef manager, CFStringRef applicationID, CFStringRef userName,
                                      CFStringRef hostName, IOOptionBits options);

#ifdef __cplusplus
}
#endif

#endif
