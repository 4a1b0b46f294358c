// <IOKit/hid/IOHIDLibObsolete.h> as Apple declares it, as far as the simulation goes: the HID plug-in's IDs.
#ifndef _IOKIT_HID_IOHIDLIBOBSOLETE_H_
#define _IOKIT_HID_IOHIDLIBOBSOLETE_H_

// Before IOHIDDeviceRef, HID devices were reached through the HID family's CF
// plug-in, as USB devices still are. Its IDs are here; its interfaces are not,
// since no plug-in ever loads in the simulated machine.

#include <CoreFoundation/CoreFoundation.h>
#if COREFOUNDATION_CFPLUGINCOM_SEPARATE
#include <CoreFoundation/CFPlugInCOM.h>
#endif

#include <IOKit/IOReturn.h>
#include <IOKit/IOTypes.h>

// The plug-in type an IOHIDDevice entry lists in "IOCFPlugInTypes".
// FA12FA38-6F1A-11D4-BA0C-0005028F18D5
#define kIOHIDDeviceUserClientTypeID                                                                                   \
    CFUUIDGetConstantUUIDWithBytes(NULL, 0xFA, 0x12, 0xFA, 0x38, 0x6F, 0x1A, 0x11, 0xD4, 0xBA, 0x0C, 0x00, 0x05, 0x02, \
                                   0x8F, 0x18, 0xD5)

// 78BD420C-6F14-11D4-9474-0005028F18D5
#define kIOHIDDeviceInterfaceID                                                                                        \
    CFUUIDGetConstantUUIDWithBytes(NULL, 0x78, 0xBD, 0x42, 0x0C, 0x6F, 0x14, 0x11, 0xD4, 0x94, 0x74, 0x00, 0x05, 0x02, \
                                   0x8F, 0x18, 0xD5)

// 8138629E-6F14-11D4-970E-0005028F18D5
#define kIOHIDQueueInterfaceID                                                                                         \
    CFUUIDGetConstantUUIDWithBytes(NULL, 0x81, 0x38, 0x62, 0x9E, 0x6F, 0x14, 0x11, 0xD4, 0x97, 0x0E, 0x00, 0x05, 0x02, \
                                   0x8F, 0x18, 0xD5)

// 80CDCC00-755D-11D4-80EF-0005028F18D5
#define kIOHIDOutputTransactionInterfaceID                                                                             \
    CFUUIDGetConstantUUIDWithBytes(NULL, 0x80, 0xCD, 0xCC, 0x00, 0x75, 0x5D, 0x11, 0xD4, 0x80, 0xEF, 0x00, 0x05, 0x02, \
                                   0x8F, 0x18, 0xD5)

#endif
