// Decoding input reports by usage, beside a plain memcpy of the same report in the same run:
// - decode_<device>: one report decoded into a reused vector of values (keyboard, mouse,
//   gamepad, and a 64-byte vendor report of 64 one-byte items);
// - read_one_usage_<device>: one usage's value looked up once and read per report;
// - memcpy_<device>: the report copied into a buffer, the floor any decoder sits on;
// - allocations_per_decode (a counter of decode_*): heap allocations per decoded report
//   after the first, which must be 0.
#include "hid/report_descriptor.hpp"
#include "tests/support/counted_heap.hpp"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <string_view>
#include <vector>

namespace {

using plinth::apple::hid_report_descriptor;
using plinth::apple::hid_report_type;
using plinth::apple::hid_usage;
using plinth::apple::hid_value;

std::vector<std::uint8_t> from_hex(std::string_view hex)
{
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
    return bytes;
}

struct sample_device
{
    hid_report_descriptor descriptor;
    std::vector<std::uint8_t> report;
    hid_usage usage; // the one usage read_one_usage reads
};

sample_device make_device(std::string_view descriptor_hex, hid_usage usage)
{
    sample_device device{hid_report_descriptor::parse(from_hex(descriptor_hex)), {}, usage};
    device.report.resize(device.descriptor.max_report_size(hid_report_type::input));
    std::mt19937 random(7);
    for (auto& byte : device.report)
        byte = static_cast<std::uint8_t>(random());
    return device;
}

// The boot keyboard: eight modifier bits, a reserved byte, six key slots (two held).
sample_device const& keyboard()
{
    static sample_device const device = [] {
        auto d = make_device("05010906a101050719e029e71500250175019508810295017508810195057501"
                             "050819012905910295017503910195067508150025650507190029658100c0",
                             {0x07, 0xE1});
        d.report = {0x02, 0x00, 0x04, 0x05, 0x00, 0x00, 0x00, 0x00};
        return d;
    }();
    return device;
}

// A wheel mouse: three buttons, five bits of padding, X, Y and wheel of 8 bits.
sample_device const& mouse()
{
    static sample_device const device = make_device("05010902a1010901a100050919012903150025019503750181029501750581"
                                                    "0105010930093109381581257f750895038106c0c0",
                                                    {0x01, 0x30});
    return device;
}

// A gamepad: twelve buttons, a hat switch with a null state, four 8-bit axes.
sample_device const& gamepad()
{
    static sample_device const device = make_device("05010905a10105091901290c150025017501950c8102"
                                                    "05010939150025073500463b0165147504950181426500"
                                                    "0930093109320935150026ff00750895048102c0",
                                                    {0x01, 0x31});
    return device;
}

// A vendor-defined device: 64 one-byte items in, 64 out.
sample_device const& vendor()
{
    static sample_device const device =
        make_device("0600ff0901a101150026ff007508954009018102954009019102c0", {0xFF00, 0x01});
    return device;
}

void decode_report(benchmark::State& state, sample_device const& device)
{
    std::vector<hid_value> values;
    device.descriptor.decode(hid_report_type::input, 0, device.report, values); // sizes the vector once
    auto const before = plinth::testing::heap_allocations.load();
    for (auto _ : state)
    {
        device.descriptor.decode(hid_report_type::input, 0, device.report, values);
        benchmark::DoNotOptimize(values.data());
        benchmark::ClobberMemory();
    }
    auto const allocations = plinth::testing::heap_allocations.load() - before;
    state.counters["values"] = static_cast<double>(values.size());
    state.counters["allocations_per_decode"] =
        static_cast<double>(allocations) / static_cast<double>(state.iterations());
}

void read_one_usage(benchmark::State& state, sample_device const& device)
{
    auto const where = device.descriptor.find(hid_report_type::input, device.usage);
    if (!where)
    {
        state.SkipWithError("the usage is not in the descriptor");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(device.descriptor.read(*where, device.report));
}

void copy_report(benchmark::State& state, sample_device const& device)
{
    std::array<std::uint8_t, 256> buffer{};
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(device.report.data());
        std::memcpy(buffer.data(), device.report.data(), device.report.size());
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
}

BENCHMARK_CAPTURE(copy_report, memcpy_keyboard, keyboard());
BENCHMARK_CAPTURE(decode_report, decode_keyboard, keyboard());
BENCHMARK_CAPTURE(read_one_usage, read_one_usage_keyboard, keyboard());
BENCHMARK_CAPTURE(copy_report, memcpy_mouse, mouse());
BENCHMARK_CAPTURE(decode_report, decode_mouse, mouse());
BENCHMARK_CAPTURE(read_one_usage, read_one_usage_mouse, mouse());
BENCHMARK_CAPTURE(copy_report, memcpy_gamepad, gamepad());
BENCHMARK_CAPTURE(decode_report, decode_gamepad, gamepad());
BENCHMARK_CAPTURE(read_one_usage, read_one_usage_gamepad, gamepad());
BENCHMARK_CAPTURE(copy_report, memcpy_vendor_64_bytes, vendor());
BENCHMARK_CAPTURE(decode_report, decode_vendor_64_bytes, vendor());
BENCHMARK_CAPTURE(read_one_usage, read_one_usage_vendor_64_bytes, vendor());

} // namespace
