// hid_access: whether the user lets this process listen to HID input or post events (Input Monitoring).
#pragma once

#include <IOKit/hidsystem/IOHIDLib.h>

namespace plinth::apple::io_kit {

// What the user decided about `type` for this process (IOHIDCheckAccess); it never
// asks, and gives kIOHIDAccessTypeUnknown until the user was asked.
IOHIDAccessType check_hid_access(IOHIDRequestType type) noexcept;

// Asks the user about `type` when undecided and tells whether access is granted
// (IOHIDRequestAccess). While the system's prompt is up the calling thread waits:
// call it from a thread that may block, never from a run loop's.
bool request_hid_access(IOHIDRequestType type) noexcept;

} // namespace plinth::apple::io_kit
