// What plinth-ioreg's registry reads cost: a full walk of the IOService plane as
// the tree command makes it (every entry's summary and, with properties, every
// property of every entry), and the usb, pci and serial listings. Reports entries
// per second and, on the simulated I/O Kit, what each entry costs in IOKit:
// - iokit_calls_per_entry: every IO* call;
// - iokit_round_trips_per_entry: the same without IOObjectRetain and
//   IOObjectRelease, which on a Mac only change the task's own references to a
//   Mach port name (mach_port_mod_refs / mach_port_deallocate) and send IOKit no
//   message. Every other call is a kernel round trip, so this is what a listing
//   costs there.
//
// The walk with properties makes 9 calls and 7 round trips per entry: the iterator
// step that yields the entry, its path, class, ID and property dictionary, its
// child iterator and that iterator's final empty step (round trips), and the
// releases of the entry and of the iterator. The entry's name and location come
// from the last component of its path ("name" or "name@location"), one call
// instead of two, which is exact when that component holds at most one '@'.
// Where it holds more (a name or location with '@' in it), where the path cannot
// be read (the root, which is in no plane; a path over io_string_t's 512 bytes),
// shows no name (the plane's top entry, "IOService:/") or a name or location
// longer than io_name_t keeps, the walk asks for the name and location as well:
// two more calls. In the bundled registry that is two of the IOService plane's
// 341 entries, so the walk measures 9.01 calls and 7.01 round trips per entry,
// the lookup of the root included. What a path cannot show is a name with '@' in
// it and no location: it reads as name@location (IOKit's own path lookup splits
// it the same way), which the text listing prints the same either way.
// Before names came from paths the walk cost 10 calls per entry (name and
// location read apart), and the JSON listing an 11th for the path it shows,
// which it now gets with the name.
#include <benchmark/benchmark.h>

#if defined(PLINTH_IOREG_WALKER)
#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"
#include "tools/plinth-ioreg/listings/pci_listing.hpp"
#include "tools/plinth-ioreg/listings/serial_listing.hpp"
#include "tools/plinth-ioreg/listings/usb_listing.hpp"
#include "tools/plinth-ioreg/registry/entry_lookup.hpp"
#include "tools/plinth-ioreg/walk/registry_walker.hpp"

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
// produced entry and per entry of the IOService plane, and the round trips per
// produced entry.
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
    [[maybe_unused]] std::uint64_t round_trips = 0;
    for (auto _ : state)
    {
#if !defined(__APPLE__)
        plinth::sim::reset_call_count();
#endif
        produced += run(registry);
#if !defined(__APPLE__)
        calls += plinth::sim::iokit_call_count();
        round_trips += plinth::sim::iokit_round_trip_count();
#endif
        ++runs;
    }
    state.counters["entries"] = benchmark::Counter(static_cast<double>(produced), benchmark::Counter::kIsRate);
#if !defined(__APPLE__)
    state.counters["iokit_calls_per_entry"] = per(calls, produced);
    state.counters["iokit_calls_per_plane_entry"] = per(calls, runs * plane_entries);
    state.counters["iokit_round_trips_per_entry"] = per(round_trips, produced);
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
