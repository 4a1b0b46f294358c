// input_monitoring: the listen-event request of IOHIDCheckAccess and IOHIDRequestAccess, as the library's own enum.
#include "device/apple/input_monitoring.hpp"

#include "io_kit/hid_access.hpp"

namespace plinth::apple {

input_monitoring_access check_input_monitoring_access() noexcept
{
    switch (io_kit::check_hid_access(kIOHIDRequestTypeListenEvent))
    {
    case kIOHIDAccessTypeGranted: return input_monitoring_access::granted;
    case kIOHIDAccessTypeDenied: return input_monitoring_access::denied;
    default: return input_monitoring_access::unknown;
    }
}

bool request_input_monitoring_access() noexcept
{
    return io_kit::request_hid_access(kIOHIDRequestTypeListenEvent);
}

} // namespace plinth::apple
