// <IOKit/hid/IOHIDKeys.h>: HID keys and the options of IOHIDDeviceOpen.
#ifndef _IOKIT_HID_IOHIDKEYS_H
#define _IOKIT_HID_IOHIDKEYS_H

// HID class names, keys and the options of IOHIDDeviceOpen.

#include <IOKit/hid/IOHIDDeviceKeys.h>

#include <stdint.h>

#define kIOHIDDeviceKey "IOHIDDevice"

// The size of a client's report queue: MaxReportBufferCount entries of
// ReportBufferEntrySize bytes, from the device's properties or set on one
// IOHIDDeviceRef with IOHIDDeviceSetProperty.
#define kIOHIDMaxReportBufferCountKey "MaxReportBufferCount"
#define kIOHIDReportBufferEntrySizeKey "ReportBufferEntrySize"

enum
{
    kIOHIDOptionsTypeNone = 0x00,
    kIOHIDOptionsTypeSeizeDevice = 0x01,
    kIOHIDOptionsTypeMaskPrivate = 0xff0000
};
typedef uint32_t IOHIDOptionsType;

#endif
