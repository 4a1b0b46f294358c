// <IOKit/hidsystem/IOHIDLib.h> as Apple declares it: Input Monitoring's access checks.
#ifndef _IOKIT_IOHIDLIB_H
#define _IOKIT_IOHIDLIB_H

// Whether the user lets this process post events, or listen to keyboards, mice and
// touch pads (Input Monitoring). Only the access functions of Apple's header are
// declared here: the event-system calls beside them are not simulated.

#include <IOKit/IOKitLib.h>

#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef enum
{
    kIOHIDRequestTypePostEvent,
    kIOHIDRequestTypeListenEvent
} IOHIDRequestType;

typedef enum
{
    kIOHIDAccessTypeGranted,
    kIOHIDAccessTypeDenied,
    kIOHIDAccessTypeUnknown
} IOHIDAccessType;

// What the user decided, without asking: kIOHIDAccessTypeUnknown until asked.
IOHIDAccessType IOHIDCheckAccess(IOHIDRequestType requestType);

// Asks the user when undecided (the calling thread waits for the answer); true
// when access is granted.
bool IOHIDRequestAccess(IOHIDRequestType requestType);

#ifdef __cplusplus
}
#endif

#endif
