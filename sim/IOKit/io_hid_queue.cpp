// The IOHIDQueue functions: a queue of element values on one device, its callback, and reading it.
#include <IOKit/hid/IOHIDKeys.h>
#include <IOKit/hid/IOHIDQueue.h>

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/hid/hid_device_object.hpp"
#include "sim/detail/hid/hid_element_object.hpp"
#include "sim/detail/hid/hid_queue_object.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>

namespace {

using plinth::sim::detail::hid_device_object;
using plinth::sim::detail::hid_element_object;
using plinth::sim::detail::hid_queue_object;

hid_queue_object* checked(IOHIDQueueRef queue, char const* function)
{
    return plinth::sim::detail::cf_checked<hid_queue_object>(queue, function);
}

// The cookie of `element` when it is an element of the queue's device; else a
// misuse report, as an element the kernel does not know of is a caller's bug.
bool cookie_of(hid_queue_object const& queue, IOHIDElementRef element, char const* function, std::uint32_t& cookie)
{
    auto const* const found = plinth::sim::detail::cf_checked<hid_element_object>(element, function);
    if (found == nullptr)
        return false;
    if (found->device() != queue.device())
    {
        plinth::sim::detail::report_misuse(std::string(function) + ": the element is not one of the queue's device");
        return false;
    }
    cookie = found->info().cookie;
    return true;
}

bool loop_and_mode(CFRunLoopRef loop, CFStringRef mode, char const* function)
{
    return plinth::sim::detail::cf_checked_object(loop, function, CFRunLoopGetTypeID()) != nullptr &&
           plinth::sim::detail::cf_checked_object(mode, function, CFStringGetTypeID()) != nullptr;
}

} // namespace

extern "C" {

CFTypeID IOHIDQueueGetTypeID(void)
{
    return hid_queue_object::class_type_id();
}

IOHIDQueueRef IOHIDQueueCreate(CFAllocatorRef, IOHIDDeviceRef device, CFIndex depth, IOOptionBits options)
{
    plinth::sim::detail::count_iokit_call();
    auto* const object = plinth::sim::detail::checked_hid_device(device, "IOHIDQueueCreate");
    if (object == nullptr || depth <= 0)
        return nullptr;
    // The queue lives in the kernel connection, which Input Monitoring gates.
    if (object->connect() != kIOReturnSuccess)
        return nullptr;
    // Its values are read as the device's elements: they and their client's values exist from here on.
    object->elements();
    return plinth::sim::detail::cf_ref<IOHIDQueueRef>(plinth::sim::detail::make_cf_object<hid_queue_object>(
        device, static_cast<std::size_t>(depth), (options & kIOHIDQueueOptionsTypeEnqueueAll) != 0));
}

IOHIDDeviceRef IOHIDQueueGetDevice(IOHIDQueueRef queue)
{
    auto const* const object = checked(queue, "IOHIDQueueGetDevice");
    return object == nullptr ? nullptr : object->device();
}

CFIndex IOHIDQueueGetDepth(IOHIDQueueRef queue)
{
    auto const* const object = checked(queue, "IOHIDQueueGetDepth");
    return object == nullptr ? 0 : static_cast<CFIndex>(object->values().depth());
}

void IOHIDQueueSetDepth(IOHIDQueueRef queue, CFIndex depth)
{
    auto* const object = checked(queue, "IOHIDQueueSetDepth");
    if (object != nullptr && depth > 0)
        object->values().set_depth(static_cast<std::size_t>(depth));
}

void IOHIDQueueAddElement(IOHIDQueueRef queue, IOHIDElementRef element)
{
    auto* const object = checked(queue, "IOHIDQueueAddElement");
    if (std::uint32_t cookie = 0; object != nullptr && cookie_of(*object, element, "IOHIDQueueAddElement", cookie))
        object->values().add(cookie);
}

void IOHIDQueueRemoveElement(IOHIDQueueRef queue, IOHIDElementRef element)
{
    auto* const object = checked(queue, "IOHIDQueueRemoveElement");
    if (std::uint32_t cookie = 0; object != nullptr && cookie_of(*object, element, "IOHIDQueueRemoveElement", cookie))
        object->values().remove(cookie);
}

Boolean IOHIDQueueContainsElement(IOHIDQueueRef queue, IOHIDElementRef element)
{
    auto* const object = checked(queue, "IOHIDQueueContainsElement");
    std::uint32_t cookie = 0;
    return object != nullptr && cookie_of(*object, element, "IOHIDQueueContainsElement", cookie) &&
           object->values().contains(cookie);
}

void IOHIDQueueStart(IOHIDQueueRef queue)
{
    plinth::sim::detail::count_iokit_call();
    if (auto* const object = checked(queue, "IOHIDQueueStart"); object != nullptr)
        object->values().start();
}

// Stopping ends the delivery of values into the queue, and only that: what is
// already queued stays there to be read, and a start takes up from there.
void IOHIDQueueStop(IOHIDQueueRef queue)
{
    plinth::sim::detail::count_iokit_call();
    if (auto* const object = checked(queue, "IOHIDQueueStop"); object != nullptr)
        object->values().stop();
}

void IOHIDQueueScheduleWithRunLoop(IOHIDQueueRef queue, CFRunLoopRef runLoop, CFStringRef runLoopMode)
{
    auto* const object = checked(queue, "IOHIDQueueScheduleWithRunLoop");
    if (object != nullptr && loop_and_mode(runLoop, runLoopMode, "IOHIDQueueScheduleWithRunLoop"))
        object->schedule(runLoop, runLoopMode);
}

void IOHIDQueueUnscheduleFromRunLoop(IOHIDQueueRef queue, CFRunLoopRef runLoop, CFStringRef runLoopMode)
{
    auto* const object = checked(queue, "IOHIDQueueUnscheduleFromRunLoop");
    if (object != nullptr && loop_and_mode(runLoop, runLoopMode, "IOHIDQueueUnscheduleFromRunLoop"))
        object->unschedule(runLoop, runLoopMode);
}

void IOHIDQueueRegisterValueAvailableCallback(IOHIDQueueRef queue, IOHIDCallback callback, void* context)
{
    if (auto* const object = checked(queue, "IOHIDQueueRegisterValueAvailableCallback"); object != nullptr)
        object->register_callback(callback, context);
}

IOHIDValueRef IOHIDQueueCopyNextValue(IOHIDQueueRef queue)
{
    auto* const object = checked(queue, "IOHIDQueueCopyNextValue");
    return object == nullptr ? nullptr : object->copy_next();
}

IOHIDValueRef IOHIDQueueCopyNextValueWithTimeout(IOHIDQueueRef queue, CFTimeInterval timeout)
{
    auto* const object = checked(queue, "IOHIDQueueCopyNextValueWithTimeout");
    if (object == nullptr)
        return nullptr;
    // A negative or NaN timeout waits not at all; a huge one, about thirty years.
    double const seconds = std::isnan(timeout) ? 0.0 : std::clamp(timeout, 0.0, 1e9);
    return object->copy_next_within(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(seconds)));
}

} // extern "C"
