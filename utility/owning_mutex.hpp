// owning_mutex: a value bundled with the mutex that guards it, reachable only through a lock.
#pragma once

#include <chrono>
#include <mutex>
#include <utility>

namespace rig {

// A value together with the mutex that guards it. The value is reachable only
// through lock(), so no code can touch it without holding the mutex. A C
// callback that receives an owning_mutex's address as its context casts it back
// to the owning_mutex and calls lock(), as the HID stream's callbacks do. The
// mutex is declared first, so the same address would also serve as the Mutex
// itself; the test checks that layout, but no code of the library relies on it.
template <typename T, typename Mutex = std::mutex>
class owning_mutex
{
public:
    // Access to the value while the lock is held; the lock is released when this
    // object is destroyed.
    template <typename Value>
    class locked
    {
    public:
        locked(Mutex& m, Value& v) : lock_(m), value_(&v) {}

        Value& operator*() const noexcept { return *value_; }
        Value* operator->() const noexcept { return value_; }

        // Releases the lock early; the value is no longer reachable afterwards.
        void unlock()
        {
            lock_.unlock();
            value_ = nullptr;
        }
        // Waits on `condition` until `ready()`, the lock released while it waits,
        // as std::condition_variable does with a unique_lock: so that a waiter
        // needs no mutex but the value's own. `ready` is called with the lock held.
        template <typename Condition, typename Predicate>
        void wait(Condition& condition, Predicate ready)
        {
            condition.wait(lock_, std::move(ready));
        }
        // As wait(), giving up at `deadline`; returns ready() as it was last seen.
        template <typename Condition, typename Clock, typename Duration, typename Predicate>
        bool wait_until(Condition& condition, std::chrono::time_point<Clock, Duration> const& deadline, Predicate ready)
        {
            return condition.wait_until(lock_, deadline, std::move(ready));
        }

    private:
        std::unique_lock<Mutex> lock_;
        Value* value_;
    };

    template <typename... Args>
    explicit owning_mutex(Args&&... args) : value_(std::forward<Args>(args)...)
    {
    }

    owning_mutex(owning_mutex const&) = delete;
    owning_mutex& operator=(owning_mutex const&) = delete;

    locked<T> lock() { return {mutex_, value_}; }
    locked<T const> lock() const { return {mutex_, value_}; }

private:
    mutable Mutex mutex_;
    T value_;
};

} // namespace rig
