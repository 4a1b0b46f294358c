// device_watch_state: draining notifications into ordered events, overflow counting, waits and cancels.
#include "device/apple/detail/device_watch_state.hpp"

#include "error/apple/watch_errc.hpp"
#include "io_kit/io_iterator.hpp"
#include "io_kit/io_registry_entry.hpp"

#include <boost/asio/error.hpp>

#include <algorithm>
#include <utility>

namespace plinth::apple::detail {

device_watch_state::device_watch_state(device_match match, std::size_t capacity)
    : match_(std::move(match)), capacity_(std::max<std::size_t>(capacity, 1))
{
}

device_watch_state::~device_watch_state() = default;

void device_watch_state::arrived(void* refcon, io_iterator_t notification)
{
    static_cast<device_watch_state*>(refcon)->take(notification, device_event::kind_type::arrived, false);
}

void device_watch_state::left(void* refcon, io_iterator_t notification)
{
    static_cast<device_watch_state*>(refcon)->take(notification, device_event::kind_type::left, false);
}

void device_watch_state::take_initial(io_iterator_t notification, device_event::kind_type kind)
{
    take(notification, kind, true);
}

// Runs on the notifier's run-loop thread, or in the constructor for the first
// drain. The lock is held across the drain: a callback that comes while the first
// drain runs waits for it, so the entries present at start come out first.
//
// What accumulated between two callbacks comes out of IOKit in no useful order
// (newest first, with entries arriving during the drain joining in), so a batch is
// put in registry-ID order, the order the kernel made the entries in: parents
// arrive before their children and leave after them.
//
// A drain takes what came up to its end, so one notification may hand out the
// departure of an entry whose arrival the other has not handed out yet: that
// departure is held back until the arrival comes, and then follows it.
void device_watch_state::take(io_iterator_t notification, device_event::kind_type kind, bool initial)
{
    bool const arriving = kind == device_event::kind_type::arrived;
    // The notification owns the iterator: the wrapper takes a reference of its own.
    auto entries = io_kit::io_iterator::share(notification);
    struct taken
    {
        std::uint64_t id;
        device entry;
        bool left_already; // an arrival whose departure came first
    };
    std::vector<taken> batch;
    std::lock_guard const lock(mutex_);
    while (auto object = entries.next())
    {
        device entry{io_kit::io_registry_entry(std::move(object))};
        if (closed_ || (initial && !arriving))
            continue;
        try
        {
            auto const id = entry.get_id();
            if (arriving)
            {
                if (!match_.accepts(entry))
                    continue;
                if (left_early_.erase(id) != 0)
                    batch.push_back({id, std::move(entry), true});
                else if (present_.insert(id).second)
                    batch.push_back({id, std::move(entry), false});
            }
            else if (present_.erase(id) != 0)
                batch.push_back({id, std::move(entry), false});
            else if (match_.accepts(entry))
            {
                // An entry that left before the arrival drain could see it never
                // arrives: its ID would stay forever. Registry IDs grow, so past
                // `capacity` held IDs the oldest is given up on.
                left_early_.insert(id);
                if (left_early_.size() > capacity_)
                    left_early_.erase(left_early_.begin());
            }
        }
        catch (...)
        {
            // An entry whose ID cannot be read has gone from under us: nothing to
            // tell of it, and a callback must not throw.
        }
    }
    std::sort(batch.begin(), batch.end(),
              [arriving](auto const& a, auto const& b) { return arriving ? a.id < b.id : a.id > b.id; });
    for (auto& [id, entry, left_already] : batch)
    {
        if (left_already)
            push(device_event{device_event::kind_type::arrived, entry, false});
        push(device_event{left_already ? device_event::kind_type::left : kind, std::move(entry), initial});
    }
    schedule_waits();
}

void device_watch_state::push(device_event event)
{
    if (queued_events_ < capacity_)
    {
        queue_.push_back(item{std::move(event), 0});
        ++queued_events_;
    }
    else if (!queue_.empty() && !queue_.back().event)
        ++queue_.back().dropped;
    else
        queue_.push_back(item{std::nullopt, 1});
}

std::uint64_t device_watch_state::next_wait_id() noexcept
{
    std::lock_guard const lock(mutex_);
    return ++next_wait_id_;
}

void device_watch_state::add(std::unique_ptr<device_watch_wait> wait)
{
    std::unique_lock lock(mutex_);
    if (shut_down_)
    {
        lock.unlock();
        wait.reset();
        return;
    }
    if (closed_)
        wait->cancelled = true;
    if (wait->cancelled)
        schedule(std::move(wait));
    else
    {
        waiting_.push_back(std::move(wait));
        schedule_waits();
    }
}

// With the lock held: each queued item not yet claimed goes to the oldest waiting wait.
void device_watch_state::schedule_waits()
{
    while (!waiting_.empty() && claims_ < queue_.size())
    {
        auto wait = std::move(waiting_.front());
        waiting_.pop_front();
        ++claims_;
        schedule(std::move(wait));
    }
}

// What a scheduled wait posts, shared by the copies of the posted call: it finishes
// the wait when run, and abandons it when the last copy is destroyed unrun, as an
// execution context does with what it holds when it is destroyed. Without that, the wait would outlive the context in the state, which a
// notification's clean-up may keep a while longer, and its executor would then be
// destroyed after the context it refers to.
struct device_watch_state::completion
{
    completion(std::shared_ptr<device_watch_state> owner, std::uint64_t wait_id) : state(std::move(owner)), id(wait_id)
    {
    }
    completion(completion const&) = delete;
    completion& operator=(completion const&) = delete;
    ~completion()
    {
        if (!ran)
            state->abandon(id);
    }

