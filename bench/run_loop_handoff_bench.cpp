// How long a run-loop source takes to reach its loop: the time from
// CFRunLoopSourceSignal plus CFRunLoopWakeUp on one thread to the start of the
// source's perform callback on the loop's thread, against the same handoff made
// with a bare std::promise between two threads. Each sample is one handoff, and
// the next starts only once the receiver has acknowledged it. Reports the median and 99th percentile in microseconds.
#include <benchmark/benchmark.h>

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <thread>
#include <vector>

namespace {

using clock_type = std::chrono::steady_clock;
constexpr int samples_per_run = 20000;

void report(benchmark::State& state, std::vector<double>& latencies)
{
    std::sort(latencies.begin(), latencies.end());
    state.counters["median_us"] = latencies[latencies.size() / 2];
    state.counters["p99_us"] = latencies[latencies.size() * 99 / 100];
}

double microseconds(clock_type::duration d)
{
    return std::chrono::duration<double, std::micro>(d).count();
}

struct handoff
{
    std::atomic<std::uint64_t> acknowledged{0};
    clock_type::time_point sent;
    std::vector<double>* latencies = nullptr;

    void received()
    {
        latencies->push_back(microseconds(clock_type::now() - sent));
        acknowledged.fetch_add(1);
        acknowledged.notify_one();
    }

    void wait_for(std::uint64_t count)
    {
        for (auto seen = acknowledged.load(); seen < count; seen = acknowledged.load())
            acknowledged.wait(seen);
    }
};

void run_loop_source_handoff(benchmark::State& state)
{
    std::vector<double> latencies;
    latencies.reserve(samples_per_run * 4);
    handoff shared;
    shared.latencies = &latencies;

    CFRunLoopSourceContext context{};
    context.info = &shared;
    context.perform = [](void* info) { static_cast<handoff*>(info)->received(); };
    CFRunLoopSourceRef source = CFRunLoopSourceCreate(nullptr, 0, &context);

    std::promise<CFRunLoopRef> published;
    std::atomic<bool> quit{false};
    std::thread loop_thread([&] {
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        // Held past the thread's end, which frees the thread's own reference.
        published.set_value(static_cast<CFRunLoopRef>(const_cast<void*>(CFRetain(CFRunLoopGetCurrent()))));
        while (!quit)
            CFRunLoopRunInMode(kCFRunLoopDefaultMode, 60, false);
    });
    CFRunLoopRef loop = published.get_future().get();

    std::uint64_t sent = 0;
    for (auto _ : state)
    {
        shared.sent = clock_type::now();
        CFRunLoopSourceSignal(source);
        CFRunLoopWakeUp(loop);
        shared.wait_for(++sent);
    }

    // A stop reaches only a running loop: repeat it until the thread has ended.
    quit = true;
    auto finished = std::async(std::launch::async, [&] { loop_thread.join(); });
    while (finished.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
        CFRunLoopStop(loop);
    CFRelease(loop);
    CFRelease(source);
    report(state, latencies);
}

void promise_handoff(benchmark::State& state)
{
    std::vector<double> latencies;
    latencies.reserve(samples_per_run * 4);
    handoff shared;
    shared.latencies = &latencies;

    std::vector<std::promise<void>> promises(static_cast<std::size_t>(state.max_iterations));
    std::vector<std::future<void>> futures;
    for (auto& promise : promises)
        futures.push_back(promise.get_future());
    std::thread receiver([&] {
        for (auto& future : futures)
        {
            future.wait();
            shared.received();
        }
    });

    std::uint64_t sent = 0;
    for (auto _ : state)
    {
        shared.sent = clock_type::now();
        promises[sent].set_value();
        shared.wait_for(++sent);
    }
    receiver.join();
    report(state, latencies);
}

BENCHMARK(run_loop_source_handoff)->Iterations(samples_per_run)->UseRealTime();
BENCHMARK(promise_handoff)->Iterations(samples_per_run)->UseRealTime();

} // namespace
