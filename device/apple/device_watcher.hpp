// device_watcher: a Boost.Asio I/O object that reports entries of a device_match arriving and leaving.
#pragma once

#include "device/apple/detail/device_watch_state.hpp"
#include "device/apple/detail/device_watch_wait.hpp"
#include "device/apple/detail/device_watcher_service.hpp"
#include "device/apple/device_event.hpp"
#include "device/apple/device_match.hpp"
#include "device/apple/detail/notifier_service.hpp"
#include "error/apple/watch_errc.hpp"

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/associated_cancellation_slot.hpp>
#include <boost/asio/cancellation_type.hpp>
#include <boost/system/error_code.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace plinth::apple {

// Reports the registry entries that `match` matches as they arrive and leave, one
// event per async_wait, through IOKit notifications served by the notifier service
// of the executor's execution context.
//
// The entries that match when the watcher starts come first, as arrivals present
// at start, in registry order; then each arrival and departure in the order IOKit
// gave them (a batch that came together in registry order: parents arrive before
// their children and leave after them). An entry leaves only after it arrived, but
// between two entries an arrival and a departure may come out of the order they
// happened in: IOKit batches each kind apart.
//
// Events wait in a queue while nobody waits for them. The queue holds `capacity`
// events; those that find it full are dropped, and the wait that reaches their
// place in the queue completes with watch_errc::overflow, dropped() telling how
// many they were. The next waits get the events that came after them.
//
// Each wait completes through its handler's associated executor (the watcher's by
// default), never inside async_wait and never on the notifier's thread. cancel()
// and a wait's associated cancellation slot (any cancellation type) complete it
// with boost::asio::error::operation_aborted; an event it would have had stays
// queued for the next wait, unless the wait had already taken it (its completion
// then runs with the event). Destroying the watcher cancels its waits; when the
// execution context shuts down, its pending waits are destroyed without being
// called, as Asio does with its own operations.
//
// Thread safety: as an Asio I/O object, distinct watchers may be used concurrently,
// one watcher not (use a strand). Events arrive on the notifier's thread whenever
// they come; that needs nothing of the caller.
class device_watcher
{
public:
    using executor_type = boost::asio::any_io_executor;
    using wait_signature = void(boost::system::error_code, device_event);

    static constexpr std::size_t default_capacity = 1024;

    // Starts watching for `match` through the notifier service of `executor`'s
    // execution context. Throws boost::system::system_error when IOKit refuses
    // the notifications.
    device_watcher(executor_type executor, device_match match, std::size_t capacity = default_capacity);

    // The same, through `notifier` (which may belong to another execution context
    // than the executor's): for a caller that serves notifications on one context
    // and takes the events on another.
    device_watcher(detail::notifier_service& notifier, executor_type executor, device_match match,
                   std::size_t capacity = default_capacity);

    device_watcher(device_watcher const&) = delete;
    device_watcher& operator=(device_watcher const&) = delete;

    // Cancels the pending waits; events still queued are dropped.
    ~device_watcher();

    executor_type get_executor() const noexcept { return executor_; }
    device_match const& get_match() const noexcept { return match_; }
    std::size_t capacity() const noexcept { return state_->capacity(); }

    // How many events had been dropped before the latest wait that completed with
    // watch_errc::overflow; 0 before any.
    std::size_t dropped() const { return state_->dropped(); }

    // Completes every pending wait with operation_aborted; returns how many.
    std::size_t cancel() { return state_->cancel(); }

    // Waits for the next event. Signature void(boost::system::error_code, device_event):
    // the event, or operation_aborted, or watch_errc::overflow (with an empty event).
    template <boost::asio::completion_token_for<wait_signature> CompletionToken =
                  boost::asio::default_completion_token_t<executor_type>>
    auto async_wait(CompletionToken&& token = boost::asio::default_completion_token_t<executor_type>())
    {
        return boost::asio::async_initiate<CompletionToken, wait_signature>(initiate_wait{this}, token);
    }

private:
    // What a wait's cancellation slot holds: it reaches the wait by its key, and
    // does nothing once the wait or the watcher has gone.
    struct wait_cancellation
    {
        std::weak_ptr<detail::device_watch_state> state;
        std::uint64_t id;

        void operator()(boost::asio::cancellation_type type) const
        {
            if ((type & (boost::asio::cancellation_type::terminal | boost::asio::cancellation_type::partial |
                         boost::asio::cancellation_type::total)) == boost::asio::cancellation_type::none)
                return;
            if (auto const alive = state.lock())
                alive->cancel(id);
        }
    };

    struct initiate_wait
    {
        device_watcher* self;

        using executor_type = device_watcher::executor_type;
        executor_type get_executor() const noexcept { return self->executor_; }

        template <typename Handler>
        void operator()(Handler&& handler) const
        {
            auto const& state = self->state_;
            auto const id = state->next_wait_id();
            auto slot = boost::asio::get_associated_cancellation_slot(handler);
            if (slot.is_connected())
                slot.template emplace<wait_cancellation>(wait_cancellation{state, id});
            state->add(std::make_unique<detail::device_watch_wait_for<std::decay_t<Handler>, executor_type>>(
                id, std::forward<Handler>(handler), self->executor_));
        }
    };

    executor_type executor_;
    device_match match_;
    detail::device_watcher_service* service_;
    std::shared_ptr<detail::device_watch_state> state_;
    std::vector<detail::notifier_service::token> tokens_;
};

} // namespace plinth::apple
