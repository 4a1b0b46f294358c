// device_watch_wait: one pending device_watcher wait with its handler's type erased, holding Asio work.
#pragma once

#include "device/apple/device_event.hpp"

#include <boost/asio/associated_executor.hpp>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/execution/outstanding_work.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/prefer.hpp>
#include <boost/system/error_code.hpp>

#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>

namespace plinth::apple::detail {

// One pending device_watcher::async_wait, its handler's type erased. The watcher's
// state owns it until it completes; it is completed only from a call that its
// post() scheduled, on the handler's executor.
class device_watch_wait
{
public:
    explicit device_watch_wait(std::uint64_t id) noexcept : id_(id) {}
    device_watch_wait(device_watch_wait const&) = delete;
    device_watch_wait& operator=(device_watch_wait const&) = delete;
    virtual ~device_watch_wait() = default;

    // Runs `call` later on the handler's associated executor, never inside this
    // call nor on this thread.
    virtual void post(std::function<void()> call) = 0;

    // Calls the handler with the result. Only from a call that post() scheduled.
    virtual void complete(boost::system::error_code error, device_event event) = 0;

    std::uint64_t id() const noexcept { return id_; }

    // Set once the wait is to complete with operation_aborted; guarded by the
    // state's mutex.
    bool cancelled = false;

private:
    std::uint64_t id_;
};

// The wait of a handler of type Handler on an I/O object of executor IoExecutor.
// While it is pending it counts as work of both the I/O executor and the handler's
// (as Asio's own operations do), so that neither context runs out of work.
template <typename Handler, typename IoExecutor>
class device_watch_wait_for final : public device_watch_wait
{
    using handler_executor = boost::asio::associated_executor_t<Handler, IoExecutor>;
    // Decayed: for an executor without the property (use_future's) prefer() hands
    // back its argument itself, and the member must hold a copy, not a reference
    // to a temporary.
    using io_work_type = std::decay_t<
        typename boost::asio::prefer_result<IoExecutor, boost::asio::execution::outstanding_work_t::tracked_t>::type>;
    using handler_work_type =
        std::decay_t<typename boost::asio::prefer_result<handler_executor,
                                                         boost::asio::execution::outstanding_work_t::tracked_t>::type>;

public:
    template <typename H>
    device_watch_wait_for(std::uint64_t id, H&& handler, IoExecutor const& io_executor)
        : device_watch_wait(id),
          handler_(std::forward<H>(handler)),
          io_work_(boost::asio::prefer(io_executor, boost::asio::execution::outstanding_work.tracked)),
          handler_work_(boost::asio::prefer(boost::asio::get_associated_executor(handler_, io_executor),
                                            boost::asio::execution::outstanding_work.tracked))
    {
    }

    // As Asio's own operations complete: posted to the I/O executor, from which it
    // is dispatched to the handler's.
    void post(std::function<void()> call) override
    {
        boost::asio::post(io_work_, boost::asio::bind_executor(handler_work_, std::move(call)));
    }

    void complete(boost::system::error_code error, device_event event) override
    {
        // The work stays counted until the handler has returned, as it may start
        // the next wait.
        std::move(handler_)(error, std::move(event));
    }

private:
    Handler handler_;
    io_work_type io_work_;
    handler_work_type handler_work_;
};

} // namespace plinth::apple::detail
