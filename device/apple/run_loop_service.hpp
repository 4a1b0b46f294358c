// The execution-context service whose one run-loop thread receives IOKit's callbacks in the "read" mode.
#pragma once

#include "device/apple/detail/run_loop_thread.hpp"
#include "io_kit/cf/string.hpp"

#include <boost/asio/execution_context.hpp>

#include <CoreFoundation/CFRunLoop.h>

namespace plinth::apple {

// An execution-context service that owns one thread running a CoreFoundation run
// loop. IOKit objects scheduled on that loop in `read_run_loop_mode` have their
// callbacks delivered on this one thread, never on a caller's. Not registered on
// its own: services that need a loop (the HID service) derive from it.
class run_loop_service : public boost::asio::execution_context::service
{
public:
    // Returns once the new thread runs its loop and has handed it over.
    explicit run_loop_service(boost::asio::execution_context& owner);

    run_loop_service(run_loop_service const&) = delete;
    run_loop_service& operator=(run_loop_service const&) = delete;

    // Joins the thread: shutdown() must have run, as the execution context sees to.
    ~run_loop_service() override;

    // Stops the loop; neither joins nor waits. Later calls do nothing.
    void shutdown() noexcept override;

    // The thread's loop (not retained: it lives as long as the thread). Safe to
    // call from any thread.
    CFRunLoopRef get_run_loop() const noexcept;

    // Returns once whatever the loop's thread is running at the call has finished.
    // IOKit hands a callback its context without a lock, so unregistering one
    // stops only the next calls: one already under way on the loop's thread may
    // still be reading that context. Unregister first, then call this, then free
    // the context. Returns at once on the loop's own thread (the caller is then
    // that callback, or inside it); after shutdown(), waits for the loop to end.
    // Throws std::bad_alloc when the wait cannot be queued.
    void finish_callbacks_in_flight();

    // The one mode the thread serves, "read": whatever this loop is to serve must
    // be scheduled in it.
    static CF::String read_run_loop_mode;

private:
    detail::run_loop_thread loop_thread;
};

} // namespace plinth::apple
