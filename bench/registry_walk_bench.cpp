// What plinth-ioreg's registry reads cost: a full walk of the IOService plane as
// the tree command makes it (every entry's summary and, with properties, every
// property of every entry), and the usb, pci and serial listings. Reports entries
// per second and, on the simulated I/O Kit, the IOKit calls each entry costs: on a
// Mac every IOKit call is a kernel round trip, so these counts are what a listing
// costs there.
#include <benchmark/benchmark.h>

#if defined(PLINTH_IOREG_WALKER)
#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"
#include "tools/plinth-ioreg/entry_lookup.hpp"
#include "tools/plinth-ioreg/pci_listing.hpp"
#include "tools/plinth-ioreg/registry_walker.hpp"
#include "tools/plinth-ioreg/serial_listing.hpp"
#include "tools/plinth-ioreg/usb_listing.hpp"

#if !defined(__APPLE__)
#include "sim/control/diagnostics.hpp"
#include "sim/control/registry.hpp"
#endif

#include <cstdint>

namespace {

using plinth::apple::tree;
namespace tool = plinth::ioreg_tool;

tree machine()
{
    return tree(plinth::apple::io_kit::mach_port::master_port_default());
}

// The entries of the IOService plane, counted once for each place the tree shows them.
std::size_t service_plane_entries(tree const& registry)
{
    return tool::count_nodes(
        tool::registry_walker(plinth::plane::service, false, tool::path_reading::skip).walk(tool::find_root(registry)));
}

double per(std::uint64_t calls, std::uint64_t count)
{
    return count == 0 ? 0.0 : static_cast<double>(calls) / static_cast<double>(count);
}

// Runs `run(registry)`, which returns the number of entries it produced, for every
// iteration, and reports those entries per second with the IOKit calls per
// produced entry and per entry of the IOService plane.
template <typename Run>
void measure_registry_reads(benchmark::State& state, Run&& run)
{
#if !defined(__APPLE__)
    plinth::sim::load_bundled_registry();
#endif
    auto const registry = machine();
    auto const plane_entries = service_plane_entries(registry);
    std::uint64_t produced = 0;
    std::uint64_t runs = 0;
    [[maybe_unused]] std::uint64_t calls = 0;
    for (auto _ : state) {
#if !defined(__APPLE__)
        plinth::sim::reset_call_count();
#endif
        produced += run(registry);
#if !defined(__APPLE__)
        calls += plinth::sim::iokit_call_count();
#endif
        ++runs;
    }
    state.counters["entries"] = benchmark::Counter(static_cast<double>(produced), benchmark::Counter::kIsRate);
#if !defined(__APPLE__)
    state.counters["iokit_calls_per_entry"] = per(calls, produced);
    state.counters["iokit_calls_per_plane_entry"] = per(calls, runs * plane_entries);
#endif
}

void registry_walk(benchmark::State& state)
{
    // As the tool lists the tree as text, which shows no paths.
    tool::registry_walker const walker(plinth::plane::service, state.range(0) != 0, tool::path_reading::skip);
    measure_registry_reads(state, [&](tree const& registry) {
        auto const walked = walker.walk(tool::find_root(registry));
        benchmark::DoNotOptimize(walked);
        return tool::count_nodes(walked);
    });
}

template <typename List>
void listing(benchmark::State& state, List list)
{
    measure_registry_reads(state, [&](tree const& registry) {
        auto const items = list(registry);
        benchmark::DoNotOptimize(items);
        return items.size();
    });
}

void usb_listing(benchmark::State& state)
{
    listing(state, tool::list_usb_devices);
}

void pci_listing(benchmark::State& state)
{
    listing(state, tool::list_pci_devices);
}

void serial_listing(benchmark::State& state)
{
    listing(state, tool::list_serial_ports);
}

} // namespace

BENCHMARK(registry_walk)->ArgName("with_properties")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(usb_listing)->Unit(benchmark::kMillisecond);
BENCHMARK(pci_listing)->Unit(benchmark::kMillisecond);
BENCHMARK(serial_listing)->Unit(benchmark::kMillisecond);

#endif
