// hid_async_read and hid_async_read_op: the state of one asynchronous HID read, from initiation to its one completion.
#pragma once

#include "device/apple/detail/handoff_allocator.hpp"
#include "device/apple/detail/hid_service.hpp"

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/append.hpp>
#include <boost/asio/associated_allocator.hpp>
#include <boost/asio/associated_cancellation_slot.hpp>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/bind_allocator.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/recycling_allocator.hpp>
#include <boost/system/error_code.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
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

    // The caller's buffer and ID, and the stream the read is pending on.
    void bind(boost::asio::mutable_buffer buffer, std::uint8_t* report_id, std::weak_ptr<void const> stream_alive,
              hid_service::record* record) noexcept;
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
    boost::asio::mutable_buffer buffer;
    std::uint8_t* caller_id = nullptr;
    std::uint8_t delivered_id = 0;
    bool cancelled_after_fill = false;
    std::weak_ptr<void const> stream_alive;
    hid_service::record* record = nullptr;
};

template <typename Handler>
class hid_async_read_op final : public hid_async_read
{
    using default_allocator = boost::asio::recycling_allocator<void>;
    using allocator_type = typename std::allocator_traits<
        boost::asio::associated_allocator_t<Handler, default_allocator>>::template rebind_alloc<hid_async_read_op>;
    using traits = std::allocator_traits<allocator_type>;
    using handler_executor_type = boost::asio::associated_executor_t<Handler, boost::asio::any_io_executor>;

public:
    // The operation's state comes from the handler's associated allocator (by
    // default a per-thread recycling one), so that a loop of reads on one thread
    // allocates nothing once warmed up.
    static pointer make(Handler handler, boost::asio::any_io_executor const& io_executor)
    {
        allocator_type allocator(boost::asio::get_associated_allocator(handler, default_allocator()));
        auto* const memory = traits::allocate(allocator, 1);
        try
        {
            return pointer(::new (static_cast<void*>(memory)) hid_async_read_op(std::move(handler), io_executor));
        }
        catch (...)
        {
            traits::deallocate(allocator, memory, 1);
            throw;
        }
    }

    boost::asio::associated_cancellation_slot_t<Handler> cancellation_slot() const noexcept
    {
        return boost::asio::get_associated_cancellation_slot(handler_);
    }

private:
    hid_async_read_op(Handler handler, boost::asio::any_io_executor const& io_executor)
        : handler_(std::move(handler)),
          io_work_(boost::asio::make_work_guard(io_executor)),
          handler_work_(boost::asio::make_work_guard(boost::asio::get_associated_executor(handler_, io_executor)))
    {
    }

    // On the stream's executor: finishes in the handler's own executor, which
    // runs it here when it is the same one. The cancellation slot belongs to that
    // executor: a cancellation is emitted there (a strand's timer winning a race),
    // so the slot is cleared and a late cancellation read there too, not
    // concurrently on another thread of the stream's context.
    void complete(bool here) override
    {
        if (here)
        {
            finish();
            return;
        }
        auto const handler_executor = handler_work_.get_executor();
        boost::asio::dispatch(handler_executor, [op = pointer(this)]() mutable {
            static_cast<hid_async_read_op*>(op.release())->finish();
        });
    }

    void finish()
    {
        if (auto slot = cancellation_slot(); slot.is_connected())
            slot.clear();
        settle();
        Handler handler(std::move(handler_));
        auto handler_work = std::move(handler_work_);
        auto const ec = result;
        auto const n = bytes;
        // The memory goes back before the upcall, so that the handler's next read
        // can have it again.
        destroy();
        std::move(handler)(ec, n);
    }

    void destroy() noexcept override
    {
        allocator_type allocator(boost::asio::get_associated_allocator(handler_, default_allocator()));
        this->~hid_async_read_op();
        traits::deallocate(allocator, this, 1);
    }

    void post_completion(pointer self) override
    {
        auto const executor = io_work_.get_executor();
        auto run = [op = std::move(self)]() mutable { static_cast<hid_async_read_op*>(op.release())->complete(false); };
        // Posting through a type-erased executor allocates from the global heap on
        // the posting thread (the run-loop thread), which the executor's thread
        // then frees: no per-thread cache can recycle that. An io_context's own
        // executor takes the allocator of what is posted, and the shared handoff
        // pools recycle across threads.
        if (auto const* io = executor.template target<boost::asio::io_context::executor_type>())
            boost::asio::post(*io, boost::asio::bind_allocator(handoff_allocator<>(), std::move(run)));
        else
            boost::asio::post(executor, std::move(run));
    }

    Handler handler_;
    boost::asio::executor_work_guard<boost::asio::any_io_executor> io_work_;
    boost::asio::executor_work_guard<handler_executor_type> handler_work_;
};

} // namespace plinth::apple::detail
