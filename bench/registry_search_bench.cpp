// Searches of the registry in the IOService plane, as `plinth-ioreg tree -c/-k/-r`
// makes them: every entry is tested, and the matches (with the entries that lead
// to them, or below them) are read. Reports entries tested per second and, on
// the simulated I/O Kit, the IOKit calls each tested entry costs, to set beside
// the plain walk's in registry_walk_bench.
#include <benchmark/benchmark.h>

#if defined(PLINTH_IOREG_SEARCH)
#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"
#include "tools/plinth-ioreg/registry/entry_lookup.hpp"
#include "tools/plinth-ioreg/walk/registry_search.hpp"
#include "tools/plinth-ioreg/walk/registry_walker.hpp"

#if !defined(__APPLE__)
#include "sim/control/diagnostics.hpp"
#include "sim/control/registry.hpp"
#endif

#include <cstdint>

namespace {

namespace tool = plinth::ioreg_tool;

enum search_kind : std::int64_t
{
    by_class,
    by_key,
    by_class_subtrees,
};

tool::registry_search make_search(search_kind kind)
{
    tool::search_criteria criteria;
    tool::search_scope scope;
    if (kind == by_key)
        criteria.property_key = "IOTTYDevice";
    else
        criteria.class_name = "IOUSBHostDevice";
    scope.subtrees = kind == by_class_subtrees;
    return tool::registry_search(plinth::plane::service, criteria, scope, false);
}

void registry_search(benchmark::State& state)
{
#if !defined(__APPLE__)
    plinth::sim::load_bundled_registry();
#endif
    plinth::apple::tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
    auto const kind = static_cast<search_kind>(state.range(0));
    auto const search = make_search(kind);
    // Every entry of the plane is tested once per place it appears.
    auto const tested =
        tool::count_nodes(tool::registry_walker(plinth::plane::service, false).walk(tool::find_root(registry)));
    std::uint64_t entries = 0;
    [[maybe_unused]] std::uint64_t calls = 0;
    for (auto _ : state)
    {
#if !defined(__APPLE__)
        plinth::sim::reset_call_count();
#endif
        if (kind == by_class_subtrees)
            benchmark::DoNotOptimize(search.subtrees_of_matches(tool::find_root(registry)));
        else
            benchmark::DoNotOptimize(search.entries_above_matches(tool::find_root(registry)));
#if !defined(__APPLE__)
        calls += plinth::sim::iokit_call_count();
#endif
        entries += tested;
    }
    state.counters["entries"] = benchmark::Counter(static_cast<double>(entries), benchmark::Counter::kIsRate);
#if !defined(__APPLE__)
    state.counters["iokit_calls_per_entry"] =
        entries == 0 ? 0.0 : static_cast<double>(calls) / static_cast<double>(entries);
#endif
}

} // namespace

BENCHMARK(registry_search)
    ->ArgName("class_key_subtrees")
    ->Arg(by_class)
    ->Arg(by_key)
    ->Arg(by_class_subtrees)
    ->Unit(benchmark::kMillisecond);

#endif
