// hid_stream: the Boost.Asio I/O object for one HID device (open, read, write, request reports by ID, cancel, close).
#pragma once

// hid_stream, the I/O object of one HID device, in Boost.Asio's shape. Its
// members are defined in five files, one concern each:
//   hid_stream.cpp                 the object itself: service_context, construction,
//                                  open, close, assign, the getters, write, cancel
//   hid_stream_read.cpp            the reads: blocking and timed (read_until) and
//                                  asynchronous (start_async_read, for async_read)
//   hid_stream_callbacks.cpp       IOKit's report and removal callbacks
//   hid_stream_report_requests.cpp the requests by report ID: get/send_feature_report,
//                                  get_input_report, send_output_report
//   hid_stream_report_descriptor.cpp the device's report descriptor, read and parsed
//                                  once
//   hid_stream_writes.cpp          the report requests that cannot hang: timed and
//                                  asynchronous writes, feature reports sent and
//                                  asked for, through IOKit's requests with a callback
// What they build on, in detail/:
//   hid_service                    the per-context service; its record (data) holds a
//                                  stream's I/O state, the part the callbacks reach
//   hid_pending_read               the steps on a record's pending read, under its lock
//   hid_async_read                 an asynchronous read's operation, owning its handler
//   hid_read_cancellation          what an asynchronous read leaves in its handler's slot
//   hid_run_loop_token             one scheduling of the device on the run loop
//   hid_report_ring                a queued stream's reports
//   hid_report_request             what a report request asks of IOKit
//   hid_async_request              an asynchronous report request's operation, owning
//                                  its handler
//   hid_request_cancellation       what an asynchronous request leaves in its
//                                  handler's slot
//   hid_stream_operation.hpp       the not-open error, the throwing and error_code&
//                                  forms of an operation, a buffer's bytes

#include "device/apple/basic_hid_report.hpp"
#include "device/apple/detail/hid_async_read.hpp"
#include "device/apple/detail/hid_async_request.hpp"
#include "device/apple/detail/hid_report_request.hpp"
#include "device/apple/device.hpp"
#include "device/apple/hid_device_client.hpp"
#include "device/apple/hid_open_mode.hpp"
#include "device/apple/hid_read_queue.hpp"
#include "device/apple/hid_report_batch.hpp"
#include "device/apple/detail/hid_run_loop_token.hpp"
#include "device/apple/detail/hid_service.hpp"
#include "hid/report_descriptor.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/io_hid_device.hpp"

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/system/error_code.hpp>

#include <IOKit/hid/IOHIDBase.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>

namespace plinth::apple {

// The I/O object for one HID device: open it (seized, unless asked to share it), read input reports, write
// output reports, cancel a pending read, close it. The stream holds no I/O state of
// its own: what IOKit's callbacks touch lives in a record of the execution
// context's HID service, guarded by the record's mutex. Reports reach the library
// only while a read or a report request is pending (those that come with no read
// pending wait in the record for the next reads, in order), unless the stream is
// opened with a read queue (hid_read_queue), which takes them as they come; one
// read at a time.
class hid_stream
{
public:
    // The stream's link to its record in the HID service of the executor's
    // execution context (made on first use). Move-only; erases the record when
    // destroyed.
    class service_context
    {
    public:
        service_context(boost::asio::any_io_executor const& ex, io_kit::io_hid_device h);
        service_context(service_context&& other) noexcept;
        service_context& operator=(service_context&& other) noexcept;
        service_context(service_context const&) = delete;
        service_context& operator=(service_context const&) = delete;
        ~service_context();

        detail::hid_service* service;
        std::optional<detail::hid_service::iterator> data;
    };

    // Closed, with a record all the same.
    explicit hid_stream(boost::asio::any_io_executor ex);
    // Opens the HID device of `d` in `mode` (logging, not throwing, when it
    // cannot); open() later uses the same mode.
    hid_stream(boost::asio::any_io_executor ex, apple::device d, hid_open_mode mode = hid_open_mode::seized);
    hid_stream(boost::asio::any_io_executor ex, apple::device d, io_kit::io_hid_device h,
               hid_open_mode mode = hid_open_mode::seized);
    // As above, with a read queue (see hid_read_queue), which open() later keeps.
    hid_stream(boost::asio::any_io_executor ex, apple::device d, hid_open_mode mode, hid_read_queue queue);
    hid_stream(hid_stream const&) = delete;
    hid_stream& operator=(hid_stream const&) = delete;
    // Closes and cancels; never throws (a failure is logged).
    ~hid_stream();

