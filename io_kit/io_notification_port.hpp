// io_notification_port: the sole owner of an IONotificationPort; adds matching and interest notifications.
#pragma once

#include "io_kit/cf/dictionary.hpp"
#include "io_kit/io_iterator.hpp"
#include "io_kit/io_object.hpp"
#include "io_kit/mach_port.hpp"

#include <CoreFoundation/CFRunLoop.h>
#include <IOKit/IOKitLib.h>

#include <memory>

namespace plinth::apple::io_kit {

// Owns one IOKit notification port: the object through which IOKit delivers
// notification callbacks, on whichever run loop serves the port's source. The
// only owner: movable, not copyable; empty after a move or reset().
class io_notification_port
{
public:
    struct io_notification_deleter
    {
        // IONotificationPortDestroy; also destroys the port's run-loop source and
        // so takes it off every loop that serves it.
        void operator()(IONotificationPort* port) const noexcept;
    };

    io_notification_port() noexcept = default;

    // A new port on `main_port` (IONotificationPortCreate). Consumes the wrapper.
    // Throws boost::system::system_error (kIOReturnNoMemory) when IOKit makes none.
    explicit io_notification_port(mach_port&& main_port);

    // The port's run-loop source. It belongs to the port: neither retain nor
    // release it. Null for an empty handle.
    CFRunLoopSourceRef get_run_loop_source() const noexcept;

    IONotificationPortRef get() const noexcept;
    explicit operator bool() const noexcept;

    // Destroys the held port, if any, and leaves the handle empty.
    void reset() noexcept;

    // Notifications of services that `matching` matches and that arrive
    // (kIOFirstMatchNotification, kIOPublishNotification, kIOMatchedNotification)
    // or leave (kIOTerminatedNotification), delivered to `callback` with `refcon`
    // on the run loop that serves this port (IOServiceAddMatchingNotification).
    // The caller's dictionary is left as it was. The result is the notification:
    // drain it once to arm it (IOKit calls back only for an empty iterator), and
    // release it to end the notification. Throws boost::system::system_error.
    io_iterator add_matching_notification(char const* type, CF::Dictionary const& matching,
                                          IOServiceMatchingCallback callback, void* refcon) const;

    // Notifications about `service` of interest `type` (kIOGeneralInterest gives
    // kIOMessageServiceIsTerminated when it leaves), delivered to `callback`
    // (IOServiceAddInterestNotification). Release the result to end it. Throws
    // boost::system::system_error.
    io_object add_interest_notification(io_object_view service, char const* type, IOServiceInterestCallback callback,
                                        void* refcon) const;

private:
    std::unique_ptr<IONotificationPort, io_notification_deleter> port_;
};

} // namespace plinth::apple::io_kit
