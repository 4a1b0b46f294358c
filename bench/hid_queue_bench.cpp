// The HID read path with and without a read queue, each measured beside a hand-written queue reader in the same run.
//
// A queued hid_stream keeps its device scheduled and copies reports into a ring
// as they come, which is what a C HID library's hand-written reader does on a
// Mac (queue_reader_baseline.hpp); it is worth having only if it does that job
// at least as cheaply. So every subject (default and queued read, async_read,
// read_batch and async_read_batch) is measured in rounds that alternate with
// the queue reader on a second device of the same simulated machine, and the
// figures come out as ratios to it (`*_vs_queue_reader`), machine noise hitting
// both alike. The queue reader reads as the subject does: every queued report
// per read against the batch reads, one report per read (as a C HID library's
// read call hands them over) against the others. The figures:
// - back_to_back: reports per second while a poster keeps a few reports ahead
//   of the reader; CPU time of the whole process per report (and without the
//   poster's own, which is the simulated hardware's); context switches per
//   report; heap allocations per report on every thread, the simulation's too;
//   and the CPU time and context switches of the poster, the run-loop thread
//   and the reader apiece, which tell where the cost is. Unpinned, and pinned:
//   the poster and the run-loop thread on one CPU, the reader on the other.
//   Unpinned, a side's three threads settle into a placement that may last the
//   whole run and change its figures by a fifth; pinned, both sides share one
//   placement, slower for both, and the ratios hold to a per cent or two;
// - one_at_a_time (pinned and unpinned): the latency from the device's report
//   callback, and from the post, to the reader holding the report, median and
//   99th percentile, with allocations per report again;
// - scaling: queued streams on one io_context run by one thread, each device
//   posting on a steady schedule: reports delivered and dropped, worst and 99th
//   percentile lateness, CPU per report and the share of a CPU used.
// promise_handoff, the bare std::promise between two threads, is the floor
// under every handoff.
#include "bench/handoff_support.hpp"
#include "bench/queue_reader_baseline.hpp"
#include "bench/rusage_support.hpp"
#include "bench/sim_hid_devices.hpp"
#include "device/apple/hid_read_queue.hpp"
#include "device/apple/hid_report_batch.hpp"
#include "device/apple/hid_stream.hpp"
#include "sim/control/hid.hpp"
#include "tests/support/counted_heap.hpp"

#include <benchmark/benchmark.h>

#include <boost/asio/error.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace sim = plinth::sim;
namespace bench = plinth::bench;
using plinth::apple::hid_open_mode;
using plinth::apple::hid_queue_overflow;
using plinth::apple::hid_read_queue;
using plinth::apple::hid_report_batch;
using plinth::apple::hid_stream;
using bench::clock_type;
using bench::microseconds;

// A cache line on the machines this runs on: what keeps two threads' hot fields apart.
constexpr std::size_t cache_line = 64;
constexpr int report_size = 64;
// The stream's ring and the queue reader's: room for far more than the poster
// keeps in flight.
constexpr std::size_t queue_capacity = 64;
constexpr std::uint64_t in_flight = 16; // well below the simulated kernel queue (186 reports of 64 bytes)

// Each report carries the moment it was posted, read back by whoever takes it.
constexpr std::size_t stamp_offset = 8;
using report_bytes = std::array<std::uint8_t, report_size>;

void post_stamped(sim::entry_id device)
{
    report_bytes bytes{};
    auto const now = clock_type::now().time_since_epoch().count();
    std::memcpy(bytes.data() + stamp_offset, &now, sizeof now);
    sim::post_input_report(device, 1, bytes);
}

clock_type::time_point stamp_of(std::span<std::uint8_t const> bytes)
{
    clock_type::rep posted = 0;
    if (bytes.size() >= stamp_offset + sizeof posted)
        std::memcpy(&posted, bytes.data() + stamp_offset, sizeof posted);
    return clock_type::time_point(clock_type::duration(posted));
}

