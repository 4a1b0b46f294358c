// hid_async_read and hid_async_read_op: the state of one asynchronous HID read, from initiation to its one completion.
#pragma once

#include "device/apple/detail/hid_async_op.hpp"
#include "device/apple/detail/hid_service.hpp"

#include <boost/asio/buffer.hpp>
#include <boost/system/error_code.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace plinth::apple::detail {

// An asynchronous read in flight: it owns the caller's handler from initiation
// to completion. It is owned in turn by whichever stage holds it: the pending
// request's completion until a report, a removal, a cancel or a shutdown calls
// that, then the call posted to the handler's executor.
class hid_async_read
{
public:
    struct deleter
    {
        void operator()(hid_async_read* op) const noexcept { op->destroy(); }
    };
    using pointer = std::unique_ptr<hid_async_read, deleter>;

    // Stores the result and has the handler called through its executor, never
    // on the calling thread.
    static void post(pointer op, boost::system::error_code const& ec, std::size_t bytes)
    {
        auto* const raw = op.get();
        raw->result = ec;
        raw->bytes = bytes;
        raw->post_completion(std::move(op));
    }

    // Stores the result and calls the handler on this thread: for a shutdown,
    // when no executor will run anything again.
    static void complete_here(pointer op, boost::system::error_code const& ec, std::size_t bytes)
    {
        op->result = ec;
        op->bytes = bytes;
        op.release()->complete(true);
    }

    // The caller's buffer and ID, or batch, and the stream the read is pending on.
    void bind(hid_service::data::read_target target, std::weak_ptr<hid_service::lifeline> stream_life) noexcept;
    // Where the report callback writes the ID: the caller's is written only when
    // the read completes with the report.
    std::uint8_t* report_id_slot() noexcept { return &delivered_id; }
    // A cancellation that came after a report filled the read, while its
    // completion was on its way.
    void cancel_after_fill() noexcept { cancelled_after_fill = true; }

protected:
    hid_async_read() = default;
    ~hid_async_read() = default;

    // Frees the operation, then calls the handler with the stored result: on this
    // thread when `here`, else through the handler's executor.
    virtual void complete(bool here) = 0;
    virtual void destroy() noexcept = 0;
    virtual void post_completion(pointer self) = 0;

    // Turns the stored result into what the handler gets. A read cancelled after
    // its report came completes with operation_aborted, as the canceller expects,
    // and gives the report back to its stream for the next read: a timeout that
    // loses a race with a report loses no report.
    void settle();

    boost::system::error_code result;
    std::size_t bytes = 0;

private:
    hid_service::data::read_target caller;
    std::uint8_t delivered_id = 0;
    bool cancelled_after_fill = false;
    std::weak_ptr<hid_service::lifeline> stream_life;
};

// An asynchronous read that owns a handler of type `Handler`.
template <typename Handler>
using hid_async_read_op = hid_async_op<hid_async_read, Handler>;

} // namespace plinth::apple::detail
