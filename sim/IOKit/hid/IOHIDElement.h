// <IOKit/hid/IOHIDElement.h> as Apple declares it: the IOHIDElement functions.
#ifndef _IOKIT_HID_IOHIDELEMENT_USER_H
#define _IOKIT_HID_IOHIDELEMENT_USER_H

// One parsed item of a device's report descriptor (a collection, a button, a
// value) as a CF object that its device owns.

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/hid/IOHIDBase.h>
#include <IOKit/hid/IOHIDKeys.h>

#ifdef __cplusplus
extern "C" {
#endif

CFTypeID IOHIDElementGetTypeID(void);

// An element of no device, from a dictionary of kIOHIDElement... keys.
IOHIDElementRef IOHIDElementCreateWithDictionary(CFAllocatorRef allocator, CFDictionaryRef dictionary);

// Get rule for the device, the parent and the children.
IOHIDDeviceRef IOHIDElementGetDevice(IOHIDElementRef element);
IOHIDElementRef IOHIDElementGetParent(IOHIDElementRef element);
CFArrayRef IOHIDElementGetChildren(IOHIDElementRef element);

void IOHIDElementAttach(IOHIDElementRef element, IOHIDElementRef toAttach);
void IOHIDElementDetach(IOHIDElementRef element, IOHIDElementRef toDetach);
CFArrayRef IOHIDElementCopyAttached(IOHIDElementRef element);

IOHIDElementCookie IOHIDElementGetCookie(IOHIDElementRef element);
IOHIDElementType IOHIDElementGetType(IOHIDElementRef element);
IOHIDElementCollectionType IOHIDElementGetCollectionType(IOHIDElementRef element);
uint32_t IOHIDElementGetUsagePage(IOHIDElementRef element);
uint32_t IOHIDElementGetUsage(IOHIDElementRef element);

Boolean IOHIDElementIsVirtual(IOHIDElementRef element);
Boolean IOHIDElementIsRelative(IOHIDElementRef element);
Boolean IOHIDElementIsWrapping(IOHIDElementRef element);
Boolean IOHIDElementIsArray(IOHIDElementRef element);
Boolean IOHIDElementIsNonLinear(IOHIDElementRef element);
Boolean IOHIDElementHasPreferredState(IOHIDElementRef element);
Boolean IOHIDElementHasNullState(IOHIDElementRef element);

CFStringRef IOHIDElementGetName(IOHIDElementRef element);

uint32_t IOHIDElementGetReportID(IOHIDElementRef element);
uint32_t IOHIDElementGetReportSize(IOHIDElementRef element);
uint32_t IOHIDElementGetReportCount(IOHIDElementRef element);
uint32_t IOHIDElementGetUnit(IOHIDElementRef element);
uint32_t IOHIDElementGetUnitExponent(IOHIDElementRef element);
CFIndex IOHIDElementGetLogicalMin(IOHIDElementRef element);
CFIndex IOHIDElementGetLogicalMax(IOHIDElementRef element);
CFIndex IOHIDElementGetPhysicalMin(IOHIDElementRef element);
CFIndex IOHIDElementGetPhysicalMax(IOHIDElementRef element);

// Get rule: the element keeps what it returns.
CFTypeRef IOHIDElementGetProperty(IOHIDElementRef element, CFStringRef key);
Boolean IOHIDElementSetProperty(IOHIDElementRef element, CFStringRef key, CFTypeRef property);

#ifdef __cplusplus
}
#endif

#endif
