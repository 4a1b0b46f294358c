// The run-loop service: its thread in the "read" mode, its shutdown, and the wait for a callback under way.
#include "device/apple/run_loop_service.hpp"

#include "device/apple/detail/perform_on_run_loop.hpp"

#include <future>
#include <memory>
#include <utility>

namespace plinth::apple {
namespace {

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

    void operator()() { std::exchange(done, nullptr)->set_value(); }

private:
    std::shared_ptr<std::promise<void>> done;
};

} // namespace

CF::String run_loop_service::read_run_loop_mode(CFSTR("read"));

run_loop_service::run_loop_service(boost::asio::execution_context& owner)
    : boost::asio::execution_context::service(owner), loop_thread(mode_of(read_run_loop_mode))
{
}

run_loop_service::~run_loop_service()
{
    loop_thread.join();
}

void run_loop_service::shutdown() noexcept
{
    loop_thread.stop();
}

void run_loop_service::finish_callbacks_in_flight()
{
    if (loop_thread.is_this_thread())
        return;
    if (loop_thread.stop_requested())
    {
        loop_thread.wait_until_ended();
        return;
    }
    // The loop runs its sources one at a time: once this one runs, the callback
    // that was under way has returned.
    auto done = std::make_shared<std::promise<void>>();
    auto const finished = done->get_future();
    detail::perform_on_run_loop(get_run_loop(), mode_of(read_run_loop_mode), fulfil_when_done(std::move(done)));
    finished.wait();
}

CFRunLoopRef run_loop_service::get_run_loop() const noexcept
{
    return loop_thread.get_run_loop();
}

} // namespace plinth::apple
