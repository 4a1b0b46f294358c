// The IOHIDManagerRef object: matching through its notification port, the devices it holds, their callbacks.
#include "sim/detail/hid/hid_manager_object.hpp"

#include "sim/detail/cf/cf_type_registry.hpp"
#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/kernel/absolute_time.hpp"

#include <IOKit/IOMessage.h>
#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hid/IOHIDKeys.h>
#include <IOKit/hid/IOHIDManager.h>

#include <algorithm>
#include <utility>

namespace plinth::sim::detail {
namespace {

// What a report callback's buffer holds for a device that publishes no size.
constexpr CFIndex default_report_buffer_size = 64;

CFIndex max_input_report_size(IOHIDDeviceRef device)
{
    CFTypeRef const value = IOHIDDeviceGetProperty(device, CFSTR(kIOHIDMaxInputReportSizeKey));
    CFIndex size = 0;
    if (value == nullptr || CFGetTypeID(value) != CFNumberGetTypeID() ||
        CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberCFIndexType, &size) == 0 || size <= 0)
        return default_report_buffer_size;
    return size;
}

void copy_pair(void const* key, void const* value, void* into)
{
    CFDictionarySetValue(static_cast<CFMutableDictionaryRef>(into), key, value);
}

void set_on_device(void const* key, void const* value, void* device)
{
    IOHIDDeviceSetProperty(static_cast<IOHIDDeviceRef>(device), static_cast<CFStringRef>(key), value);
}

// The caller's criteria on top of the IOHIDDevice class, as the kernel is asked for them.
CFMutableDictionaryRef device_matching(CFDictionaryRef criteria)
{
    CFMutableDictionaryRef const matching = IOServiceMatching(kIOHIDDeviceKey);
    if (criteria != nullptr)
        CFDictionaryApplyFunction(criteria, copy_pair, matching);
    return matching;
}

} // namespace

hid_manager_object::hid_manager_object(IOOptionBits options)
    : cf_object(class_type_id(), false),
      create_options_(options),
      properties_(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                            &kCFTypeDictionaryValueCallBacks))
{
    CFRunLoopSourceContext context{};
    context.info = this;
    context.perform = perform_first_batch;
    first_batch_source_ = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, &context);
}

hid_manager_object::~hid_manager_object()
{
    std::lock_guard const lock(mutex_);
    if (loop_ != nullptr)
        unschedule_locked();
    end_notifications();
    release_devices();
    if (port_ != nullptr)
        IONotificationPortDestroy(port_);
    CFRunLoopSourceInvalidate(first_batch_source_);
    CFRelease(first_batch_source_);
    CFRelease(properties_);
    if (value_matching_ != nullptr)
        CFRelease(value_matching_);
}

CFTypeID hid_manager_object::class_type_id()
{
    static CFTypeID const id = cf_type_registry::id_for("IOHIDManager");
    return id;
}

std::string hid_manager_object::description() const
{
    return description_head();
}

bool hid_manager_object::forwards_to_devices() const noexcept
{
    return (create_options_ & kIOHIDManagerOptionIndependentDevices) == 0;
}

IOReturn hid_manager_object::open(IOOptionBits options)
{
    std::lock_guard const lock(mutex_);
    if (open_)
        return kIOReturnSuccess;
    open_ = true;
    open_options_ = options;
    IOReturn first_failure = kIOReturnSuccess;
    if (!forwards_to_devices())
        return first_failure;
    for (auto const& tracked : devices_)
    {
        if (auto const result = IOHIDDeviceOpen(tracked->device, options);
            result != kIOReturnSuccess && first_failure == kIOReturnSuccess)
            first_failure = result;
        give_input_callbacks(*tracked);
    }
    return first_failure;
}

IOReturn hid_manager_object::close()
{
    std::lock_guard const lock(mutex_);
    // Closing unschedules first, whether or not the manager is open.
    if (loop_ != nullptr)
        unschedule_locked();
    if (!open_)
        return kIOReturnNotOpen;
    open_ = false;
    IOReturn first_failure = kIOReturnSuccess;
    if (!forwards_to_devices())
        return first_failure;
    for (auto const& tracked : devices_)
        if (auto const result = IOHIDDeviceClose(tracked->device, 0);
            result != kIOReturnSuccess && first_failure == kIOReturnSuccess)
            first_failure = result;
    return first_failure;
}

CFTypeRef hid_manager_object::property(CFStringRef key) const
{
    std::lock_guard const lock(mutex_);
    return CFDictionaryGetValue(properties_, key);
}

