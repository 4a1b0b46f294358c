// hid_async_op: an asynchronous HID operation's handler, its executors and its memory, for reads and report requests alike.
#pragma once

#include "device/apple/detail/handoff_allocator.hpp"

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/associated_allocator.hpp>
#include <boost/asio/associated_cancellation_slot.hpp>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/bind_allocator.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/recycling_allocator.hpp>

#include <memory>
#include <new>
#include <utility>

namespace plinth::apple::detail {

// The handler of one asynchronous operation of kind `Operation` (hid_async_read,
// hid_async_request), which holds the operation's own state and its result: the
// handler's memory, the work that keeps the stream's and the handler's executors
// busy, and the way the result reaches the handler. `Operation` gives
// settle(), which turns the stored result into the handler's, just before the
// upcall.
template <typename Operation, typename Handler>
class hid_async_op final : public Operation
{
    using default_allocator = boost::asio::recycling_allocator<void>;
    using allocator_type = typename std::allocator_traits<
        boost::asio::associated_allocator_t<Handler, default_allocator>>::template rebind_alloc<hid_async_op>;
    using traits = std::allocator_traits<allocator_type>;
    using handler_executor_type = boost::asio::associated_executor_t<Handler, boost::asio::any_io_executor>;

public:
    using pointer = typename Operation::pointer;

    // The operation's state comes from the handler's associated allocator (by
    // default a per-thread recycling one), so that a loop of operations on one
    // thread allocates nothing once warmed up.
    static pointer make(Handler handler, boost::asio::any_io_executor const& io_executor)
    {
        allocator_type allocator(boost::asio::get_associated_allocator(handler, default_allocator()));
        auto* const memory = traits::allocate(allocator, 1);
        try
        {
            return pointer(::new (static_cast<void*>(memory)) hid_async_op(std::move(handler), io_executor));
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
    hid_async_op(Handler handler, boost::asio::any_io_executor const& io_executor)
        : handler_(std::move(handler)),
          io_work_(boost::asio::make_work_guard(io_executor)),
          handler_work_(boost::asio::make_work_guard(boost::asio::get_associated_executor(handler_, io_executor)))
    {
    }

    // On the stream's executor: finishes in the handler's own executor, which
    // runs it here when it is the same one. The cancellation slot belongs to that
    // executor: a cancellation is emitted there (a strand's timer winning a race),
    // so the slot is cleared and a late cancellation read there too, not
    // concurrently on another thread of the stream's context. `here`: on this
    // thread at once, for a shutdown, when no executor will run anything again.
    void complete(bool here) override
    {
        if (here)
        {
            finish();
            return;
        }
        auto const handler_executor = handler_work_.get_executor();
        boost::asio::dispatch(handler_executor,
                              [op = pointer(this)]() mutable { static_cast<hid_async_op*>(op.release())->finish(); });
    }

    void finish()
    {
        if (auto slot = cancellation_slot(); slot.is_connected())
            slot.clear();
        this->settle();
        Handler handler(std::move(handler_));
        auto handler_work = std::move(handler_work_);
        auto const ec = this->result;
        auto const n = this->bytes;
        // The memory goes back before the upcall, so that the handler's next
        // operation can have it again.
        destroy();
        std::move(handler)(ec, n);
    }

    void destroy() noexcept override
    {
        allocator_type allocator(boost::asio::get_associated_allocator(handler_, default_allocator()));
        this->~hid_async_op();
        traits::deallocate(allocator, this, 1);
    }

    void post_completion(pointer self) override
    {
        auto const executor = io_work_.get_executor();
        auto run = [op = std::move(self)]() mutable { static_cast<hid_async_op*>(op.release())->complete(false); };
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
