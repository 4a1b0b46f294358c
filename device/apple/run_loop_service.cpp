#include "device/apple/run_loop_service.hpp"

#include "device/apple/detail/perform_on_run_loop.hpp"
#include "io_kit/detail/share.hpp"

#include <cfloat>
#include <memory>
#include <new>
#include <thread>
#include <utility>

namespace plinth::apple {
namespace {

CF::AutoPointer make_keep_alive_source()
{
    CFRunLoopSourceContext context{};
    return CF::AutoPointer(CFRunLoopSourceCreate(nullptr, 0, &context));
}

// Performed on the loop's own thread, inside a run of the read mode: the stop
// lands on a running loop, so it cannot be forgotten.
void stop_current_run_loop(void*)
{
    CFRunLoopStop(CFRunLoopGetCurrent());
}

CF::AutoPointer make_stop_source()
{
    CFRunLoopSourceContext context{};
    context.perform = stop_current_run_loop;
    CF::AutoPointer source(CFRunLoopSourceCreate(nullptr, 0, &context));
    if (source.GetTypeRef() == nullptr)
        throw std::bad_alloc();
    return source;
}

CFRunLoopSourceRef source_of(CF::AutoPointer const& source)
{
    return static_cast<CFRunLoopSourceRef>(const_cast<void*>(source.GetTypeRef()));
}

CFStringRef mode_of(CF::String const& mode)
{
    return static_cast<CFStringRef>(mode.GetTypeRef());
}

// Fulfils its promise when it is called or, never called, when it is destroyed:
// a loop that ends without serving it destroys it unrun, and the waiter must
// still wake.
class fulfil_when_done
{
public:
    explicit fulfil_when_done(std::shared_ptr<std::promise<void>> p) : done(std::move(p)) {}
    fulfil_when_done(fulfil_when_done&&) noexcept = default;
    fulfil_when_done& operator=(fulfil_when_done&&) = delete;
    ~fulfil_when_done()
    {
        if (done)
            done->set_value();
    }

    void operator()()
    {
        std::exchange(done, nullptr)->set_value();
    }

private:
    std::shared_ptr<std::promise<void>> done;
};

} // namespace

CF::String run_loop_service::read_run_loop_mode(CFSTR("read"));

run_loop_service::run_loop_service(boost::asio::execution_context& owner)
    : boost::asio::execution_context::service(owner)
    , stop_source(make_stop_source())
    , thr([this] { run_loop_run(); })
    , run_loop(run_loop_promise.get_future().get())
{
}

run_loop_service::~run_loop_service()
{
    thr.join();
}

// A run loop forgets a CFRunLoopStop that arrives while it is between two runs, so
// a shutdown right after construction could find the thread outside its run and
// leave the join hanging. The stop goes through a source in the read mode instead:
// it stays signalled until the loop serves it, and stops the loop from inside.
void run_loop_service::shutdown() noexcept
{
    if (stop_requested.exchange(true))
        return;
    // Once signalled, the loop may stop and its thread free it before the wake-up
    // below: a reference of our own keeps it valid until then.
    CF::AutoPointer const keep_alive = io_kit::detail::share(run_loop);
    CFRunLoopSourceSignal(source_of(stop_source));
    CFRunLoopWakeUp(run_loop);
}

void run_loop_service::finish_callbacks_in_flight()
{
    if (std::this_thread::get_id() == thr.get_id())
        return;
    if (stop_requested.load())
    {
        loop_ended.wait();
        return;
    }
    // The loop runs its sources one at a time: once this one runs, the callback
    // that was under way has returned.
    auto done = std::make_shared<std::promise<void>>();
    auto const finished = done->get_future();
    detail::perform_on_run_loop(run_loop, mode_of(read_run_loop_mode), fulfil_when_done(std::move(done)));
    finished.wait();
}

CFRunLoopRef run_loop_service::get_run_loop() const noexcept
{
    return run_loop;
}

void run_loop_service::run_loop_run()
{
    CFRunLoopRef const loop = CFRunLoopGetCurrent();

    // Keeps the default mode from being empty, so that the start-up pass below
    // does not finish at once.
    CF::AutoPointer const default_keep_alive = make_keep_alive_source();
    CFRunLoopAddSource(loop, source_of(default_keep_alive), kCFRunLoopDefaultMode);
    // In the read mode before the constructor can return, so that no shutdown
    // finds it missing.
    CFRunLoopAddSource(loop, source_of(stop_source), mode_of(read_run_loop_mode));

    // Handed over from inside a running loop: the constructor returns only once
    // the loop runs.
    detail::perform_on_run_loop(loop, kCFRunLoopDefaultMode, [this, loop] { run_loop_promise.set_value(loop); });
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.0, true);

    CF::AutoPointer const read_keep_alive = make_keep_alive_source();
    CFRunLoopAddSource(loop, source_of(read_keep_alive), mode_of(read_run_loop_mode));

    while (CFRunLoopRunInMode(mode_of(read_run_loop_mode), DBL_MAX, false) != kCFRunLoopRunStopped)
    {
    }
    loop_ended_promise.set_value();
}

} // namespace plinth::apple