// The reports a reader has taken, and the count the poster waits for: a reader
// wakes the poster only once that count is reached, so that a reader taking one
// report at a time does not wake it once per report more than a reader taking
// batches does (the poster's wake-ups are the benchmark's, not the reader's).
// Each is written by one thread and read by another: on a line of its own, so
// that no thread's writes evict what another thread is using (see report_sink).
struct taken_reports
{
    static constexpr std::uint64_t nobody_waits = std::numeric_limits<std::uint64_t>::max();
    alignas(cache_line) std::atomic<std::uint64_t> count{0};
    alignas(cache_line) std::atomic<std::uint64_t> awaited{nobody_waits};

    void add(std::uint64_t n)
    {
        // One notification per wait: until the poster wakes and looks, every
        // later read would reach the count too and call into the kernel again,
        // which a reader of one report at a time pays many times a batch's.
        auto target = awaited.load();
        if (count.fetch_add(n) + n >= target && awaited.compare_exchange_strong(target, nobody_waits))
            count.notify_one();
    }

    void wait_for(std::uint64_t n)
    {
        // Either the reader sees the count awaited, or this sees the reader's count.
        awaited.store(n);
        for (auto seen = count.load(); seen < n; seen = count.load())
            count.wait(seen);
        awaited.store(nobody_waits);
    }
};

// What every reader does with what it takes: notes the latencies when asked
// to (into room reserved beforehand, so that it allocates nothing), then
// acknowledges the reports to the poster.
//
// The poster, the delivering thread and the reader each write their own fields
// here once per report. Sharing a cache line, those writes would cost each side
// misses that depend on where its sink happens to fall relative to the lines:
// the subject's and the queue reader's would differ by layout alone, which a
// run that compares the queue reader with itself showed as a bias of several
// per cent. Each field that one thread writes has a line of its own.
struct report_sink
{
    taken_reports taken;
    alignas(cache_line) std::vector<double>* post_to_reader = nullptr;
    std::vector<double>* callback_to_reader = nullptr;
    // Set by the device's report observer just before the report callback runs.
    alignas(cache_line) std::atomic<clock_type::rep> called{0};
    // The threads that deliver the reports and take them.
    alignas(cache_line) std::atomic<int> delivering_thread{0};
    alignas(cache_line) std::atomic<int> reading_thread{0};

    void report(std::span<std::uint8_t const> bytes)
    {
        auto const now = clock_type::now();
        if (post_to_reader != nullptr)
            post_to_reader->push_back(microseconds(now - stamp_of(bytes)));
        if (callback_to_reader != nullptr)
            callback_to_reader->push_back(
                microseconds(now - clock_type::time_point(clock_type::duration(called.load()))));
    }
    void read(std::size_t n)
    {
        thread_local int const me = bench::this_thread_id();
        if (reading_thread.load(std::memory_order_relaxed) != me)
            reading_thread.store(me);
        taken.add(n);
    }
};

enum class subject
{
    default_read,
    default_async_read,
    queued_read,
    queued_async_read,
    queued_read_batch,
    queued_async_read_batch,
    // The hand-written queue reader, taking every queued report per read.
    queue_reader,
    // The same, taking one report per read.
    queue_reader_by_report,
};

bool is_queued(subject s)
{
    return s != subject::default_read && s != subject::default_async_read;
}

bool is_async(subject s)
{
    return s == subject::default_async_read || s == subject::queued_async_read || s == subject::queued_async_read_batch;
}

bool is_batch(subject s)
{
    return s == subject::queued_read_batch || s == subject::queued_async_read_batch;
}

// The queue reader a subject is measured against: one that reads as it does,
// a batch of every queued report per read or one report per read (as a C HID
// library's read call hands them over), so that the ratio is the cost of the
// same job and not of the call's shape. The queue reader against itself reads
// batches on both sides.
subject yardstick_for(subject s)
{
    return is_batch(s) || s == subject::queue_reader ? subject::queue_reader : subject::queue_reader_by_report;
}

