// How fast the simulated I/O Kit reads a large real `ioreg -l` dump, and how much
// heap reading it needs at its peak.
#include "sim/control/loaders.hpp"
#include "sim/control/registry.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <sstream>
#include <string>

// --- heap accounting: every C++ allocation of the process, the library's included --

namespace {

std::atomic<std::size_t> heap_in_use{0};
std::atomic<std::size_t> heap_peak{0};

// Room in front of each block for its size, keeping the alignment malloc gives.
constexpr std::size_t size_header = alignof(std::max_align_t);

void* counted_allocate(std::size_t size) noexcept
{
    auto* block = static_cast<unsigned char*>(std::malloc(size + size_header));
    if (block == nullptr)
        return nullptr;
    *reinterpret_cast<std::size_t*>(block) = size;
    std::size_t const now = heap_in_use.fetch_add(size, std::memory_order_relaxed) + size;
    std::size_t peak = heap_peak.load(std::memory_order_relaxed);
    while (now > peak && !heap_peak.compare_exchange_weak(peak, now, std::memory_order_relaxed))
    {
    }
    return block + size_header;
}

void counted_free(void* p) noexcept
{
    if (p == nullptr)
        return;
    auto* block = static_cast<unsigned char*>(p) - size_header;
    heap_in_use.fetch_sub(*reinterpret_cast<std::size_t*>(block), std::memory_order_relaxed);
    std::free(block);
}

void* allocate_or_throw(std::size_t size)
{
    if (void* p = counted_allocate(size))
        return p;
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size)
{
    return allocate_or_throw(size);
}
void* operator new[](std::size_t size)
{
    return allocate_or_throw(size);
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept
{
    return counted_allocate(size);
}
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept
{
    return counted_allocate(size);
}
void operator delete(void* p) noexcept
{
    counted_free(p);
}
void operator delete[](void* p) noexcept
{
    counted_free(p);
}
void operator delete(void* p, std::size_t) noexcept
{
    counted_free(p);
}
void operator delete[](void* p, std::size_t) noexcept
{
    counted_free(p);
}
void operator delete(void* p, std::nothrow_t const&) noexcept
{
    counted_free(p);
}
void operator delete[](void* p, std::nothrow_t const&) noexcept
{
    counted_free(p);
}

namespace {

std::filesystem::path const dump_file = PLINTH_SHARED_IOREG_DIR "/macos13-intel-hackintosh-ioreg-l.txt";

// Measures the heap a piece of work needs above what was in use when it started.
class heap_peak_meter
{
public:
    heap_peak_meter() : baseline_(heap_in_use.load()) { heap_peak.store(baseline_); }
    std::size_t peak_above_start() const { return heap_peak.load() - baseline_; }

private:
    std::size_t baseline_;
};

void report(benchmark::State& state, std::size_t entries, std::size_t peak)
{
    state.counters["entries"] =
        benchmark::Counter(static_cast<double>(entries * state.iterations()), benchmark::Counter::kIsRate);
    state.counters["peak_heap_bytes"] = static_cast<double>(peak);
    state.SetBytesProcessed(static_cast<std::int64_t>(std::filesystem::file_size(dump_file)) * state.iterations());
}

void read_text_dump(benchmark::State& state)
{
    if (!std::filesystem::exists(dump_file))
    {
        state.SkipWithError("the shared dumps are absent");
        return;
    }
    std::ifstream in(dump_file, std::ios::binary);
    std::ostringstream contents;
    contents << in.rdbuf();
    std::string const text = std::move(contents).str();

    std::size_t entries = 0;
    std::size_t peak = 0;
    for (auto _ : state)
    {
        heap_peak_meter const meter;
        auto const d = plinth::sim::read_ioreg_text(text);
        entries = d.entries.size();
        peak = std::max(peak, meter.peak_above_start());
        benchmark::DoNotOptimize(d.entries.data());
    }
    report(state, entries, peak);
}
BENCHMARK(read_text_dump)->Unit(benchmark::kMillisecond);

void load_text_dump_into_registry(benchmark::State& state)
{
    if (!std::filesystem::exists(dump_file))
    {
        state.SkipWithError("the shared dumps are absent");
        return;
    }
    std::size_t peak = 0;
    for (auto _ : state)
    {
        state.PauseTiming();
        plinth::sim::reset_registry();
        state.ResumeTiming();
        heap_peak_meter const meter;
        plinth::sim::load_dump_file(dump_file);
        peak = std::max(peak, meter.peak_above_start());
    }
    report(state, plinth::sim::entry_count() - 1, peak); // the registry's own root was there before
    plinth::sim::reset_registry();
}
BENCHMARK(load_text_dump_into_registry)->Unit(benchmark::kMillisecond);

} // namespace
