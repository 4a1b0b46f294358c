// hid_run_loop_token: one scheduling of a HID device on a run loop in one mode.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/io_hid_device.hpp"

#include <CoreFoundation/CFRunLoop.h>

namespace plinth::apple::detail {

// One scheduling of a HID device on a run loop in one mode, undone when the token
// is destroyed. Move-only: a moved-from token undoes nothing.
class hid_run_loop_token
{
public:
    hid_run_loop_token(io_kit::io_hid_device device, CFRunLoopRef run_loop, CF::String mode) noexcept;
    hid_run_loop_token(hid_run_loop_token&& other) noexcept = default;
    hid_run_loop_token& operator=(hid_run_loop_token&&) = delete;
    hid_run_loop_token(hid_run_loop_token const&) = delete;
    hid_run_loop_token& operator=(hid_run_loop_token const&) = delete;
    ~hid_run_loop_token();

private:
    io_kit::io_hid_device device;
    // A reference of its own: a stream may be closed after its service's thread,
    // and with it the loop's last other reference, has gone.
    CF::AutoPointer run_loop;
    CF::String mode;
};

} // namespace plinth::apple::detail