    // Opens the device in the stream's mode (seized unless the constructor or an
    // earlier open(mode) said otherwise) and schedules it; opening an open stream
    // does nothing. Throws boost::system::system_error ("open"):
    // - hid_errc::not_open without a device;
    // - hid_errc::input_monitoring_denied for a keyboard, mouse or touch pad while
    //   the user has not granted this program Input Monitoring (the system asks
    //   the user the first time, and refuses the open until granted);
    // - hid_errc::seized_by_another when another program, or another stream,
    //   holds the device seized (opening shared as much as seizing); the text
    //   names the holder when the system tells it ("open: seized by pid 349,
    //   karabiner_grabbe"), and seizer() finds it again for the error_code& form;
    // - hid_errc::property_missing without "MaxInputReportSize";
    // - IOKit's code for any other refusal (kIOReturnNotPrivileged, for one, when
    //   a program that is not root seizes a keyboard).
    // A failed open leaves the stream closed and the device as it found it.
    void open();
    void open(boost::system::error_code& ec);
    // As open(), in `mode`, which the stream keeps for later opens. A stream open
    // already stays as it is, in the mode it was opened in.
    void open(hid_open_mode mode);
    void open(hid_open_mode mode, boost::system::error_code& ec);
    // As open(mode), with a read queue (see hid_read_queue) that the stream keeps
    // for later opens: the device stays scheduled on the run-loop thread while
    // the stream is open, and reports wait in the queue for the reads. Throws
    // boost::system::system_error (boost::asio::error::invalid_argument, "open")
    // for a capacity of 0, or one that does not fit in memory with the device's
    // "MaxInputReportSize" (boost::asio::error::no_memory when the memory is there
    // but cannot be had). A stream open already stays as it is.
    void open(hid_open_mode mode, hid_read_queue queue);
    void open(hid_open_mode mode, hid_read_queue queue, boost::system::error_code& ec);
    // Cancels a pending read, unregisters the callbacks, closes the device and
    // unschedules it. Nothing for a closed stream.
    void close();
    void close(boost::system::error_code& ec);

    // Replaces the handle used from now on; the record keeps the earlier one.
    void assign(io_kit::io_hid_device h);

    bool is_open() const;
    // The mode the stream opens in, or was opened in.
    hid_open_mode open_mode() const noexcept;
    // The read queue the stream opens with, or was opened with; none by default.
    std::optional<hid_read_queue> read_queue() const noexcept;
    // The reports the read queue has dropped since the stream last opened with
    // it (0 without a queue): how a reader that fell behind knows how many it
    // missed. The device's own queue in the kernel drops none while the stream
    // is open, as the run-loop thread takes each report as it comes.
    std::uint64_t dropped_reports() const;
    // The reports waiting in the read queue now.
    std::size_t queued_reports() const;
    // The client that holds the device seized, read from the registry now (see
    // find_hid_seizer): another program, another stream, or this one; nothing when
    // nobody seizes it or the system does not say who does.
    std::optional<hid_device_client> seizer() const;
    boost::asio::any_io_executor get_executor() const;
    apple::device get_device() const;

    // -1 (all bits set) when the device has no usage or usage page (logged).
    std::int32_t get_device_usage() const;
    std::int32_t get_device_usage_page() const;
    // Throw boost::system::system_error (hid_errc::property_missing, "get_capability").
    std::int32_t get_max_output_report_size() const;
    std::int32_t get_max_input_report_size() const;

