// The I/O object's own operations: its link to the HID service, construction,
// open and close, the getters, write and cancel. The reads are in
// hid_stream_read.cpp, IOKit's callbacks in hid_stream_callbacks.cpp, the
// requests by report ID in hid_stream_report_requests.cpp.
#include "device/apple/hid_stream.hpp"

#include "device/apple/detail/handoff_allocator.hpp"
#include "device/apple/detail/hid_queued_read.hpp"
#include "device/apple/detail/hid_stream_operation.hpp"
#include "error/apple/hid_errc.hpp"
#include "error/apple/io_return.hpp"
#include "device/apple/input_monitoring.hpp"
#include "io_kit/cf/boolean.hpp"
#include "io_kit/cf/number.hpp"
#include "log/log.hpp"

#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <boost/system/system_error.hpp>

#include <fmt/format.h>

#include <IOKit/hid/IOHIDKeys.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <utility>

namespace plinth::apple {
namespace {

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

} // namespace

hid_stream::service_context::service_context(boost::asio::any_io_executor const& ex, io_kit::io_hid_device h)
    : service(&boost::asio::use_service<detail::hid_service>(boost::asio::query(ex, boost::asio::execution::context))),
      data(service->make_data(std::move(h)))
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

hid_stream::hid_stream(boost::asio::any_io_executor ex) : hid_stream(std::move(ex), apple::device(), {}) {}

hid_stream::hid_stream(boost::asio::any_io_executor ex, apple::device d, hid_open_mode m)
    : hid_stream(std::move(ex), d, io_kit::io_hid_device(io_kit::io_service_view(d.get_entry().get())), m)
{
}

hid_stream::hid_stream(boost::asio::any_io_executor ex, apple::device d, hid_open_mode m, hid_read_queue queue)
    : executor(std::move(ex)),
      device(std::move(d)),
      chosen_mode(m),
      chosen_queue(queue),
      hid_device(io_kit::io_service_view(device.get_entry().get())),
      context(executor, hid_device)
{
    open_in_constructor();
}

hid_stream::hid_stream(boost::asio::any_io_executor ex, apple::device d, io_kit::io_hid_device h, hid_open_mode m)
    : executor(std::move(ex)),
      device(std::move(d)),
      chosen_mode(m),
      hid_device(std::move(h)),
      context(executor, hid_device)
{
    open_in_constructor();
}

void hid_stream::open_in_constructor()
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
    // No CFRunLoopWakeUp after scheduling: the device's port joins the port set
    // the loop waits on, and the kernel hands a report already waiting on the port
    // to a thread waiting on the set, so the loop wakes for a report by itself.
    // Waking it besides made the run-loop thread take one more pass, for nothing,
    // per read.
    hid_device.schedule_with_run_loop(run_loop, static_cast<CFStringRef>(mode.GetTypeRef()));
    return {hid_device, run_loop, std::move(mode)};
}

std::shared_ptr<detail::hid_run_loop_token> hid_stream::read_mode_scheduling(detail::hid_service::data& d)
{
    if (d.queue_token)
        return d.queue_token;
    if (d.read_token)
        return d.read_token;
    if (d.request_token)
        return d.request_token;
    // From the shared pools, as a read's handler is: a loop of reads makes and drops
    // one per read, on different threads, and needs no new memory for it.
    return std::allocate_shared<detail::hid_run_loop_token>(
        detail::handoff_allocator<detail::hid_run_loop_token>(),
        schedule_with_run_loop(run_loop_service::read_run_loop_mode));
}

std::shared_ptr<detail::hid_run_loop_token> hid_stream::pending_read_scheduling(detail::hid_service::data& d)
{
    // A queued stream's scheduling serves its reads already: a read holds no
    // share of it, so that reading touches no count the callback touches too.
    if (d.queue_token)
        return nullptr;
    return read_mode_scheduling(d);
}

