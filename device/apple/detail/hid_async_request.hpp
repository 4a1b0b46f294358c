// hid_async_request and hid_async_request_op: one asynchronous report request (a write, a feature report) from initiation to its one completion.
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
#include <boost/system/error_code.hpp>

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace plinth::apple::detail {

// An asynchronous report request in flight: it owns the caller's handler from
// initiation to completion, held by the request's record entry until IOKit's
// callback, the caller's deadline, a cancellation or a close takes it, then by the
// call posted to the handler's executor. Destroyed uncalled (a shutdown), it
// destroys the handler uncalled.
class hid_async_request
{
public:
    struct deleter
    {
        void operator()(hid_async_request* op) const noexcept { op->destroy(); }
    };
    using pointer = std::unique_ptr<hid_async_request, deleter>;

    // Stores the result and has the handler called through its executor, never
    // on the calling thread.
    static void post(pointer op, boost::system::error_code const& ec, std::size_t bytes)
    {
        auto* const raw = op.get();
        raw->result = ec;
        raw->bytes = bytes;
        raw->post_completion(std::move(op));
    }

protected:
    hid_async_request() = default;
    ~hid_async_request() = default;

    virtual void destroy() noexcept = 0;
    virtual void post_completion(pointer self) = 0;

    boost::system::error_code result;
    std::size_t bytes = 0;
};

template <typename Handler>
class hid_async_request_op final : public hid_async_request
{
    using default_allocator = boost::asio::recycling_allocator<void>;
    using allocator_type = typename std::allocator_traits<
        boost::asio::associated_allocator_t<Handler, default_allocator>>::template rebind_alloc<hid_async_request_op>;
    using traits = std::allocator_traits<allocator_type>;
    using handler_executor_type = boost::asio::associated_executor_t<Handler, boost::asio::any_io_executor>;

public:
    // The operation's state comes from the handler's associated allocator, as an
    // asynchronous read's does.
    static pointer make(Handler handler, boost::asio::any_io_executor const& io_executor)
    {
        allocator_type allocator(boost::asio::get_associated_allocator(handler, default_allocator()));
        auto* const memory = traits::allocate(allocator, 1);
        try
        {
            return pointer(::new (static_cast<void*>(memory)) hid_async_request_op(std::move(handler), io_executor));
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
    hid_async_request_op(Handler handler, boost::asio::any_io_executor const& io_executor)
        : handler_(std::move(handler)),
          io_work_(boost::asio::make_work_guard(io_executor)),
          handler_work_(boost::asio::make_work_guard(boost::asio::get_associated_executor(handler_, io_executor)))
    {
    }

    // On the stream's executor: finishes in the handler's own executor, where its
    // cancellation slot is emitted and must be cleared.
    void complete()
    {
        auto const handler_executor = handler_work_.get_executor();
        boost::asio::dispatch(handler_executor, [op = pointer(this)]() mutable {
            static_cast<hid_async_request_op*>(op.release())->finish();
        });
    }

    void finish()
    {
        if (auto slot = cancellation_slot(); slot.is_connected())
            slot.clear();
        Handler handler(std::move(handler_));
        auto handler_work = std::move(handler_work_);
        auto const ec = result;
        auto const n = bytes;
        // The memory goes back before the upcall, so that the handler's next
        // request can have it again.
        destroy();
        std::move(handler)(ec, n);
    }

    void destroy() noexcept override
    {
        allocator_type allocator(boost::asio::get_associated_allocator(handler_, default_allocator()));
        this->~hid_async_request_op();
        traits::deallocate(allocator, this, 1);
    }

    void post_completion(pointer self) override
    {
        auto const executor = io_work_.get_executor();
        auto run = [op = std::move(self)]() mutable { static_cast<hid_async_request_op*>(op.release())->complete(); };
        // As for a read: an io_context's own executor takes the shared handoff
        // pools, which recycle memory across the posting and running threads.
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
