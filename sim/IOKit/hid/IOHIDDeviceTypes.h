// <IOKit/hid/IOHIDDeviceTypes.h>: report, element and value types of the HID manager.
#ifndef _IOKIT_HID_IOHIDDEVICETYPES_H
#define _IOKIT_HID_IOHIDDEVICETYPES_H

#include <stdint.h>

// The kinds of HID report.
enum IOHIDReportType
{
    kIOHIDReportTypeInput = 0,
    kIOHIDReportTypeOutput,
    kIOHIDReportTypeFeature,
    kIOHIDReportTypeCount
};
typedef enum IOHIDReportType IOHIDReportType;

// An element's number within its device: its index in the device's element list.
#if defined(__LP64__)
typedef uint32_t IOHIDElementCookie;
#else
typedef void* IOHIDElementCookie;
#endif

// What an element is: an input (misc, button, axis, scan codes, or the null
// placeholder of a report ID), an output, a feature, or a collection.
enum IOHIDElementType
{
    kIOHIDElementTypeInput_Misc = 1,
    kIOHIDElementTypeInput_Button = 2,
    kIOHIDElementTypeInput_Axis = 3,
    kIOHIDElementTypeInput_ScanCodes = 4,
    kIOHIDElementTypeInput_NULL = 5,
    kIOHIDElementTypeOutput = 129,
    kIOHIDElementTypeFeature = 257,
    kIOHIDElementTypeCollection = 513
};
typedef enum IOHIDElementType IOHIDElementType;

// The data bits of the Main item an element comes from.
enum
{
    kIOHIDElementFlagsConstantMask = 0x0001,
    kIOHIDElementFlagsVariableMask = 0x0002,
    kIOHIDElementFlagsRelativeMask = 0x0004,
    kIOHIDElementFlagsWrapMask = 0x0008,
    kIOHIDElementFlagsNonLinearMask = 0x0010,
    kIOHIDElementFlagsNoPreferredMask = 0x0020,
    kIOHIDElementFlagsNullStateMask = 0x0040,
    kIOHIDElementFlagsVolativeMask = 0x0080,
    kIOHIDElementFlagsBufferedByteMask = 0x0100
};
typedef uint32_t IOHIDElementFlags;

// The kind of a collection element, as its Collection item gives it.
enum IOHIDElementCollectionType
{
    kIOHIDElementCollectionTypePhysical = 0x00,
    kIOHIDElementCollectionTypeApplication,
    kIOHIDElementCollectionTypeLogical,
    kIOHIDElementCollectionTypeReport,
    kIOHIDElementCollectionTypeNamedArray,
    kIOHIDElementCollectionTypeUsageSwitch,
    kIOHIDElementCollectionTypeUsageModifier
};
typedef enum IOHIDElementCollectionType IOHIDElementCollectionType;

// How IOHIDValueGetScaledValue scales a value.
enum
{
    kIOHIDValueScaleTypeCalibrated,
    kIOHIDValueScaleTypePhysical,
    kIOHIDValueScaleTypeExponent
};
typedef uint32_t IOHIDValueScaleType;

enum
{
    kIOHIDValueOptionsFlagRelativeSimple = (1 << 0),
    kIOHIDValueOptionsFlagPrevious = (1 << 1),
    kIOHIDValueOptionsUpdateElementValues = (1 << 2)
};
typedef uint32_t IOHIDValueOptions;

#endif
