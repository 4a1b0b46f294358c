// The simulated I/O Kit's real-time replay of a HID recording: how late each
// report reaches a program that reads it through a hid_stream, against its
// recorded time from the start of the replay (median, 99th percentile and worst,
// in microseconds), beside the machine's own timer error in the same run: a
// thread sleeping until the same offsets (sleep_until_*), which no replay can beat.
#include "bench/sim_hid_devices.hpp"
#include "device/apple/hid_stream.hpp"
#include "hid/recording.hpp"
#include "sim/control/hid_replay.hpp"
#include "sim/control/registry.hpp"

#include <benchmark/benchmark.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::apple::hid_recording;
using clock_type = std::chrono::steady_clock;

constexpr int reports_per_run = 500;
constexpr auto spacing = std::chrono::milliseconds(2); // a 500 Hz device

// A vendor-defined device sending 8-byte reports `spacing` apart, each telling
// its number in its first two bytes.
hid_recording timed_recording()
{
    std::string text =
        "R: 21 06 00 ff 09 01 a1 01 09 02 15 00 26 ff 00 75 08 95 08 81 02 c0\nN: Replay bench\nI: 3 1234 5678\n";
    for (int i = 0; i < reports_per_run; ++i)
    {
        auto const at = std::chrono::duration_cast<std::chrono::microseconds>(spacing * (i + 1)).count();
        text += fmt::format("E: {:06}.{:06} 8 {:02x} {:02x} 00 00 00 00 00 00\n", at / 1'000'000, at % 1'000'000,
                            i & 0xff, i >> 8);
    }
    return hid_recording::parse(text);
}

double microseconds(clock_type::duration d)
{
    return std::chrono::duration<double, std::micro>(d).count();
}

void report(benchmark::State& state, std::string const& prefix, std::vector<double> lateness)
{
    std::sort(lateness.begin(), lateness.end());
    state.counters[prefix + "median_us"] = lateness[lateness.size() / 2];
    state.counters[prefix + "p99_us"] = lateness[lateness.size() * 99 / 100];
    state.counters[prefix + "worst_us"] = lateness.back();
}

void real_time_replay(benchmark::State& state)
{
    auto const recording = timed_recording();
    auto const& sent = recording.devices[0].inputs;
    std::vector<double> replayed;
    std::vector<double> slept;
    for (auto _ : state)
    {
        sim::reset_registry();
        {
            sim::hid_replay replay(recording, 0, {sim::replay_pace::real_time});
            boost::asio::io_context io;
            plinth::apple::hid_stream stream(io.get_executor(), plinth::bench::device_of(replay.device()));
            replay.start();
            auto const start = replay.started_at();
            for (int i = 0; i < reports_per_run; ++i)
            {
                std::array<std::uint8_t, 8> bytes{};
                std::uint8_t id = 0;
                stream.read({&id, boost::asio::buffer(bytes)});
                auto const now = clock_type::now();
                auto const number = static_cast<std::size_t>(bytes[0] | (bytes[1] << 8));
                replayed.push_back(microseconds(now - (start + sent.at(number).time)));
            }
        }
        auto const start = clock_type::now();
        for (auto const& report : sent)
        {
            std::this_thread::sleep_until(start + report.time);
            slept.push_back(microseconds(clock_type::now() - (start + report.time)));
        }
    }
    report(state, "replay_", replayed);
    report(state, "sleep_until_", slept);
    state.counters["median_vs_sleep_until"] =
        state.counters["replay_median_us"] / state.counters["sleep_until_median_us"];
}

BENCHMARK(real_time_replay)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