void hid_stream::open()
{
    detail::throw_unless_open(has_record(), "open");
    auto locked = record().lock();
    if (locked->opened)
        return;
    if (chosen_queue && chosen_queue->capacity == 0)
        throw boost::system::system_error(boost::asio::error::invalid_argument, "open");
    open_device();
    try
    {
        locked->open_token.emplace(schedule_with_run_loop(CF::String(kCFRunLoopDefaultMode)));
        auto const size = get_capability(hid_device, kIOHIDMaxInputReportSizeKey);
        locked->report_buffer.resize(static_cast<std::size_t>(std::max(size, 0)));
        void* const callback_context = &record();
        hid_device.register_input_report_callback(locked->report_buffer, hid_report_callback, callback_context);
        hid_device.register_removal_callback(hid_removal_callback, callback_context);
        if (chosen_queue)
            start_read_queue(*locked);
    }
    catch (boost::system::system_error const&)
    {
        // Nothing of a half-made open stays: no callback, no scheduling, and the
        // device closed again, so that no other program finds it held.
        hid_device.register_input_report_callback(locked->report_buffer, nullptr, nullptr);
        hid_device.register_removal_callback(nullptr, nullptr);
        locked->queue_token.reset();
        locked->open_token.reset();
        close_device_quietly();
        throw;
    }
    locked->opened = true;
}

void hid_stream::start_read_queue(detail::hid_service::data& d)
{
    try
    {
        d.queue.emplace(chosen_queue->capacity, d.report_buffer.size(), chosen_queue->overflow);
    }
    catch (std::length_error const&)
    {
        throw boost::system::system_error(boost::asio::error::invalid_argument, "open");
    }
    catch (std::bad_alloc const&)
    {
        throw boost::system::system_error(boost::asio::error::no_memory, "open");
    }
    // Scheduled once in the mode the run-loop thread runs, for as long as the
    // stream is open: each report reaches the callback as it comes, and the reads
    // take it from the queue without scheduling anything.
    d.queue_token =
        std::make_shared<detail::hid_run_loop_token>(schedule_with_run_loop(run_loop_service::read_run_loop_mode));
}

void hid_stream::open(boost::system::error_code& ec)
{
    detail::or_error_code([this] { open(); }, ec);
}

void hid_stream::open(hid_open_mode m)
{
    detail::throw_unless_open(has_record(), "open");
    if (!is_open())
        chosen_mode = m;
    open();
}

void hid_stream::open(hid_open_mode m, boost::system::error_code& ec)
{
    detail::or_error_code([this, m] { open(m); }, ec);
}

void hid_stream::open(hid_open_mode m, hid_read_queue queue)
{
    detail::throw_unless_open(has_record(), "open");
    if (!is_open())
    {
        chosen_mode = m;
        chosen_queue = queue;
    }
    open();
}

void hid_stream::open(hid_open_mode m, hid_read_queue queue, boost::system::error_code& ec)
{
    detail::or_error_code([this, m, queue] { open(m, queue); }, ec);
}

void hid_stream::open_device()
{
    try
    {
        hid_device.open(chosen_mode == hid_open_mode::seized ? kIOHIDOptionsTypeSeizeDevice : kIOHIDOptionsTypeNone);
    }
    catch (boost::system::system_error const& e)
    {
        if (e.code() == make_error_code(kIOReturnExclusiveAccess))
        {
            // The kernel counts a client that opens a seized device as open all the
            // same (it would hear the device again once the seizer lets go): it is
            // closed, so that a failed open holds nothing.
            close_device_quietly();
            auto const holder = seizer();
            throw boost::system::system_error(make_error_code(hid_errc::seized_by_another),
                                              holder ? "open: seized by " + holder->describe() : "open");
        }
        // An IOHIDDeviceRef of a keyboard, mouse or touch pad asks for Input
        // Monitoring before it first opens, and refuses with kIOReturnNotPermitted
        // (without opening anything) when the user has not granted it.
        if (e.code() == make_error_code(kIOReturnNotPermitted) && requires_input_monitoring())
            throw boost::system::system_error(make_error_code(hid_errc::input_monitoring_denied), "open");
        throw;
    }
}

void hid_stream::close_device_quietly() noexcept
{
    try
    {
        hid_device.close(kIOHIDOptionsTypeNone);
    }
    catch (boost::system::system_error const&)
    {
        // A device that is gone, or was never opened, has nothing to release.
    }
}

