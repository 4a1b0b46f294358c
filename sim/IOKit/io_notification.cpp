// IOKit's notification entry points: notification ports, matching and interest notifications.
#include <IOKit/IOKitLib.h>

#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"
#include "sim/detail/kernel/object_lookup.hpp"
#include "sim/detail/notification/interest_notification.hpp"
#include "sim/detail/notification/matching_notification.hpp"
#include "sim/detail/notification/notification_center.hpp"
#include "sim/detail/notification/notification_port.hpp"
#include "sim/detail/registry/service_matcher.hpp"

#include <cstring>
#include <memory>
#include <optional>

using namespace plinth::sim::detail;

// What an IONotificationPortRef points to.
struct IONotificationPort
{
    std::shared_ptr<notification_port> port;
};

namespace {

std::optional<matching_notification::kind> matching_kind(char const* type)
{
    for (char const* publish :
         {kIOPublishNotification, kIOFirstPublishNotification, kIOMatchedNotification, kIOFirstMatchNotification})
        if (std::strcmp(type, publish) == 0)
            return matching_notification::kind::publish;
    if (std::strcmp(type, kIOTerminatedNotification) == 0)
        return matching_notification::kind::terminate;
    return std::nullopt;
}

} // namespace

extern "C" {

IONotificationPortRef IONotificationPortCreate(mach_port_t mainPort)
{
    count_iokit_call();
    if (!accept_main_port(mainPort, "IONotificationPortCreate"))
        return nullptr;
    // Made before the first notification can exist, so that none misses a change.
    notification_center::instance();
    return new IONotificationPort{notification_port::create()};
}

void IONotificationPortDestroy(IONotificationPortRef notify)
{
    count_iokit_call();
    if (notify == nullptr)
        return;
    notify->port->destroy();
    delete notify;
}

CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef notify)
{
    count_iokit_call();
    return notify == nullptr ? nullptr : notify->port->source();
}

kern_return_t IOServiceAddMatchingNotification(IONotificationPortRef notifyPort, const io_name_t notificationType,
                                               CFDictionaryRef matching, IOServiceMatchingCallback callback,
                                               void* refCon, io_iterator_t* notification)
{
    count_iokit_call();
    if (matching == nullptr)
        return kIOReturnBadArgument;
    auto matcher = matcher_from_cf(matching);
    CFRelease(matching);
    if (notification == nullptr || notifyPort == nullptr || notificationType == nullptr || !matcher)
        return kIOReturnBadArgument;
    *notification = IO_OBJECT_NULL;
    auto const kind = matching_kind(notificationType);
    if (!kind)
    {
        plinth::sim::detail::report_misuse(std::string("IOServiceAddMatchingNotification: unsupported type ") +
                                           notificationType);
        return kIOReturnUnsupported;
    }
    // Registered before the existing services are collected: a service published
    // in between is then seen twice rather than missed.
    auto made = std::make_shared<matching_notification>(*kind, std::move(*matcher), notifyPort->port, callback, refCon,
                                                        std::vector<std::shared_ptr<registry_entry>>{});
    notification_center::instance().add(made);
    if (*kind == matching_notification::kind::publish)
        for (auto& service : services_matching(made->matcher()))
            made->arrive(std::move(service)); // not armed yet: held, not posted
    *notification = hand_out(made);
    made->set_name(*notification);
    return KERN_SUCCESS;
}

kern_return_t IOServiceAddInterestNotification(IONotificationPortRef notifyPort, io_service_t service,
                                               const io_name_t interestType, IOServiceInterestCallback callback,
                                               void* refCon, io_object_t* notification)
{
    count_iokit_call();
    if (notification == nullptr || notifyPort == nullptr || interestType == nullptr)
        return kIOReturnBadArgument;
    *notification = IO_OBJECT_NULL;
    auto const found = lookup_entry(service, "IOServiceAddInterestNotification");
    if (!found)
        return found.error;
    if (std::strcmp(interestType, kIOGeneralInterest) != 0)
    {
        plinth::sim::detail::report_misuse(std::string("IOServiceAddInterestNotification: unsupported interest ") +
                                           interestType);
        return kIOReturnUnsupported;
    }
    auto made = std::make_shared<interest_notification>(found.object, notifyPort->port, callback, refCon);
    notification_center::instance().add(made);
    *notification = hand_out(made);
    return KERN_SUCCESS;
}

} // extern "C"
