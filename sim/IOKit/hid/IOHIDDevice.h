// <IOKit/hid/IOHIDDevice.h> as Apple declares it: the IOHIDDevice functions.
#ifndef _IOKIT_HID_IOHIDDEVICE_USER_H
#define _IOKIT_HID_IOHIDDEVICE_USER_H

// One HID device as a CF object: open and close it, read its properties, schedule
// its callbacks on run loops, and exchange reports with it.

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDBase.h>

#ifdef __cplusplus
extern "C" {
#endif

CFTypeID IOHIDDeviceGetTypeID(void);

// NULL unless `service` is an IOHIDDevice.
IOHIDDeviceRef IOHIDDeviceCreate(CFAllocatorRef allocator, io_service_t service);
io_service_t IOHIDDeviceGetService(IOHIDDeviceRef device);

IOReturn IOHIDDeviceOpen(IOHIDDeviceRef device, IOOptionBits options);
IOReturn IOHIDDeviceClose(IOHIDDeviceRef device, IOOptionBits options);

Boolean IOHIDDeviceConformsTo(IOHIDDeviceRef device, uint32_t usagePage, uint32_t usage);

// Get rule: the caller does not own the result.
CFTypeRef IOHIDDeviceGetProperty(IOHIDDeviceRef device, CFStringRef key);
Boolean IOHIDDeviceSetProperty(IOHIDDeviceRef device, CFStringRef key, CFTypeRef property);

void IOHIDDeviceScheduleWithRunLoop(IOHIDDeviceRef device, CFRunLoopRef runLoop, CFStringRef runLoopMode);
void IOHIDDeviceUnscheduleFromRunLoop(IOHIDDeviceRef device, CFRunLoopRef runLoop, CFStringRef runLoopMode);

void IOHIDDeviceRegisterRemovalCallback(IOHIDDeviceRef device, IOHIDCallback callback, void* context);
void IOHIDDeviceRegisterInputReportCallback(IOHIDDeviceRef device, uint8_t* report, CFIndex reportLength,
                                            IOHIDReportCallback callback, void* context);

IOReturn IOHIDDeviceSetReport(IOHIDDeviceRef device, IOHIDReportType reportType, CFIndex reportID,
                              const uint8_t* report, CFIndex reportLength);
IOReturn IOHIDDeviceGetReport(IOHIDDeviceRef device, IOHIDReportType reportType, CFIndex reportID, uint8_t* report,
                              CFIndex* pReportLength);

// Asynchronous: kIOReturnSuccess at once, then `callback` once, through the run
// loops the device is scheduled in. `timeout` is in milliseconds.
IOReturn IOHIDDeviceSetReportWithCallback(IOHIDDeviceRef device, IOHIDReportType reportType, CFIndex reportID,
                                          const uint8_t* report, CFIndex reportLength, CFTimeInterval timeout,
                                          IOHIDReportCallback callback, void* context);
IOReturn IOHIDDeviceGetReportWithCallback(IOHIDDeviceRef device, IOHIDReportType reportType, CFIndex reportID,
                                          uint8_t* report, CFIndex* pReportLength, CFTimeInterval timeout,
                                          IOHIDReportCallback callback, void* context);

#ifdef __cplusplus
}
#endif

#endif
