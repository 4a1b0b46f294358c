// The report path of a HID stream on the simulated I/O Kit, synchronous and
// asynchronous, each beside the bare std::promise handoff between two threads
// (promise_handoff) in the same run:
// - callback_to_read / callback_to_async_handler: the time from the simulated
//   device's report callback (on the run-loop thread) to read() returning, or to
//   async_read's handler starting, on another thread (median and 99th
//   percentile in microseconds, one report at a time);
// - back_to_back_reads / back_to_back_async_reads: reports per second through
//   one stream with a reader that reads back to back, beside promise_handoff's
//   rate of handoffs (a read takes one report at a time);
// - allocations_per_read / allocations_per_async_read: heap allocations per
//   read on every thread, counted after a warm-up;
// - threads_per_context: threads an execution context has with N open streams.
#include "bench/handoff_support.hpp"
#include "device/apple/hid_stream.hpp"
#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"
#include "sim/control/hid.hpp"
#include "sim/control/registry.hpp"

#include <benchmark/benchmark.h>

#include <IOKit/hid/IOHIDDevice.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <iterator>
#include <memory>
#include <new>
#include <thread>
#include <vector>

// g++ takes the replaced operators below for a mismatch between new and free.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

namespace {

std::atomic<std::uint64_t> allocations{0};

} // namespace

void* operator new(std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size == 0 ? 1 : size))
        return p;
    throw std::bad_alloc();
}

void operator delete(void* p) noexcept
{
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}

namespace {

namespace sim = plinth::sim;
using plinth::apple::hid_stream;
using plinth::bench::acknowledgements;
using plinth::bench::clock_type;
using plinth::bench::microseconds;
using plinth::bench::report_latencies;
constexpr int samples_per_run = 20000;
constexpr std::uint64_t in_flight = 16; // below the simulated device's queue

std::size_t thread_count()
{
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                                                  std::filesystem::directory_iterator()));
}

sim::entry_id add_hid_device(int index)
{
    return sim::add_entry({"IOUSBHostHIDDevice", "Bench " + std::to_string(index), std::nullopt,
                           {{"MaxInputReportSize", sim::make_number(8)}}},
                          sim::root_entry_id);
}

plinth::apple::device entry(sim::entry_id id)
{
    plinth::apple::tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
    return plinth::apple::device(plinth::apple::io_kit::io_registry_entry(registry.get_by_id(id).next()));
}

// Where the clock starts: the simulated device's report callback, on the
// run-loop thread, which it keeps on the senders' CPU.
struct callback_clock
{
    std::atomic<clock_type::rep> called{0};

    explicit callback_clock(sim::entry_id id)
    {
        sim::set_input_report_observer(id, [this] {
            thread_local plinth::bench::pinned_to_cpu const pinned(plinth::bench::sender_cpu);
            called.store(clock_type::now().time_since_epoch().count());
        });
    }
    double microseconds_since_callback() const
    {
        return microseconds(clock_type::now() - clock_type::time_point(clock_type::duration(called.load())));
    }
};

std::array<std::uint8_t, 8> const report{1, 2, 3, 4, 5, 6, 7, 8};

void callback_to_read(benchmark::State& state)
{
    sim::reset_registry();
    auto const id = add_hid_device(0);
    callback_clock const clock(id);
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(id));
    std::vector<double> latencies;
    latencies.reserve(samples_per_run * 4);
    acknowledgements read;
    std::atomic<bool> quit{false};
    plinth::bench::pinned_to_cpu const sender(plinth::bench::sender_cpu);
    std::thread reader([&] {
        plinth::bench::pinned_to_cpu const pinned(plinth::bench::receiver_cpu);
        std::array<std::uint8_t, 8> bytes{};
        std::uint8_t report_id = 0;
        while (!quit)
        {
            boost::system::error_code ec;
            stream.read({&report_id, boost::asio::buffer(bytes)}, ec);
            if (ec)
                break;
            latencies.push_back(clock.microseconds_since_callback());
            read.add();
        }
    });
    std::uint64_t posted = 0;
    for (auto _ : state)
    {
        sim::post_input_report(id, 1, report);
        read.wait_for(++posted);
    }
    quit = true;
    sim::post_input_report(id, 1, report);
    reader.join();
    report_latencies(state, latencies);
}

// Reads asynchronously in a loop on an io_context's thread: each handler starts
// the next read, as a coroutine or a callback-style reader does.
struct async_reader
{
    hid_stream& stream;
    std::function<void()> on_report;
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t report_id = 0;

    void start()
    {
        stream.async_read({&report_id, boost::asio::buffer(bytes)}, [this](boost::system::error_code ec, std::size_t) {
            if (ec)
                return;
            on_report();
            start();
        });
    }
};

void callback_to_async_handler(benchmark::State& state)
{
    sim::reset_registry();
    auto const id = add_hid_device(0);
    callback_clock const clock(id);
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(id));
    std::vector<double> latencies;
    latencies.reserve(samples_per_run * 4);
    acknowledgements read;
    async_reader reader{stream, [&] {
                            latencies.push_back(clock.microseconds_since_callback());
                            read.add();
                        }};
    reader.start();
    plinth::bench::pinned_to_cpu const sender(plinth::bench::sender_cpu);
    std::thread runner([&] {
        plinth::bench::pinned_to_cpu const pinned(plinth::bench::receiver_cpu);
        context.run();
    });
    std::uint64_t posted = 0;
    for (auto _ : state)
    {
        sim::post_input_report(id, 1, report);
        read.wait_for(++posted);
    }
    boost::asio::post(context, [&] { stream.cancel(); });
    runner.join();
    report_latencies(state, latencies);
}

