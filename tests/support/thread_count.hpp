// thread_count: how many threads the process has, and a wait for that number to come back down.
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <thread>

namespace plinth::testing {

// The threads this process has now (Linux: one entry per thread in /proc/self/task).
// The first thread a process makes may bring helpers of the runtime with it (a
// sanitizer's background thread): one is made and joined first, so that they are
// counted from the start.
inline std::size_t thread_count()
{
    static bool const runtime_settled = [] {
        std::thread([] {}).join();
        return true;
    }();
    (void)runtime_settled;
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator()));
}

// Waits until the process is back to `expected` threads: detached threads end on
// their own time. False when they have not within `limit`.
inline bool threads_return_to(std::size_t expected, std::chrono::seconds limit = std::chrono::seconds(10))
{
    auto const until = std::chrono::steady_clock::now() + limit;
    while (thread_count() != expected)
    {
        if (std::chrono::steady_clock::now() > until)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace plinth::testing
