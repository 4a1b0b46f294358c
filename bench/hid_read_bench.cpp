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
#include "bench/sim_hid_devices.hpp"
#include "device/apple/hid_stream.hpp"
#include "sim/control/hid.hpp"
#include "tests/support/counted_heap.hpp"

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
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator()));
}

constexpr int report_size = 8;

sim::entry_id add_hid_device(int index)
{
    return plinth::bench::add_hid_device(index, report_size);
}

// A fresh registry with one simulated HID device, and a stream open on it.
struct bench_device
{
    sim::entry_id id = (sim::reset_registry(), add_hid_device(0));
    boost::asio::io_context context;
    hid_stream stream{context.get_executor(), plinth::bench::device_of(id)};
};

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
    bench_device device;
    auto const id = device.id;
    auto& stream = device.stream;
    callback_clock const clock(id);
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

// An async_reader started on the device's stream, with the context run by a
// thread of its own (on the receivers' CPU) until the reader is cancelled.
class async_reading
{
public:
    async_reading(bench_device& device, std::function<void()> on_report)
        : device_(device), reader_{device.stream, std::move(on_report)}
    {
        reader_.start();
        runner_ = std::thread([this] {
            plinth::bench::pinned_to_cpu const pinned(plinth::bench::receiver_cpu);
            device_.context.run();
        });
    }
    ~async_reading()
    {
        boost::asio::post(device_.context, [this] { device_.stream.cancel(); });
        runner_.join();
    }
    async_reading(async_reading const&) = delete;
    async_reading& operator=(async_reading const&) = delete;

private:
    bench_device& device_;
    async_reader reader_;
    std::thread runner_;
};

void callback_to_async_handler(benchmark::State& state)
{
    bench_device device;
    callback_clock const clock(device.id);
    std::vector<double> latencies;
    latencies.reserve(samples_per_run * 4);
    acknowledgements read;
    plinth::bench::pinned_to_cpu const sender(plinth::bench::sender_cpu);
    {
        async_reading const reading(device, [&] {
            latencies.push_back(clock.microseconds_since_callback());
            read.add();
        });
        std::uint64_t posted = 0;
        for (auto _ : state)
        {
            sim::post_input_report(device.id, 1, report);
            read.wait_for(++posted);
        }
    }
    report_latencies(state, latencies);
}

// Posts one report per iteration, keeping a few ahead of the reader, never
// enough to fill the device's queue; returns once the reader has taken them all.
void post_back_to_back(benchmark::State& state, sim::entry_id id, acknowledgements& read)
{
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
    state.counters["reports_per_s"] = benchmark::Counter(static_cast<double>(total), benchmark::Counter::kIsRate);
}

void back_to_back_reads(benchmark::State& state)
{
    bench_device device;
    acknowledgements read;
    auto const total = static_cast<std::uint64_t>(state.max_iterations);
    std::thread reader([&] {
        std::array<std::uint8_t, 8> bytes{};
        std::uint8_t report_id = 0;
        for (std::uint64_t i = 0; i < total; ++i)
        {
            device.stream.read({&report_id, boost::asio::buffer(bytes)});
            read.add();
        }
    });
    post_back_to_back(state, device.id, read);
    reader.join();
}

void back_to_back_async_reads(benchmark::State& state)
{
    bench_device device;
    acknowledgements read;
    async_reading const reading(device, [&] { read.add(); });
    post_back_to_back(state, device.id, read);
}

constexpr int warm_up_reads = 1000;

void allocations_per_read(benchmark::State& state)
{
    bench_device device;
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t report_id = 0;
    for (int i = 0; i < warm_up_reads; ++i)
    {
        sim::post_input_report(device.id, 1, report);
        device.stream.read({&report_id, boost::asio::buffer(bytes)});
    }
    std::uint64_t counted = 0;
    for (auto _ : state)
    {
        // The report waits in the device's queue; only the read is counted.
        state.PauseTiming();
        sim::post_input_report(device.id, 1, report);
        state.ResumeTiming();
        auto const before = plinth::testing::heap_allocations.load();
        device.stream.read({&report_id, boost::asio::buffer(bytes)});
        counted += plinth::testing::heap_allocations.load() - before;
    }
    state.counters["allocations_per_read"] = static_cast<double>(counted) / static_cast<double>(state.iterations());
}

void allocations_per_async_read(benchmark::State& state)
{
    bench_device device;
    acknowledgements read;
    async_reading const reading(device, [&] { read.add(); });
    std::uint64_t posted = 0;
    for (int i = 0; i < warm_up_reads; ++i)
    {
        sim::post_input_report(device.id, 1, report);
        read.wait_for(++posted);
    }
    std::uint64_t counted = 0;
    for (auto _ : state)
    {
        // Only the read is counted: the report is posted outside the window.
        state.PauseTiming();
        sim::post_input_report(device.id, 1, report);
        state.ResumeTiming();
        auto const before = plinth::testing::heap_allocations.load();
        read.wait_for(++posted);
        counted += plinth::testing::heap_allocations.load() - before;
    }
    state.counters["allocations_per_read"] = static_cast<double>(counted) / static_cast<double>(state.iterations());
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
            streams.push_back(std::make_unique<hid_stream>(context.get_executor(), plinth::bench::device_of(id)));
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