void back_to_back_reads(benchmark::State& state)
{
    sim::reset_registry();
    auto const id = add_hid_device(0);
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(id));
    acknowledgements read;
    auto const total = static_cast<std::uint64_t>(state.max_iterations);
    std::thread reader([&] {
        std::array<std::uint8_t, 8> bytes{};
        std::uint8_t report_id = 0;
        for (std::uint64_t i = 0; i < total; ++i)
        {
            stream.read({&report_id, boost::asio::buffer(bytes)});
            read.add();
        }
    });
    std::uint64_t posted = 0;
    for (auto _ : state)
    {
        // Keeps a few reports ahead of the reader, never enough to fill the queue.
        if (posted >= in_flight)
            read.wait_for(posted - in_flight + 1);
        sim::post_input_report(id, 1, report);
        ++posted;
    }
    read.wait_for(total);
    reader.join();
    state.counters["reports_per_s"] = benchmark::Counter(static_cast<double>(total), benchmark::Counter::kIsRate);
}

void back_to_back_async_reads(benchmark::State& state)
{
    sim::reset_registry();
    auto const id = add_hid_device(0);
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(id));
    acknowledgements read;
    async_reader reader{stream, [&] { read.add(); }};
    reader.start();
    std::thread runner([&] { context.run(); });
    auto const total = static_cast<std::uint64_t>(state.max_iterations);
    std::uint64_t posted = 0;
    for (auto _ : state)
    {
        if (posted >= in_flight)
            read.wait_for(posted - in_flight + 1);
        sim::post_input_report(id, 1, report);
        ++posted;
    }
    read.wait_for(total);
    boost::asio::post(context, [&] { stream.cancel(); });
    runner.join();
    state.counters["reports_per_s"] = benchmark::Counter(static_cast<double>(total), benchmark::Counter::kIsRate);
}

constexpr int warm_up_reads = 1000;

void allocations_per_read(benchmark::State& state)
{
    sim::reset_registry();
    auto const id = add_hid_device(0);
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(id));
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t report_id = 0;
    for (int i = 0; i < warm_up_reads; ++i)
    {
        sim::post_input_report(id, 1, report);
        stream.read({&report_id, boost::asio::buffer(bytes)});
    }
    std::uint64_t counted = 0;
    std::uint64_t reads = 0;
    for (auto _ : state)
    {
        // The report waits in the device's queue; only the read is counted.
        state.PauseTiming();
        sim::post_input_report(id, 1, report);
        state.ResumeTiming();
        auto const before = allocations.load();
        stream.read({&report_id, boost::asio::buffer(bytes)});
        counted += allocations.load() - before;
        ++reads;
    }
    state.counters["allocations_per_read"] = static_cast<double>(counted) / static_cast<double>(reads);
}

void allocations_per_async_read(benchmark::State& state)
{
    sim::reset_registry();
    auto const id = add_hid_device(0);
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(id));
    acknowledgements read;
    async_reader reader{stream, [&] { read.add(); }};
    reader.start();
    std::thread runner([&] { context.run(); });
    std::uint64_t posted = 0;
    for (int i = 0; i < warm_up_reads; ++i)
    {
        sim::post_input_report(id, 1, report);
        read.wait_for(++posted);
    }
    std::uint64_t counted = 0;
    for (auto _ : state)
    {
        // Only the read is counted: the report is posted outside the window.
        state.PauseTiming();
        sim::post_input_report(id, 1, report);
        state.ResumeTiming();
        auto const before = allocations.load();
        read.wait_for(++posted);
        counted += allocations.load() - before;
    }
    boost::asio::post(context, [&] { stream.cancel(); });
    runner.join();
    state.counters["allocations_per_read"] =
        static_cast<double>(counted) / static_cast<double>(state.iterations());
}

void threads_per_context(benchmark::State& state)
{
    sim::reset_registry();
    auto const count = static_cast<int>(state.range(0));
    std::vector<sim::entry_id> ids;
    for (int i = 0; i < count; ++i)
        ids.push_back(add_hid_device(i));
    std::size_t added = 0;
    for (auto _ : state)
    {
        auto const before = thread_count();
        boost::asio::io_context context;
        std::vector<std::unique_ptr<hid_stream>> streams;
        for (auto const id : ids)
            streams.push_back(std::make_unique<hid_stream>(context.get_executor(), entry(id)));
        added = thread_count() - before;
        streams.clear();
    }
    state.counters["threads"] = static_cast<double>(added);
}

BENCHMARK(callback_to_read)->Iterations(samples_per_run)->UseRealTime();
BENCHMARK(callback_to_async_handler)->Iterations(samples_per_run)->UseRealTime();
BENCHMARK(plinth::bench::promise_handoff)->Iterations(samples_per_run)->UseRealTime();
BENCHMARK(back_to_back_reads)->Iterations(50000)->UseRealTime();
BENCHMARK(back_to_back_async_reads)->Iterations(50000)->UseRealTime();
BENCHMARK(allocations_per_read)->Iterations(2000);
BENCHMARK(allocations_per_async_read)->Iterations(2000);
BENCHMARK(threads_per_context)->Arg(1)->Arg(10)->Arg(100)->Iterations(3);

} // namespace
