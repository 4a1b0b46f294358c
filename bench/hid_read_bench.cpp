// The report path of a HID stream on the simulated I/O Kit:
// - report_to_read: the time from the simulated device sending a report to
//   read() returning it on the reader's thread, beside promise_handoff, the same
//   handoff made with a bare std::promise between two threads (median and 99th
//   percentile in microseconds, one handoff at a time);
// - back_to_back_reads: reports per second through one stream with a reader that
//   reads back to back, beside promise_handoff's rate of handoffs per second (a
//   read takes one report at a time, as the bare handoff takes one value);
// - allocations_per_read: heap allocations made on the reader's thread per read();
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

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
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

thread_local std::uint64_t allocations_on_this_thread = 0;

} // namespace

void* operator new(std::size_t size)
{
    ++allocations_on_this_thread;
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

void report_to_read(benchmark::State& state)
{
    sim::reset_registry();
    auto const id = add_hid_device(0);
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(id));
    std::vector<double> latencies;
    latencies.reserve(samples_per_run * 4);
    acknowledgements read;
    clock_type::time_point sent;
    std::atomic<bool> quit{false};
    std::thread reader([&] {
        std::array<std::uint8_t, 8> bytes{};
        std::uint8_t report_id = 0;
        while (!quit)
        {
            boost::system::error_code ec;
            stream.read({&report_id, boost::asio::buffer(bytes)}, ec);
            if (ec)
                break;
            latencies.push_back(microseconds(clock_type::now() - sent));
            read.add();
        }
    });
    std::array<std::uint8_t, 8> const report{1, 2, 3, 4, 5, 6, 7, 8};
    std::uint64_t posted = 0;
    for (auto _ : state)
    {
        sent = clock_type::now();
        sim::post_input_report(id, 1, report);
        read.wait_for(++posted);
    }
    quit = true;
    sim::post_input_report(id, 1, report);
    reader.join();
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
    std::array<std::uint8_t, 8> const report{1, 2, 3, 4, 5, 6, 7, 8};
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

void allocations_per_read(benchmark::State& state)
{
    sim::reset_registry();
    auto const id = add_hid_device(0);
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), entry(id));
    std::array<std::uint8_t, 8> const report{1, 2, 3, 4, 5, 6, 7, 8};
    std::array<std::uint8_t, 8> bytes{};
    std::uint8_t report_id = 0;
    std::uint64_t allocations = 0;
    std::uint64_t reads = 0;
    for (auto _ : state)
    {
        // The report waits in the device's queue; only the read is counted.
        state.PauseTiming();
        sim::post_input_report(id, 1, report);
        state.ResumeTiming();
        auto const before = allocations_on_this_thread;
        stream.read({&report_id, boost::asio::buffer(bytes)});
        allocations += allocations_on_this_thread - before;
        ++reads;
    }
    state.counters["allocations_per_read"] = static_cast<double>(allocations) / static_cast<double>(reads);

    // Of these, what the simulated I/O Kit makes when read() schedules the device
    // in the read mode: on a Mac that is CoreFoundation's and IOKit's share.
    io_service_t const service = IOServiceGetMatchingService(kIOMainPortDefault, IORegistryEntryIDMatching(id));
    IOHIDDeviceRef const other = IOHIDDeviceCreate(kCFAllocatorDefault, service);
    CFRunLoopRef const loop = CFRunLoopGetCurrent();
    CFStringRef const mode = CFSTR("read");
    std::uint64_t scheduling = 0;
    for (int i = 0; i < 100; ++i)
    {
        auto const before = allocations_on_this_thread;
        IOHIDDeviceScheduleWithRunLoop(other, loop, mode);
        scheduling += allocations_on_this_thread - before;
        IOHIDDeviceUnscheduleFromRunLoop(other, loop, mode);
    }
    CFRelease(other);
    IOObjectRelease(service);
    state.counters["of_which_scheduling_in_sim"] = static_cast<double>(scheduling) / 100.0;
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

BENCHMARK(report_to_read)->Iterations(samples_per_run)->UseRealTime();
BENCHMARK(plinth::bench::promise_handoff)->Iterations(samples_per_run)->UseRealTime();
BENCHMARK(back_to_back_reads)->Iterations(50000)->UseRealTime();
BENCHMARK(allocations_per_read)->Iterations(2000);
BENCHMARK(threads_per_context)->Arg(1)->Arg(10)->Arg(100)->Iterations(3);

} // namespace
