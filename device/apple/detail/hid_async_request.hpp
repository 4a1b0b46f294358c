// hid_async_request and hid_async_request_op: one asynchronous report request (a write, a feature report) from initiation to its one completion.
#pragma once

#include "device/apple/detail/hid_async_op.hpp"

#include <boost/system/error_code.hpp>

#include <cstddef>
#include <memory>
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

    // A request's result goes to its handler as it is.
    void settle() noexcept {}

    // Frees the operation, then calls the handler with the stored result: on this
    // thread when `here`, else through the handler's executor.
    virtual void complete(bool here) = 0;
    virtual void destroy() noexcept = 0;
    virtual void post_completion(pointer self) = 0;

    boost::system::error_code result;
    std::size_t bytes = 0;
};

// An asynchronous report request that owns a handler of type `Handler`.
template <typename Handler>
using hid_async_request_op = hid_async_op<hid_async_request, Handler>;

} // namespace plinth::apple::detail
