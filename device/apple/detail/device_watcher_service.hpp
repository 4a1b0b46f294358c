// device_watcher_service: the per-context service that destroys watchers' pending waits at shutdown.
#pragma once

#include <boost/asio/execution_context.hpp>

#include <map>
#include <memory>
#include <mutex>

namespace plinth::apple::detail {

class device_watch_state;

// Knows the device watchers of one execution context, so that its shutdown can
// destroy their pending waits, as Asio's own services do with their operations:
// a handler must not outlive the context whose work it counts.
class device_watcher_service : public boost::asio::execution_context::service
{
public:
    static boost::asio::execution_context::id id;

    explicit device_watcher_service(boost::asio::execution_context& owner);

    // Destroys every pending wait of every watcher, and their later waits.
    void shutdown() noexcept override;

    // A watcher's state, from its construction to its destruction.
    void add(std::shared_ptr<device_watch_state> const& state);
    void remove(device_watch_state const& state) noexcept;

private:
    std::mutex mutex_;
    std::map<device_watch_state const*, std::weak_ptr<device_watch_state>> states_;
    bool shut_down_ = false;
};

} // namespace plinth::apple::detail
