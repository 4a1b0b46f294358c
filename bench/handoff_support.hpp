// handoff_support: latency counters, CPU pinning and the std::promise baseline of the handoff benchmarks.
#pragma once

// What the handoff benchmarks share: latencies in microseconds reported as median
// and 99th percentile, a counter a receiver bumps and a sender waits on, the
// pinning of senders and receivers to CPUs of their own, and the baseline they
// are all compared with, a bare std::promise between two threads.
#include <benchmark/benchmark.h>

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <thread>
#include <vector>

namespace plinth::bench {

using clock_type = std::chrono::steady_clock;

inline double microseconds(clock_type::duration d)
{
    return std::chrono::duration<double, std::micro>(d).count();
}

inline void report_latencies(benchmark::State& state, std::vector<double>& latencies)
{
    std::sort(latencies.begin(), latencies.end());
    state.counters["median_us"] = latencies[latencies.size() / 2];
    state.counters["p99_us"] = latencies[latencies.size() * 99 / 100];
}

// Keeps the calling thread on one CPU while it lives, then gives back the CPUs it
// had. A handoff measured between two threads depends on where the scheduler puts
// the woken one: on the waker's CPU it waits for the waker to go to sleep. So
// every sender here runs on CPU 0 and every receiver on CPU 1, the bare handoff's
// as the library's, and the figures compare the handoffs rather than placements.
class pinned_to_cpu
{
public:
    explicit pinned_to_cpu(int cpu)
    {
        pthread_getaffinity_np(pthread_self(), sizeof before_, &before_);
        cpu_set_t only{};
        CPU_ZERO(&only);
        CPU_SET(cpu, &only);
        pthread_setaffinity_np(pthread_self(), sizeof only, &only);
    }
    ~pinned_to_cpu() { pthread_setaffinity_np(pthread_self(), sizeof before_, &before_); }
    pinned_to_cpu(pinned_to_cpu const&) = delete;
    pinned_to_cpu& operator=(pinned_to_cpu const&) = delete;

private:
    cpu_set_t before_{};
};

constexpr int sender_cpu = 0;
constexpr int receiver_cpu = 1;

// Counts what a receiver has taken; the sender waits for it before the next send.
struct acknowledgements
{
    std::atomic<std::uint64_t> count{0};

    void add()
    {
        count.fetch_add(1);
        count.notify_one();
    }

    void wait_for(std::uint64_t n)
    {
        for (auto seen = count.load(); seen < n; seen = count.load())
            count.wait(seen);
    }
};

// One value at a time through a std::promise to a waiting thread, each taken
// before the next is sent: the latency, and the rate of such handoffs.
inline void promise_handoff(benchmark::State& state)
{
    std::vector<double> latencies;
    latencies.reserve(static_cast<std::size_t>(state.max_iterations));
    acknowledgements taken;
    clock_type::time_point sent;
    std::vector<std::promise<void>> promises(static_cast<std::size_t>(state.max_iterations));
    std::vector<std::future<void>> futures;
    for (auto& promise : promises)
        futures.push_back(promise.get_future());
    pinned_to_cpu const sender(sender_cpu);
    std::thread receiver([&] {
        pinned_to_cpu const pinned(receiver_cpu);
        for (auto& future : futures)
        {
            future.wait();
            latencies.push_back(microseconds(clock_type::now() - sent));
            taken.add();
        }
    });
    std::uint64_t given = 0;
    for (auto _ : state)
    {
        sent = clock_type::now();
        promises[given].set_value();
        taken.wait_for(++given);
    }
    receiver.join();
    report_latencies(state, latencies);
    state.counters["handoffs_per_s"] = benchmark::Counter(static_cast<double>(given), benchmark::Counter::kIsRate);
}

} // namespace plinth::bench
