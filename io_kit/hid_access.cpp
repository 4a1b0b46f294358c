// hid_access: IOHIDCheckAccess and IOHIDRequestAccess.
#include "io_kit/hid_access.hpp"

namespace plinth::apple::io_kit {

IOHIDAccessType check_hid_access(IOHIDRequestType type) noexcept
{
    return IOHIDCheckAccess(type);
}

bool request_hid_access(IOHIDRequestType type) noexcept
{
    return IOHIDRequestAccess(type);
}

} // namespace plinth::apple::io_kit