void hid_manager_object::set_property(CFStringRef key, CFTypeRef value)
{
    std::lock_guard const lock(mutex_);
    CFDictionarySetValue(properties_, key, value);
    if (forwards_to_devices())
        for (auto const& tracked : devices_)
            IOHIDDeviceSetProperty(tracked->device, key, value);
}

void hid_manager_object::schedule(CFRunLoopRef loop, CFStringRef mode)
{
    std::lock_guard const lock(mutex_);
    if (loop_ != nullptr)
    {
        report_misuse("IOHIDManagerScheduleWithRunLoop: the manager is already scheduled; a Mac stops the process");
        return;
    }
    loop_ = static_cast<CFRunLoopRef>(const_cast<void*>(CFRetain(loop)));
    mode_ = static_cast<CFStringRef>(CFRetain(mode));
    if (port_ != nullptr)
        CFRunLoopAddSource(loop_, IONotificationPortGetRunLoopSource(port_), mode_);
    CFRunLoopAddSource(loop_, first_batch_source_, mode_);
    if (forwards_to_devices())
        for (auto const& tracked : devices_)
            IOHIDDeviceScheduleWithRunLoop(tracked->device, loop_, mode_);
    if (!first_batch_.empty())
    {
        CFRunLoopSourceSignal(first_batch_source_);
        CFRunLoopWakeUp(loop_);
    }
}

void hid_manager_object::unschedule(CFRunLoopRef loop, CFStringRef mode)
{
    std::lock_guard const lock(mutex_);
    if (loop_ == nullptr || loop == nullptr || mode == nullptr || !CFEqual(loop, loop_) || !CFEqual(mode, mode_))
        return;
    unschedule_locked();
}

void hid_manager_object::unschedule_locked()
{
    if (forwards_to_devices())
        for (auto const& tracked : devices_)
            IOHIDDeviceUnscheduleFromRunLoop(tracked->device, loop_, mode_);
    if (port_ != nullptr)
        CFRunLoopRemoveSource(loop_, IONotificationPortGetRunLoopSource(port_), mode_);
    CFRunLoopRemoveSource(loop_, first_batch_source_, mode_);
    // An unscheduled manager hears of no arrival or removal again, even once
    // scheduled anew: its notifications go with the scheduling.
    end_notifications();
    CFRelease(loop_);
    CFRelease(mode_);
    loop_ = nullptr;
    mode_ = nullptr;
}

void hid_manager_object::set_matching(CFArrayRef multiple)
{
    std::vector<io_iterator_t> iterators;
    {
        std::lock_guard const lock(mutex_);
        end_notifications();
        release_devices();
        if (port_ == nullptr)
        {
            port_ = IONotificationPortCreate(kIOMainPortDefault);
            if (loop_ != nullptr)
                CFRunLoopAddSource(loop_, IONotificationPortGetRunLoopSource(port_), mode_);
        }
        std::vector<CFDictionaryRef> criteria;
        if (multiple == nullptr)
            criteria.push_back(nullptr);
        else
            for (CFIndex i = 0; i < CFArrayGetCount(multiple); ++i)
                if (auto const item = CFArrayGetValueAtIndex(multiple, i);
                    item != nullptr && CFGetTypeID(item) == CFDictionaryGetTypeID())
                    criteria.push_back(static_cast<CFDictionaryRef>(item));
        for (auto const* criterion : criteria)
        {
            io_iterator_t iterator = IO_OBJECT_NULL;
            if (IOServiceAddMatchingNotification(port_, kIOFirstMatchNotification, device_matching(criterion),
                                                 services_matched, this, &iterator) == KERN_SUCCESS)
            {
                match_notifications_.push_back(iterator);
                iterators.push_back(iterator);
            }
        }
    }
    for (auto const iterator : iterators)
        take_services(iterator);
}

CFSetRef hid_manager_object::copy_devices() const
{
    std::lock_guard const lock(mutex_);
    if (!device_set_exists_)
        return nullptr;
    std::vector<void const*> devices;
    devices.reserve(devices_.size());
    for (auto const& tracked : devices_)
        devices.push_back(tracked->device);
    return CFSetCreate(kCFAllocatorDefault, devices.data(), static_cast<CFIndex>(devices.size()), &kCFTypeSetCallBacks);
}

void hid_manager_object::register_matching(IOHIDDeviceCallback callback, void* context)
{
    std::lock_guard const lock(mutex_);
    matching_callback_ = {callback, context};
}

