// hid_value_queue: the kernel's side of one IOHIDQueue: its elements, depth, state and the values waiting in it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <vector>

namespace plinth::sim::detail {

// One queue of element values. Its client offers it each input element's new
// value, having decided once per report whether the value changed; the queue
// keeps it when started, holding the element, and not full. Thread-safe: a
// reader may wait for a value on one thread while the device reports on another.
class hid_value_queue
{
public:
    struct entry
    {
        std::uint32_t cookie = 0;
        std::vector<std::uint8_t> bytes;
        std::uint64_t timestamp = 0;
    };

    // `became_non_empty` runs (outside the queue's lock) each time a value joins
    // an empty queue.
    hid_value_queue(std::size_t depth, bool enqueue_all, std::function<void()> became_non_empty);

    std::size_t depth() const;
    // A smaller depth drops nothing already queued; it only refuses more.
    void set_depth(std::size_t depth);

    void add(std::uint32_t cookie);
    void remove(std::uint32_t cookie);
    bool contains(std::uint32_t cookie) const;

    void start();
    void stop();

    // One element's value from a report; `wanted`: it changed, or its element is
    // relative or carries the report.
    void offer(std::uint32_t cookie, std::span<std::uint8_t const> bytes, std::uint64_t timestamp, bool wanted);
    std::optional<entry> take();
    // Waits up to `limit` for a value when there is none.
    std::optional<entry> take_within(std::chrono::nanoseconds limit);
    // Values that found the queue full.
    std::uint64_t drops() const;

private:
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::size_t depth_;
    bool const enqueue_all_;
    std::function<void()> const became_non_empty_;
    bool started_ = false;
    std::set<std::uint32_t> cookies_;
    std::deque<entry> entries_;
    std::uint64_t drops_ = 0;
};

} // namespace plinth::sim::detail
