// hid_report_requests: one client's asynchronous set and get report requests, from submission to their one callback.
#pragma once

#include "sim/detail/hid/hid_request_clock.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOReturn.h>
#include <IOKit/hid/IOHIDBase.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace plinth::sim::detail {

class hid_hardware;

// The set and get report requests one client (IOHIDDeviceRef) has made with a
// callback: pending until the device answers or their deadline passes, then
// completed and waiting for the client to deliver their callback through its run
// loops. The kernel's timer (hid_request_clock) wakes it at both times.
class hid_report_requests : public std::enable_shared_from_this<hid_report_requests>
{
public:
    using clock = hid_request_clock::clock;

    // A completed request, as its callback is to be called.
    struct completion
    {
        IOHIDReportCallback callback;
        void* context;
        IOReturn result;
        IOHIDReportType type;
        std::uint32_t report_id;
        std::uint8_t* report;
        CFIndex length;
    };

    // `completed` is called, with no lock held, whenever a request completes.
    static std::shared_ptr<hid_report_requests> create(std::shared_ptr<hid_hardware> hardware,
                                                       std::function<void()> completed);
    ~hid_report_requests();

    // A request to send the caller's `length` bytes at `report` as a report.
    void submit_set(IOHIDReportType type, std::uint32_t report_id, std::uint8_t const* report, CFIndex length,
                    std::chrono::milliseconds timeout, IOHIDReportCallback callback, void* context);
    // A request for a report into the caller's `buffer` of `length` bytes.
    void submit_get(IOHIDReportType type, std::uint32_t report_id, std::uint8_t* buffer, CFIndex length,
                    std::chrono::milliseconds timeout, IOHIDReportCallback callback, void* context);

    // The device's way of answering changed: looks at every pending request again.
    void answers_changed();
    // The device left: every pending request completes with kIOReturnAborted.
    void abort_all();

    bool has_completed() const;
    // The oldest completed request, its report copied into the caller's buffer
    // (get), to have its callback called right after.
    std::optional<completion> take_completed();

private:
    struct request
    {
        bool get;
        IOHIDReportType type;
        std::uint32_t report_id;
        std::vector<std::uint8_t> bytes; // set: what is sent; get: what the device answered
        std::uint8_t* buffer;            // the caller's
        CFIndex buffer_length;
        IOHIDReportCallback callback;
        void* context;
        clock::time_point submitted;
        clock::time_point deadline;
        std::vector<hid_request_clock::timer_id> timers;
    };
    struct finished
    {
        request made;
        IOReturn result;
    };

    hid_report_requests() = default;
    void submit(request made, std::chrono::milliseconds timeout);
    // Answers or times out each pending request whose time has come.
    void evaluate();
    // Answers the request if the device has by `now`, else, when `may_time_out`,
    // times it out if its deadline has passed; true when it is finished. Under the
    // lock.
    bool settle(std::list<request>::iterator it, clock::time_point now, bool may_time_out);
    // Asks the kernel's timer to evaluate at `when`.
    hid_request_clock::timer_id wake_at(clock::time_point when);
    void finish(std::list<request>::iterator it, IOReturn result);

    std::shared_ptr<hid_hardware> hardware_;
    std::function<void()> completed_;
    mutable std::mutex mutex_;
    std::list<request> pending_;
    // Sent reports that timed out before the device took them: it still does, later.
    std::list<request> late_;
    std::deque<finished> done_;
};

} // namespace plinth::sim::detail
