// device_watch_state: a device_watcher's event queue and waits, shared with the notifier's run-loop thread.
#pragma once

#include "device/apple/detail/device_watch_wait.hpp"
#include "device/apple/device_event.hpp"
#include "device/apple/device_match.hpp"

#include <IOKit/IOKitLib.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

namespace plinth::apple::detail {

// What a device_watcher shares with the notifier's run-loop thread and with the
// completions it schedules: the queue of events not yet taken, and the waits.
//
// Events are queued in the order they came; when the queue holds `capacity` events
// a new one is dropped and counted, and the count is queued in its place, so that
// the wait that reaches it completes with watch_errc::overflow: later events follow
// it. A wait takes its event on its handler's executor, not on the run-loop thread:
// a wait cancelled before its completion runs leaves the event queued for the next.
class device_watch_state : public std::enable_shared_from_this<device_watch_state>
{
public:
    device_watch_state(device_match match, std::size_t capacity);
    device_watch_state(device_watch_state const&) = delete;
    device_watch_state& operator=(device_watch_state const&) = delete;
    ~device_watch_state();

    // IOServiceMatchingCallback for the arrival and the departure notifications,
    // with the state as refcon.
    static void arrived(void* refcon, io_iterator_t notification);
    static void left(void* refcon, io_iterator_t notification);

    // The first drain of a notification, which arms it: the entries that match
    // already are reported as arrivals present at start, in registry order; a
    // departure notification reports nothing then. Arm the departures first, so
    // that an entry leaving before the arrivals are armed is simply never seen.
    void take_initial(io_iterator_t notification, device_event::kind_type kind);

    // A unique key for the next wait, by which its cancellation finds it.
    std::uint64_t next_wait_id() noexcept;

    // Takes a new wait: it completes with the oldest queued event as soon as there
    // is one, through its handler's executor. After shut_down(), destroys it
    // instead, as a shut-down execution context does with its handlers.
    void add(std::unique_ptr<device_watch_wait> wait);

    // Completes every pending wait with operation_aborted; returns how many.
    std::size_t cancel();

    // Completes the wait of key `id` with operation_aborted, unless it has
    // completed already or is about to complete with an event.
    void cancel(std::uint64_t id);

    // The watcher is gone: its waits are cancelled, its events dropped, and later
    // notifications are ignored.
    void close();

    // Its execution context shuts down: every wait is destroyed without being
    // called, and later waits too.
    void shut_down() noexcept;

    // How many events the latest overflow reported had dropped.
    std::size_t dropped() const;

    std::size_t capacity() const noexcept { return capacity_; }

private:
    // A queued event, or, in place of events that found the queue full, their count.
    struct item
    {
        std::optional<device_event> event;
        std::size_t dropped = 0;
    };

    void take(io_iterator_t notification, device_event::kind_type kind, bool present_at_start);
    void push(device_event event);
    void schedule_waits();
    void schedule(std::unique_ptr<device_watch_wait> wait);
    void finish(std::uint64_t id);
    // A scheduled wait whose completion was destroyed unrun (its execution context
    // went away): the wait goes too, while its executor's context still exists.
    void abandon(std::uint64_t id) noexcept;
    struct completion;

    device_match const match_;
    std::size_t const capacity_;

    mutable std::mutex mutex_;
    std::deque<item> queue_;
    std::size_t queued_events_ = 0;
    // The entries reported as arrived and not yet as left: only those leave.
    std::set<std::uint64_t> present_;
    // Matching entries that left before their arrival was handed out: at most
    // `capacity` of them, the newest.
    std::set<std::uint64_t> left_early_;
    std::deque<std::unique_ptr<device_watch_wait>> waiting_;
    // Waits whose completion is posted, by key; each one not cancelled has claimed
    // one queued item, which it takes when its completion runs.
    std::map<std::uint64_t, std::unique_ptr<device_watch_wait>> scheduled_;
    std::size_t claims_ = 0;
    std::size_t dropped_ = 0;
    std::uint64_t next_wait_id_ = 0;
    bool closed_ = false;
    bool shut_down_ = false;
};

} // namespace plinth::apple::detail