// A reader at work on one device, handing what it takes to a sink, until it
// is destroyed.
class reading
{
public:
    virtual ~reading() = default;
};

// Keeps the calling thread on `cpu` while it lives, when the run is pinned.
class pinned_if
{
public:
    pinned_if(bool pinned, int cpu)
    {
        if (pinned)
            pin_.emplace(cpu);
    }

private:
    std::optional<bench::pinned_to_cpu> pin_;
};

struct opened_stream
{
    boost::asio::io_context context;
    hid_stream stream;

    opened_stream(sim::entry_id device, bool queued)
        : stream(queued ? hid_stream(context.get_executor(), bench::device_of(device), hid_open_mode::seized,
                                     hid_read_queue{queue_capacity, hid_queue_overflow::drop_newest})
                        : hid_stream(context.get_executor(), bench::device_of(device), hid_open_mode::seized))
    {
    }
};

// read or read_batch in a loop on a thread of its own. It stops at the first
// read after the quit flag is raised, which one more report wakes.
class blocking_reading final : public reading
{
public:
    blocking_reading(sim::entry_id device, bool queued, bool batch, report_sink& sink, bool pinned)
        : device_(device), opened_(device, queued)
    {
        reader_ = std::thread([this, batch, &sink, pinned] {
            pinned_if const pin(pinned, bench::receiver_cpu);
            if (batch)
                read_batches(sink);
            else
                read_reports(sink);
        });
    }
    ~blocking_reading() override
    {
        quit_.store(true);
        post_stamped(device_);
        reader_.join();
    }

private:
    void read_reports(report_sink& sink)
    {
        report_bytes bytes{};
        std::uint8_t report_id = 0;
        while (!quit_.load())
        {
            boost::system::error_code ec;
            auto const n = opened_.stream.read({&report_id, boost::asio::buffer(bytes)}, ec);
            if (ec)
                return;
            sink.report({bytes.data(), n});
            sink.read(1);
        }
    }
    void read_batches(report_sink& sink)
    {
        hid_report_batch batch(queue_capacity, report_size);
        while (!quit_.load())
        {
            boost::system::error_code ec;
            opened_.stream.read_batch(batch, ec);
            if (ec)
                return;
            for (std::size_t i = 0; i < batch.size(); ++i)
                sink.report(batch[i].bytes);
            sink.read(batch.size());
        }
    }

    sim::entry_id device_;
    opened_stream opened_;
    std::atomic<bool> quit_{false};
    std::thread reader_;
};

// async_read or async_read_batch, each handler starting the next, on a thread
// that runs the stream's io_context until the stream is cancelled.
class async_reading final : public reading
{
public:
    async_reading(sim::entry_id device, bool queued, bool batch, report_sink& sink, bool pinned)
        : opened_(device, queued), sink_(sink), batch_(queue_capacity, report_size)
    {
        if (batch)
            read_batch();
        else
            read_report();
        runner_ = std::thread([this, pinned] {
            pinned_if const pin(pinned, bench::receiver_cpu);
            opened_.context.run();
        });
    }
    ~async_reading() override
    {
        boost::asio::post(opened_.context, [this] { opened_.stream.cancel(); });
        runner_.join();
    }

private:
    void read_report()
    {
        opened_.stream.async_read({&report_id_, boost::asio::buffer(bytes_)},
                                  [this](boost::system::error_code ec, std::size_t n) {
                                      if (ec)
                                          return;
                                      sink_.report({bytes_.data(), n});
                                      sink_.read(1);
                                      read_report();
                                  });
    }
    void read_batch()
    {
        opened_.stream.async_read_batch(batch_, [this](boost::system::error_code ec, std::size_t) {
            if (ec)
                return;
            for (std::size_t i = 0; i < batch_.size(); ++i)
                sink_.report(batch_[i].bytes);
            sink_.read(batch_.size());
            read_batch();
        });
    }

