// How loading a dump grows with its size: one entry with many properties, and many
// entries at the top of the dump, each in the `ioreg -l` text form and the
// `ioreg -a` XML form. Each is loaded into the registry (read and merged) at
// several sizes; twice the size should take twice the time.
#include "sim/control/loaders.hpp"
#include "sim/control/registry.hpp"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace {

namespace sim = plinth::sim;

constexpr std::uint64_t first_id = 0x100000200;

std::string hex(std::uint64_t v)
{
    char text[24];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(v));
    return text;
}

std::string text_entry_line(std::uint64_t id)
{
    return "+-o Device" + std::to_string(id - first_id) + "  <class IOService, id " + hex(id) + ", registered>\n";
}

std::string text_with_properties(std::size_t count)
{
    std::string text = text_entry_line(first_id) + "    {\n";
    for (std::size_t i = 0; i < count; ++i)
        text += "      \"key" + std::to_string(i) + "\" = " + std::to_string(i) + "\n";
    return text + "    }\n";
}

std::string text_with_top_entries(std::size_t count)
{
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += text_entry_line(first_id + i);
    return text;
}

std::string xml_entry(std::uint64_t id, std::string const& more = {})
{
    return "<dict><key>IOObjectClass</key><string>IOService</string><key>IORegistryEntryID</key><integer>" +
           std::to_string(id) + "</integer><key>IORegistryEntryName</key><string>Device" +
           std::to_string(id - first_id) + "</string>" + more + "</dict>\n";
}

std::string xml_document(std::string const& body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n" + body + "</plist>\n";
}

std::string xml_with_properties(std::size_t count)
{
    std::string keys;
    for (std::size_t i = 0; i < count; ++i)
        keys += "<key>key" + std::to_string(i) + "</key><integer>" + std::to_string(i) + "</integer>\n";
    return xml_document(xml_entry(first_id, keys));
}

std::string xml_with_top_entries(std::size_t count)
{
    std::string entries;
    for (std::size_t i = 0; i < count; ++i)
        entries += xml_entry(first_id + i);
    // `ioreg -a -r` writes one dictionary per match in an array.
    return xml_document("<array>\n" + entries + "</array>\n");
}

template <typename Make, typename Read>
void load(benchmark::State& state, Make make, Read read)
{
    auto const size = static_cast<std::size_t>(state.range(0));
    std::string const text = make(size);
    for (auto _ : state)
    {
        state.PauseTiming();
        sim::reset_registry();
        state.ResumeTiming();
        sim::merge(read(text));
    }
    sim::reset_registry();
    state.counters["items"] =
        benchmark::Counter(static_cast<double>(size * state.iterations()), benchmark::Counter::kIsRate);
    state.SetComplexityN(state.range(0));
}

sim::dump read_text(std::string const& text)
{
    return sim::read_ioreg_text(text);
}
sim::dump read_xml(std::string const& text)
{
    return sim::read_ioreg_xml(text);
}

void text_properties_of_one_entry(benchmark::State& state)
{
    load(state, text_with_properties, read_text);
}
void text_top_level_entries(benchmark::State& state)
{
    load(state, text_with_top_entries, read_text);
}
void xml_properties_of_one_entry(benchmark::State& state)
{
    load(state, xml_with_properties, read_xml);
}
void xml_top_level_entries(benchmark::State& state)
{
    load(state, xml_with_top_entries, read_xml);
}

void sizes(benchmark::internal::Benchmark* b)
{
    for (int size : {12'500, 25'000, 50'000, 100'000})
        b->Arg(size);
    b->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);
}

BENCHMARK(text_properties_of_one_entry)->Apply(sizes);
BENCHMARK(text_top_level_entries)->Apply(sizes);
BENCHMARK(xml_properties_of_one_entry)->Apply(sizes);
BENCHMARK(xml_top_level_entries)->Apply(sizes);

} // namespace