void hid_manager_object::register_removal(IOHIDDeviceCallback callback, void* context)
{
    std::lock_guard const lock(mutex_);
    removal_callback_ = {callback, context};
}

void hid_manager_object::register_input_report(IOHIDReportCallback callback, void* context)
{
    std::lock_guard const lock(mutex_);
    report_callback_ = {callback, context};
    give_input_callbacks_when_open();
}

void hid_manager_object::register_input_report_with_time_stamp(IOHIDReportWithTimeStampCallback callback, void* context)
{
    std::lock_guard const lock(mutex_);
    stamped_report_callback_ = {callback, context};
    give_input_callbacks_when_open();
}

void hid_manager_object::register_input_value(IOHIDValueCallback callback, void* context)
{
    std::lock_guard const lock(mutex_);
    value_callback_ = {callback, context};
    give_input_callbacks_when_open();
}

void hid_manager_object::set_input_value_matching(CFArrayRef multiple)
{
    std::lock_guard const lock(mutex_);
    if (multiple != nullptr)
        CFRetain(multiple);
    if (value_matching_ != nullptr)
        CFRelease(value_matching_);
    value_matching_ = multiple;
    give_input_callbacks_when_open();
}

void hid_manager_object::services_matched(void* refcon, io_iterator_t iterator)
{
    static_cast<hid_manager_object*>(refcon)->take_services(iterator);
}

void hid_manager_object::service_interest(void* refcon, io_service_t service, std::uint32_t type, void*)
{
    if (type == kIOMessageServiceIsTerminated)
        static_cast<tracked_device*>(refcon)->manager->remove(service);
}

void hid_manager_object::perform_first_batch(void* info)
{
    auto* const manager = static_cast<hid_manager_object*>(info);
    std::vector<std::pair<IOHIDDeviceRef, IOReturn>> batch;
    {
        std::lock_guard const lock(manager->mutex_);
        batch.swap(manager->first_batch_);
    }
    manager->report_matched(batch);
}

void hid_manager_object::report_arrived(void* context, IOReturn result, void* sender, IOHIDReportType type,
                                        std::uint32_t id, std::uint8_t* report, CFIndex length)
{
    auto* const manager = static_cast<tracked_device*>(context)->manager;
    callback_with_context<IOHIDReportCallback> plain;
    callback_with_context<IOHIDReportWithTimeStampCallback> stamped;
    {
        std::lock_guard const lock(manager->mutex_);
        plain = manager->report_callback_;
        stamped = manager->stamped_report_callback_;
    }
    if (plain.function != nullptr)
        plain.function(plain.context, result, sender, type, id, report, length);
    if (stamped.function != nullptr)
        stamped.function(stamped.context, result, sender, type, id, report, length, absolute_time_now());
}

void hid_manager_object::value_arrived(void* context, IOReturn result, void* sender, IOHIDValueRef value)
{
    auto* const manager = static_cast<tracked_device*>(context)->manager;
    callback_with_context<IOHIDValueCallback> callback;
    {
        std::lock_guard const lock(manager->mutex_);
        callback = manager->value_callback_;
    }
    if (callback.function != nullptr)
        callback.function(callback.context, result, sender, value);
}

void hid_manager_object::take_services(io_iterator_t iterator)
{
    std::vector<std::pair<IOHIDDeviceRef, IOReturn>> reported_now;
    {
        std::lock_guard const lock(mutex_);
        // The devices that make the manager's device set are its first batch, and
        // so is any batch that comes while it is not scheduled.
        bool const first = !device_set_exists_ || loop_ == nullptr;
        while (io_service_t const service = IOIteratorNext(iterator))
        {
            IOHIDDeviceRef const device = IOHIDDeviceCreate(kCFAllocatorDefault, service);
            if (device == nullptr)
            {
                IOObjectRelease(service);
                continue;
            }
            device_set_exists_ = true;
            auto tracked = std::make_unique<tracked_device>();
            tracked->manager = this;
            tracked->device = device;
            IOServiceAddInterestNotification(port_, service, kIOGeneralInterest, service_interest, tracked.get(),
                                             &tracked->removal_notification);
            IOObjectRelease(service);
            auto const result = adopt(*tracked);
            CFRetain(device);
            (first ? first_batch_ : reported_now).emplace_back(device, result);
            devices_.push_back(std::move(tracked));
        }
        if (first && !first_batch_.empty() && loop_ != nullptr)
        {
            CFRunLoopSourceSignal(first_batch_source_);
            CFRunLoopWakeUp(loop_);
        }
    }
    report_matched(reported_now);
}

