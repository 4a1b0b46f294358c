// The report requests that cannot hang: timed and asynchronous writes and feature
// reports, sent through IOKit's requests with a callback. Each request is an entry
// in the stream's record, the context IOKit calls back with on the run-loop
// thread; its maker (an asynchronous operation, or a caller blocked until a
// deadline) may give up first, and the entry then waits for IOKit's late call,
// which finds no handler.
#include "device/apple/hid_stream.hpp"

#include "device/apple/detail/handoff_allocator.hpp"
#include "device/apple/detail/hid_request_cancellation.hpp"
#include "device/apple/detail/hid_stream_operation.hpp"
#include "error/apple/hid_errc.hpp"
#include "error/apple/io_return.hpp"

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <future>
#include <memory>
#include <utility>

namespace plinth::apple {
namespace {

using completion = detail::hid_service::data::report_request::completion;

// IOKit's bounds on a request's timeout, in milliseconds.
constexpr double min_iokit_timeout_ms = 50;
constexpr double max_iokit_timeout_ms = 1'200'000;

// The timeout IOKit is given for a caller's `timeout`. IOKit uses a timeout only
// within 50 ms…20 min and replaces any other, 10 ms as much as 30 min, by the
// device's default (often 1 s): so it gets the caller's clamped into its range,
// which it honours, and the library's own deadline (the caller's) ends the wait
// for a timeout below 50 ms.
double iokit_timeout_ms(std::chrono::nanoseconds timeout)
{
    auto const ms = std::chrono::duration<double, std::milli>(timeout).count();
    return std::clamp(ms, min_iokit_timeout_ms, max_iokit_timeout_ms);
}

// IOKit's default for a request: 0 is out of its range, so the device's own
// ("RequestTimeout", else 1 s) applies.
constexpr double device_default_timeout_ms = 0;

// Hands a blocking caller its result; destroyed uncalled (a shutdown), it
// completes the wait with operation_aborted.
class wake_caller
{
public:
    using result = std::pair<boost::system::error_code, std::size_t>;
    explicit wake_caller(std::promise<result> p) : promise(std::move(p)) {}
    wake_caller(wake_caller&& other) noexcept
        : promise(std::move(other.promise)), pending(std::exchange(other.pending, false))
    {
    }
    wake_caller& operator=(wake_caller&&) = delete;
    ~wake_caller()
    {
        if (pending)
            promise.set_value({boost::asio::error::operation_aborted, 0});
    }

