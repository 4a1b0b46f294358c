#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

// Version-0 sources for the run-loop and notification tests: each records what its
// callouts saw.
namespace plinth::testing::run_loop {

struct source_probe
{
    std::atomic<int> performs{0};
    std::atomic<int> schedules{0};
    std::atomic<int> cancels{0};
    std::atomic<int> retains{0};
    std::atomic<int> releases{0};
    std::atomic<std::thread::id> perform_thread{};
    CFRunLoopRef last_loop = nullptr;
    CFStringRef last_mode = nullptr;
    // Called from perform, if set.
    void (*on_perform)(source_probe&) = nullptr;
    void* user = nullptr;
    std::mutex log_mutex;
    std::vector<int>* log = nullptr;
    int tag = 0;
};

inline CFRunLoopSourceRef make_source(source_probe& probe, CFIndex order = 0)
{
    CFRunLoopSourceContext context{};
    context.info = &probe;
    context.retain = [](void const* info) -> void const* {
        ++static_cast<source_probe*>(const_cast<void*>(info))->retains;
        return info;
    };
    context.release = [](void const* info) { ++static_cast<source_probe*>(const_cast<void*>(info))->releases; };
    context.schedule = [](void* info, CFRunLoopRef rl, CFRunLoopMode mode) {
        auto* p = static_cast<source_probe*>(info);
        p->last_loop = rl;
        p->last_mode = mode;
        ++p->schedules;
    };
    context.cancel = [](void* info, CFRunLoopRef rl, CFRunLoopMode mode) {
        auto* p = static_cast<source_probe*>(info);
        p->last_loop = rl;
        p->last_mode = mode;
        ++p->cancels;
    };
    context.perform = [](void* info) {
        auto* p = static_cast<source_probe*>(info);
        p->perform_thread = std::this_thread::get_id();
        if (p->log != nullptr)
        {
            std::lock_guard guard(p->log_mutex);
            p->log->push_back(p->tag);
        }
        ++p->performs;
        if (p->on_perform != nullptr)
            p->on_perform(*p);
    };
    return CFRunLoopSourceCreate(nullptr, order, &context);
}

// Waits (by short sleeps, in the test thread only) until the loop sleeps.
inline bool wait_until_waiting(CFRunLoopRef loop, std::chrono::seconds limit = std::chrono::seconds(10))
{
    auto const until = std::chrono::steady_clock::now() + limit;
    while (!CFRunLoopIsWaiting(loop))
    {
        if (std::chrono::steady_clock::now() > until)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

} // namespace plinth::testing::run_loop
