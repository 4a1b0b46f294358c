// IOKit's callbacks, registered by open() and called on the HID service's
// run-loop thread with the stream's record as their context. Each works under
// the record's lock and calls the pending read's handler once it is released.
#include "device/apple/hid_stream.hpp"

#include "device/apple/detail/hid_pending_read.hpp"
#include "device/apple/detail/hid_queued_read.hpp"
#include "error/apple/io_return.hpp"
#include "log/log.hpp"

#include <boost/asio/error.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <utility>

namespace plinth::apple {
namespace {

// Whether IOKit's callback brings news to act on: a failure is logged and left.
bool succeeded(char const* callback, IOReturn result)
{
    if (result == kIOReturnSuccess)
        return true;
    log(log_level::error,
        fmt::format("{}: received non success result '{}'", callback, make_error_code(result).message()));
    return false;
}

detail::hid_service::record& record_of(void* context)
{
    return *static_cast<detail::hid_service::record*>(context);
}

} // namespace

void hid_stream::hid_report_callback(void* context, IOReturn result, void*, IOHIDReportType, std::uint32_t report_id,
                                     std::uint8_t* report, CFIndex length)
{
    if (!succeeded("hid_report_callback", result))
        return;
    detail::hid_pending_read::completion handler;
    std::size_t n = 0;
    auto const id = static_cast<std::uint8_t>(report_id);
    auto const size = static_cast<std::size_t>(std::max<CFIndex>(length, 0));
    {
        auto locked = record_of(context).lock();
        locked->read_token.reset();
        std::span<std::uint8_t const> const bytes(report, size);
        bool const waiting = locked->pending_read && locked->pending_read->handler;
        if (locked->queue_token && !waiting)
        {
            // A queued stream keeps every report no asynchronous read waits for,
            // in order, dropping and counting what its queue has no room for; a
            // blocking reader waiting for the queue is woken to take it. A read
            // whose handler cancel() has taken is done with.
            locked->pending_read.reset();
            locked->queue->push(id, bytes);
            detail::hid_queued_read::unlock_and_wake(locked);
            return;
        }
        if (!locked->pending_read)
        {
            // The report was on its way to a read that was withdrawn meanwhile, or
            // came while a report request alone keeps the device scheduled: it is
            // the next read's. A report with no read pending would otherwise wait
            // in IOKit's queue, the device being unscheduled; but IOKit delivers a
            // request's completion through the source that carries the reports,
            // so the device stays scheduled while one is pending and the loop
            // drains that queue into this callback: keeping the report here is
            // what keeps it for the next read, as IOKit's queue would have.
            if (std::exchange(locked->read_withdrawn, false) || !locked->requests.empty())
                if (!locked->keep_unread(id, report, size))
                    log(log_level::error, "hid_report_callback: too many reports kept for the next read; dropped one");
            return;
        }
        if (!waiting)
        {
            // cancel() has already completed this read with operation_aborted: the
            // report, taken from the queue just before the read was unscheduled,
            // is the next read's.
            locked->keep_unread(id, report, size);
            locked->pending_read.reset();
            return;
        }
        n = detail::hid_pending_read::fill(locked->pending_read->target, id, bytes);
        handler = detail::hid_pending_read(*locked).take_handler();
    }
    if (handler)
        handler(boost::system::error_code(), n);
}

void hid_stream::hid_removal_callback(void* context, IOReturn result, void*)
{
    if (!succeeded("hid_removal_callback", result))
        return;
    detail::hid_pending_read::completion handler;
    {
        auto locked = record_of(context).lock();
        locked->read_token.reset();
        // An idle stream learns of the removal only at its next read: IOKit
        // delivers it while the read's run-loop mode is running. In the instant
        // that read is withdrawn (a timeout) it finds none: the next read gets it.
        // A queued stream's blocking reader, waiting for its queue, is woken to
        // take it.
        if (!locked->pending_read)
        {
            locked->removal_unread = true;
            detail::hid_queued_read::unlock_and_wake(locked);
            return;
        }
        locked->opened = false;
        handler = detail::hid_pending_read(*locked).take_handler();
    }
    if (handler)
        handler(boost::asio::error::operation_aborted, 0);
}

} // namespace plinth::apple
