// <IOKit/hid/IOHIDLib.h>: the umbrella header of the HID manager's device interface.
#ifndef _IOKIT_HID_IOHIDLIB_USER_H
#define _IOKIT_HID_IOHIDLIB_USER_H

#include <IOKit/hid/IOHIDBase.h>
#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hid/IOHIDElement.h>
#include <IOKit/hid/IOHIDKeys.h>
#include <IOKit/hid/IOHIDLibObsolete.h>
#include <IOKit/hid/IOHIDManager.h>
#include <IOKit/hid/IOHIDQueue.h>
#include <IOKit/hid/IOHIDUsageTables.h>
#include <IOKit/hid/IOHIDValue.h>

#endif
