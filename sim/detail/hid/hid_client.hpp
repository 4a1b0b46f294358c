// One IOHIDDeviceRef's client of a HID device: open, callbacks, its report queue, deliveries through run loops.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOTypes.h>
#include <IOKit/hid/IOHIDBase.h>

#include "sim/detail/hid/hid_element_values.hpp"
#include "sim/detail/hid/hid_report_queue.hpp"
#include "sim/detail/hid/hid_value_queue.hpp"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace plinth::sim::detail {

class hid_hardware;
class hid_report_requests;

// One client's link to a HID device: what one IOHIDDeviceRef has open, the
// callbacks it registered, the input reports the kernel queued for it, and the
// run loops its callbacks are scheduled on. Deliveries go through one version-0
// source that the client adds to every (loop, mode) it is scheduled in, so that a
// callback runs only on a loop running such a mode, on that loop's thread.
class hid_client : public std::enable_shared_from_this<hid_client>
{
public:
    // What the client's report queue tells of itself in its user client's
    // "DebugState" (one entry of "EventQueueMap").
    struct queue_state
    {
        std::size_t capacity; // bytes
        std::uint64_t drops;
    };

    static std::shared_ptr<hid_client> create(std::shared_ptr<hid_hardware> hardware, IOHIDDeviceRef device);
    ~hid_client();

    hid_hardware& hardware() const noexcept { return *hardware_; }
    // How the device knows this client among those that open it.
    std::uint64_t token() const noexcept { return token_; }
    // The set and get report requests made with a callback; their completions are
    // delivered with the input reports, through the same source.
    hid_report_requests& requests() const noexcept { return *requests_; }

    IOReturn open(IOOptionBits options);
    IOReturn close();
    bool is_open() const;
    // Whether a report sent now would reach the application: open, with a report or value callback to take it.
    bool listens() const;
    // The (run loop, mode) pairs the client is scheduled in.
    std::size_t schedulings() const;

    // The first report callback makes the client's report queue (hid_report_queue),
    // sized by the queue properties set on the client, else by the device's.
    void register_input(std::uint8_t* buffer, CFIndex length, IOHIDReportCallback callback, void* context);
    // IOHIDDeviceSetProperty of "MaxReportBufferCount" or "ReportBufferEntrySize":
    // kept for a queue made afterwards; false for any other key.
    bool set_queue_property(std::string const& key, std::uint64_t number);
    // Nullopt until the client has a report queue.
    std::optional<queue_state> report_queue_state() const;
    void register_removal(IOHIDCallback callback, void* context);

    // Elements and their values. The device's layout comes once, when its element
    // objects are made; the values start from the device's present input reports.
    void attach_elements(std::shared_ptr<hid_element_layout const> layout);
    hid_element_values::stored element_value(std::uint32_t cookie) const;
    void store_element_value(std::uint32_t cookie, std::span<std::uint8_t const> bytes);
    // A report the device answered a poll with: its elements take their values from it.
    void take_polled_report(IOHIDReportType type, std::uint32_t report_id, std::span<std::uint8_t const> bytes);
    // A report of the elements' stored values.
    std::vector<std::uint8_t> element_report(IOHIDReportType type, std::uint32_t report_id) const;
    // The input value callback has its own queue, which fills while the client is
    // open and the callback registered, apart from the report queue.
    void register_value(IOHIDValueCallback callback, void* context);
    // The elements the value callback gets, by cookie (nullopt: the default set);
    // what was queued is discarded.
    void set_value_matching(std::optional<std::vector<std::uint32_t>> cookies);
    // The IOHIDQueues made on this IOHIDDeviceRef: while the client is open, each
    // is offered every input element's value, with one verdict on whether it changed.
    void attach_queue(std::shared_ptr<hid_value_queue> queue);
    void detach_queue(hid_value_queue const* queue);
    void schedule(CFRunLoopRef loop, CFStringRef mode);
    void unschedule(CFRunLoopRef loop, CFStringRef mode);

    // From the device: one input report (queued while the client is open with a
    // report callback; dropped and counted when the queue is full, false then), and
    // its removal (which aborts the pending requests).
    bool queue_report(std::uint32_t report_id, std::span<std::uint8_t const> bytes);
    void removed();

    // Takes the source off every loop and closes the device if open (the
    // connection ends with the IOHIDDeviceRef); called when the device object goes.
    void detach();

private:
    hid_client() = default;

    struct scheduling
    {
        CFRunLoopRef loop; // retained
        CFStringRef mode;  // retained
    };

    static void perform(void* info);
    void deliver();
    // Delivers the most urgent thing waiting (a removal, a request's completion,
    // an input report); false when nothing was.
    bool deliver_one();
    void deliver_value(IOHIDValueCallback callback, void* context, hid_element_values::queued const& queued);
    bool is_scheduled(CFRunLoopRef loop, CFStringRef mode) const;
    // Signals the source and wakes the loops that run a mode it is in, when there
    // is work.
    void signal_if_pending();

    std::shared_ptr<hid_hardware> hardware_;
    std::shared_ptr<hid_report_requests> requests_;
    IOHIDDeviceRef device_ = nullptr; // not retained: the device object owns this client
    std::uint64_t token_ = 0;
    CFRunLoopSourceRef source_ = nullptr;

    mutable std::mutex mutex_;
    bool open_ = false;
    bool removal_pending_ = false;
    bool detached_ = false;
    std::uint8_t* buffer_ = nullptr;
    CFIndex buffer_length_ = 0;
    IOHIDReportCallback input_callback_ = nullptr;
    void* input_context_ = nullptr;
    IOHIDCallback removal_callback_ = nullptr;
    void* removal_context_ = nullptr;
    std::optional<std::uint64_t> max_report_buffer_count_;
    std::optional<std::uint64_t> report_buffer_entry_size_;
    std::optional<hid_report_queue> queue_;
    hid_element_values values_;
    IOHIDValueCallback value_callback_ = nullptr;
    void* value_context_ = nullptr;
    std::vector<std::shared_ptr<hid_value_queue>> value_queues_;
    std::vector<scheduling> schedulings_;
};

} // namespace plinth::sim::detail
