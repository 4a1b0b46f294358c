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
void IOHIDDeviceRegisterInputReportWithTimeStampCallback(IOHIDDeviceRef device, uint8_t* report, CFIndex reportLength,
                                                         IOHIDReportWithTimeStampCallback callback, void* context);

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

// The device's elements that match every key of `matching` (all of them for
// NULL); NULL when none does. The caller owns the array.
CFArrayRef IOHIDDeviceCopyMatchingElements(IOHIDDeviceRef device, CFDictionaryRef matching, IOOptionBits options);

void IOHIDDeviceRegisterInputValueCallback(IOHIDDeviceRef device, IOHIDValueCallback callback, void* context);
void IOHIDDeviceSetInputValueMatching(IOHIDDeviceRef device, CFDictionaryRef matching);
void IOHIDDeviceSetInputValueMatchingMultiple(IOHIDDeviceRef device, CFArrayRef multiple);

IOReturn IOHIDDeviceSetValue(IOHIDDeviceRef device, IOHIDElementRef element, IOHIDValueRef value);
IOReturn IOHIDDeviceSetValueWithCallback(IOHIDDeviceRef device, IOHIDElementRef element, IOHIDValueRef value,
                                         CFTimeInterval timeout, IOHIDValueCallback callback, void* context);

// Get rule: the element owns *pValue.
IOReturn IOHIDDeviceGetValue(IOHIDDeviceRef device, IOHIDElementRef element, IOHIDValueRef* pValue);

typedef CF_ENUM(uint32_t, IOHIDDeviceGetValueOptions) {
    kIOHIDDeviceGetValueWithUpdate = 0x00020000,
    kIOHIDDeviceGetValueWithoutUpdate = 0x00040000,
};

IOReturn IOHIDDeviceGetValueWithOptions(IOHIDDeviceRef device, IOHIDElementRef element, IOHIDValueRef* pValue,
                                        uint32_t options);
IOReturn IOHIDDeviceGetValueWithCallback(IOHIDDeviceRef device, IOHIDElementRef element, IOHIDValueRef* pValue,
                                         CFTimeInterval timeout, IOHIDValueCallback callback, void* context);

#ifdef __cplusplus
}
#endif

#endif
