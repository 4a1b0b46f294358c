// hid_run_loop_token: scheduling a HID device on a run loop, and unscheduling it when the token goes.
#include "device/apple/detail/hid_run_loop_token.hpp"

#include "io_kit/detail/share.hpp"

#include <utility>

namespace plinth::apple::detail {

hid_run_loop_token::hid_run_loop_token(io_kit::io_hid_device device_, CFRunLoopRef run_loop_, CF::String mode_) noexcept
    : device(std::move(device_)), run_loop(io_kit::detail::share(run_loop_)), mode(std::move(mode_))
{
}

hid_run_loop_token::~hid_run_loop_token()
{
    if (device)
        device.unschedule_from_run_loop(static_cast<CFRunLoopRef>(const_cast<void*>(run_loop.GetTypeRef())),
                                        static_cast<CFStringRef>(mode.GetTypeRef()));
}

} // namespace plinth::apple::detail
