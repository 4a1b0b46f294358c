// How long a run-loop source takes to reach its loop: the time from
// CFRunLoopSourceSignal plus CFRunLoopWakeUp on one thread to the start of the
// source's perform callback on the loop's thread, against the same handoff made
// with a bare std::promise between two threads. Each sample is one handoff, and
// the next starts only once the receiver has acknowledged it. Reports the median and 99th percentile in microseconds.
#include "bench/handoff_support.hpp"

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

using plinth::bench::acknowledgements;
using plinth::bench::clock_type;
using plinth::bench::microseconds;
constexpr int samples_per_run = 20000;

struct handoff
{
    acknowledgements acknowledged;
    clock_type::time_point sent;
    std::vector<double>* latencies = nullptr;

    void received()
    {
        latencies->push_back(microseconds(clock_type::now() - sent));
        acknowledged.add();
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
    plinth::bench::pinned_to_cpu const sender(plinth::bench::sender_cpu);
    std::thread loop_thread([&] {
        plinth::bench::pinned_to_cpu const pinned(plinth::bench::receiver_cpu);
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
        shared.acknowledged.wait_for(++sent);
    }

    // A stop reaches only a running loop: repeat it until the thread has ended.
    quit = true;
    auto finished = std::async(std::launch::async, [&] { loop_thread.join(); });
    while (finished.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
        CFRunLoopStop(loop);
    CFRelease(loop);
    CFRelease(source);
    plinth::bench::report_latencies(state, latencies);
}

BENCHMARK(run_loop_source_handoff)->Iterations(samples_per_run)->UseRealTime();
BENCHMARK(plinth::bench::promise_handoff)->Iterations(samples_per_run)->UseRealTime();

} // namespace
