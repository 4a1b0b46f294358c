#pragma once

#include <mutex>
#include <utility>

namespace rig {

// A value together with the mutex that guards it, the mutex first. The value is
// reachable only through lock(), so no code can touch it without holding the
// mutex. The layout is part of the contract: C callbacks receive the address of
// an owning_mutex as their context and lock it as the Mutex it starts with.
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