    // The device's report descriptor (its "ReportDescriptor" property), parsed: read
    // and parsed on the first call that succeeds, from any thread, and kept for the
    // stream's life, so that the reference stays valid as long as the stream.
    // Throws boost::system::system_error ("get_report_descriptor"):
    // hid_errc::property_missing when the device has no such property (or the
    // stream no device), hid_errc::bad_report_descriptor when it is not data or the
    // parser refuses it. Open or closed makes no difference. The error_code& form
    // reports the same errors in `ec` and then returns an empty descriptor; a
    // failure is not kept, and a later call reads the property again.
    hid_report_descriptor const& get_report_descriptor() const;
    hid_report_descriptor const& get_report_descriptor(boost::system::error_code& ec) const;

    // Waits for the next input report: its ID goes to *r.report_id, at most
    // r.buffer.size() of its bytes to r.buffer. Returns the bytes copied. Throws
    // system_error (hid_errc::not_open, "read") on a closed stream, and the
    // completion's code with "read" (operation_aborted when cancelled, removed or
    // shut down).
    std::size_t read(basic_hid_report<boost::asio::mutable_buffer> r);
    // As above, but the completion's code goes to `ec` (a closed stream throws).
    std::size_t read(basic_hid_report<boost::asio::mutable_buffer> r, boost::system::error_code& ec);

    // As read(), but gives up after `timeout`: then it returns 0 with
    // boost::asio::error::timed_out (the throwing form throws it with "read"), and
    // the stream stays open with no read pending; a report that comes later waits
    // for the next read. A zero or negative timeout takes only a report the
    // run-loop thread has already handed over, which is rarely there.
    std::size_t read(basic_hid_report<boost::asio::mutable_buffer> r, std::chrono::nanoseconds timeout);
    std::size_t read(basic_hid_report<boost::asio::mutable_buffer> r, std::chrono::nanoseconds timeout,
                     boost::system::error_code& ec);

    // Starts a read that completes with void(boost::system::error_code, std::size_t):
    // the same results as read(), delivered through the handler's associated
    // executor (by default the stream's), never inside async_read and never on the
    // run-loop thread. Any completion token works (a handler, use_future,
    // use_awaitable, deferred...). The handler's associated allocator provides the
    // operation's state. Its associated cancellation slot withdraws the read (any
    // cancellation type) unless a report has already been taken for it; cancel(),
    // removal and shutdown complete it with operation_aborted, as for read() (on
    // shutdown, on the thread that shuts the context down). A closed stream
    // completes it with hid_errc::not_open. One read at a time, sync or async:
    // a read started while another is pending replaces it, and the earlier
    // handler is destroyed without being called.
    template <typename CompletionToken>
    auto async_read(basic_hid_report<boost::asio::mutable_buffer> r, CompletionToken&& token)
    {
        return async_read_into({r.report_id, r.buffer, nullptr}, std::forward<CompletionToken>(token));
    }

    // Takes every report ready for a read (those the read queue holds, up to
    // batch.max_reports()) into `batch`, oldest first, in one call, and returns
    // how many; when none is ready, waits for the next one as read() does and
    // returns 1. The batch is cleared first. Errors, the timed forms and the
    // asynchronous form as for read(), with "read_batch"; without a read queue a
    // batch read takes one report at a time.
    std::size_t read_batch(hid_report_batch& batch);
    std::size_t read_batch(hid_report_batch& batch, boost::system::error_code& ec);
    std::size_t read_batch(hid_report_batch& batch, std::chrono::nanoseconds timeout);
    std::size_t read_batch(hid_report_batch& batch, std::chrono::nanoseconds timeout, boost::system::error_code& ec);
    // Completes with void(boost::system::error_code, std::size_t): the reports
    // taken into `batch`, which must stay valid until the handler runs. As
    // async_read in every other way; a batch read cancelled after its reports came
    // gives them all back to the stream.
    template <typename CompletionToken>
    auto async_read_batch(hid_report_batch& batch, CompletionToken&& token)
    {
        return async_read_into({nullptr, {}, &batch}, std::forward<CompletionToken>(token));
    }

    // Sends r.buffer as an output report with report ID 0, synchronously.
    std::size_t write(basic_hid_report<boost::asio::const_buffer> r);
    std::size_t write(basic_hid_report<boost::asio::const_buffer> r, boost::system::error_code& ec);