    opened_stream opened_;
    report_sink& sink_;
    report_bytes bytes_{};
    std::uint8_t report_id_ = 0;
    hid_report_batch batch_;
    std::thread runner_;
};

// The hand-written queue reader, its reader thread taking batches, or one
// report at a time.
class queue_reader_reading final : public reading
{
public:
    queue_reader_reading(sim::entry_id device, bool by_report, report_sink& sink, bool pinned)
        : reader_(plinth::apple::io_kit::io_hid_device(
                      plinth::apple::io_kit::io_service_view(bench::device_of(device).get_entry().get())),
                  queue_capacity, report_size)
    {
        thread_ = std::thread([this, by_report, &sink, pinned] {
            pinned_if const pin(pinned, bench::receiver_cpu);
            if (by_report)
                read_reports(sink);
            else
                read_batches(sink);
        });
    }
    ~queue_reader_reading() override
    {
        reader_.close_reads();
        thread_.join();
    }

private:
    void read_batches(report_sink& sink)
    {
        hid_report_batch batch(queue_capacity, report_size);
        while (reader_.read_batch(batch) > 0)
        {
            for (std::size_t i = 0; i < batch.size(); ++i)
                sink.report(batch[i].bytes);
            sink.read(batch.size());
        }
    }
    void read_reports(report_sink& sink)
    {
        report_bytes bytes{};
        std::uint8_t report_id = 0;
        for (std::size_t n = 0; (n = reader_.read_one(bytes, report_id)) > 0;)
        {
            sink.report({bytes.data(), n});
            sink.read(1);
        }
    }

    bench::queue_reader reader_;
    std::thread thread_;
};

std::unique_ptr<reading> start_reading(subject s, sim::entry_id device, report_sink& sink, bool pinned)
{
    if (s == subject::queue_reader || s == subject::queue_reader_by_report)
        return std::make_unique<queue_reader_reading>(device, s == subject::queue_reader_by_report, sink, pinned);
    if (is_async(s))
        return std::make_unique<async_reading>(device, is_queued(s), is_batch(s), sink, pinned);
    return std::make_unique<blocking_reading>(device, is_queued(s), is_batch(s), sink, pinned);
}

// One side of a comparison: a device, its reader, and what its rounds added up to.
struct side
{
    sim::entry_id device;
    report_sink sink;
    std::unique_ptr<reading> reader;
    std::uint64_t posted = 0;

    std::uint64_t reports = 0;
    double wall_seconds = 0;
    bench::resource_usage process;
    bench::resource_usage poster;
    // The thread that runs the device's run loop, and the one that reads.
    bench::resource_usage delivering_usage;
    bench::resource_usage reading_usage;
    std::uint64_t allocations = 0;
    std::vector<double> post_latencies;
    std::vector<double> callback_latencies;
    // Each round's own figures, paired with the other side's of the same round.
    std::vector<double> round_rates;
    std::vector<double> round_cpu_per_report;
    std::vector<double> round_context_switches_per_report;

    side(sim::entry_id d, subject s, bool pinned) : device(d)
    {
        // Where the callback clock starts: on the thread that delivers the
        // report, which keeps to the posters' CPU when pinned.
        sim::set_input_report_observer(device, [this, pinned] {
            if (pinned)
            {
                thread_local bench::pinned_to_cpu const on_sender(bench::sender_cpu);
            }
            thread_local int const me = bench::this_thread_id();
            if (sink.delivering_thread.load(std::memory_order_relaxed) != me)
                sink.delivering_thread.store(me);
            sink.called.store(clock_type::now().time_since_epoch().count());
        });
        reader = start_reading(s, device, sink, pinned);
    }
    ~side()
    {
        reader.reset();
        sim::set_input_report_observer(device, {});
    }
    side(side const&) = delete;
    side& operator=(side const&) = delete;

