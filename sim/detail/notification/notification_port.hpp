// A notification port: queued deliveries performed by its run-loop source.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace plinth::sim::detail {

// The receiving end of a task's notifications: deliveries queue here and run on
// the thread of whichever run loop serves the port's source, as a Mach port
// source would receive them. The source's info keeps the port alive, so that a
// delivery in flight never outlives it.
class notification_port : public std::enable_shared_from_this<notification_port>
{
public:
    static std::shared_ptr<notification_port> create();
    ~notification_port();

    // The port's own source (owned by the port, not retained for the caller).
    CFRunLoopSourceRef source() const noexcept { return source_; }

    // Queues a delivery and wakes the loops that serve the port. Dropped once the
    // port is destroyed.
    void post(std::function<void()> delivery);

    // Invalidates the source (it leaves every loop), drops queued deliveries and
    // the port's reference to the source.
    void destroy();

private:
    notification_port() = default;

    static void perform(void* info);
    static void schedule(void* info, CFRunLoopRef loop, CFRunLoopMode mode);
    static void cancel(void* info, CFRunLoopRef loop, CFRunLoopMode mode);
    void deliver_queued();

    CFRunLoopSourceRef source_ = nullptr;
    std::mutex mutex_;
    std::vector<std::function<void()>> queued_;
    std::vector<CFRunLoopRef> loops_; // retained, one per scheduling
    bool destroyed_ = false;
};

} // namespace plinth::sim::detail