    // Requests and sends by report ID, synchronously, on the caller's thread: they
    // need no pending read and do not disturb one. The ID is *r.report_id, read and
    // never written; a null report_id names ID 0, the one report of a device that
    // numbers none. The device's bytes are as IOKit gives them: a device that numbers
    // its reports has the ID in byte 0 too. Errors as write() gives them:
    // hid_errc::not_open (with the function's name) on a closed stream, IOKit's code
    // otherwise: kIOReturnOffline once the device is unplugged, kIOReturnBadArgument
    // for an empty buffer to receive into, and whatever the device's transport answers
    // for an ID the device has no report of (the simulated I/O Kit gives
    // kIOReturnUnsupported). The error_code& forms return 0 on failure.
    //
    // Asks the device for its feature report (IOHIDDeviceGetReport) into r.buffer and
    // returns the bytes received: the report's size, or r.buffer.size() when the
    // buffer is shorter, as the device sends no more than it is asked for and the rest
    // of the report is lost.
    std::size_t get_feature_report(basic_hid_report<boost::asio::mutable_buffer> r);
    std::size_t get_feature_report(basic_hid_report<boost::asio::mutable_buffer> r, boost::system::error_code& ec);
    // Sends r.buffer as a feature report (IOHIDDeviceSetReport); returns its size.
    std::size_t send_feature_report(basic_hid_report<boost::asio::const_buffer> r);
    std::size_t send_feature_report(basic_hid_report<boost::asio::const_buffer> r, boost::system::error_code& ec);
    // Asks the device for its present input report, as get_feature_report does. It
    // is not taken from the reports the device sends: a pending read still gets the
    // next of those.
    std::size_t get_input_report(basic_hid_report<boost::asio::mutable_buffer> r);
    std::size_t get_input_report(basic_hid_report<boost::asio::mutable_buffer> r, boost::system::error_code& ec);
    // Sends r.buffer as an output report with the caller's report ID; returns its size.
    std::size_t send_output_report(basic_hid_report<boost::asio::const_buffer> r);
    std::size_t send_output_report(basic_hid_report<boost::asio::const_buffer> r, boost::system::error_code& ec);

    // Report requests that cannot hang. The forms above wait for IOKit's
    // synchronous calls, which have no timeout: a device that never answers (often
    // a Bluetooth one under load) keeps the caller for ever. These go through
    // IOKit's requests with a callback instead, which the run-loop thread receives
    // while the caller waits or goes on; input reports keep reaching readers
    // meanwhile. Results and errors are those of the forms above (hid_errc::not_open
    // with the function's name on a closed stream, IOKit's code otherwise: also
    // kIOReturnTimeout when IOKit's own deadline passes, and kIOReturnAborted when the
    // device is unplugged meanwhile), and the error_code& forms return 0 on failure.
    //
    // As write(r), send_output_report(r), send_feature_report(r) and
    // get_feature_report(r), but giving up after `timeout`: they return 0 with
    // boost::asio::error::timed_out (the throwing forms throw it with the function's
    // name) once it has passed, whatever IOKit does with the request, and IOKit's
    // late completion is discarded. A write that timed out may still reach the
    // device later; a report received late is not written to r.buffer. IOKit keeps
    // its own deadline within 50 ms to 20 minutes: a longer timeout ends with
    // IOKit's kIOReturnTimeout after 20 minutes. Context shutdown ends them with
    // operation_aborted.
    std::size_t write(basic_hid_report<boost::asio::const_buffer> r, std::chrono::nanoseconds timeout);
    std::size_t write(basic_hid_report<boost::asio::const_buffer> r, std::chrono::nanoseconds timeout,
                      boost::system::error_code& ec);
    std::size_t send_output_report(basic_hid_report<boost::asio::const_buffer> r, std::chrono::nanoseconds timeout);
    std::size_t send_output_report(basic_hid_report<boost::asio::const_buffer> r, std::chrono::nanoseconds timeout,
                                   boost::system::error_code& ec);
    std::size_t send_feature_report(basic_hid_report<boost::asio::const_buffer> r, std::chrono::nanoseconds timeout);
    std::size_t send_feature_report(basic_hid_report<boost::asio::const_buffer> r, std::chrono::nanoseconds timeout,
                                    boost::system::error_code& ec);
    std::size_t get_feature_report(basic_hid_report<boost::asio::mutable_buffer> r, std::chrono::nanoseconds timeout);
    std::size_t get_feature_report(basic_hid_report<boost::asio::mutable_buffer> r, std::chrono::nanoseconds timeout,
                                   boost::system::error_code& ec);

