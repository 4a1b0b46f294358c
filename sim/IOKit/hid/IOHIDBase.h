// <IOKit/hid/IOHIDBase.h>: IOHIDDeviceRef and the HID callback types.
#ifndef _IOKIT_HID_IOHIDBASE_USER_H
#define _IOKIT_HID_IOHIDBASE_USER_H

// The HID manager's object types (devices, elements, values) and its callback types.

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
typedef struct __IOHIDElement* IOHIDElementRef;
typedef struct __IOHIDValue* IOHIDValueRef;

typedef CF_ENUM(uint32_t, IOHIDTransactionDirectionType) {
    kIOHIDTransactionDirectionTypeInput,
    kIOHIDTransactionDirectionTypeOutput,
};

static const IOOptionBits kIOHIDTransactionOptionDefaultOutputValue = 0x0001;

typedef void (*IOHIDCallback)(void* context, IOReturn result, void* sender);

typedef void (*IOHIDReportCallback)(void* context, IOReturn result, void* sender, IOHIDReportType type,
                                    uint32_t reportID, uint8_t* report, CFIndex reportLength);

typedef void (*IOHIDReportWithTimeStampCallback)(void* context, IOReturn result, void* sender, IOHIDReportType type,
                                                 uint32_t reportID, uint8_t* report, CFIndex reportLength,
                                                 uint64_t timeStamp);

typedef void (*IOHIDValueCallback)(void* context, IOReturn result, void* sender, IOHIDValueRef value);

typedef void (*IOHIDValueMultipleCallback)(void* context, IOReturn result, void* sender, CFDictionaryRef multiple);

typedef void (*IOHIDDeviceCallback)(void* context, IOReturn result, void* sender, IOHIDDeviceRef device);

#ifdef __cplusplus
}
#endif

#endif