    void operator()(boost::system::error_code const& ec, std::size_t n)
    {
        pending = false;
        promise.set_value({ec, n});
    }

private:
    std::promise<result> promise;
    bool pending = true;
};

// A request to send `buffer` as the report of `type` and ID *report_id (0 when null).
detail::hid_report_request sent(IOHIDReportType type, std::uint8_t const* report_id, boost::asio::const_buffer buffer)
{
    return {type, report_id == nullptr ? 0 : *report_id, buffer, {}, false};
}

} // namespace

boost::system::error_code hid_stream::submit_request(detail::hid_service::data& d,
                                                     detail::hid_report_request const& request, void const* maker,
                                                     bool asynchronous, double timeout_ms, completion& handler)
{
    if (!d.opened)
        return make_error_code(hid_errc::not_open);
    auto& entry = d.requests.emplace_back();
    entry.owner = &record();
    entry.maker = maker;
    entry.asynchronous = asynchronous;
    entry.get = request.get;
    entry.receive = request.receive;
    // The bytes stay with the entry until IOKit's callback: IOKit is not documented
    // to copy a sent report at once, and a received one must never land in a
    // buffer its caller has given up.
    if (request.get)
        entry.bytes.resize(request.receive.size());
    else
        entry.bytes.assign(static_cast<std::uint8_t const*>(request.send.data()),
                           static_cast<std::uint8_t const*>(request.send.data()) + request.send.size());
    try
    {
        if (request.get)
            hid_device.get_report_with_callback(request.type, request.report_id, entry.bytes, timeout_ms,
                                                hid_request_callback, &entry);
        else
            hid_device.set_report_with_callback(request.type, request.report_id, entry.bytes, timeout_ms,
                                                hid_request_callback, &entry);
    }
    catch (boost::system::system_error const& e)
    {
        // Refused: IOKit will not call back.
        d.requests.pop_back();
        return e.code();
    }
    // The device is scheduled for the completion only once IOKit has the request
    // (unscheduled, IOKit keeps the completion waiting): a scheduling made for a
    // request IOKit refuses would let the run-loop thread take a queued input
    // report in that instant for a stream with no read to give it to.
    if (!d.request_token)
        d.request_token = read_mode_scheduling(d);
    // IOKit calls back on the run-loop thread, under this same lock: the handler
    // is in place before it can.
    entry.handler = std::move(handler);
    return {};
}

void hid_stream::hid_request_callback(void* context, IOReturn result, void*, IOHIDReportType, std::uint32_t,
                                      std::uint8_t*, CFIndex length)
{
    auto* const request = static_cast<detail::hid_service::data::report_request*>(context);
    completion handler;
    boost::system::error_code ec;
    std::size_t n = 0;
    {
        auto locked = request->owner->lock();
        handler = std::exchange(request->handler, {});
        if (handler)
        {
            if (result != kIOReturnSuccess)
                ec = make_error_code(result);
            else if (request->get)
                n = boost::asio::buffer_copy(
                    request->receive,
                    boost::asio::buffer(
                        request->bytes.data(),
                        std::min(request->bytes.size(), static_cast<std::size_t>(std::max<CFIndex>(length, 0)))));
            else
                n = request->bytes.size();
        }
        // IOKit is done with the entry: it goes, and with the last one the
        // request's scheduling (from inside the device's callback, as IOKit allows).
        auto& requests = locked->requests;
        requests.erase(std::find_if(requests.begin(), requests.end(), [&](auto const& r) { return &r == request; }));
        if (requests.empty())
            locked->request_token.reset();
    }
    if (handler)
        handler(ec, n);
}

void hid_stream::start_async_request(detail::hid_report_request const& request, detail::hid_async_request::pointer op,
                                     boost::asio::cancellation_slot slot)
{
    if (!has_record())
    {
        detail::hid_async_request::post(std::move(op), make_error_code(hid_errc::not_open), 0);
        return;
    }
    auto* const raw = op.get();
    completion handler(std::allocator_arg, detail::handoff_allocator<>(),
                       [op = std::move(op)](boost::system::error_code const& ec, std::size_t n) mutable {
                           detail::hid_async_request::post(std::move(op), ec, n);
                       });
    auto locked = record().lock();
    // Once the context shuts down, no run loop serves the device: the handler is
    // destroyed uncalled, as shutdown() does with those it finds.
    if (context.service->is_shutting_down())
        return;
    auto const refused = submit_request(*locked, request, raw, true, device_default_timeout_ms, handler);
    if (refused)
    {
        locked.unlock();
        handler(refused, 0);
        return;
    }
    if (slot.is_connected())
        slot.emplace<detail::hid_request_cancellation>(locked->alive, raw);
}

std::size_t hid_stream::request_until(detail::hid_report_request const& request, std::chrono::nanoseconds timeout,
                                      boost::system::error_code& ec)
{
    if (!has_record())
    {
        ec = make_error_code(hid_errc::not_open);
        return 0;
    }
    auto const deadline = std::chrono::steady_clock::now() + timeout;
    std::promise<wake_caller::result> promise;
    auto result = promise.get_future();
    completion handler(wake_caller(std::move(promise)));
    void const* const maker = &result;
    {
        auto locked = record().lock();
        if (context.service->is_shutting_down())
        {
            ec = boost::asio::error::operation_aborted;
            return 0;
        }
        if (auto const refused = submit_request(*locked, request, maker, false, iokit_timeout_ms(timeout), handler))
        {
            ec = refused;
            return 0;
        }
    }
    if (result.wait_until(deadline) == std::future_status::timeout)
    {
        completion given_up;
        {
            auto locked = record().lock();
            auto const found = std::find_if(locked->requests.begin(), locked->requests.end(),
                                            [&](auto const& r) { return r.maker == maker; });
            // Still IOKit's with its handler: the entry waits for IOKit's late call,
            // which finds none.
            if (found != locked->requests.end() && found->handler)
                given_up = std::exchange(found->handler, {});
        }
        if (given_up)
        {
            given_up({}, 0); // releases the promise, which nobody reads now
            ec = boost::asio::error::timed_out;
            return 0;
        }
        // Otherwise IOKit's completion or a close holds it: its result is on its way.
    }
    auto const [code, n] = result.get();
    // IOKit's deadline is never before the caller's, but a busy caller may wake
    // after both have passed: past its deadline the caller's error is the one.
    if (code == make_error_code(kIOReturnTimeout) && std::chrono::steady_clock::now() >= deadline)
    {
        ec = boost::asio::error::timed_out;
        return 0;
    }
    ec = code;
    return n;
}

std::size_t hid_stream::write(basic_hid_report<boost::asio::const_buffer> r, std::chrono::nanoseconds timeout)
{
    return detail::or_throw([&](boost::system::error_code& ec) { return write(r, timeout, ec); }, "write");
}

std::size_t hid_stream::write(basic_hid_report<boost::asio::const_buffer> r, std::chrono::nanoseconds timeout,
                              boost::system::error_code& ec)
{
    return request_until(sent(kIOHIDReportTypeOutput, nullptr, r.buffer), timeout, ec);
}

std::size_t hid_stream::send_output_report(basic_hid_report<boost::asio::const_buffer> r,
                                           std::chrono::nanoseconds timeout)
{
    return detail::or_throw([&](boost::system::error_code& ec) { return send_output_report(r, timeout, ec); },
                            "send_output_report");
}

std::size_t hid_stream::send_output_report(basic_hid_report<boost::asio::const_buffer> r,
                                           std::chrono::nanoseconds timeout, boost::system::error_code& ec)
{
    return request_until(sent(kIOHIDReportTypeOutput, r.report_id, r.buffer), timeout, ec);
}

std::size_t hid_stream::send_feature_report(basic_hid_report<boost::asio::const_buffer> r,
                                            std::chrono::nanoseconds timeout)
{
    return detail::or_throw([&](boost::system::error_code& ec) { return send_feature_report(r, timeout, ec); },
                            "send_feature_report");
}

std::size_t hid_stream::send_feature_report(basic_hid_report<boost::asio::const_buffer> r,
                                            std::chrono::nanoseconds timeout, boost::system::error_code& ec)
{
    return request_until(sent(kIOHIDReportTypeFeature, r.report_id, r.buffer), timeout, ec);
}

std::size_t hid_stream::get_feature_report(basic_hid_report<boost::asio::mutable_buffer> r,
                                           std::chrono::nanoseconds timeout)
{
    return detail::or_throw([&](boost::system::error_code& ec) { return get_feature_report(r, timeout, ec); },
                            "get_feature_report");
}

std::size_t hid_stream::get_feature_report(basic_hid_report<boost::asio::mutable_buffer> r,
                                           std::chrono::nanoseconds timeout, boost::system::error_code& ec)
{
    return request_until({kIOHIDReportTypeFeature, requested_report_id(r.report_id), {}, r.buffer, true}, timeout, ec);
}

} // namespace plinth::apple
