// Version-0 sources that record what they performed, for the run-loop, notification and HID tests.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

// Version-0 sources for the run-loop, notification and HID tests, each recording
// what its callouts saw, and a thread to run a loop on.
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

// Runs `body` on a thread of its own, whose run loop goes with it: a test that
// uses the current thread's loop leaves no CF object behind.
template <typename Body>
void on_a_thread_of_its_own(Body&& body)
{
    std::thread(std::forward<Body>(body)).join();
}

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

// Polls `done` (by short sleeps, in the test thread only) for up to ten seconds.
inline bool eventually(std::function<bool()> const& done)
{
    auto const until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done())
    {
        if (std::chrono::steady_clock::now() > until)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// A thread whose run loop runs `mode`, sleeping up to a minute a pass, until it is
// told to stop; `source`, if given, is scheduled there from the loop's own thread.
// While the mode is empty each pass returns at once.
class loop_runner
{
public:
    explicit loop_runner(CFStringRef mode = kCFRunLoopDefaultMode, CFRunLoopSourceRef source = nullptr)
    {
        std::promise<void> ready;
        auto started = ready.get_future();
        thread_ = std::thread([this, mode, source, &ready] {
            // Held past the thread's end, which frees the thread's own reference.
            loop_ = static_cast<CFRunLoopRef>(const_cast<void*>(CFRetain(CFRunLoopGetCurrent())));
            id_ = std::this_thread::get_id();
            if (source != nullptr)
                CFRunLoopAddSource(loop_, source, mode);
            ready.set_value();
            while (!quit_)
                CFRunLoopRunInMode(mode, 60, false);
            if (source != nullptr)
                CFRunLoopRemoveSource(loop_, source, mode);
        });
        started.wait();
    }
    loop_runner(loop_runner const&) = delete;
    loop_runner& operator=(loop_runner const&) = delete;
    ~loop_runner() { stop(); }

    void stop()
    {
        if (!thread_.joinable())
            return;
        quit_ = true;
        // A stop reaches only a running loop: repeat it until the loop has seen it.
        auto finished = std::async(std::launch::async, [this] { thread_.join(); });
        while (finished.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
            CFRunLoopStop(loop_);
        CFRelease(loop_);
    }

    CFRunLoopRef loop() const { return loop_; }
    std::thread::id thread_id() const { return id_; }

private:
    std::thread thread_;
    std::atomic<bool> quit_{false};
    CFRunLoopRef loop_ = nullptr;
    std::thread::id id_;
};

} // namespace plinth::testing::run_loop
