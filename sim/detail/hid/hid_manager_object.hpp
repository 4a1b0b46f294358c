// The IOHIDManagerRef object: device matching, the matched devices, and what it passes on to them.
#pragma once

#include "sim/detail/cf/cf_object.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDBase.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace plinth::sim::detail {

// What an IOHIDManagerRef is. Matching arms first-match notifications on the
// manager's own notification port and takes the services already there at once,
// each as a new IOHIDDeviceRef with a general-interest notification for its
// removal. The devices of the first batch are reported through a run-loop source
// on the manager's first pass; later ones from inside the notification (or the
// call) that brought them. The manager opens, schedules and registers its input
// callbacks on each device it holds, unless it was made with
// kIOHIDManagerOptionIndependentDevices.
//
// Its lock is never held while a caller's callback runs, so that a callback may
// call the manager (CopyDevices, Close, ...).
class hid_manager_object final : public cf_object
{
public:
    explicit hid_manager_object(IOOptionBits options);
    ~hid_manager_object() override;

    static CFTypeID class_type_id();
    std::string description() const override;

    IOReturn open(IOOptionBits options);
    IOReturn close();

    // Get rule: kept in the manager's own dictionary.
    CFTypeRef property(CFStringRef key) const;
    void set_property(CFStringRef key, CFTypeRef value);

    void schedule(CFRunLoopRef loop, CFStringRef mode);
    void unschedule(CFRunLoopRef loop, CFStringRef mode);

    // NULL: every HID device.
    void set_matching(CFArrayRef multiple);
    // Create rule; NULL while no device has ever matched.
    CFSetRef copy_devices() const;

    void register_matching(IOHIDDeviceCallback callback, void* context);
    void register_removal(IOHIDDeviceCallback callback, void* context);
    void register_input_report(IOHIDReportCallback callback, void* context);
    void register_input_report_with_time_stamp(IOHIDReportWithTimeStampCallback callback, void* context);
    void register_input_value(IOHIDValueCallback callback, void* context);
    // NULL: the devices' default, every input element.
    void set_input_value_matching(CFArrayRef multiple);

private:
    // One matched device and what the manager keeps for it. Its address is the
    // context of the device's callbacks, so it stays put until the device goes.
    struct tracked_device
    {
        hid_manager_object* manager = nullptr;
        IOHIDDeviceRef device = nullptr;         // retained
        io_object_t removal_notification = 0;    // kIOGeneralInterest on the manager's port
        std::vector<std::uint8_t> report_buffer; // MaxInputReportSize bytes, 64 when unpublished
    };

    template <typename Function>
    struct callback_with_context
    {
        Function function = nullptr;
        void* context = nullptr;
    };

    // The notification port's callbacks.
    static void services_matched(void* refcon, io_iterator_t iterator);
    static void service_interest(void* refcon, io_service_t service, std::uint32_t type, void* argument);
    // The first batch's source.
    static void perform_first_batch(void* info);
    static void value_arrived(void* context, IOReturn result, void* sender, IOHIDValueRef value);
    static void report_arrived(void* context, IOReturn result, void* sender, IOHIDReportType type, std::uint32_t id,
                               std::uint8_t* report, CFIndex length);

    // Takes every service `iterator` has (arming it again), as devices. The first
    // batch of a manager waits for its first run-loop pass; any later one is
    // reported here, once the devices are open, scheduled and listened to.
    void take_services(io_iterator_t iterator);
    // What a new device gets from the manager: open, property pairs, input
    // callbacks, scheduling. The result of opening it, or kIOReturnSuccess.
    IOReturn adopt(tracked_device& tracked);
    void give_input_callbacks(tracked_device& tracked) const;
    void give_input_callbacks_when_open();
    void remove(io_service_t service);
    void report_matched(std::vector<std::pair<IOHIDDeviceRef, IOReturn>> const& devices) const;
    void unschedule_locked();
    // Stops hot-plug and removal reports and drops a first batch not yet reported.
    void end_notifications();
    void release_devices();
    bool forwards_to_devices() const noexcept;

    IOOptionBits const create_options_;
    mutable std::mutex mutex_;
    IONotificationPortRef port_ = nullptr;
    std::vector<io_object_t> match_notifications_;
    bool device_set_exists_ = false;
    std::vector<std::unique_ptr<tracked_device>> devices_;
    // The first batch's devices (retained) with their open results, until reported.
    std::vector<std::pair<IOHIDDeviceRef, IOReturn>> first_batch_;
    CFRunLoopSourceRef first_batch_source_ = nullptr;
    CFRunLoopRef loop_ = nullptr; // retained while scheduled
    CFStringRef mode_ = nullptr;  // retained while scheduled
    bool open_ = false;
    IOOptionBits open_options_ = 0;
    CFMutableDictionaryRef properties_ = nullptr;
    callback_with_context<IOHIDDeviceCallback> matching_callback_;
    callback_with_context<IOHIDDeviceCallback> removal_callback_;
    callback_with_context<IOHIDReportCallback> report_callback_;
    callback_with_context<IOHIDReportWithTimeStampCallback> stamped_report_callback_;
    callback_with_context<IOHIDValueCallback> value_callback_;
    CFArrayRef value_matching_ = nullptr; // retained
};

} // namespace plinth::sim::detail