    // Starts sending r.buffer as an output report with report ID 0, as write(r)
    // does; completes with void(boost::system::error_code, std::size_t): the bytes
    // sent, or the errors above. IOKit's deadline is the device's default (its
    // "RequestTimeout" property, else one second), after which the write completes
    // with kIOReturnTimeout; a caller that wants a shorter one cancels through the
    // handler's slot (a timer raced with ||, parallel_group). r.buffer is copied at
    // initiation. Completion as for async_read: through the handler's associated
    // executor (by default the stream's), never inside async_write and never on
    // the run-loop thread, with any completion token, the operation's state from
    // the handler's associated allocator. Its associated cancellation slot
    // (terminal or partial cancellation: the report may still reach the device)
    // and cancel() complete it with operation_aborted, and IOKit's late completion
    // is discarded. On context shutdown its handler is destroyed uncalled. Any
    // number of requests may be pending at once, and a read alongside them.
    template <typename CompletionToken>
    auto async_write(basic_hid_report<boost::asio::const_buffer> r, CompletionToken&& token)
    {
        return async_report_request({kIOHIDReportTypeOutput, 0, r.buffer, {}, false},
                                    std::forward<CompletionToken>(token));
    }
    // As async_write, with the caller's report ID (*r.report_id; null names ID 0),
    // as send_output_report(r) and send_feature_report(r) do.
    template <typename CompletionToken>
    auto async_send_output_report(basic_hid_report<boost::asio::const_buffer> r, CompletionToken&& token)
    {
        return async_report_request({kIOHIDReportTypeOutput, requested_report_id(r.report_id), r.buffer, {}, false},
                                    std::forward<CompletionToken>(token));
    }
    template <typename CompletionToken>
    auto async_send_feature_report(basic_hid_report<boost::asio::const_buffer> r, CompletionToken&& token)
    {
        return async_report_request({kIOHIDReportTypeFeature, requested_report_id(r.report_id), r.buffer, {}, false},
                                    std::forward<CompletionToken>(token));
    }
    // As async_send_feature_report, but asks the device for its feature report of
    // ID *r.report_id, as get_feature_report(r) does; completes with the bytes
    // received into r.buffer, which must stay valid until the handler runs and is
    // written only if the request completes with the report.
    template <typename CompletionToken>
    auto async_get_feature_report(basic_hid_report<boost::asio::mutable_buffer> r, CompletionToken&& token)
    {
        return async_report_request({kIOHIDReportTypeFeature, requested_report_id(r.report_id), {}, r.buffer, true},
                                    std::forward<CompletionToken>(token));
    }

    // Completes a pending read with operation_aborted on the stream's executor,
    // and so every pending asynchronous report request (async_write and its
    // kind); the timed blocking forms are left to their deadline.
    void cancel();

    // IOKit's callbacks, on the service's run-loop thread; `context` is the
    // stream's record.
    static void hid_report_callback(void* context, IOReturn result, void* sender, IOHIDReportType type,
                                    std::uint32_t report_id, std::uint8_t* report, CFIndex length);
    static void hid_removal_callback(void* context, IOReturn result, void* sender);
    // IOKit's completion of a report request; `context` is the request's entry in
    // the stream's record.
    static void hid_request_callback(void* context, IOReturn result, void* sender, IOHIDReportType type,
                                     std::uint32_t report_id, std::uint8_t* report, CFIndex length);

private:
    template <typename CompletionToken>
    auto async_read_into(detail::hid_service::data::read_target target, CompletionToken&& token)
    {
        return boost::asio::async_initiate<CompletionToken, void(boost::system::error_code, std::size_t)>(
            [this](auto handler, detail::hid_service::data::read_target into) {
                using handler_type = std::decay_t<decltype(handler)>;
                auto op = detail::hid_async_read_op<handler_type>::make(std::move(handler), executor);
                boost::asio::cancellation_slot const slot =
                    static_cast<detail::hid_async_read_op<handler_type>&>(*op).cancellation_slot();
                start_async_read(into, std::move(op), slot);
            },
            token, target);
    }

