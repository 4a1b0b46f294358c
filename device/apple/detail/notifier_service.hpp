// The notifier service: an IOKit notification port served by a run-loop thread, and the tokens that end notifications.
#pragma once

#include "device/apple/detail/run_loop_thread.hpp"
#include "io_kit/io_notification_port.hpp"
#include "io_kit/io_object.hpp"

#include <boost/asio/execution_context.hpp>

#include <CoreFoundation/CFRunLoop.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <set>

namespace plinth::apple::detail {

// An execution-context service that owns an IOKit notification port and a thread
// whose run loop serves it. A client creates IOKit notifications on the port,
// hands each to get_token() with whatever its callback needs kept alive, and ends
// it by dropping the token; the callback's context is released only once no
// callback can still be running with it.
class notifier_service : public boost::asio::execution_context::service
{
    struct notifiers_data;
    struct notification_data;

public:
    static boost::asio::execution_context::id id;

    // Ends its notification when destroyed, without ever waiting: it may be
    // destroyed inside its own callback, on the loop's thread. The clean-up runs
    // on a detached thread of its own, started for every token, even an empty one.
    class token
    {
    public:
        token() noexcept = default;
        explicit token(std::shared_ptr<notification_data> const& record) noexcept;
        token(token&& other) noexcept = default;
        // Ends the notification held before, and takes `other`'s.
        token& operator=(token&& other) noexcept;
        token(token const&) = delete;
        token& operator=(token const&) = delete;
        ~token();

    private:
        std::weak_ptr<notification_data> data;
    };

    // Returns once the thread's loop serves the port.
    explicit notifier_service(boost::asio::execution_context& owner);
    notifier_service(notifier_service const&) = delete;
    notifier_service& operator=(notifier_service const&) = delete;
    // Relies on shutdown() having run, as the execution context sees to.
    ~notifier_service() override;

    // Stops and joins the thread, destroys the port and drops every notification.
    // Later calls do nothing.
    void shutdown() noexcept override;

    io_kit::io_notification_port& get_notification_port() noexcept;
    io_kit::io_notification_port const& get_notification_port() const noexcept;

    // The serving loop (not retained); null after shutdown().
    CFRunLoopRef get_run_loop() const noexcept;

    // Takes over `notification` (an IOKit notification object: releasing it ends
    // the notification) and `context`, and returns the token that ends them.
    token get_token(io_kit::io_object notification, std::shared_ptr<void> context);

private:
    struct notifiers_data
    {
        std::mutex mutex;
        // Set from construction until shutdown(), which takes it out to join it.
        std::unique_ptr<run_loop_thread> thread;
        // Atomic because get_run_loop() and the clean-up read it without the mutex.
        std::atomic<CFRunLoopRef> run_loop{nullptr};
        std::set<std::shared_ptr<notification_data>> notifications;
    };

    struct notification_data
    {
        std::weak_ptr<notifiers_data> notifiers;
        io_kit::io_object notification;
        std::shared_ptr<void> context;
    };

    static void clean_up(std::weak_ptr<notification_data> const& data);

    io_kit::io_notification_port notification_port;
    std::shared_ptr<notifiers_data> notifiers;
};

} // namespace plinth::apple::detail
