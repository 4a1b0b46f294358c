// A full walk of the registry in the IOService plane, as plinth-ioreg makes it:
// every entry's summary, and with properties every property of every entry read
// through the library. Reports entries walked per second and, on the simulated
// I/O Kit, the IOKit calls each entry costs.
#include <benchmark/benchmark.h>

#if defined(PLINTH_IOREG_WALKER)
#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"
#include "tools/plinth-ioreg/entry_lookup.hpp"
#include "tools/plinth-ioreg/registry_walker.hpp"

#if !defined(__APPLE__)
#include "sim/control/diagnostics.hpp"
#include "sim/control/registry.hpp"
#endif

#include <cstdint>

namespace {

void registry_walk(benchmark::State& state)
{
#if !defined(__APPLE__)
    plinth::sim::load_bundled_registry();
#endif
    plinth::apple::tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
    // As the tool lists the tree as text, which shows no paths.
    plinth::ioreg_tool::registry_walker const walker(plinth::plane::service, state.range(0) != 0,
                                                     plinth::ioreg_tool::path_reading::skip);
    std::uint64_t entries = 0;
    [[maybe_unused]] std::uint64_t calls = 0;
    for (auto _ : state) {
#if !defined(__APPLE__)
        plinth::sim::reset_call_count();
#endif
        auto const walked = walker.walk(plinth::ioreg_tool::find_root(registry));
#if !defined(__APPLE__)
        calls += plinth::sim::iokit_call_count();
#endif
        entries += plinth::ioreg_tool::count_nodes(walked);
        benchmark::DoNotOptimize(walked);
    }
    state.counters["entries"] = benchmark::Counter(static_cast<double>(entries), benchmark::Counter::kIsRate);
#if !defined(__APPLE__)
    state.counters["iokit_calls_per_entry"] =
        entries == 0 ? 0.0 : static_cast<double>(calls) / static_cast<double>(entries);
#endif
}

} // namespace

BENCHMARK(registry_walk)->ArgName("with_properties")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

#endif
