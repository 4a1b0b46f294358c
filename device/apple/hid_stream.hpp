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
// What they build on, in detail/:
//   hid_service                    the per-context service; its record (data) holds a
//                                  stream's I/O state, the part the callbacks reach
//   hid_pending_read               the steps on a record's pending read, under its lock
//   hid_async_read                 an asynchronous read's operation, owning its handler
//   hid_read_cancellation          what an asynchronous read leaves in its handler's slot
//   hid_run_loop_token             one scheduling of the device on the run loop
//   hid_stream_operation.hpp       the not-open error, the throwing and error_code&
//                                  forms of an operation, a buffer's bytes

#include "device/apple/basic_hid_report.hpp"
#include "device/apple/detail/hid_async_read.hpp"
#include "device/apple/device.hpp"
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
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>

namespace plinth::apple {

// The I/O object for one HID device: open it (seized), read input reports, write
// output reports, cancel a pending read, close it. The stream holds no I/O state of
// its own: what IOKit's callbacks touch lives in a record of the execution
// context's HID service, guarded by the record's mutex. Reports reach the library
// only while a read is pending; one read at a time.
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
    // Opens the HID device of `d` (logging, not throwing, when it cannot).
    hid_stream(boost::asio::any_io_executor ex, apple::device d);
    hid_stream(boost::asio::any_io_executor ex, apple::device d, io_kit::io_hid_device h);
    hid_stream(hid_stream const&) = delete;
    hid_stream& operator=(hid_stream const&) = delete;
    // Closes and cancels; never throws (a failure is logged).
    ~hid_stream();

    // Opens (seizes) the device and schedules it; opening an open stream does
    // nothing. Throws boost::system::system_error: hid_errc::not_open ("open")
    // without a device, IOKit's code when it refuses, hid_errc::property_missing
    // without "MaxInputReportSize".
    void open();
    void open(boost::system::error_code& ec);
    // Cancels a pending read, unregisters the callbacks, closes the device and
    // unschedules it. Nothing for a closed stream.
    void close();
    void close(boost::system::error_code& ec);

    // Replaces the handle used from now on; the record keeps the earlier one.
    void assign(io_kit::io_hid_device h);

    bool is_open() const;
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
        return boost::asio::async_initiate<CompletionToken, void(boost::system::error_code, std::size_t)>(
            [this](auto handler, basic_hid_report<boost::asio::mutable_buffer> report) {
                using handler_type = std::decay_t<decltype(handler)>;
                auto op = detail::hid_async_read_op<handler_type>::make(std::move(handler), executor);
                boost::asio::cancellation_slot const slot =
                    static_cast<detail::hid_async_read_op<handler_type>&>(*op).cancellation_slot();
                start_async_read(report, std::move(op), slot);
            },
            token, r);
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

    // Completes a pending read with operation_aborted on the stream's executor.
    void cancel();

    // IOKit's callbacks, on the service's run-loop thread; `context` is the
    // stream's record.
    static void hid_report_callback(void* context, IOReturn result, void* sender, IOHIDReportType type,
                                    std::uint32_t report_id, std::uint8_t* report, CFIndex length);
    static void hid_removal_callback(void* context, IOReturn result, void* sender);

private:
    detail::hid_run_loop_token schedule_with_run_loop(CF::String mode);
    void start_async_read(basic_hid_report<boost::asio::mutable_buffer> r, detail::hid_async_read::pointer op,
                          boost::asio::cancellation_slot slot);
    std::size_t read_until(basic_hid_report<boost::asio::mutable_buffer> r,
                           std::optional<std::chrono::steady_clock::time_point> deadline,
                           boost::system::error_code& ec);
    detail::hid_service::record& record() const;
    // Whether the stream has a device and a record: what record() needs.
    bool has_record() const noexcept;

    boost::asio::any_io_executor executor;
    apple::device device;
    io_kit::io_hid_device hid_device;
    service_context context;
    // Set once, under the mutex, by the first get_report_descriptor that succeeds;
    // never changed after, so that the references handed out stay valid.
    mutable std::mutex report_descriptor_mutex;
    mutable std::optional<hid_report_descriptor> report_descriptor;
};

} // namespace plinth::apple
