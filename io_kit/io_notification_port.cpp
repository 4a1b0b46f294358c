// io_notification_port: port creation and destruction, and the two IOService notification calls.
#include "io_kit/io_notification_port.hpp"

#include "io_kit/detail/throw_if_failed.hpp"

#include <utility>

namespace plinth::apple::io_kit {

void io_notification_port::io_notification_deleter::operator()(IONotificationPort* port) const noexcept
{
    IONotificationPortDestroy(port);
}

io_notification_port::io_notification_port(mach_port&& main_port)
{
    mach_port const consumed(std::move(main_port));
    port_.reset(IONotificationPortCreate(consumed.get()));
    if (!port_)
        detail::throw_if_failed(kIOReturnNoMemory, "IONotificationPortCreate");
}

CFRunLoopSourceRef io_notification_port::get_run_loop_source() const noexcept
{
    return port_ ? IONotificationPortGetRunLoopSource(port_.get()) : nullptr;
}

IONotificationPortRef io_notification_port::get() const noexcept
{
    return port_.get();
}

io_notification_port::operator bool() const noexcept
{
    return static_cast<bool>(port_);
}

void io_notification_port::reset() noexcept
{
    port_.reset();
}

io_iterator io_notification_port::add_matching_notification(char const* type, CF::Dictionary const& matching,
                                                            IOServiceMatchingCallback callback, void* refcon) const
{
    auto const dictionary = static_cast<CFDictionaryRef>(matching.GetTypeRef());
    // IOKit releases one reference of the dictionary whatever happens; this one.
    if (dictionary != nullptr)
        CFRetain(dictionary);
    io_iterator_t notification = IO_OBJECT_NULL;
    detail::throw_if_failed(
        IOServiceAddMatchingNotification(port_.get(), type, dictionary, callback, refcon, &notification),
        "IOServiceAddMatchingNotification");
    return io_iterator(notification);
}

io_object io_notification_port::add_interest_notification(io_object_view service, char const* type,
                                                          IOServiceInterestCallback callback, void* refcon) const
{
    io_object_t notification = IO_OBJECT_NULL;
    detail::throw_if_failed(
        IOServiceAddInterestNotification(port_.get(), service.get(), type, callback, refcon, &notification),
        "IOServiceAddInterestNotification");
    return io_object(notification);
}

} // namespace plinth::apple::io_kit