bool hid_stream::requires_input_monitoring() const
{
    CF::Boolean const tagged(hid_device.get_property("RequiresTCCAuthorization"));
    return (tagged.GetTypeRef() != nullptr && static_cast<bool>(tagged)) ||
           check_input_monitoring_access() != input_monitoring_access::granted;
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
    // The report requests still pending end aborted, once the lock is released.
    std::vector<detail::hid_service::data::report_request::completion> requests;
    {
        auto locked = record().lock();
        if (!locked->open_token)
            return;
        for (auto& request : locked->requests)
            if (request.handler)
                requests.push_back(std::exchange(request.handler, {}));
        // IOKit keeps the entries until it calls back, which it does only once the
        // stream is open and scheduled again.
        locked->request_token.reset();
        removed = !locked->opened;
        hid_device.register_input_report_callback(locked->report_buffer, nullptr, nullptr);
        hid_device.register_removal_callback(nullptr, nullptr);
        locked->opened = false;
        locked->removal_unread = false;
        locked->unread.clear();
        locked->read_token.reset();
        // The queue's reports go with the stream's open; its drop count stays.
        if (locked->queue)
            locked->queue->clear();
        locked->queue_token.reset();
        locked->open_token.reset();
    }
    // The run-loop thread may be inside one of those callbacks now, with this
    // stream's record: once it is out, nothing reaches the record, and the stream
    // can go.
    for (auto& handler : requests)
        handler(boost::asio::error::operation_aborted, 0);
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
    detail::or_error_code([this] { close(); }, ec);
}

void hid_stream::assign(io_kit::io_hid_device h)
{
    hid_device = std::move(h);
}

hid_open_mode hid_stream::open_mode() const noexcept
{
    return chosen_mode;
}

std::optional<hid_read_queue> hid_stream::read_queue() const noexcept
{
    return chosen_queue;
}

std::uint64_t hid_stream::dropped_reports() const
{
    if (!has_record())
        return 0;
    auto locked = record().lock();
    return locked->queue ? locked->queue->drops() : 0;
}

std::size_t hid_stream::queued_reports() const
{
    if (!has_record())
        return 0;
    auto locked = record().lock();
    return locked->queue_token ? locked->queue->size() : 0;
}

std::optional<hid_device_client> hid_stream::seizer() const
{
    return find_hid_seizer(device);
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

std::size_t hid_stream::write(basic_hid_report<boost::asio::const_buffer> r)
{
    detail::throw_unless_open(is_open(), "write");
    hid_device.set_report(kIOHIDReportTypeOutput, 0, detail::bytes_of(r.buffer));
    return r.buffer.size();
}

std::size_t hid_stream::write(basic_hid_report<boost::asio::const_buffer> r, boost::system::error_code& ec)
{
    return detail::or_error_code([&] { return write(r); }, ec);
}

void hid_stream::cancel()
{
    if (!has_record())
        return;
    std::vector<detail::hid_service::data::report_request::completion> requests;
    {
        auto locked = record().lock();
        for (auto& request : locked->requests)
            if (request.asynchronous && request.handler)
                requests.push_back(std::exchange(request.handler, {}));
    }
    // Each posts its completion: called here, they run no handler of the caller's.
    for (auto& handler : requests)
        handler(boost::asio::error::operation_aborted, 0);
    auto locked = record().lock();
    if (!locked->opened)
        return;
    // A queued stream's blocking reader takes no report from now on, and is
    // released through the executor, as the handler below would be.
    if (auto* const reader = detail::hid_queued_read::current(*locked))
    {
        boost::asio::post(executor, [life = std::weak_ptr<detail::hid_service::lifeline>(locked->alive),
                                     number = detail::hid_queued_read::cancel(*locked, *reader)] {
            // The stream may be gone by now, or going on another thread; its
            // readers are then released already.
            detail::hid_service::lifeline::with_record(
                life, [number](detail::hid_service::data& data) { detail::hid_queued_read::release(data, number); });
        });
        return;
    }
    if (!locked->pending_read)
        return;
    locked->read_token.reset();
    // The request stays recorded with no handler until the next report, removal
    // or read.
    boost::asio::post(executor, [handler = std::move(locked->pending_read->handler)]() mutable {
        handler(boost::asio::error::operation_aborted, 0);
    });
}

} // namespace plinth::apple
