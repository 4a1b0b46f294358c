// device_watcher_service: the watchers' states by address, shut down with the lock released.
#include "device/apple/detail/device_watcher_service.hpp"

#include "device/apple/detail/device_watch_state.hpp"

#include <vector>

namespace plinth::apple::detail {

boost::asio::execution_context::id device_watcher_service::id;

device_watcher_service::device_watcher_service(boost::asio::execution_context& owner)
    : boost::asio::execution_context::service(owner)
{
}

// The waits are destroyed with the lock released: destroying a handler may destroy
// a watcher (a coroutine's frame, say), which then comes to remove().
void device_watcher_service::shutdown() noexcept
{
    std::vector<std::shared_ptr<device_watch_state>> states;
    {
        std::lock_guard const lock(mutex_);
        shut_down_ = true;
        for (auto const& [address, state] : states_)
            if (auto alive = state.lock())
                states.push_back(std::move(alive));
    }
    for (auto const& state : states)
        state->shut_down();
}

void device_watcher_service::add(std::shared_ptr<device_watch_state> const& state)
{
    bool late = false;
    {
        std::lock_guard const lock(mutex_);
        states_.emplace(state.get(), state);
        late = shut_down_;
    }
    if (late)
        state->shut_down();
}

void device_watcher_service::remove(device_watch_state const& state) noexcept
{
    std::lock_guard const lock(mutex_);
    states_.erase(&state);
}

} // namespace plinth::apple::detail
