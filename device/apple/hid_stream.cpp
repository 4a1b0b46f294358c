#include "device/apple/hid_stream.hpp"

#include "device/apple/detail/handoff_allocator.hpp"
#include "device/apple/detail/hid_read_cancellation.hpp"
#include "error/apple/hid_errc.hpp"
#include "error/apple/io_return.hpp"
#include "io_kit/cf/number.hpp"
#include "log/log.hpp"

#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <boost/system/system_error.hpp>

#include <fmt/format.h>

#include <IOKit/hid/IOHIDKeys.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <exception>
#include <future>
#include <span>
#include <utility>

namespace plinth::apple {
namespace {

using completion = rig::oneshot_function<void(boost::system::error_code const&, std::size_t)>;

std::int32_t get_capability(io_kit::io_hid_device const& h, char const* key)
{
    CF::Number const number(h.get_property(key));
    if (number.GetTypeRef() == nullptr)
        throw boost::system::system_error(make_error_code(hid_errc::property_missing), "get_capability");
    return static_cast<int>(number);
}

// The usage getters answer -1 rather than fail: a device may well have none.
std::int32_t get_usage(io_kit::io_hid_device const& h, char const* key, char const* missing)
{
    try
    {
        return get_capability(h, key);
    }
    catch (boost::system::system_error const& e)
    {
        if (e.code() != make_error_code(hid_errc::property_missing))
            throw;
        log(log_level::error, missing);
        return -1;
    }
}

void log_failed_callback(char const* callback, IOReturn result)
{
    log(log_level::error,
        fmt::format("{}: received non success result '{}'", callback, make_error_code(result).message()));
}

std::span<std::uint8_t> span_of(std::vector<std::uint8_t>& bytes)
{
    return {bytes.data(), bytes.size()};
}

// Hands the report an asynchronous read gave back to the next read.
std::size_t take_unread(std::optional<detail::hid_service::data::unread_report>& unread, std::uint8_t* report_id,
                        boost::asio::mutable_buffer buffer)
{
    if (report_id != nullptr)
        *report_id = unread->report_id;
    auto const n = boost::asio::buffer_copy(buffer, boost::asio::buffer(unread->bytes));
    unread.reset();
    return n;
}

} // namespace

hid_stream::service_context::service_context(boost::asio::any_io_executor const& ex, io_kit::io_hid_device h)
    : service(&boost::asio::use_service<detail::hid_service>(boost::asio::query(ex, boost::asio::execution::context)))
    , data(service->make_data(std::move(h)))
{
}

hid_stream::service_context::service_context(service_context&& other) noexcept
    : service(other.service), data(std::exchange(other.data, std::nullopt))
{
}

hid_stream::service_context& hid_stream::service_context::operator=(service_context&& other) noexcept
{
    if (this != &other)
    {
        if (data)
            service->erase_data(*data);
        service = other.service;
        data = std::exchange(other.data, std::nullopt);
    }
    return *this;
}

hid_stream::service_context::~service_context()
{
    if (data)
        service->erase_data(*data);
}

hid_stream::hid_stream(boost::asio::any_io_executor ex) : hid_stream(std::move(ex), apple::device(), {})
{
}

hid_stream::hid_stream(boost::asio::any_io_executor ex, apple::device d)
    : hid_stream(std::move(ex), d, io_kit::io_hid_device(io_kit::io_service_view(d.get_entry().get())))
{
}

hid_stream::hid_stream(boost::asio::any_io_executor ex, apple::device d, io_kit::io_hid_device h)
    : executor(std::move(ex)), device(std::move(d)), hid_device(std::move(h)), context(executor, hid_device)
{
    if (!hid_device)
        return;
    // Only a system_error is an expected way for opening to fail; anything else
    // ends the program rather than leave a half-built stream.
    [this]() noexcept {
        try
        {
            open();
        }
        catch (boost::system::system_error const& e)
        {
            if (e.code())
                log(log_level::error, "Error opening HID: " + e.code().message());
        }
    }();
}

hid_stream::~hid_stream()
{
    if (!hid_device)
        return;
    try
    {
        close();
        cancel();
    }
    catch (std::exception const& e)
    {
        log(log_level::error, fmt::format("Failure in destroying HID stream: {}", e.what()));
    }
}

detail::hid_service::record& hid_stream::record() const
{
    return **context.data;
}

bool hid_stream::has_record() const noexcept
{
    return hid_device && context.data;
}

detail::hid_run_loop_token hid_stream::schedule_with_run_loop(CF::String mode)
{
    CFRunLoopRef const run_loop = context.service->get_run_loop();
    hid_device.schedule_with_run_loop(run_loop, static_cast<CFStringRef>(mode.GetTypeRef()));
    CFRunLoopWakeUp(run_loop);
    return {hid_device, run_loop, std::move(mode)};
}

void hid_stream::open()
{
    if (!has_record())
        throw boost::system::system_error(make_error_code(hid_errc::not_open), "open");
    auto locked = record().lock();
    if (locked->opened)
        return;
    hid_device.open(kIOHIDOptionsTypeSeizeDevice);
    locked->open_token.emplace(schedule_with_run_loop(CF::String(kCFRunLoopDefaultMode)));
    auto const size = get_capability(hid_device, kIOHIDMaxInputReportSizeKey);
    locked->report_buffer.resize(static_cast<std::size_t>(std::max(size, 0)));
    void* const callback_context = &record();
    hid_device.register_input_report_callback(span_of(locked->report_buffer), hid_report_callback, callback_context);
    hid_device.register_removal_callback(hid_removal_callback, callback_context);
    locked->opened = true;
}

void hid_stream::open(boost::system::error_code& ec)
{
    try
    {
        open();
    }
    catch (boost::system::system_error const& e)
    {
        ec = e.code();
    }
}

void hid_stream::close()
{
    if (!has_record())
        return;
    // A removal leaves the stream closed to its user but the device still open
    // here, with the callbacks registered: those are undone as for any close.
    if (!record().lock()->open_token)
        return;
    cancel();
    bool removed = false;
    {
        auto locked = record().lock();
        if (!locked->open_token)
            return;
        removed = !locked->opened;
        hid_device.register_input_report_callback(span_of(locked->report_buffer), nullptr, nullptr);
        hid_device.register_removal_callback(nullptr, nullptr);
        locked->opened = false;
        locked->removal_unread = false;
        locked->unread.reset();
        locked->read_token.reset();
        locked->open_token.reset();
    }
    // The run-loop thread may be inside one of those callbacks now, with this
    // stream's record: once it is out, nothing reaches the record, and the stream
    // can go.
    context.service->finish_callbacks_in_flight();
    try
    {
        hid_device.close(kIOHIDOptionsTypeNone);
    }
    catch (boost::system::system_error const&)
    {
        // A device that is gone may refuse to be closed; nothing is left to release.
        if (!removed)
            throw;
    }
}

void hid_stream::close(boost::system::error_code& ec)
{
    try
    {
        close();
    }
    catch (boost::system::system_error const& e)
    {
        ec = e.code();
    }
}

void hid_stream::assign(io_kit::io_hid_device h)
{
    hid_device = std::move(h);
}

bool hid_stream::is_open() const
{
    if (!has_record())
        return false;
    return record().lock()->opened;
}

boost::asio::any_io_executor hid_stream::get_executor() const
{
    return executor;
}

apple::device hid_stream::get_device() const
{
    return device;
}

std::int32_t hid_stream::get_device_usage() const
{
    return get_usage(hid_device, kIOHIDDeviceUsageKey, "No device usage");
}

std::int32_t hid_stream::get_device_usage_page() const
{
    return get_usage(hid_device, kIOHIDDeviceUsagePageKey, "No device usage page");
}

std::int32_t hid_stream::get_max_output_report_size() const
{
    return get_capability(hid_device, kIOHIDMaxOutputReportSizeKey);
}

std::int32_t hid_stream::get_max_input_report_size() const
{
    return get_capability(hid_device, kIOHIDMaxInputReportSizeKey);
}

std::size_t hid_stream::read(basic_hid_report<boost::asio::mutable_buffer> r)
{
    boost::system::error_code ec;
    auto const n = read(r, ec);
    if (ec)
        throw boost::system::system_error(ec, "read");
    return n;
}

std::size_t hid_stream::read(basic_hid_report<boost::asio::mutable_buffer> r, boost::system::error_code& ec)
{
    return read_until(r, std::nullopt, ec);
}

std::size_t hid_stream::read(basic_hid_report<boost::asio::mutable_buffer> r, std::chrono::nanoseconds timeout)
{
    boost::system::error_code ec;
    auto const n = read(r, timeout, ec);
    if (ec)
        throw boost::system::system_error(ec, "read");
    return n;
}

std::size_t hid_stream::read(basic_hid_report<boost::asio::mutable_buffer> r, std::chrono::nanoseconds timeout,
                             boost::system::error_code& ec)
{
    return read_until(r, std::chrono::steady_clock::now() + timeout, ec);
}

std::size_t hid_stream::read_until(basic_hid_report<boost::asio::mutable_buffer> r,
                                   std::optional<std::chrono::steady_clock::time_point> deadline,
                                   boost::system::error_code& ec)
{
    // Whether it is open is asked under the record's lock below.
    if (!has_record())
        throw boost::system::system_error(make_error_code(hid_errc::not_open), "read");
    // The promise's state and the handler are made here and released on the
    // completing thread: from the shared pools, a steady stream of reads needs
    // no new memory.
    detail::handoff_allocator<> const memory;
    std::promise<std::pair<boost::system::error_code, std::size_t>> promise(std::allocator_arg, memory);
    auto result = promise.get_future();
    {
        auto locked = record().lock();
        // Under the lock: a removal may close the stream at any time, and a read
        // recorded after it would wait for a callback that has come and gone.
        if (!locked->opened)
            throw boost::system::system_error(make_error_code(hid_errc::not_open), "read");
        if (locked->unread)
        {
            ec = {};
            return take_unread(locked->unread, r.report_id, r.buffer);
        }
        if (locked->take_removal())
        {
            ec = boost::asio::error::operation_aborted;
            return 0;
        }
        // Once the context shuts down no run loop serves the device and nothing
        // would ever complete the read. The check is made under the record's lock,
        // which shutdown() takes after raising its flag: a read either sees the
        // flag or is recorded in time for shutdown() to abort it.
        if (context.service->is_shutting_down())
        {
            ec = boost::asio::error::operation_aborted;
            return 0;
        }
        // A read already pending loses its handler uncalled: overlapping reads
        // are not supported, and its caller stays blocked.
        locked->pending_read = detail::hid_service::data::read_request{
            r.report_id, r.buffer,
            completion(std::allocator_arg, memory,
                       [promise = std::move(promise)](boost::system::error_code const& code, std::size_t n) mutable {
                           promise.set_value({code, n});
                       })};
        locked->async_read = nullptr;
        locked->read_withdrawn = false;
        locked->read_token.emplace(schedule_with_run_loop(run_loop_service::read_run_loop_mode));
    }
    if (deadline && result.wait_until(*deadline) == std::future_status::timeout)
    {
        auto locked = record().lock();
        // Still pending with its handler: no report has been taken for it, so it
        // can be withdrawn whole.
        if (locked->pending_read && locked->pending_read->handler)
        {
            locked->withdraw_read();
            ec = boost::asio::error::timed_out;
            return 0;
        }
        // cancel() has taken the handler and posted it: the read is aborted
        // whether or not anyone runs the executor.
        if (locked->pending_read)
        {
            ec = boost::asio::error::operation_aborted;
            return 0;
        }
        // Otherwise a report, a removal or a shutdown holds it: its result is on
        // its way.
    }
    auto const [code, n] = result.get();
    ec = code;
    return n;
}

void hid_stream::start_async_read(basic_hid_report<boost::asio::mutable_buffer> r, detail::hid_async_read::pointer op,
                                  boost::asio::cancellation_slot slot)
{
    if (!has_record())
    {
        detail::hid_async_read::post(std::move(op), make_error_code(hid_errc::not_open), 0);
        return;
    }
    auto* const service = context.service;
    // A read this one replaces is destroyed after the lock is released: its
    // handler may own anything, even this stream.
    std::optional<detail::hid_service::data::read_request> replaced;
    auto locked = record().lock();
    if (!locked->opened)
    {
        detail::hid_async_read::post(std::move(op), make_error_code(hid_errc::not_open), 0);
        return;
    }
    if (!locked->unread && locked->take_removal())
    {
        detail::hid_async_read::post(std::move(op), boost::asio::error::operation_aborted, 0);
        return;
    }
    op->bind(r.buffer, r.report_id, locked->alive, &record());
    if (slot.is_connected())
        slot.emplace<detail::hid_read_cancellation>(locked->alive, &record(), op.get());
    locked->async_read = op.get();
    // A kept report completes the read at once, but through the same cancellation
    // as a pending one: a timer that wins the race hands the report back rather
    // than have the race drop it.
    if (locked->unread)
    {
        auto const n = take_unread(locked->unread, op->report_id_slot(), r.buffer);
        detail::hid_async_read::post(std::move(op), {}, n);
        return;
    }
    replaced = std::move(locked->pending_read);
    locked->read_withdrawn = false;
    locked->pending_read = detail::hid_service::data::read_request{
        op->report_id_slot(), r.buffer,
        completion(std::allocator_arg, detail::handoff_allocator<>(),
                   [op = std::move(op), service](boost::system::error_code const& code, std::size_t n) mutable {
                       if (service->is_shutting_down())
                           detail::hid_async_read::complete_here(std::move(op), code, n);
                       else
                           detail::hid_async_read::post(std::move(op), code, n);
                   })};
    locked->read_token.emplace(schedule_with_run_loop(run_loop_service::read_run_loop_mode));
}

std::size_t hid_stream::write(basic_hid_report<boost::asio::const_buffer> r)
{
    if (!is_open())
        throw boost::system::system_error(make_error_code(hid_errc::not_open), "write");
    hid_device.set_report(kIOHIDReportTypeOutput, 0,
                          {static_cast<std::uint8_t const*>(r.buffer.data()), r.buffer.size()});
    return r.buffer.size();
}

std::size_t hid_stream::write(basic_hid_report<boost::asio::const_buffer> r, boost::system::error_code& ec)
{
    try
    {
        return write(r);
    }
    catch (boost::system::system_error const& e)
    {
        ec = e.code();
        return 0;
    }
}

namespace {

// The ID a request names: 0, that of a device which numbers no reports, when the
// caller names none.
CFIndex requested_id(std::uint8_t const* report_id)
{
    return report_id == nullptr ? 0 : *report_id;
}

std::span<std::uint8_t> bytes_of(boost::asio::mutable_buffer buffer)
{
    return {static_cast<std::uint8_t*>(buffer.data()), buffer.size()};
}

std::span<std::uint8_t const> bytes_of(boost::asio::const_buffer buffer)
{
    return {static_cast<std::uint8_t const*>(buffer.data()), buffer.size()};
}

void throw_unless_open(bool open, char const* operation)
{
    if (!open)
        throw boost::system::system_error(make_error_code(hid_errc::not_open), operation);
}

// The error_code& form of a throwing transfer: 0 and the error's code on failure.
template <typename Transfer>
std::size_t or_error_code(Transfer&& transfer, boost::system::error_code& ec)
{
    try
    {
        return std::forward<Transfer>(transfer)();
    }
    catch (boost::system::system_error const& e)
    {
        ec = e.code();
        return 0;
    }
}

} // namespace

std::size_t hid_stream::get_feature_report(basic_hid_report<boost::asio::mutable_buffer> r)
{
    throw_unless_open(is_open(), "get_feature_report");
    return hid_device.get_report(kIOHIDReportTypeFeature, requested_id(r.report_id), bytes_of(r.buffer));
}

std::size_t hid_stream::get_feature_report(basic_hid_report<boost::asio::mutable_buffer> r,
                                           boost::system::error_code& ec)
{
    return or_error_code([&] { return get_feature_report(r); }, ec);
}

std::size_t hid_stream::send_feature_report(basic_hid_report<boost::asio::const_buffer> r)
{
    throw_unless_open(is_open(), "send_feature_report");
    hid_device.set_report(kIOHIDReportTypeFeature, requested_id(r.report_id), bytes_of(r.buffer));
    return r.buffer.size();
}

std::size_t hid_stream::send_feature_report(basic_hid_report<boost::asio::const_buffer> r,
                                            boost::system::error_code& ec)
{
    return or_error_code([&] { return send_feature_report(r); }, ec);
}

std::size_t hid_stream::get_input_report(basic_hid_report<boost::asio::mutable_buffer> r)
{
    throw_unless_open(is_open(), "get_input_report");
    return hid_device.get_report(kIOHIDReportTypeInput, requested_id(r.report_id), bytes_of(r.buffer));
}

std::size_t hid_stream::get_input_report(basic_hid_report<boost::asio::mutable_buffer> r,
                                         boost::system::error_code& ec)
{
    return or_error_code([&] { return get_input_report(r); }, ec);
}

std::size_t hid_stream::send_output_report(basic_hid_report<boost::asio::const_buffer> r)
{
    throw_unless_open(is_open(), "send_output_report");
    hid_device.set_report(kIOHIDReportTypeOutput, requested_id(r.report_id), bytes_of(r.buffer));
    return r.buffer.size();
}

std::size_t hid_stream::send_output_report(basic_hid_report<boost::asio::const_buffer> r,
                                           boost::system::error_code& ec)
{
    return or_error_code([&] { return send_output_report(r); }, ec);
}

void hid_stream::cancel()
{
    if (!has_record())
        return;
    if (!record().lock()->opened)
        return;
    auto locked = record().lock();
    if (!locked->pending_read)
        return;
    locked->read_token.reset();
    // The request stays recorded with no handler until the next report, removal
    // or read.
    boost::asio::post(executor, [handler = std::move(locked->pending_read->handler)]() mutable {
        handler(boost::asio::error::operation_aborted, 0);
    });
}

void hid_stream::hid_report_callback(void* context, IOReturn result, void*, IOHIDReportType, std::uint32_t report_id,
                                     std::uint8_t* report, CFIndex length)
{
    if (result != kIOReturnSuccess)
    {
        log_failed_callback("hid_report_callback", result);
        return;
    }
    completion handler;
    std::size_t n = 0;
    auto const id = static_cast<std::uint8_t>(report_id);
    auto const size = static_cast<std::size_t>(std::max<CFIndex>(length, 0));
    {
        auto locked = static_cast<detail::hid_service::record*>(context)->lock();
        locked->read_token.reset();
        if (!locked->pending_read)
        {
            // The report was on its way to a read that was withdrawn meanwhile:
            // it is the next read's.
            if (std::exchange(locked->read_withdrawn, false))
                locked->keep_unread(id, report, size);
            return;
        }
        auto& pending = *locked->pending_read;
        if (!pending.handler)
        {
            // cancel() has already completed this read with operation_aborted: the
            // report, taken from the queue just before the read was unscheduled,
            // is the next read's.
            locked->keep_unread(id, report, size);
            locked->pending_read.reset();
            return;
        }
        if (pending.report_id != nullptr)
            *pending.report_id = id;
        n = std::min(pending.buffer.size(), size);
        if (n != 0)
            std::memcpy(pending.buffer.data(), report, n);
        handler = std::move(pending.handler);
        locked->pending_read.reset();
    }
    if (handler)
        handler(boost::system::error_code(), n);
}

void hid_stream::hid_removal_callback(void* context, IOReturn result, void*)
{
    if (result != kIOReturnSuccess)
    {
        log_failed_callback("hid_removal_callback", result);
        return;
    }
    completion handler;
    {
        auto locked = static_cast<detail::hid_service::record*>(context)->lock();
        locked->read_token.reset();
        // An idle stream learns of the removal only at its next read: IOKit
        // delivers it while the read's run-loop mode is running. In the instant
        // that read is withdrawn (a timeout) it finds none: the next read gets it.
        if (!locked->pending_read)
        {
            locked->removal_unread = true;
            return;
        }
        locked->opened = false;
        handler = std::move(locked->pending_read->handler);
        locked->pending_read.reset();
    }
    if (handler)
        handler(boost::asio::error::operation_aborted, 0);
}

} // namespace plinth::apple
