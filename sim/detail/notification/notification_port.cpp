// A notification port: queued deliveries performed by its run-loop source.
#include "sim/detail/notification/notification_port.hpp"

#include <algorithm>

namespace plinth::sim::detail {
namespace {

using port_handle = std::shared_ptr<notification_port>;

port_handle& handle_of(void const* info)
{
    return *static_cast<port_handle*>(const_cast<void*>(info));
}

} // namespace

std::shared_ptr<notification_port> notification_port::create()
{
    auto port = std::shared_ptr<notification_port>(new notification_port);
    CFRunLoopSourceContext context{};
    // The source keeps its own shared reference to the port as its info.
    port_handle first = port;
    context.info = &first;
    context.retain = [](void const* info) -> void const* { return new port_handle(handle_of(info)); };
    context.release = [](void const* info) { delete &handle_of(info); };
    context.schedule = schedule;
    context.cancel = cancel;
    context.perform = perform;
    port->source_ = CFRunLoopSourceCreate(nullptr, 0, &context);
    return port;
}

notification_port::~notification_port()
{
    for (auto loop : loops_)
        CFRelease(loop);
}

void notification_port::post(std::function<void()> delivery)
{
    std::vector<CFRunLoopRef> loops;
    CFRunLoopSourceRef source = nullptr;
    {
        std::lock_guard guard(mutex_);
        if (destroyed_)
            return;
        queued_.push_back(std::move(delivery));
        source = source_;
        CFRetain(source);
        for (auto loop : loops_)
            loops.push_back(static_cast<CFRunLoopRef>(const_cast<void*>(CFRetain(loop))));
    }
    CFRunLoopSourceSignal(source);
    for (auto loop : loops)
    {
        CFRunLoopWakeUp(loop);
        CFRelease(loop);
    }
    CFRelease(source);
}

void notification_port::destroy()
{
    CFRunLoopSourceRef source = nullptr;
    {
        std::lock_guard guard(mutex_);
        destroyed_ = true;
        queued_.clear();
        source = source_;
        source_ = nullptr;
    }
    // The source's info holds the last references to this port: keep it alive
    // until the source has gone.
    auto const keep = shared_from_this();
    CFRunLoopSourceInvalidate(source);
    CFRelease(source);
}

void notification_port::perform(void* info)
{
    handle_of(info)->deliver_queued();
}

void notification_port::deliver_queued()
{
    std::vector<std::function<void()>> deliveries;
    {
        std::lock_guard guard(mutex_);
        deliveries.swap(queued_);
    }
    for (auto const& delivery : deliveries)
    {
        {
            std::lock_guard guard(mutex_);
            if (destroyed_)
                return;
        }
        delivery();
    }
}

void notification_port::schedule(void* info, CFRunLoopRef loop, CFRunLoopMode)
{
    auto& port = *handle_of(info);
    CFRetain(loop);
    std::lock_guard guard(port.mutex_);
    port.loops_.push_back(loop);
}

void notification_port::cancel(void* info, CFRunLoopRef loop, CFRunLoopMode)
{
    auto& port = *handle_of(info);
    {
        std::lock_guard guard(port.mutex_);
        auto it = std::find(port.loops_.begin(), port.loops_.end(), loop);
        if (it == port.loops_.end())
            return;
        port.loops_.erase(it);
    }
    CFRelease(loop);
}

} // namespace plinth::sim::detail
