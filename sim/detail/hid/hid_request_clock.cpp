// hid_request_clock: the timer thread of HID report requests, started on demand and ended when idle.
#include "sim/detail/hid/hid_request_clock.hpp"

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace plinth::sim::detail {
namespace {

struct timer_table
{
    struct timer
    {
        hid_request_clock::timer_id id;
        std::function<void()> work;
    };

    std::mutex mutex;
    std::condition_variable changed;
    std::multimap<hid_request_clock::clock::time_point, timer> timers;
    hid_request_clock::timer_id next_id = 1;
    bool thread_running = false;

    static timer_table& instance()
    {
        // Never destroyed: its thread may still be ending when the process exits.
        static auto* const table = new timer_table;
        return *table;
    }

    void run()
    {
        std::unique_lock lock(mutex);
        while (!timers.empty())
        {
            auto const first = timers.begin();
            // A copy: the timer may be cancelled, and its entry freed, during the wait.
            auto const when = first->first;
            if (when > hid_request_clock::clock::now())
            {
                changed.wait_until(lock, when);
                continue;
            }
            auto work = std::move(first->second.work);
            timers.erase(first);
            lock.unlock();
            work();
            work = nullptr; // what it holds goes before the lock is taken again
            lock.lock();
        }
        thread_running = false;
    }
};

} // namespace

hid_request_clock::timer_id hid_request_clock::call_at(clock::time_point when, std::function<void()> work)
{
    auto& table = timer_table::instance();
    std::lock_guard const lock(table.mutex);
    auto const id = table.next_id++;
    table.timers.emplace(when, timer_table::timer{id, std::move(work)});
    if (!table.thread_running)
    {
        table.thread_running = true;
        std::thread([&table] { table.run(); }).detach();
    }
    table.changed.notify_one();
    return id;
}

void hid_request_clock::cancel(timer_id id)
{
    std::function<void()> gone; // destroyed after the lock is released
    auto& table = timer_table::instance();
    std::lock_guard const lock(table.mutex);
    for (auto it = table.timers.begin(); it != table.timers.end(); ++it)
    {
        if (it->second.id == id)
        {
            gone = std::move(it->second.work);
            table.timers.erase(it);
            table.changed.notify_one();
            return;
        }
    }
}

} // namespace plinth::sim::detail
