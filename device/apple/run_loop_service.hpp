#pragma once

#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/string.hpp"

#include <boost/asio/execution_context.hpp>

#include <CoreFoundation/CFRunLoop.h>

#include <atomic>
#include <future>
#include <thread>

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

    // The one mode the thread serves after start-up, "read": whatever this loop is
    // to serve must be scheduled in it.
    static CF::String read_run_loop_mode;

private:
    void run_loop_run();

    std::promise<CFRunLoopRef> run_loop_promise;
    // Ready once the loop has returned for good: no callback runs on it after.
    std::promise<void> loop_ended_promise;
    std::shared_future<void> loop_ended = loop_ended_promise.get_future().share();
    // Built before the thread starts, so that shutdown() can reach it whenever it
    // comes.
    CF::AutoPointer stop_source;
    std::thread thr;
    CFRunLoopRef run_loop;
    std::atomic<bool> stop_requested{false};
};

} // namespace plinth::apple