    // Runs `post` (which posts `count` reports and waits until they are taken)
    // and adds up what it cost.
    template <typename Post>
    void measure(std::uint64_t count, Post&& post)
    {
        auto const delivering_before = bench::thread_usage_of(sink.delivering_thread.load());
        auto const reading_before = bench::thread_usage_of(sink.reading_thread.load());
        auto const allocations_before = plinth::testing::heap_allocations.load();
        auto const process_before = bench::process_usage();
        auto const poster_before = bench::thread_usage();
        auto const start = clock_type::now();
        post();
        auto const wall = std::chrono::duration<double>(clock_type::now() - start).count();
        auto const used = bench::process_usage() - process_before;
        poster += bench::thread_usage() - poster_before;
        allocations += plinth::testing::heap_allocations.load() - allocations_before;
        delivering_usage += bench::thread_usage_of(sink.delivering_thread.load()) - delivering_before;
        reading_usage += bench::thread_usage_of(sink.reading_thread.load()) - reading_before;
        wall_seconds += wall;
        process += used;
        reports += count;
        auto const n = static_cast<double>(count);
        round_rates.push_back(n / wall);
        round_cpu_per_report.push_back(used.cpu_seconds / n);
        round_context_switches_per_report.push_back(static_cast<double>(used.context_switches) / n);
    }

    // Posts `count` reports, never more than in_flight ahead of the reader;
    // once that far ahead, waits until the reader is half as far behind.
    void post_back_to_back(std::uint64_t count)
    {
        for (std::uint64_t i = 0; i < count; ++i)
        {
            if (posted >= in_flight && sink.taken.count.load() <= posted - in_flight)
                sink.taken.wait_for(posted - in_flight / 2);
            post_stamped(device);
            ++posted;
        }
        sink.taken.wait_for(posted);
    }

    // Posts `count` reports, each once the one before has been taken.
    void post_one_at_a_time(std::uint64_t count)
    {
        for (std::uint64_t i = 0; i < count; ++i)
        {
            post_stamped(device);
            sink.taken.wait_for(++posted);
        }
    }

    void record_latencies(std::size_t count)
    {
        post_latencies.reserve(count);
        callback_latencies.reserve(count);
        sink.post_to_reader = &post_latencies;
        sink.callback_to_reader = &callback_latencies;
    }

    double per_report(double total) const { return total / static_cast<double>(reports); }
    double reports_per_second() const { return static_cast<double>(reports) / wall_seconds; }
    double cpu_us_per_report() const { return per_report(process.cpu_seconds) * 1e6; }
    double context_switches_per_report() const { return per_report(static_cast<double>(process.context_switches)); }
};

// The subject's device and the queue reader's, on a fresh simulated registry.
struct compared
{
    pinned_if poster_pin;
    sim::entry_id subject_device = (sim::reset_registry(), bench::add_hid_device(0, report_size));
    sim::entry_id baseline_device = bench::add_hid_device(1, report_size);
    side tested;
    side baseline;

    compared(subject s, bool pinned)
        : poster_pin(pinned, bench::sender_cpu),
          tested(subject_device, s, pinned),
          baseline(baseline_device, yardstick_for(s), pinned)
    {
    }

    // Rounds alternate which side goes first, so that neither always follows
    // the other's leftovers.
    template <typename Round>
    void round(std::int64_t index, Round&& run)
    {
        if (index % 2 == 0)
        {
            run(tested);
            run(baseline);
        }
        else
        {
            run(baseline);
            run(tested);
        }
    }
};

double median_of(std::vector<double>& v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

double p99_of(std::vector<double>& v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() * 99 / 100];
}

// The median over the rounds of one side's figure over the other's in the same
// round: a burst of load from elsewhere on the machine spoils a round or two,
// not the ratio.
double median_ratio(std::vector<double> const& tested, std::vector<double> const& baseline)
{
    std::vector<double> ratios;
    for (std::size_t i = 0; i < tested.size() && i < baseline.size(); ++i)
        ratios.push_back(tested[i] / baseline[i]);
    return median_of(ratios);
}