IOReturn hid_manager_object::adopt(tracked_device& tracked)
{
    if (!forwards_to_devices())
        return kIOReturnSuccess;
    // What a matching callback learns is how opening went, when the manager is open.
    IOReturn const result = open_ ? IOHIDDeviceOpen(tracked.device, open_options_) : kIOReturnSuccess;
    CFDictionaryApplyFunction(properties_, set_on_device, tracked.device);
    give_input_callbacks(tracked);
    if (loop_ != nullptr)
        IOHIDDeviceScheduleWithRunLoop(tracked.device, loop_, mode_);
    return result;
}

void hid_manager_object::give_input_callbacks_when_open()
{
    // A manager not yet open passes its callbacks on when it opens.
    if (open_ && forwards_to_devices())
        for (auto const& tracked : devices_)
            give_input_callbacks(*tracked);
}

void hid_manager_object::give_input_callbacks(tracked_device& tracked) const
{
    if (value_callback_.function != nullptr)
    {
        IOHIDDeviceSetInputValueMatchingMultiple(tracked.device, value_matching_);
        IOHIDDeviceRegisterInputValueCallback(tracked.device, value_arrived, &tracked);
    }
    if (report_callback_.function == nullptr && stamped_report_callback_.function == nullptr)
        return;
    if (tracked.report_buffer.empty())
        tracked.report_buffer.resize(static_cast<std::size_t>(max_input_report_size(tracked.device)));
    IOHIDDeviceRegisterInputReportCallback(tracked.device, tracked.report_buffer.data(),
                                           static_cast<CFIndex>(tracked.report_buffer.size()), report_arrived,
                                           &tracked);
}

void hid_manager_object::remove(io_service_t service)
{
    callback_with_context<IOHIDDeviceCallback> removal;
    IOHIDDeviceRef device = nullptr;
    {
        std::lock_guard const lock(mutex_);
        auto const found = std::ranges::find_if(devices_, [&](auto const& tracked) {
            return IOObjectIsEqualTo(IOHIDDeviceGetService(tracked->device), service) != 0;
        });
        if (found == devices_.end())
            return;
        device = static_cast<IOHIDDeviceRef>(const_cast<void*>(CFRetain((*found)->device)));
        if (loop_ != nullptr)
            removal = removal_callback_;
    }
    // The device is still the manager's while its removal is reported.
    if (removal.function != nullptr)
        removal.function(removal.context, kIOReturnSuccess, const_cast<void*>(ref()), device);
    {
        std::lock_guard const lock(mutex_);
        auto const found =
            std::ranges::find_if(devices_, [&](auto const& tracked) { return tracked->device == device; });
        if (found != devices_.end())
        {
            IOObjectRelease((*found)->removal_notification);
            CFRelease((*found)->device);
            devices_.erase(found);
        }
        auto const pending = std::ranges::find_if(first_batch_, [&](auto const& item) { return item.first == device; });
        if (pending != first_batch_.end())
        {
            CFRelease(pending->first);
            first_batch_.erase(pending);
        }
    }
    CFRelease(device);
}

void hid_manager_object::report_matched(std::vector<std::pair<IOHIDDeviceRef, IOReturn>> const& devices) const
{
    callback_with_context<IOHIDDeviceCallback> matching;
    {
        std::lock_guard const lock(mutex_);
        matching = matching_callback_;
    }
    for (auto const& [device, result] : devices)
    {
        if (matching.function != nullptr)
            matching.function(matching.context, result, const_cast<void*>(ref()), device);
        CFRelease(device);
    }
}

void hid_manager_object::end_notifications()
{
    for (auto const notification : match_notifications_)
        IOObjectRelease(notification);
    match_notifications_.clear();
    for (auto const& tracked : devices_)
    {
        if (tracked->removal_notification != IO_OBJECT_NULL)
            IOObjectRelease(tracked->removal_notification);
        tracked->removal_notification = IO_OBJECT_NULL;
    }
    for (auto const& [device, result] : first_batch_)
        CFRelease(device);
    first_batch_.clear();
}

void hid_manager_object::release_devices()
{
    for (auto const& tracked : devices_)
    {
        if (tracked->removal_notification != IO_OBJECT_NULL)
            IOObjectRelease(tracked->removal_notification);
        CFRelease(tracked->device);
    }
    devices_.clear();
}

} // namespace plinth::sim::detail
