// <IOKit/hid/IOHIDDeviceTypes.h>: IOHIDReportType.
#ifndef _IOKIT_HID_IOHIDDEVICETYPES_H
#define _IOKIT_HID_IOHIDDEVICETYPES_H

// The kinds of HID report.
enum IOHIDReportType
{
    kIOHIDReportTypeInput = 0,
    kIOHIDReportTypeOutput,
    kIOHIDReportTypeFeature,
    kIOHIDReportTypeCount
};
typedef enum IOHIDReportType IOHIDReportType;

#endif
