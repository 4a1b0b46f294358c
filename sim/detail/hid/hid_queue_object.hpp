// The IOHIDQueueRef object: a queue of element values on one device, and the run-loop source that announces them.
#pragma once

#include "sim/detail/cf/cf_object.hpp"
#include "sim/detail/hid/hid_value_queue.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/hid/IOHIDBase.h>
#include <IOKit/hid/IOHIDQueue.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>

namespace plinth::sim::detail {

// What an IOHIDQueueRef is: a value queue attached to its device's client, the
// device (retained, so that it outlives the queue as on a Mac), and a version-0
// source that runs the value-available callback on every loop and mode the queue
// is scheduled in, once each time the queue goes from empty to not empty.
class hid_queue_object final : public cf_object
{
public:
    hid_queue_object(IOHIDDeviceRef device, std::size_t depth, bool enqueue_all);
    ~hid_queue_object() override;

    static CFTypeID class_type_id();
    std::string description() const override;

    IOHIDDeviceRef device() const noexcept { return device_; }
    hid_value_queue& values() const noexcept { return *queue_; }

    void schedule(CFRunLoopRef loop, CFStringRef mode);
    void unschedule(CFRunLoopRef loop, CFStringRef mode);
    void register_callback(IOHIDCallback callback, void* context);

    // A new value of the oldest entry; nullptr when the queue is empty (and stays
    // so for `limit`).
    IOHIDValueRef copy_next();
    IOHIDValueRef copy_next_within(std::chrono::nanoseconds limit);

private:
    // The callback as the source's perform reads it. The source owns a share of
    // it as its info, so a perform already running on a loop's thread while the
    // queue is released on another still finds it there, and finds no callback
    // once the queue has gone.
    struct callback_slot
    {
        std::mutex mutex;
        IOHIDCallback callback = nullptr;
        void* context = nullptr;
        IOHIDQueueRef queue = nullptr; // null once the queue is being destroyed
    };

    static void perform(void* info);
    IOHIDValueRef value_of(hid_value_queue::entry const& entry) const;

    IOHIDDeviceRef const device_; // retained
    CFRunLoopSourceRef source_ = nullptr;
    std::shared_ptr<hid_value_queue> queue_;
    std::shared_ptr<callback_slot> slot_ = std::make_shared<callback_slot>();
};

} // namespace plinth::sim::detail