    // The ID a request names: 0, that of a device which numbers no reports, when
    // the caller names none.
    static CFIndex requested_report_id(std::uint8_t const* report_id) noexcept
    {
        return report_id == nullptr ? 0 : *report_id;
    }

    template <typename CompletionToken>
    auto async_report_request(detail::hid_report_request request, CompletionToken&& token)
    {
        return boost::asio::async_initiate<CompletionToken, void(boost::system::error_code, std::size_t)>(
            [this](auto handler, detail::hid_report_request const& made) {
                using handler_type = std::decay_t<decltype(handler)>;
                auto op = detail::hid_async_request_op<handler_type>::make(std::move(handler), executor);
                boost::asio::cancellation_slot const slot =
                    static_cast<detail::hid_async_request_op<handler_type>&>(*op).cancellation_slot();
                start_async_request(made, std::move(op), slot);
            },
            token, request);
    }
    void start_async_request(detail::hid_report_request const& request, detail::hid_async_request::pointer op,
                             boost::asio::cancellation_slot slot);
    std::size_t request_until(detail::hid_report_request const& request, std::chrono::nanoseconds timeout,
                              boost::system::error_code& ec);
    // Hands `request` to IOKit with `handler` to call on its completion, under the
    // record's lock (`d`); the error when the stream or IOKit refuses it, and then
    // `handler` is left to the caller.
    boost::system::error_code submit_request(detail::hid_service::data& d, detail::hid_report_request const& request,
                                             void const* maker, bool asynchronous, double timeout_ms,
                                             detail::hid_service::data::report_request::completion& handler);
    // IOHIDDeviceOpen in the stream's mode, its refusals turned into the errors
    // open() gives; and IOHIDDeviceClose where a failure leaves nothing to do.
    void open_device();
    // The constructors' open, which logs rather than throws.
    void open_in_constructor();
    void close_device_quietly() noexcept;
    // Whether the device is one that the system lets a program open only with
    // Input Monitoring.
    bool requires_input_monitoring() const;
    detail::hid_run_loop_token schedule_with_run_loop(CF::String mode);
    // The device's scheduling in the read mode: the one a pending read or a report
    // request holds already, else a new one.
    std::shared_ptr<detail::hid_run_loop_token> read_mode_scheduling(detail::hid_service::data& d);
    // What a read that waits holds of that scheduling: nothing for a queued stream.
    std::shared_ptr<detail::hid_run_loop_token> pending_read_scheduling(detail::hid_service::data& d);
    void start_async_read(detail::hid_service::data::read_target target, detail::hid_async_read::pointer op,
                          boost::asio::cancellation_slot slot);
    std::size_t read_until(detail::hid_service::data::read_target target, char const* name,
                           std::optional<std::chrono::steady_clock::time_point> deadline,
                           boost::system::error_code& ec);
    // Makes the read queue, and the scheduling that keeps it filled, for a stream
    // being opened.
    void start_read_queue(detail::hid_service::data& d);
    detail::hid_service::record& record() const;
    // Whether the stream has a device and a record: what record() needs.
    bool has_record() const noexcept;

    boost::asio::any_io_executor executor;
    apple::device device;
    hid_open_mode chosen_mode;
    std::optional<hid_read_queue> chosen_queue;
    io_kit::io_hid_device hid_device;
    service_context context;
    // Set once, under the mutex, by the first get_report_descriptor that succeeds;
    // never changed after, so that the references handed out stay valid.
    mutable std::mutex report_descriptor_mutex;
    mutable std::optional<hid_report_descriptor> report_descriptor;
};

} // namespace plinth::apple