// Where the CPU time and the context switches went: the poster (the simulated
// device's hardware and kernel), the run-loop thread that delivers the reports
// to the report callback, the thread that reads.
void report_threads(benchmark::State& state, std::string const& prefix, side const& s)
{
    auto const each = [&](std::string const& name, bench::resource_usage const& u) {
        state.counters[prefix + name + "_cpu_us_per_report"] = s.per_report(u.cpu_seconds) * 1e6;
        state.counters[prefix + name + "_ctx_switches_per_report"] =
            s.per_report(static_cast<double>(u.context_switches));
    };
    each("poster", s.poster);
    each("loop", s.delivering_usage);
    each("reader", s.reading_usage);
}

void report_costs(benchmark::State& state, std::string const& prefix, side const& s)
{
    report_threads(state, prefix, s);
    state.counters[prefix + "reports_per_s"] = s.reports_per_second();
    state.counters[prefix + "cpu_us_per_report"] = s.cpu_us_per_report();
    state.counters[prefix + "cpu_us_per_report_less_poster"] =
        s.per_report(s.process.cpu_seconds - s.poster.cpu_seconds) * 1e6;
    state.counters[prefix + "ctx_switches_per_report"] = s.context_switches_per_report();
    state.counters[prefix + "allocations_per_report"] = s.per_report(static_cast<double>(s.allocations));
}

constexpr std::uint64_t back_to_back_chunk = 4000;
constexpr std::uint64_t warm_up_reports = 2000;

void back_to_back(benchmark::State& state, subject s, bool pinned)
{
    compared c(s, pinned);
    for (auto* each : {&c.tested, &c.baseline})
        each->post_back_to_back(warm_up_reports);
    std::int64_t index = 0;
    for (auto _ : state)
        c.round(index++,
                [](side& d) { d.measure(back_to_back_chunk, [&] { d.post_back_to_back(back_to_back_chunk); }); });
    report_costs(state, "", c.tested);
    report_costs(state, "qr_", c.baseline);
    state.counters["throughput_vs_queue_reader"] = median_ratio(c.tested.round_rates, c.baseline.round_rates);
    state.counters["cpu_vs_queue_reader"] =
        median_ratio(c.tested.round_cpu_per_report, c.baseline.round_cpu_per_report);
    state.counters["ctx_switches_vs_queue_reader"] =
        median_ratio(c.tested.round_context_switches_per_report, c.baseline.round_context_switches_per_report);
}

void report_latencies(benchmark::State& state, std::string const& prefix, side& s)
{
    report_threads(state, prefix, s);
    state.counters[prefix + "post_median_us"] = median_of(s.post_latencies);
    state.counters[prefix + "post_p99_us"] = p99_of(s.post_latencies);
    state.counters[prefix + "callback_median_us"] = median_of(s.callback_latencies);
    state.counters[prefix + "callback_p99_us"] = p99_of(s.callback_latencies);
    state.counters[prefix + "allocations_per_report"] = s.per_report(static_cast<double>(s.allocations));
    state.counters[prefix + "cpu_us_per_report"] = s.cpu_us_per_report();
    state.counters[prefix + "ctx_switches_per_report"] = s.context_switches_per_report();
}

constexpr std::uint64_t one_at_a_time_chunk = 1000;

void one_at_a_time(benchmark::State& state, subject s, bool pinned)
{
    compared c(s, pinned);
    for (auto* each : {&c.tested, &c.baseline})
    {
        each->post_one_at_a_time(warm_up_reports / 4);
        each->record_latencies(static_cast<std::size_t>(state.max_iterations) * one_at_a_time_chunk);
    }
    std::int64_t index = 0;
    for (auto _ : state)
        c.round(index++,
                [](side& d) { d.measure(one_at_a_time_chunk, [&] { d.post_one_at_a_time(one_at_a_time_chunk); }); });
    report_latencies(state, "", c.tested);
    report_latencies(state, "qr_", c.baseline);
    state.counters["post_median_vs_queue_reader"] =
        state.counters["post_median_us"] / state.counters["qr_post_median_us"];
    state.counters["callback_median_vs_queue_reader"] =
        state.counters["callback_median_us"] / state.counters["qr_callback_median_us"];
}

