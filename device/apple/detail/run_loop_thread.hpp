// The thread that runs a CoreFoundation run loop for a service: started, handed over, stopped and joined.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/string.hpp"
#include "utility/oneshot_function.hpp"

#include <CoreFoundation/CFRunLoop.h>

#include <atomic>
#include <future>
#include <thread>

namespace plinth::apple::detail {

// One thread that runs its CoreFoundation run loop in a single mode until stop().
// The run-loop and notifier services each own one; whatever the loop is to serve
// must be in that mode, since the thread never runs another.
//
// A stop is never lost. CFRunLoopStop acts only on the innermost run that is under
// way at the call, so it is forgotten when it falls between two runs, and taken by
// a run nested inside a callback while the run that called back goes on. This
// thread is stopped through a source in its mode instead: signalled, it stays
// signalled, and every run of the mode that serves it ends, the outermost too.
class run_loop_thread
{
public:
    // Starts the thread, which calls `prepare` with its loop before the loop first
    // runs (to add what the loop serves from its first run), and returns once the
    // loop runs in `mode` and has handed itself over. An exception from `prepare`
    // ends the thread and is rethrown here; so is std::bad_alloc when the stop or
    // the hand-over cannot be queued, and std::system_error when no thread starts.
    explicit run_loop_thread(CFStringRef mode, rig::oneshot_function<void(CFRunLoopRef)> prepare = {});

    run_loop_thread(run_loop_thread const&) = delete;
    run_loop_thread& operator=(run_loop_thread const&) = delete;

    // Stops the loop if nobody has, and joins the thread. Must not run on it.
    ~run_loop_thread();

    // The thread's loop (not retained: it lives as long as the thread). Safe to
    // call from any thread.
    CFRunLoopRef get_run_loop() const noexcept;

    // True when called on the loop's own thread.
    bool is_this_thread() const noexcept;

    // Asks the loop to stop: it does once it is back from whatever it runs now.
    // Neither joins nor waits; safe from any thread, the loop's own included.
    // Later calls do nothing.
    void stop() noexcept;

    // True once stop() has been called.
    bool stop_requested() const noexcept;

    // Returns once the loop has returned for good: no callback runs on it after.
    // Must follow stop(), or it waits for ever.
    void wait_until_ended() const;

    // Waits for the thread to end, after stop(). Later calls do nothing.
    void join();

private:
    void run(rig::oneshot_function<void(CFRunLoopRef)> prepare);
    CFStringRef mode() const noexcept;
    static CF::AutoPointer make_stop_source(run_loop_thread* thread);
    static void stop_current_run(void* info);

    CF::String served_mode;
    // Built before the thread starts, so that stop() can reach it whenever it comes.
    CF::AutoPointer stop_source;
    std::atomic<bool> stopping{false};
    std::promise<CFRunLoopRef> handoff;
    std::promise<void> ended_promise;
    std::shared_future<void> ended = ended_promise.get_future().share();
    std::thread thread;
    CFRunLoopRef run_loop = nullptr;
};

} // namespace plinth::apple::detail
