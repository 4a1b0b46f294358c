// hid_value_queue: the kernel's side of one IOHIDQueue: its elements, depth, state and the values waiting in it.
#include "sim/detail/hid/hid_value_queue.hpp"

#include <utility>

namespace plinth::sim::detail {

hid_value_queue::hid_value_queue(std::size_t depth, bool enqueue_all, std::function<void()> became_non_empty)
    : depth_(depth), enqueue_all_(enqueue_all), became_non_empty_(std::move(became_non_empty))
{
}

std::size_t hid_value_queue::depth() const
{
    std::lock_guard const lock(mutex_);
    return depth_;
}

void hid_value_queue::set_depth(std::size_t depth)
{
    std::lock_guard const lock(mutex_);
    depth_ = depth;
}

void hid_value_queue::add(std::uint32_t cookie)
{
    std::lock_guard const lock(mutex_);
    cookies_.insert(cookie);
}

void hid_value_queue::remove(std::uint32_t cookie)
{
    std::lock_guard const lock(mutex_);
    cookies_.erase(cookie);
}

bool hid_value_queue::contains(std::uint32_t cookie) const
{
    std::lock_guard const lock(mutex_);
    return cookies_.contains(cookie);
}

void hid_value_queue::start()
{
    std::lock_guard const lock(mutex_);
    started_ = true;
}

void hid_value_queue::stop()
{
    std::lock_guard const lock(mutex_);
    started_ = false;
}

void hid_value_queue::offer(std::uint32_t cookie, std::span<std::uint8_t const> bytes, std::uint64_t timestamp,
                            bool wanted)
{
    bool announce = false;
    {
        std::lock_guard const lock(mutex_);
        if (!started_ || !(wanted || enqueue_all_) || !cookies_.contains(cookie))
            return;
        // As the kernel's shared queue does: the newest value is the one that
        // finds no room, and what waits stays.
        if (entries_.size() >= depth_)
        {
            ++drops_;
            return;
        }
        announce = entries_.empty();
        entries_.push_back({cookie, {bytes.begin(), bytes.end()}, timestamp});
    }
    arrived_.notify_all();
    if (announce && became_non_empty_)
        became_non_empty_();
}

std::optional<hid_value_queue::entry> hid_value_queue::take()
{
    std::lock_guard const lock(mutex_);
    if (entries_.empty())
        return std::nullopt;
    auto front = std::move(entries_.front());
    entries_.pop_front();
    return front;
}

std::optional<hid_value_queue::entry> hid_value_queue::take_within(std::chrono::nanoseconds limit)
{
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_for(lock, limit, [this] { return !entries_.empty(); }))
        return std::nullopt;
    auto front = std::move(entries_.front());
    entries_.pop_front();
    return front;
}

std::uint64_t hid_value_queue::drops() const
{
    std::lock_guard const lock(mutex_);
    return drops_;
}

} // namespace plinth::sim::detail