// A queued stream's async_read_batch loop, one per device of the scaling run.
class batch_loop
{
public:
    batch_loop(hid_stream& stream, report_sink& sink)
        : stream_(stream), sink_(sink), batch_(queue_capacity, report_size)
    {
        start();
    }

private:
    void start()
    {
        stream_.async_read_batch(batch_, [this](boost::system::error_code ec, std::size_t) {
            if (ec)
                return;
            for (std::size_t i = 0; i < batch_.size(); ++i)
                sink_.report(batch_[i].bytes);
            sink_.read(batch_.size());
            start();
        });
    }

    hid_stream& stream_;
    report_sink& sink_;
    hid_report_batch batch_;
};

constexpr auto scaling_run = std::chrono::seconds(1);
// Each stream's ring holds 32 ms of an 8 kHz device's reports: on a machine
// shared with other work the reading thread can be held off that long, and
// a ring a quarter of that (64) drops reports then.
constexpr std::size_t scaling_queue_capacity = 256;

// Queued streams on one io_context run by one thread; a poster posts one
// report to every device at each tick of a steady schedule.
void scaling(benchmark::State& state)
{
    auto const stream_count = static_cast<std::size_t>(state.range(0));
    auto const period = std::chrono::nanoseconds(std::chrono::seconds(1)) / state.range(1);
    sim::reset_registry();
    std::vector<sim::entry_id> devices;
    for (std::size_t i = 0; i < stream_count; ++i)
        devices.push_back(bench::add_hid_device(static_cast<int>(i), report_size));
    boost::asio::io_context context;
    std::vector<std::unique_ptr<hid_stream>> streams;
    for (auto const device : devices)
        streams.push_back(
            std::make_unique<hid_stream>(context.get_executor(), bench::device_of(device), hid_open_mode::seized,
                                         hid_read_queue{scaling_queue_capacity, hid_queue_overflow::drop_newest}));
    report_sink sink;
    std::vector<double> lateness;
    auto const expected = stream_count * static_cast<std::size_t>(scaling_run / period + 1);
    lateness.reserve(expected * 2);
    sink.post_to_reader = &lateness;
    std::vector<std::unique_ptr<batch_loop>> loops;
    for (auto& stream : streams)
        loops.push_back(std::make_unique<batch_loop>(*stream, sink));
    std::thread runner([&] { context.run(); });

    std::uint64_t posted = 0;
    double wall_seconds = 0;
    double poster_late_us = 0;
    bench::resource_usage process;
    bench::resource_usage poster;
    for (auto _ : state)
    {
        auto const process_before = bench::process_usage();
        auto const poster_before = bench::thread_usage();
        auto const start = clock_type::now() + std::chrono::milliseconds(1);
        auto const end = start + scaling_run;
        for (auto tick = start; tick < end; tick += period)
        {
            std::this_thread::sleep_until(tick);
            poster_late_us = std::max(poster_late_us, microseconds(clock_type::now() - tick));
            for (auto const device : devices)
                post_stamped(device);
            posted += stream_count;
        }
        // A report lost would leave the count short for ever: the wait has a bound.
        for (auto const give_up = clock_type::now() + std::chrono::seconds(5);
             sink.taken.count.load() < posted && clock_type::now() < give_up;)
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        wall_seconds += std::chrono::duration<double>(clock_type::now() - start).count();
        poster += bench::thread_usage() - poster_before;
        process += bench::process_usage() - process_before;
    }
    boost::asio::post(context, [&] {
        for (auto& stream : streams)
            stream->cancel();
    });
    runner.join();

    std::uint64_t dropped_by_streams = 0;
    std::uint64_t dropped_by_kernel = 0;
    for (std::size_t i = 0; i < stream_count; ++i)
    {
        dropped_by_streams += streams[i]->dropped_reports();
        dropped_by_kernel += sim::dropped_input_reports(devices[i]);
    }
    auto const delivered = static_cast<double>(sink.taken.count.load());
    state.counters["reports"] = delivered;
    state.counters["dropped"] = static_cast<double>(dropped_by_streams + dropped_by_kernel);
    state.counters["dropped_by_streams"] = static_cast<double>(dropped_by_streams);
    state.counters["dropped_by_kernel"] = static_cast<double>(dropped_by_kernel);
    state.counters["worst_lateness_us"] = *std::max_element(lateness.begin(), lateness.end());
    state.counters["p99_lateness_us"] = p99_of(lateness);
    state.counters["median_lateness_us"] = median_of(lateness);
    state.counters["poster_late_us"] = poster_late_us;
    state.counters["cpu_us_per_report"] = process.cpu_seconds / delivered * 1e6;
    state.counters["cpu_us_per_report_less_poster"] = (process.cpu_seconds - poster.cpu_seconds) / delivered * 1e6;
    state.counters["cpu_share"] = process.cpu_seconds / wall_seconds;
    state.counters["cpu_share_less_poster"] = (process.cpu_seconds - poster.cpu_seconds) / wall_seconds;
    state.counters["ctx_switches_per_report"] = static_cast<double>(process.context_switches) / delivered;
    loops.clear();
    streams.clear();
}

