// <IOKit/hid/IOHIDValue.h> as Apple declares it: the IOHIDValue functions.
#ifndef _IOKIT_HID_IOHIDELEMENTEVENT_H
#define _IOKIT_HID_IOHIDELEMENTEVENT_H

// One element's value at one moment: its bytes, their integer reading, and the
// time the device reported it.

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/hid/IOHIDBase.h>
#include <IOKit/hid/IOHIDKeys.h>

#ifdef __cplusplus
extern "C" {
#endif

CFTypeID IOHIDValueGetTypeID(void);

IOHIDValueRef IOHIDValueCreateWithIntegerValue(CFAllocatorRef allocator, IOHIDElementRef element, uint64_t timeStamp,
                                               CFIndex value);
IOHIDValueRef IOHIDValueCreateWithBytes(CFAllocatorRef allocator, IOHIDElementRef element, uint64_t timeStamp,
                                        const uint8_t* bytes, CFIndex length);
// The value points at `bytes`, which must outlive it.
IOHIDValueRef IOHIDValueCreateWithBytesNoCopy(CFAllocatorRef allocator, IOHIDElementRef element, uint64_t timeStamp,
                                              const uint8_t* bytes, CFIndex length);

IOHIDElementRef IOHIDValueGetElement(IOHIDValueRef value);
uint64_t IOHIDValueGetTimeStamp(IOHIDValueRef value);
CFIndex IOHIDValueGetLength(IOHIDValueRef value);
const uint8_t* IOHIDValueGetBytePtr(IOHIDValueRef value);
CFIndex IOHIDValueGetIntegerValue(IOHIDValueRef value);
double_t IOHIDValueGetScaledValue(IOHIDValueRef value, IOHIDValueScaleType type);

#ifdef __cplusplus
}
#endif

#endif
