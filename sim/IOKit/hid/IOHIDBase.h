// <IOKit/hid/IOHIDBase.h>: IOHIDDeviceRef and the HID callback types.
#ifndef _IOKIT_HID_IOHIDBASE_USER_H
#define _IOKIT_HID_IOHIDBASE_USER_H

// The HID manager's object and callback types.

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOReturn.h>
#include <IOKit/IOTypes.h>
#include <IOKit/hid/IOHIDDeviceTypes.h>
#include <IOKit/hid/IOHIDKeys.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct __IOHIDDevice* IOHIDDeviceRef;

typedef void (*IOHIDCallback)(void* context, IOReturn result, void* sender);

typedef void (*IOHIDReportCallback)(void* context, IOReturn result, void* sender, IOHIDReportType type,
                                    uint32_t reportID, uint8_t* report, CFIndex reportLength);

#ifdef __cplusplus
}
#endif

#endif