    std::shared_ptr<device_watch_state> const state;
    std::uint64_t const id;
    bool ran = false;
};

// With the lock held: posts the wait's completion, which finish() decides.
void device_watch_state::schedule(std::unique_ptr<device_watch_wait> wait)
{
    auto const id = wait->id();
    auto& scheduled = scheduled_[id] = std::move(wait);
    auto const once = std::make_shared<completion>(shared_from_this(), id);
    scheduled->post([once] {
        once->ran = true;
        once->state->finish(once->id);
    });
}

void device_watch_state::abandon(std::uint64_t id) noexcept
{
    std::unique_ptr<device_watch_wait> wait;
    {
        std::lock_guard const lock(mutex_);
        auto const found = scheduled_.find(id);
        if (found == scheduled_.end())
            return;
        wait = std::move(found->second);
        scheduled_.erase(found);
        if (!wait->cancelled)
            --claims_;
    }
    // Destroyed here, unlocked: a handler's destructor may do anything.
}

// On the handler's executor: the wait takes its item now, unless it was cancelled
// in the meantime, in which case the item stays for the next wait.
void device_watch_state::finish(std::uint64_t id)
{
    std::unique_ptr<device_watch_wait> wait;
    boost::system::error_code error;
    device_event event;
    {
        std::lock_guard const lock(mutex_);
        auto const found = scheduled_.find(id);
        if (found == scheduled_.end())
            return; // destroyed by a shutdown
        wait = std::move(found->second);
        scheduled_.erase(found);
        if (wait->cancelled)
            error = boost::asio::error::operation_aborted;
        else
        {
            --claims_;
            if (queue_.empty())
            {
                // The queue was dropped when the watcher closed; close() cancels this
                // wait's like, so it cannot happen otherwise.
                error = boost::asio::error::operation_aborted;
            }
            else
            {
                auto next = std::move(queue_.front());
                queue_.pop_front();
                if (next.event)
                {
                    --queued_events_;
                    event = std::move(*next.event);
                }
                else
                {
                    dropped_ = next.dropped;
                    error = watch_errc::overflow;
                }
            }
        }
    }
    wait->complete(error, std::move(event));
}

std::size_t device_watch_state::cancel()
{
    std::lock_guard const lock(mutex_);
    std::size_t cancelled = 0;
    for (auto& [id, wait] : scheduled_)
    {
        if (!wait->cancelled)
        {
            wait->cancelled = true;
            --claims_;
            ++cancelled;
        }
    }
    while (!waiting_.empty())
    {
        auto wait = std::move(waiting_.front());
        waiting_.pop_front();
        wait->cancelled = true;
        schedule(std::move(wait));
        ++cancelled;
    }
    return cancelled;
}

void device_watch_state::cancel(std::uint64_t id)
{
    std::lock_guard const lock(mutex_);
    auto const waiting =
        std::find_if(waiting_.begin(), waiting_.end(), [id](auto const& wait) { return wait->id() == id; });
    if (waiting != waiting_.end())
    {
        auto wait = std::move(*waiting);
        waiting_.erase(waiting);
        wait->cancelled = true;
        schedule(std::move(wait));
        return;
    }
    auto const scheduled = scheduled_.find(id);
    if (scheduled != scheduled_.end() && !scheduled->second->cancelled)
    {
        scheduled->second->cancelled = true;
        --claims_;
        // Its item goes to the next wait, if one is waiting.
        schedule_waits();
    }
}

void device_watch_state::close()
{
    std::deque<item> dropped;
    {
        std::lock_guard const lock(mutex_);
        closed_ = true;
        dropped.swap(queue_);
        queued_events_ = 0;
        present_.clear();
        left_early_.clear();
    }
    cancel();
}

void device_watch_state::shut_down() noexcept
{
    std::deque<std::unique_ptr<device_watch_wait>> waiting;
    std::map<std::uint64_t, std::unique_ptr<device_watch_wait>> scheduled;
    {
        std::lock_guard const lock(mutex_);
        shut_down_ = true;
        waiting.swap(waiting_);
        scheduled.swap(scheduled_);
        claims_ = 0;
    }
    // Destroyed here, unlocked: a handler's destructor may do anything.
}

std::size_t device_watch_state::dropped() const
{
    std::lock_guard const lock(mutex_);
    return dropped_;
}

} // namespace plinth::apple::detail
