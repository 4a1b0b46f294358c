// The notifier service: its thread and port, its shutdown, and the clean-up that ends a token's notification.
#include "device/apple/detail/notifier_service.hpp"

#include "device/apple/detail/perform_on_run_loop.hpp"
#include "io_kit/detail/share.hpp"
#include "io_kit/mach_port.hpp"

#include <sched.h>

#include <future>
#include <thread>
#include <utility>

namespace plinth::apple::detail {
namespace {

// True once the loop has performed the drain call; false when the loop's thread
// ended without serving it (an ending thread's loop drops its sources and so
// breaks the promise): then no callback can run any more either.
bool wait_for_drain(std::future<void>& drained)
{
    try
    {
        drained.get();
        return true;
    }
    catch (std::future_error const&)
    {
        return false;
    }
}

} // namespace

boost::asio::execution_context::id notifier_service::id;

notifier_service::token::token(std::shared_ptr<notification_data> const& record) noexcept : data(record) {}

notifier_service::token& notifier_service::token::operator=(token&& other) noexcept
{
    if (this != &other)
    {
        std::thread(clean_up, data).detach();
        data = std::move(other.data);
    }
    return *this;
}

notifier_service::token::~token()
{
    std::thread(clean_up, data).detach();
}

notifier_service::notifier_service(boost::asio::execution_context& owner)
    : boost::asio::execution_context::service(owner),
      notification_port(io_kit::mach_port::master_port_default()),
      notifiers(std::make_shared<notifiers_data>())
{
    // The port's source is in the loop before it first runs: once the constructor
    // returns, the loop serves the port.
    notifiers->thread = std::make_unique<run_loop_thread>(kCFRunLoopDefaultMode, [this](CFRunLoopRef loop) {
        CFRunLoopAddSource(loop, notification_port.get_run_loop_source(), kCFRunLoopDefaultMode);
    });
    notifiers->run_loop = notifiers->thread->get_run_loop();
}

notifier_service::~notifier_service()
{
    notifiers.reset();
    notification_port.reset();
}

// The thread is joined before the port and the notifications go, and with the
// mutex released: until the join returns, a callback may still be running with its
// context, or be calling get_token() on this service.
void notifier_service::shutdown() noexcept
{
    std::unique_ptr<run_loop_thread> serving;
    std::set<std::shared_ptr<notification_data>> dropped;
    {
        std::lock_guard const lock(notifiers->mutex);
        if (notifiers->run_loop.exchange(nullptr) == nullptr)
            return;
        serving = std::move(notifiers->thread);
        serving->stop();
        dropped.swap(notifiers->notifications);
    }
    serving->join();
    notification_port.reset();
    dropped.clear();
}

io_kit::io_notification_port& notifier_service::get_notification_port() noexcept
{
    return notification_port;
}

io_kit::io_notification_port const& notifier_service::get_notification_port() const noexcept
{
    return notification_port;
}

CFRunLoopRef notifier_service::get_run_loop() const noexcept
{
    return notifiers->run_loop.load();
}

notifier_service::token notifier_service::get_token(io_kit::io_object notification, std::shared_ptr<void> context)
{
    auto record = std::make_shared<notification_data>();
    record->notifiers = notifiers;
    record->notification = std::move(notification);
    record->context = std::move(context);
    token result(record);
    std::lock_guard const lock(notifiers->mutex);
    notifiers->notifications.insert(std::move(record));
    return result;
}

void notifier_service::clean_up(std::weak_ptr<notification_data> const& data)
{
    auto const record = data.lock();
    if (!record)
        return;
    auto const notifiers = record->notifiers.lock();
    if (!notifiers)
        return;

    std::future<void> drained;
    // A reference of our own, so that the loop can be asked whether it sleeps even
    // while its thread is ending.
    CF::AutoPointer loop;
    {
        std::lock_guard const lock(notifiers->mutex);
        if (!record->notification)
            return;
        // Releasing the notification ends it: no callback is scheduled from here on.
        record->notification = io_kit::io_object();
        if (notifiers->notifications.erase(record) != 0 && notifiers->thread)
        {
            auto const promise = std::make_shared<std::promise<void>>();
            drained = promise->get_future();
            CFRunLoopRef const run_loop = notifiers->run_loop.load();
            loop = io_kit::detail::share(run_loop);
            // The loop performs it between callbacks: once it has run, a callback
            // that was running when the notification ended has returned.
            perform_on_run_loop(run_loop, kCFRunLoopDefaultMode, [promise] { promise->set_value(); });
        }
    }
    if (!drained.valid())
        return;
    if (wait_for_drain(drained))
    {
        auto const run_loop = static_cast<CFRunLoopRef>(const_cast<void*>(loop.GetTypeRef()));
        // Messages queued for the notification before it ended are delivered in
        // later passes: wait until the loop sleeps, or is shutting down.
        while (!CFRunLoopIsWaiting(run_loop) && notifiers->run_loop.load() == run_loop)
            sched_yield();
    }
    record->context.reset();
}

} // namespace plinth::apple::detail
