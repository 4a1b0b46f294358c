// The run-loop thread's start-up hand-over, its stop that no run can lose, and its end.
#include "device/apple/detail/run_loop_thread.hpp"

#include "device/apple/detail/perform_on_run_loop.hpp"
#include "io_kit/detail/share.hpp"

#include <cfloat>
#include <exception>
#include <new>
#include <utility>

namespace plinth::apple::detail {
namespace {

CFRunLoopSourceRef source_of(CF::AutoPointer const& source)
{
    return static_cast<CFRunLoopSourceRef>(const_cast<void*>(source.GetTypeRef()));
}

} // namespace

run_loop_thread::run_loop_thread(CFStringRef mode, rig::oneshot_function<void(CFRunLoopRef)> prepare)
    : served_mode(mode), stop_source(make_stop_source(this))
{
    auto handed_over = handoff.get_future();
    thread = std::thread([this, prepare = std::move(prepare)]() mutable { run(std::move(prepare)); });
    try
    {
        run_loop = handed_over.get();
    }
    catch (...)
    {
        // The thread failed before its loop ran, and has ended or is ending.
        thread.join();
        throw;
    }
}

run_loop_thread::~run_loop_thread()
{
    stop();
    join();
}

CFRunLoopRef run_loop_thread::get_run_loop() const noexcept
{
    return run_loop;
}

bool run_loop_thread::is_this_thread() const noexcept
{
    return std::this_thread::get_id() == thread.get_id();
}

void run_loop_thread::stop() noexcept
{
    if (stopping.exchange(true))
        return;
    // Once signalled, the loop may stop and its thread free it before the wake-up
    // below: a reference of our own keeps it valid until then.
    CF::AutoPointer const keep_alive = io_kit::detail::share(run_loop);
    CFRunLoopSourceSignal(source_of(stop_source));
    CFRunLoopWakeUp(run_loop);
}

bool run_loop_thread::stop_requested() const noexcept
{
    return stopping.load();
}

void run_loop_thread::wait_until_ended() const
{
    ended.wait();
}

void run_loop_thread::join()
{
    if (thread.joinable())
        thread.join();
}

CFStringRef run_loop_thread::mode() const noexcept
{
    return static_cast<CFStringRef>(served_mode.GetTypeRef());
}

CF::AutoPointer run_loop_thread::make_stop_source(run_loop_thread* thread)
{
    CFRunLoopSourceContext context{};
    // Not retained: the source is served only while the thread runs, and the
    // thread ends before this object does.
    context.info = thread;
    context.perform = stop_current_run;
    CF::AutoPointer source(CFRunLoopSourceCreate(nullptr, 0, &context));
    if (source.GetTypeRef() == nullptr)
        throw std::bad_alloc();
    return source;
}

// Performed on the loop's own thread, inside a run of the served mode, so the stop
// lands on a running loop. Signalled again at once, the source stops the next run
// of the mode too: the run this one is nested in, when a callback runs the loop.
void run_loop_thread::stop_current_run(void* info)
{
    CFRunLoopSourceSignal(source_of(static_cast<run_loop_thread*>(info)->stop_source));
    CFRunLoopStop(CFRunLoopGetCurrent());
}

void run_loop_thread::run(rig::oneshot_function<void(CFRunLoopRef)> prepare)
{
    CFRunLoopRef const loop = CFRunLoopGetCurrent();
    try
    {
        if (prepare)
            prepare(loop);
        // In the mode before the loop first runs, so that no stop finds it missing;
        // being there, it also keeps the mode from being empty, which would end a run.
        CFRunLoopAddSource(loop, source_of(stop_source), mode());
        // Handed over from inside a run: the constructor returns only once the loop runs.
        perform_on_run_loop(loop, mode(), [this, loop] { handoff.set_value(loop); });
    }
    catch (...)
    {
        handoff.set_exception(std::current_exception());
        ended_promise.set_value();
        return;
    }
    // A run that returns for any other reason, or stopped by anyone but stop(),
    // is entered again: the thread ends only when asked to.
    while (CFRunLoopRunInMode(mode(), DBL_MAX, false) != kCFRunLoopRunStopped || !stopping.load())
    {
    }
    ended_promise.set_value();
}

} // namespace plinth::apple::detail