constexpr int back_to_back_rounds = 16;
constexpr int one_at_a_time_rounds = 8;

#define PLINTH_QUEUE_BENCH(name, ...)                                                                                  \
    BENCHMARK_CAPTURE(back_to_back, name, __VA_ARGS__, false)                                                          \
        ->Iterations(back_to_back_rounds)                                                                              \
        ->UseRealTime()                                                                                                \
        ->Unit(benchmark::kMillisecond);                                                                               \
    BENCHMARK_CAPTURE(back_to_back, name##_pinned, __VA_ARGS__, true)                                                  \
        ->Iterations(back_to_back_rounds)                                                                              \
        ->UseRealTime()                                                                                                \
        ->Unit(benchmark::kMillisecond);                                                                               \
    BENCHMARK_CAPTURE(one_at_a_time, name##_pinned, __VA_ARGS__, true)                                                 \
        ->Iterations(one_at_a_time_rounds)                                                                             \
        ->UseRealTime()                                                                                                \
        ->Unit(benchmark::kMillisecond);                                                                               \
    BENCHMARK_CAPTURE(one_at_a_time, name##_unpinned, __VA_ARGS__, false)                                              \
        ->Iterations(one_at_a_time_rounds)                                                                             \
        ->UseRealTime()                                                                                                \
        ->Unit(benchmark::kMillisecond)

PLINTH_QUEUE_BENCH(default_read, subject::default_read);
PLINTH_QUEUE_BENCH(default_async_read, subject::default_async_read);
PLINTH_QUEUE_BENCH(queued_read, subject::queued_read);
PLINTH_QUEUE_BENCH(queued_async_read, subject::queued_async_read);
PLINTH_QUEUE_BENCH(queued_read_batch, subject::queued_read_batch);
PLINTH_QUEUE_BENCH(queued_async_read_batch, subject::queued_async_read_batch);
// The queue reader against a second queue reader: the ratios the comparison
// gives when both sides do the same work, which is how far from 1 the others
// may stray by noise and layout alone.
PLINTH_QUEUE_BENCH(queue_reader_against_itself, subject::queue_reader);
PLINTH_QUEUE_BENCH(queue_reader_by_report_against_itself, subject::queue_reader_by_report);
BENCHMARK(plinth::bench::promise_handoff)->Iterations(20000)->UseRealTime();
BENCHMARK(scaling)
    ->ArgNames({"streams", "hz"})
    ->Args({1, 1000})
    ->Args({10, 1000})
    ->Args({100, 1000})
    ->Args({10, 8000})
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
