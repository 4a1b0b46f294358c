// The reads: blocking, timed and asynchronous. A read first takes what is
// already waiting for it: a report kept from a read that was cancelled or timed
// out as the report came, then a removal the stream learnt of with no read
// pending. Otherwise it becomes the record's pending read, scheduled in the read
// run-loop mode, and IOKit's callbacks (hid_stream_callbacks.cpp) complete it;
// a queued stream's blocking reader waits for its queue instead
// (hid_queued_read.hpp).
#include "device/apple/hid_stream.hpp"

#include "device/apple/detail/handoff_allocator.hpp"
#include "device/apple/detail/hid_pending_read.hpp"
#include "device/apple/detail/hid_queued_read.hpp"
#include "device/apple/detail/hid_read_cancellation.hpp"
#include "device/apple/detail/hid_stream_operation.hpp"
#include "error/apple/hid_errc.hpp"

#include <boost/asio/error.hpp>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

namespace plinth::apple {

std::size_t hid_stream::read(basic_hid_report<boost::asio::mutable_buffer> r)
{
    return detail::or_throw([&](boost::system::error_code& ec) { return read(r, ec); }, "read");
}

std::size_t hid_stream::read(basic_hid_report<boost::asio::mutable_buffer> r, boost::system::error_code& ec)
{
    return read_until({r.report_id, r.buffer, nullptr}, "read", std::nullopt, ec);
}

std::size_t hid_stream::read(basic_hid_report<boost::asio::mutable_buffer> r, std::chrono::nanoseconds timeout)
{
    return detail::or_throw([&](boost::system::error_code& ec) { return read(r, timeout, ec); }, "read");
}

std::size_t hid_stream::read(basic_hid_report<boost::asio::mutable_buffer> r, std::chrono::nanoseconds timeout,
                             boost::system::error_code& ec)
{
    return read_until({r.report_id, r.buffer, nullptr}, "read", std::chrono::steady_clock::now() + timeout, ec);
}

std::size_t hid_stream::read_batch(hid_report_batch& batch)
{
    return detail::or_throw([&](boost::system::error_code& ec) { return read_batch(batch, ec); }, "read_batch");
}

std::size_t hid_stream::read_batch(hid_report_batch& batch, boost::system::error_code& ec)
{
    return read_until({nullptr, {}, &batch}, "read_batch", std::nullopt, ec);
}

std::size_t hid_stream::read_batch(hid_report_batch& batch, std::chrono::nanoseconds timeout)
{
    return detail::or_throw([&](boost::system::error_code& ec) { return read_batch(batch, timeout, ec); },
                            "read_batch");
}

std::size_t hid_stream::read_batch(hid_report_batch& batch, std::chrono::nanoseconds timeout,
                                   boost::system::error_code& ec)
{
    return read_until({nullptr, {}, &batch}, "read_batch", std::chrono::steady_clock::now() + timeout, ec);
}

std::size_t hid_stream::read_until(detail::hid_service::data::read_target target, char const* name,
                                   std::optional<std::chrono::steady_clock::time_point> deadline,
                                   boost::system::error_code& ec)
{
    // Whether it is open is asked under the record's lock below.
    detail::throw_unless_open(has_record(), name);
    if (target.batch != nullptr)
        target.batch->clear();
    // The reader waits on a ticket that the handler completes by number. A later
    // read that replaces this one destroys the handler uncalled, and the ticket is
    // then never completed, so that this caller stays blocked, as overlapping reads
    // are defined to leave it.
    std::optional<detail::hid_blocking_wait::ticket> ticket;
    {
        auto locked = record().lock();
        // Under the lock: a removal may close the stream at any time, and a read
        // recorded after it would wait for a callback that has come and gone.
        detail::throw_unless_open(locked->opened, name);
        detail::hid_pending_read pending(*locked);
        if (pending.has_ready())
        {
            ec = {};
            return pending.take_ready(target);
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
        // A queued stream's reader waits for the queue itself.
        if (locked->queue_token)
            return detail::hid_queued_read::wait(locked, target, deadline, ec);
        ticket.emplace(locked->blocking_reads);
        // The handler is made here and released on the completing thread: from
        // the shared pools, a steady stream of reads needs no new memory. A read
        // already pending loses its handler uncalled (destroyed here): overlapping
        // reads are not supported, and its caller stays blocked.
        pending.start({target, detail::hid_pending_read::completion(std::allocator_arg, detail::handoff_allocator<>(),
                                                                    ticket->completion())},
                      &*ticket, pending_read_scheduling(*locked));
    }
    if (deadline && !ticket->wait_until(*deadline))
    {
        auto locked = record().lock();
        // A later read replaced this one, whose handler went uncalled: nothing
        // will complete it now, and its time is up.
        if (locked->read_owner != &*ticket && !ticket->done())
        {
            ec = boost::asio::error::timed_out;
            return 0;
        }
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
    auto const [code, n] = ticket->wait();
    ec = code;
    return n;
}

void hid_stream::start_async_read(detail::hid_service::data::read_target target, detail::hid_async_read::pointer op,
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
    std::optional<detail::hid_pending_read::request> replaced;
    auto locked = record().lock();
    if (!locked->opened)
    {
        detail::hid_async_read::post(std::move(op), make_error_code(hid_errc::not_open), 0);
        return;
    }
    detail::hid_pending_read pending(*locked);
    if (!pending.has_ready() && locked->take_removal())
    {
        detail::hid_async_read::post(std::move(op), boost::asio::error::operation_aborted, 0);
        return;
    }
    if (target.batch != nullptr)
        target.batch->clear();
    op->bind(target, locked->alive);
    if (slot.is_connected())
        slot.emplace<detail::hid_read_cancellation>(locked->alive, op.get());
    locked->read_owner = op.get();
    // The reports are written where the operation keeps them until it completes.
    target.report_id = op->report_id_slot();
    // A report ready already completes the read at once, but through the same
    // cancellation as a pending one: a timer that wins the race hands the report
    // back rather than have the race drop it.
    if (pending.has_ready())
    {
        auto const n = pending.take_ready(target);
        detail::hid_async_read::post(std::move(op), {}, n);
        return;
    }
    void const* const owner = op.get();
    replaced = pending.start(
        {target, detail::hid_pending_read::completion(
                     std::allocator_arg, detail::handoff_allocator<>(),
                     [op = std::move(op), service](boost::system::error_code const& code, std::size_t n) mutable {
                         if (service->is_shutting_down())
                             detail::hid_async_read::complete_here(std::move(op), code, n);
                         else
                             detail::hid_async_read::post(std::move(op), code, n);
                     })},
        owner, pending_read_scheduling(*locked));
}

} // namespace plinth::apple
