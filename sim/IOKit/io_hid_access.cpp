// Input Monitoring's access checks: what the user decided about this process, asked at most once.
#include <IOKit/hidsystem/IOHIDLib.h>

#include "sim/detail/hid/hid_access.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"

extern "C" {

IOHIDAccessType IOHIDCheckAccess(IOHIDRequestType requestType)
{
    plinth::sim::detail::count_iokit_call();
    return plinth::sim::detail::hid_access::instance().check(requestType);
}

// On a Mac the calling thread waits while the user answers a prompt; the simulated
// user answers at once, as the control interface says.
bool IOHIDRequestAccess(IOHIDRequestType requestType)
{
    plinth::sim::detail::count_iokit_call();
    return plinth::sim::detail::hid_access::instance().request(requestType);
}

} // extern "C"
