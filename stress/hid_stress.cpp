// Many HID streams on one execution context run by two threads. Most devices
// have one stream, which holds its device seized; two are opened by several
// streams at once, shared. Each stream has one reader of its own kind: a
// blocking read, a read with a (sometimes zero or negative) timeout, a chain of
// callback reads, or a coroutine racing each read against a timer. Other streams
// are opened with a read queue (rings of 1 to 256 reports, dropping the newest
// or the oldest when full), one device of them shared, and have readers of their
// own kinds: a blocking read, a batch read with a timeout, a chain of callback
// batch reads, or a coroutine racing each batch read against a timer (the timer's
// win cancels the read through its cancellation slot, which gives back any
// reports it had taken). Two of those readers are slow on purpose, sleeping
// between reads of a small ring on a device of their own, so that their rings
// drop. Some devices answer report requests at once, some late, some never.
// Meanwhile other threads cancel reads; write output reports, blocking (with and
// without a timeout) and asynchronously (left alone, raced against a timer
// through a cancellation slot, or cancelled by cancel()); and, playing another
// program, seize a shared device for a while and let it go. The main thread posts
// input reports and unplugs the seized devices, queued or not, in the middle of
// reads, plugging each back in as a new entry with a new stream. At the end the
// context is shut down while every reader is blocked.
//
// The run proves that every stream received every report posted to its device
// while it could hear it exactly once and in order, or counted it as dropped:
// by its own kernel queue, or by its read queue (whose reports read, dropping the
// oldest, still only go forwards); that the slow readers' rings did drop, and
// that what each of them read and dropped is exactly what was posted to it; that
// while another program held a shared device its streams heard nothing, and no
// new stream could open it (the refusal naming that program); that every output
// report a write confirmed reached its device, and no more than the writes
// handed over; that every write completed exactly once; that every reader, queued
// or not, was released; and that no handle, CF object or thread was left.

#if defined(__APPLE__)
// The run plays the simulated I/O Kit's devices and registry, which a Mac does not
// have: there the program does nothing.
int main()
{
    return 0;
}
#else

#include "stress/hid_write_tally.hpp"
#include "stress/stress_run.hpp"

#include "device/apple/device.hpp"
#include "device/apple/hid_device_client.hpp"
#include "device/apple/hid_read_queue.hpp"
#include "device/apple/hid_report_batch.hpp"
#include "device/apple/hid_stream.hpp"
#include "device/apple/tree.hpp"
#include "error/apple/hid_errc.hpp"
#include "io_kit/mach_port.hpp"
#include "log/log.hpp"
#include "sim/control/hid.hpp"
#include "sim/control/registry.hpp"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <variant>
#include <vector>

namespace {

namespace asio = boost::asio;
namespace sim = plinth::sim;
using plinth::apple::hid_open_mode;
using plinth::apple::hid_queue_overflow;
using plinth::apple::hid_read_queue;
using plinth::apple::hid_report_batch;
using plinth::apple::hid_stream;
using plinth::stress::write_outcome;
using plinth::stress::write_tally;
using namespace std::chrono_literals;
using namespace boost::asio::experimental::awaitable_operators;

// An execution context that the run shuts down while streams still live.
class shutting_context : public asio::io_context
{
public:
    using asio::io_context::shutdown;
};

enum class reader_kind
{
    blocking,
    timed,
    callbacks,
    coroutine,
    // On a stream with a read queue: a blocking read of one report, a batch read
    // with a timeout, a chain of asynchronous batch reads, a coroutine racing
    // each batch read against a timer.
    queued_blocking,
    queued_timed_batch,
    queued_callbacks,
    queued_coroutine,
};
// Of each family, with a read queue and without.
constexpr int reader_kinds = 4;

bool is_sync(reader_kind kind)
{
    return kind == reader_kind::blocking || kind == reader_kind::timed || kind == reader_kind::queued_blocking ||
           kind == reader_kind::queued_timed_batch;
}

// How a device answers report requests: at once, after a delay, or never.
enum class answer_kind
{
    prompt,
    delayed,
    stalled,
};

// One device of the run.
struct device_plan
{
    // More than one: each opens the device shared.
    int streams;
    answer_kind answers;
    std::chrono::milliseconds delay;
    // Its "RequestTimeout" (µs), IOKit's deadline for an asynchronous write; 0
    // leaves IOKit's default of a second.
    int request_timeout_us;
    // The read queue its streams open with, if any.
    std::optional<hid_read_queue> queue = std::nullopt;
    // Its one reader sleeps between reads, so that its (small) ring drops.
    bool slow = false;
};

// Delays within IOKit's shortest deadline (50 ms) and beyond it; a device that
// never answers with IOKit's default deadline and with the shortest. The queued
// streams' rings range from one report to far more than the poster lets wait
// (backlog_limit), and the slow readers' are small, so that they drop.
constexpr std::array<device_plan, 19> plans{{
    {1, answer_kind::prompt, 0ms, 0},
    {1, answer_kind::prompt, 0ms, 0},
    {1, answer_kind::prompt, 0ms, 0},
    {1, answer_kind::prompt, 0ms, 0},
    {1, answer_kind::delayed, 2ms, 0},
    {1, answer_kind::delayed, 80ms, 50'000},
    {1, answer_kind::stalled, 0ms, 50'000},
    {1, answer_kind::stalled, 0ms, 0},
    {2, answer_kind::delayed, 3ms, 0},
    {3, answer_kind::stalled, 0ms, 50'000},
    {1, answer_kind::prompt, 0ms, 0, hid_read_queue{1, hid_queue_overflow::drop_newest}},
    {1, answer_kind::prompt, 0ms, 0, hid_read_queue{3, hid_queue_overflow::drop_oldest}},
    {1, answer_kind::delayed, 2ms, 0, hid_read_queue{64, hid_queue_overflow::drop_newest}},
    {1, answer_kind::prompt, 0ms, 0, hid_read_queue{256, hid_queue_overflow::drop_oldest}},
    {1, answer_kind::stalled, 0ms, 50'000, hid_read_queue{8, hid_queue_overflow::drop_newest}},
    {1, answer_kind::prompt, 0ms, 0, hid_read_queue{16, hid_queue_overflow::drop_oldest}},
    {2, answer_kind::delayed, 3ms, 0, hid_read_queue{32, hid_queue_overflow::drop_oldest}},
    {1, answer_kind::prompt, 0ms, 0, hid_read_queue{4, hid_queue_overflow::drop_newest}, true},
    {1, answer_kind::prompt, 0ms, 0, hid_read_queue{2, hid_queue_overflow::drop_oldest}, true},
}};
constexpr int device_count = static_cast<int>(plans.size());
constexpr int stream_count = [] {
    int n = 0;
    for (auto const& plan : plans)
        n += plan.streams;
    return n;
}();

// Reports posted and not yet read or dropped, at most, per stream, before the
// poster waits: far below what the kernel's queue (16 384 bytes) and a stream's
// reports kept between reads (64) hold.
constexpr std::uint64_t backlog_limit = 32;
// Asynchronous writes pending on one stream, at most.
constexpr int pending_writes_limit = 8;
constexpr auto settle_limit = 5s;
// The other program that seizes shared devices now and then.
constexpr char grabber_name[] = "stress_grabber";

sim::entry_id plug(int index, device_plan const& plan)
{
    sim::entry_spec entry{"IOUSBHostHIDDevice",
                          "Stress " + std::to_string(index),
                          std::nullopt,
                          {{"DeviceUsagePage", sim::make_number(1)},
                           {"DeviceUsage", sim::make_number(6)},
                           {"MaxInputReportSize", sim::make_number(8)},
                           {"MaxOutputReportSize", sim::make_number(2)}}};
    if (plan.request_timeout_us != 0)
        entry.properties.emplace_back("RequestTimeout", sim::make_number(plan.request_timeout_us));
    auto const id = sim::add_entry(entry, sim::root_entry_id);
    if (plan.answers == answer_kind::delayed)
        sim::delay_report_answers(id, plan.delay);
    else if (plan.answers == answer_kind::stalled)
        sim::stall_report_answers(id);
    return id;
}

plinth::apple::device entry(sim::entry_id id)
{
    plinth::apple::tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
    return plinth::apple::device(plinth::apple::io_kit::io_registry_entry(registry.get_by_id(id).next()));
}

// The reports a client's kernel queue dropped, from its user client's
// "DebugState": the kernel counts them per client.
std::uint64_t queue_drops(plinth::apple::device const& user_client)
{
    boost::system::error_code ec;
    auto const state = user_client.get_property_value("DebugState", ec);
    if (!state)
        return 0;
    auto const* const d = std::get_if<plinth::property::dictionary>(&state->content);
    if (d == nullptr)
        return 0;
    std::uint64_t drops = 0;
    for (auto const& [key, queues] : *d)
        if (auto const* const list = std::get_if<plinth::property::array>(&queues.content);
            list != nullptr && key == "EventQueueMap")
            for (auto const& queue : *list)
                if (auto const* const fields = std::get_if<plinth::property::dictionary>(&queue.content))
                    for (auto const& [name, count] : *fields)
                        if (auto const* const n = std::get_if<plinth::property::number>(&count.content);
                            n != nullptr && name == "EnqueueErrorCount")
                            drops += n->as_unsigned();
    return drops;
}

// Figures shared by every thread.
struct totals
{
    std::atomic<std::uint64_t> reads_completed{0};
    std::atomic<std::uint64_t> reads_aborted{0};
    std::atomic<std::uint64_t> reads_timed_out{0};
    std::atomic<std::uint64_t> timer_wins{0};
    std::atomic<std::uint64_t> out_of_order{0};
    std::atomic<std::uint64_t> malformed{0};
    std::atomic<std::uint64_t> heard_while_seized{0};
    std::atomic<std::uint64_t> unexpected_errors{0};
    std::atomic<std::uint64_t> chains_started{0};
    std::atomic<std::uint64_t> chains_ended{0};
    std::atomic<std::uint64_t> cancels{0};
    std::atomic<std::uint64_t> empty_cancel_calls{0};
    std::atomic<std::uint64_t> aborted_at_shutdown{0};
    std::atomic<std::uint64_t> unplugs_unseen{0};
    std::atomic<std::uint64_t> reads_refused_closed{0};
    std::atomic<std::uint64_t> batch_reads{0};
    std::atomic<std::uint64_t> reports_read_in_batches{0};
    std::atomic<std::uint64_t> largest_batch{0};
    std::atomic<std::uint64_t> batch_timer_wins{0};
    std::atomic<std::uint64_t> queued_aborted_at_shutdown{0};

    std::atomic<std::uint64_t> sync_writes{0};
    std::atomic<std::uint64_t> timed_writes{0};
    std::atomic<std::uint64_t> async_writes{0};
    std::atomic<std::uint64_t> async_writes_raced{0};
    std::atomic<std::uint64_t> async_writes_cancelled{0};
    std::atomic<std::uint64_t> write_timer_cancels{0};
    std::atomic<std::uint64_t> writes_completed_twice{0};
    std::atomic<std::uint64_t> writes_left_by_unplug{0};
    plinth::stress::write_outcome_counts write_outcomes;

    std::atomic<std::uint64_t> seizes{0};
    std::atomic<std::uint64_t> opens_refused_while_seized{0};
    std::atomic<std::uint64_t> probes_while_seized{0};
    std::atomic<std::uint64_t> clients_seen_silenced{0};
    std::atomic<std::uint64_t> opens_after_seize{0};
    std::atomic<std::uint64_t> seize_faults{0};
};

struct test_device;

// One stream and the reader that serves it.
struct slot
{
    int index = 0;
    reader_kind kind = reader_kind::blocking;
    test_device* device = nullptr;

    // Guards `stream` against the canceller and the writers while the main thread
    // replaces it.
    std::mutex stream_mutex;
    std::unique_ptr<hid_stream> stream;
    // A shared stream's own connection to its device (its IOHIDLibUserClient),
    // whose state counts what the stream's kernel queue dropped. Set up before the
    // run, released after it.
    plinth::apple::device client;

    // The reader's state: it reads while `active`, and parks (sets `parked`)
    // when it finds it cleared; `ending` makes it stop for good.
    std::mutex park_mutex;
    std::condition_variable park_changed;
    bool active = false;
    bool parked = true;
    bool ending = false;

    // Reports posted while this stream could hear them (not while another
    // program held its shared device seized).
    std::atomic<std::uint64_t> posted{0};
    std::atomic<std::uint64_t> delivered{0};
    std::uint64_t dropped_by_earlier_devices = 0; // main thread only
    // What the read queues of the stream's earlier streams (before an unplug)
    // dropped, and the present stream's count once the run has stopped posting.
    std::uint64_t ring_dropped_by_earlier_streams = 0;  // main thread only
    std::optional<std::uint64_t> ring_dropped_at_end{}; // main thread only
    std::atomic<std::uint32_t> last_sequence{0};
    // The reports skipped between two read one after the other (and before the
    // first after a plug): on a device with one stream, each is one it dropped.
    std::atomic<std::uint64_t> gaps{0};
    std::atomic<int> pending_writes{0};

    // The callback chain's buffers: one read at a time.
    std::array<std::uint8_t, 8> chain_bytes{};
    std::uint8_t chain_id = 0;
    // A queued stream's reader's batch, of its own room: it outlives every read
    // into it, the context's included.
    std::unique_ptr<hid_report_batch> batch;
};

// One device: its entry, its streams, what was posted and written to it.
struct test_device
{
    int index = 0;
    device_plan plan{};
    sim::entry_id id = 0; // main thread only
    std::vector<slot*> streams;
    std::uint32_t next_sequence = 1; // main thread only
    // Replaced when the device is plugged in again, under its stream's
    // stream_mutex (a device that is unplugged has one stream).
    std::shared_ptr<write_tally> writes = std::make_shared<write_tally>();

    // Orders the posts to a shared device with another program's seizes of it, so
    // that each report is known to have been posted while seized or not.
    std::mutex seize_mutex;
    bool seized = false;                   // under seize_mutex
    std::uint64_t posted_while_seized = 0; // under seize_mutex

    bool shared() const { return plan.streams > 1; }
};

// One asynchronous write, from its start to its completion, which must come once.
struct async_write_op
{
    std::shared_ptr<write_tally> tally;
    slot* origin = nullptr;
    // The timer's way to the write, when one races it.
    asio::cancellation_signal timer_cancel;
    std::atomic<int> completions{0};
    // On the write's strand, with the timer's handler.
    bool completed = false;
};

// Counts a reader chain from its start to the destruction of its last handler or
// frame, whether it ended by itself or was destroyed at shutdown.
class chain_life
{
public:
    explicit chain_life(totals& t) : totals_(&t) { ++t.chains_started; }
    chain_life(chain_life&& other) noexcept : totals_(std::exchange(other.totals_, nullptr)) {}
    chain_life& operator=(chain_life&&) = delete;
    ~chain_life()
    {
        if (totals_ != nullptr)
            ++totals_->chains_ended;
    }

private:
    totals* totals_;
};

class hid_stress
{
public:
    hid_stress(plinth::stress::run_options const& options, std::string unplugged, bool coroutines)
        : options_(options), unplugged_(std::move(unplugged)), coroutines_(coroutines), guard_(context_->get_executor())
    {
    }

    int run()
    {
        plinth::stress::account account("hid_stress");
        sim::reset_registry();
        // The library logs what it cannot report otherwise (a device it cannot
        // open, a failed callback): every line is shown, and counted. The refusals
        // of the streams made to open a seized device are expected, and counted
        // apart.
        std::atomic<std::uint64_t> log_lines{0};
        std::atomic<std::uint64_t> refusal_lines{0};
        auto const refusal_line = "Error opening HID: " +
                                  plinth::apple::make_error_code(plinth::apple::hid_errc::seized_by_another).message();
        auto const previous_sink = plinth::set_log_sink([&](plinth::log_level, std::string_view line) {
            if (line == refusal_line)
                ++refusal_lines;
            else if (log_lines++ < 20)
                fmt::print(stderr, "hid_stress: library log: {}\n", line);
        });
        set_up(account);
        for (int i = 0; i < 2; ++i)
            runners_.emplace_back([this] { run_context(); });
        for (auto& s : slots_)
            if (is_sync(s.kind))
                sync_readers_.emplace_back([this, &s] { sync_reader(s); });
        for (auto& s : slots_)
            activate(s);

        std::mt19937_64 random(options_.seed);
        std::atomic<bool> stop_helpers{false};
        std::thread canceller([&] { cancel_now_and_then(stop_helpers, options_.seed + 1); });
        std::thread writer([&] { write_now_and_then(stop_helpers, options_.seed + 2); });
        std::thread async_writer([&] { write_async_now_and_then(stop_helpers, options_.seed + 3); });
        std::thread grabber([&] { seize_now_and_then(stop_helpers, options_.seed + 4); });

        auto const start = std::chrono::steady_clock::now();
        auto const deadline = options_.deadline(start);
        std::uint64_t rounds = 0;
        std::uint64_t replugs = 0;
        std::uint64_t posted = 0;
        while (options_.more(rounds, deadline))
        {
            ++rounds;
            auto& d = devices_[random() % device_count];
            if (random() % 100 < 2 && !d.shared() && unplugs(d.streams.front()->kind))
            {
                replug(d, account);
                ++replugs;
                continue;
            }
            auto const burst = 1 + random() % 4;
            for (std::uint64_t i = 0; i < burst && has_room(d); ++i, ++posted)
                post(d);
            if (rounds % 16 == 0)
                std::this_thread::sleep_for(std::chrono::microseconds(random() % 400));
        }
        stop_helpers = true;
        canceller.join();
        writer.join();
        async_writer.join();
        grabber.join();

        // Every asynchronous write completes, whatever its device does: at the
        // latest at IOKit's deadline.
        account.check(writes_settle(), fmt::format("{} asynchronous writes never completed", pending_writes_.load()));
        // Every report posted is read (or dropped) before the end: what is left
        // in a queue now is lost.
        for (auto& s : slots_)
            account.check(settle(s), fmt::format("stream {} (device {}): {} of {} reports neither read nor dropped",
                                                 s.index, s.device->index, backlog(s), s.posted.load()));
        for (auto& d : devices_)
            check_output_reports(d, account, true);
        // No report is posted any more and every one was read or dropped: the read
        // queues' counts are final, and kept for after the shutdown.
        for (auto& s : slots_)
            s.ring_dropped_at_end = s.stream->dropped_reports();
        auto const slow = check_slow_readers(account);

        // Shut the context down while the readers wait: every blocking read and
        // every pending asynchronous read is released with operation_aborted.
        std::this_thread::sleep_for(20ms);
        for (auto& s : slots_)
        {
            std::lock_guard const lock(s.park_mutex);
            s.ending = true;
        }
        guard_.reset();
        context_->stop();
        for (auto& runner : runners_)
            runner.join();
        context_->shutdown();
        for (auto& s : slots_)
            s.park_changed.notify_all();
        for (auto& reader : sync_readers_)
            reader.join();

        std::uint64_t due = 0;
        std::uint64_t delivered = 0;
        std::uint64_t dropped = 0;
        std::uint64_t ring_dropped = 0;
        std::uint64_t queued_streams = 0;
        std::uint64_t queued_delivered = 0;
        std::uint64_t queued_kernel_dropped = 0;
        std::uint64_t while_seized = 0;
        for (auto& s : slots_)
        {
            due += s.posted;
            delivered += s.delivered;
            dropped += dropped_by(s);
            ring_dropped += ring_drops(s);
            if (s.device->plan.queue)
            {
                ++queued_streams;
                queued_delivered += s.delivered;
                queued_kernel_dropped += kernel_drops(s);
            }
        }
        for (auto& d : devices_)
        {
            while_seized += d.posted_while_seized;
            if (!d.shared())
                continue;
            // Each stream's drops are its own client's: together no more than the
            // device counted over every client it had.
            std::uint64_t streams_dropped = 0;
            for (auto const* s : d.streams)
                streams_dropped += kernel_drops(*s);
            account.check(streams_dropped <= sim::dropped_input_reports(d.id),
                          fmt::format("device {}: its streams dropped {} reports, its clients {}", d.index,
                                      streams_dropped, sim::dropped_input_reports(d.id)));
        }
        for (auto& s : slots_)
        {
            s.stream.reset();
            s.client = {};
        }

        auto const finish = std::chrono::steady_clock::now();
        auto const& outcomes = totals_.write_outcomes;
        std::uint64_t writes_ended = 0;
        for (std::size_t i = 0; i < plinth::stress::write_outcome_count; ++i)
            writes_ended += outcomes.of(static_cast<write_outcome>(i));
        account.figure("seed", options_.seed);
        account.figure("milliseconds", static_cast<std::uint64_t>((finish - start) / 1ms));
        account.figure("rounds", rounds);
        account.figure("devices", device_count);
        account.figure("streams", stream_count);
        account.figure("streams sharing a device", shared_streams());
        account.figure("devices unplugged mid-read", replugs);
        account.figure("reports posted", posted);
        account.figure("reports posted while seized", while_seized);
        account.figure("reports due to streams", due);
        account.figure("reports delivered", delivered);
        account.figure("reports dropped (queue full)", dropped);
        account.figure("  by read queues", ring_dropped);
        account.figure("streams with a read queue", queued_streams);
        account.figure("  reports they read", queued_delivered);
        account.figure("  dropped by kernel queues", queued_kernel_dropped);
        account.figure("  batch reads", totals_.batch_reads);
        account.figure("  reports read in batches", totals_.reports_read_in_batches);
        account.figure("  largest batch", totals_.largest_batch);
        account.figure("  batch reads beaten by a timer", totals_.batch_timer_wins);
        account.figure("  readers released at shutdown", totals_.queued_aborted_at_shutdown);
        account.figure("slow queued readers: posted", slow.posted);
        account.figure("  reports read", slow.delivered);
        account.figure("  dropped by their rings", slow.ring_dropped);
        account.figure("reads completed", totals_.reads_completed);
        account.figure("reads aborted", totals_.reads_aborted);
        account.figure("reads timed out", totals_.reads_timed_out);
        account.figure("reads beaten by the timer", totals_.timer_wins);
        account.figure("cancels", totals_.cancels);
        account.figure("cancels of no read (posted)", totals_.empty_cancel_calls);
        account.figure("reads refused (closed by unplug)", totals_.reads_refused_closed);
        account.figure("unplugs a reader missed", totals_.unplugs_unseen);
        account.figure("readers released at shutdown", totals_.aborted_at_shutdown);
        account.figure("reader chains started", totals_.chains_started);
        account.figure("foreign seizes", totals_.seizes);
        account.figure("opens refused while seized", totals_.opens_refused_while_seized);
        account.figure("clients seen silenced", totals_.clients_seen_silenced);
        account.figure("opens after a seize", totals_.opens_after_seize);
        account.figure("writes, blocking", totals_.sync_writes);
        account.figure("writes, blocking with timeout", totals_.timed_writes);
        account.figure("writes, asynchronous", totals_.async_writes);
        account.figure("  raced against a timer", totals_.async_writes_raced);
        account.figure("  cancelled by cancel()", totals_.async_writes_cancelled);
        account.figure("  cancelled by the timer", totals_.write_timer_cancels);
        for (std::size_t i = 0; i < plinth::stress::write_outcome_count; ++i)
            account.figure(std::string(plinth::stress::write_outcome_name(static_cast<write_outcome>(i))),
                           outcomes.of(static_cast<write_outcome>(i)));
        account.figure("output reports arrived", output_reports_arrived_);
        account.figure("unplugs leaving writes pending", totals_.writes_left_by_unplug);
        account.figure("library log lines", log_lines);
        account.figure("library log lines (refusals)", refusal_lines);
        plinth::set_log_sink(previous_sink);
        account.check(due == delivered + dropped,
                      fmt::format("{} reports due to streams, {} delivered, {} dropped", due, delivered, dropped));
        account.check(delivered == totals_.reads_completed, "a completed read carried no report");
        account.check(totals_.out_of_order == 0,
                      fmt::format("{} reports out of order or twice", totals_.out_of_order.load()));
        account.check(totals_.malformed == 0, fmt::format("{} reports arrived altered", totals_.malformed.load()));
        account.check(totals_.heard_while_seized == 0,
                      fmt::format("{} reports posted while another program seized the device were heard",
                                  totals_.heard_while_seized.load()));
        account.check(totals_.unexpected_errors == 0,
                      fmt::format("{} reads failed with an unexpected error", totals_.unexpected_errors.load()));
        // What a stream skipped, it dropped: dropping the oldest reads forwards, and
        // no further than the drops counted.
        for (auto const& s : slots_)
            account.check(
                s.device->shared() || s.gaps <= dropped_by(s),
                fmt::format("stream {}: {} reports skipped, {} dropped", s.index, s.gaps.load(), dropped_by(s)));
        account.check(totals_.aborted_at_shutdown > 0, "no reader was blocked at shutdown");
        account.check(totals_.queued_aborted_at_shutdown > 0, "no queued stream's reader was blocked at shutdown");
        account.check(totals_.batch_reads > 0, "no batch read completed");
        account.check(totals_.unplugs_unseen == 0,
                      fmt::format("{} unplugs left a reader waiting", totals_.unplugs_unseen.load()));
        account.check(totals_.seizes > 0, "no device was seized by another program");
        account.check(totals_.seize_faults == 0,
                      fmt::format("{} seizes by another program went wrong", totals_.seize_faults.load()));
        account.check(refusal_lines == totals_.probes_while_seized,
                      fmt::format("{} streams made while a device was seized, {} refusals logged",
                                  totals_.probes_while_seized.load(), refusal_lines.load()));
        account.check(outcomes.of(write_outcome::unexpected) == 0,
                      fmt::format("{} writes failed with an unexpected error", outcomes.of(write_outcome::unexpected)));
        account.check(totals_.writes_left_by_unplug == 0,
                      fmt::format("{} unplugs left writes pending for 2 s", totals_.writes_left_by_unplug.load()));
        account.check(totals_.writes_completed_twice == 0,
                      fmt::format("{} writes completed twice", totals_.writes_completed_twice.load()));
        account.check(writes_ended == totals_.sync_writes + totals_.timed_writes + totals_.async_writes,
                      fmt::format("{} writes started, {} ended",
                                  totals_.sync_writes + totals_.timed_writes + totals_.async_writes, writes_ended));
        // The coroutines' frames go with the context.
        return finish_after_context(account);
    }

    int finish_after_context(plinth::stress::account& account)
    {
        context_.reset();
        account.check(totals_.chains_started == totals_.chains_ended,
                      fmt::format("{} asynchronous reader chains started, {} ended", totals_.chains_started.load(),
                                  totals_.chains_ended.load()));
        // Nothing completed a write again at shutdown.
        std::uint64_t not_once = 0;
        for (auto const& op : write_ops_)
            if (op->completions != 1)
                ++not_once;
        account.check(not_once == 0, fmt::format("{} asynchronous writes did not complete exactly once", not_once));
        write_ops_.clear();
        return account.close();
    }

private:
    // Plugs the devices in and opens their streams. A shared device's streams
    // open one after the other, each finding its own client among the device's.
    void set_up(plinth::stress::account& account)
    {
        std::size_t next_slot = 0;
        int unqueued = 0;
        int queued = 0;
        int slow = 0;
        for (int i = 0; i < device_count; ++i)
        {
            auto& d = devices_[static_cast<std::size_t>(i)];
            d.index = i;
            d.plan = plans[static_cast<std::size_t>(i)];
            d.id = plug(i, d.plan);
            std::vector<std::uint64_t> known_clients;
            for (int k = 0; k < d.plan.streams; ++k)
            {
                auto& s = slots_[next_slot];
                s.index = static_cast<int>(next_slot++);
                s.kind = choose_kind(d.plan, unqueued, queued, slow);
                if (d.plan.queue)
                {
                    // Batches of one report, of a few, and of more than most rings hold.
                    constexpr std::array<std::size_t, 3> rooms{5, 1, 64};
                    s.batch =
                        std::make_unique<hid_report_batch>(rooms[static_cast<std::size_t>(queued) % rooms.size()], 8);
                }
                s.device = &d;
                d.streams.push_back(&s);
                s.stream = open_stream(d);
                if (!d.shared())
                    continue;
                for (auto& client : plinth::apple::hid_device_clients(entry(d.id)))
                    if (std::ranges::find(known_clients, client.entry.get_id()) == known_clients.end())
                    {
                        known_clients.push_back(client.entry.get_id());
                        s.client = std::move(client.entry);
                    }
                account.check(static_cast<bool>(s.client),
                              fmt::format("stream {}: no client of device {} of its own", s.index, d.index));
            }
        }
    }

    // Each family's kinds in turn; a slow reader reads on a thread of its own,
    // which it may keep asleep.
    reader_kind choose_kind(device_plan const& plan, int& unqueued, int& queued, int& slow) const
    {
        reader_kind kind{};
        if (plan.slow)
            kind = slow++ % 2 == 0 ? reader_kind::queued_blocking : reader_kind::queued_timed_batch;
        else if (plan.queue)
            kind = static_cast<reader_kind>(static_cast<int>(reader_kind::queued_blocking) + queued++ % reader_kinds);
        else
            kind = static_cast<reader_kind>(unqueued++ % reader_kinds);
        if (kind == reader_kind::coroutine && !coroutines_)
            return reader_kind::callbacks;
        if (kind == reader_kind::queued_coroutine && !coroutines_)
            return reader_kind::queued_callbacks;
        return kind;
    }

    // A stream of the device, opened as its plan says.
    std::unique_ptr<hid_stream> open_stream(test_device const& d) const
    {
        auto const mode = d.shared() ? hid_open_mode::shared : hid_open_mode::seized;
        if (d.plan.queue)
            return std::make_unique<hid_stream>(context_->get_executor(), entry(d.id), mode, *d.plan.queue);
        return std::make_unique<hid_stream>(context_->get_executor(), entry(d.id), mode);
    }

    struct slow_figures
    {
        std::uint64_t posted = 0;
        std::uint64_t delivered = 0;
        std::uint64_t ring_dropped = 0;
    };

    // The slow readers, each alone on its device (which nobody else seizes), have
    // read every report posted to it or counted it, exactly, and their rings did
    // drop. Called once the posting has stopped and every stream has settled.
    slow_figures check_slow_readers(plinth::stress::account& account) const
    {
        slow_figures figures;
        for (auto const& s : slots_)
        {
            if (!s.device->plan.slow)
                continue;
            auto const ring = ring_drops(s);
            auto const kernel = kernel_drops(s);
            account.check(ring > 0, fmt::format("slow stream {}: its ring of {} never dropped a report", s.index,
                                                s.device->plan.queue->capacity));
            account.check(s.posted == s.delivered + ring + kernel,
                          fmt::format("slow stream {}: {} reports posted, {} read, {} dropped by its ring, {} by "
                                      "its kernel queue",
                                      s.index, s.posted.load(), s.delivered.load(), ring, kernel));
            figures.posted += s.posted;
            figures.delivered += s.delivered;
            figures.ring_dropped += ring;
        }
        return figures;
    }

    std::uint64_t shared_streams() const
    {
        std::uint64_t n = 0;
        for (auto const& d : devices_)
            if (d.shared())
                n += d.streams.size();
        return n;
    }

    // Runs handlers. A cancel with no read left to cancel posts a call that throws
    // std::bad_function_call, which a program running the context absorbs.
    void run_context()
    {
        for (;;)
        {
            try
            {
                context_->run();
                return;
            }
            catch (std::bad_function_call const&)
            {
                ++totals_.empty_cancel_calls;
            }
        }
    }

    // What the stream's kernel queue dropped: a shared stream's client counts its
    // own; a device with one stream counts them over its entries.
    std::uint64_t kernel_drops(slot const& s) const
    {
        if (s.client)
            return queue_drops(s.client);
        return s.dropped_by_earlier_devices + sim::dropped_input_reports(s.device->id);
    }

    // What the stream's read queues dropped, over every stream it has had.
    std::uint64_t ring_drops(slot const& s) const
    {
        if (s.ring_dropped_at_end)
            return s.ring_dropped_by_earlier_streams + *s.ring_dropped_at_end;
        return s.ring_dropped_by_earlier_streams + s.stream->dropped_reports();
    }

    std::uint64_t dropped_by(slot const& s) const { return kernel_drops(s) + ring_drops(s); }

    std::uint64_t backlog(slot const& s) const
    {
        auto const delivered = s.delivered.load();
        return s.posted - delivered - dropped_by(s);
    }

    // Whether every stream of the device has room for one more report; the drops
    // are read only for a stream that seems full.
    bool has_room(test_device const& d) const
    {
        return std::ranges::all_of(d.streams, [&](slot const* s) {
            return s->posted - s->delivered < backlog_limit || backlog(*s) < backlog_limit;
        });
    }

    void post(test_device& d)
    {
        auto const sequence = d.next_sequence++;
        auto const send = [&](bool seized) {
            std::array<std::uint8_t, 5> const bytes{
                static_cast<std::uint8_t>(d.index), static_cast<std::uint8_t>(sequence),
                static_cast<std::uint8_t>(sequence >> 8), static_cast<std::uint8_t>(sequence >> 16),
                static_cast<std::uint8_t>(seized ? 1 : 0)};
            sim::post_input_report(d.id, static_cast<std::uint32_t>(d.index + 1), bytes);
        };
        if (!d.shared())
        {
            ++d.streams.front()->posted;
            send(false);
            return;
        }
        std::lock_guard const lock(d.seize_mutex);
        if (d.seized)
        {
            // Its streams are silenced: the report is for the program that seized
            // the device, which never reads it.
            ++d.posted_while_seized;
            send(true);
            return;
        }
        for (auto* s : d.streams)
            ++s->posted;
        send(false);
    }

    // Checks one report a read returned.
    void received(slot& s, std::uint8_t id, std::uint8_t const* bytes, std::size_t n)
    {
        ++totals_.reads_completed;
        ++s.delivered;
        auto const index = s.device->index;
        if (n != 5 || id != index + 1 || bytes[0] != index)
        {
            ++totals_.malformed;
            return;
        }
        if (bytes[4] != 0)
            ++totals_.heard_while_seized;
        auto const sequence = static_cast<std::uint32_t>(bytes[1] | bytes[2] << 8 | bytes[3] << 16);
        // Dropped reports leave gaps; a report twice or late goes backwards.
        if (auto const last = s.last_sequence.exchange(sequence); sequence <= last)
            ++totals_.out_of_order;
        else
            s.gaps += sequence - last - 1;
    }

    // Checks the reports a batch read returned, oldest first.
    void received_batch(slot& s, std::size_t n)
    {
        auto const& batch = *s.batch;
        ++totals_.batch_reads;
        totals_.reports_read_in_batches += batch.size();
        auto largest = totals_.largest_batch.load();
        while (batch.size() > largest && !totals_.largest_batch.compare_exchange_weak(largest, batch.size()))
        {
        }
        if (n != batch.size() || batch.empty())
            ++totals_.malformed;
        for (std::size_t i = 0; i < batch.size(); ++i)
            received(s, batch[i].report_id, batch[i].bytes.data(), batch[i].bytes.size());
    }

    // A stream that its device's removal closed refuses a read by throwing,
    // whichever form is called: a removal that came between the reader's check and
    // its read.
    template <typename Read>
    static std::size_t read_unless_closed(Read&& read, boost::system::error_code& ec)
    {
        try
        {
            return read();
        }
        catch (boost::system::system_error const& e)
        {
            ec = e.code();
            return 0;
        }
    }

    void failed(boost::system::error_code const& ec)
    {
        if (ec == plinth::apple::make_error_code(plinth::apple::hid_errc::not_open))
            ++totals_.reads_refused_closed;
        else if (ec == asio::error::operation_aborted)
            ++totals_.reads_aborted;
        else if (ec == asio::error::timed_out)
            ++totals_.reads_timed_out;
        else
            ++totals_.unexpected_errors;
    }

    // Lets the slot's reader read, and starts an asynchronous reader.
    void activate(slot& s)
    {
        {
            std::lock_guard const lock(s.park_mutex);
            s.active = true;
            s.parked = false;
        }
        s.park_changed.notify_all();
        if (s.kind == reader_kind::callbacks)
            asio::post(*context_, [this, &s, life = chain_life(totals_)]() mutable { chain_read(s, std::move(life)); });
        else if (s.kind == reader_kind::queued_callbacks)
            asio::post(*context_,
                       [this, &s, life = chain_life(totals_)]() mutable { chain_read_batch(s, std::move(life)); });
        else if (s.kind == reader_kind::coroutine)
            // On a strand: the read and the timer of one race complete on the
            // context's two threads, and the race's state is the coroutine's.
            asio::co_spawn(asio::make_strand(*context_), coroutine_reader(s), asio::detached);
        else if (s.kind == reader_kind::queued_coroutine)
            asio::co_spawn(asio::make_strand(*context_), coroutine_batch_reader(s), asio::detached);
    }

    // True while the reader may go on; otherwise parks it.
    bool may_go_on(slot& s)
    {
        std::lock_guard const lock(s.park_mutex);
        if (s.active && !s.ending)
            return true;
        s.parked = true;
        s.park_changed.notify_all();
        return false;
    }

    void sync_reader(slot& s)
    {
        std::mt19937 random(static_cast<std::uint32_t>(options_.seed) + static_cast<std::uint32_t>(s.index));
        std::array<std::uint8_t, 8> bytes{};
        for (;;)
        {
            {
                // Parked again at every wake-up while inactive: an unplug may come
                // before this thread has woken from the plug that ended the last one.
                std::unique_lock lock(s.park_mutex);
                while (!s.active && !s.ending)
                {
                    s.parked = true;
                    s.park_changed.notify_all();
                    s.park_changed.wait(lock);
                }
                if (s.ending)
                    return;
            }
            hid_stream& stream = *s.stream;
            std::uint8_t id = 0;
            boost::system::error_code ec;
            std::size_t n = 0;
            // Mostly short timeouts, now and then none left at all.
            auto const timeout = [&] {
                auto const choice = random() % 16;
                return choice == 0   ? 0ns
                       : choice == 1 ? std::chrono::nanoseconds(-1ms)
                                     : std::chrono::nanoseconds(std::chrono::microseconds(50 + random() % 2000));
            };
            bool const batched = s.kind == reader_kind::queued_timed_batch;
            if (!stream.is_open())
                ec = plinth::apple::make_error_code(plinth::apple::hid_errc::not_open);
            else if (s.kind == reader_kind::blocking || s.kind == reader_kind::queued_blocking)
                n = read_unless_closed([&] { return stream.read({&id, asio::buffer(bytes)}, ec); }, ec);
            else if (batched)
                n = read_unless_closed([&, t = timeout()] { return stream.read_batch(*s.batch, t, ec); }, ec);
            else
                n = read_unless_closed(
                    [&, t = timeout()] {
                        return stream.read({&id, asio::buffer(bytes)}, t, ec);
                    },
                    ec);
            if (!ec && batched)
                received_batch(s, n);
            else if (!ec)
                received(s, id, bytes.data(), n);
            else
            {
                failed(ec);
                released_at_shutdown(s, ec);
            }
            // A slow reader lets its ring fill between reads.
            if (s.device->plan.slow)
                std::this_thread::sleep_for(std::chrono::microseconds(300 + random() % 1500));
        }
    }

    // Counts a read that the shutdown released.
    void released_at_shutdown(slot& s, boost::system::error_code const& ec)
    {
        std::lock_guard const lock(s.park_mutex);
        if (!s.ending || ec != asio::error::operation_aborted)
            return;
        ++totals_.aborted_at_shutdown;
        if (s.device->plan.queue)
            ++totals_.queued_aborted_at_shutdown;
    }

    void chain_read(slot& s, chain_life life)
    {
        if (!may_go_on(s))
            return;
        s.stream->async_read({&s.chain_id, asio::buffer(s.chain_bytes)},
                             [this, &s, life = std::move(life)](boost::system::error_code ec, std::size_t n) mutable {
                                 if (!ec)
                                     received(s, s.chain_id, s.chain_bytes.data(), n);
                                 else
                                 {
                                     failed(ec);
                                     released_at_shutdown(s, ec);
                                 }
                                 chain_read(s, std::move(life));
                             });
    }

    void chain_read_batch(slot& s, chain_life life)
    {
        if (!may_go_on(s))
            return;
        s.stream->async_read_batch(
            *s.batch, [this, &s, life = std::move(life)](boost::system::error_code ec, std::size_t n) mutable {
                if (!ec)
                    received_batch(s, n);
                else
                {
                    failed(ec);
                    released_at_shutdown(s, ec);
                }
                chain_read_batch(s, std::move(life));
            });
    }

    asio::awaitable<void> coroutine_reader(slot& s)
    {
        chain_life const life(totals_);
        asio::steady_timer timer(co_await asio::this_coro::executor);
        std::mt19937 random(static_cast<std::uint32_t>(options_.seed) + 100 + static_cast<std::uint32_t>(s.index));
        std::array<std::uint8_t, 8> bytes{};
        while (may_go_on(s))
        {
            std::uint8_t id = 0;
            timer.expires_after(std::chrono::microseconds(100 + random() % 3000));
            auto const outcome =
                co_await (s.stream->async_read({&id, asio::buffer(bytes)}, asio::as_tuple(asio::use_awaitable)) ||
                          timer.async_wait(asio::as_tuple(asio::use_awaitable)));
            if (outcome.index() == 1)
            {
                ++totals_.timer_wins;
                continue;
            }
            auto const [ec, n] = std::get<0>(outcome);
            if (!ec)
                received(s, id, bytes.data(), n);
            else
                failed(ec);
        }
    }

    // Races each batch read against a timer: the timer's win cancels the read
    // through the cancellation slot the race binds to it, and a read cancelled
    // after its reports came gives them back to the stream for the next.
    asio::awaitable<void> coroutine_batch_reader(slot& s)
    {
        chain_life const life(totals_);
        asio::steady_timer timer(co_await asio::this_coro::executor);
        std::mt19937 random(static_cast<std::uint32_t>(options_.seed) + 200 + static_cast<std::uint32_t>(s.index));
        while (may_go_on(s))
        {
            timer.expires_after(std::chrono::microseconds(100 + random() % 3000));
            auto const outcome = co_await (s.stream->async_read_batch(*s.batch, asio::as_tuple(asio::use_awaitable)) ||
                                           timer.async_wait(asio::as_tuple(asio::use_awaitable)));
            if (outcome.index() == 1)
            {
                ++totals_.timer_wins;
                ++totals_.batch_timer_wins;
                continue;
            }
            auto const [ec, n] = std::get<0>(outcome);
            if (!ec)
                received_batch(s, n);
            else
                failed(ec);
        }
    }

    void cancel_now_and_then(std::atomic<bool> const& stop, std::uint64_t seed)
    {
        std::mt19937_64 random(seed);
        while (!stop)
        {
            auto& s = slots_[random() % stream_count];
            {
                std::lock_guard const lock(s.stream_mutex);
                if (s.stream)
                {
                    s.stream->cancel();
                    ++totals_.cancels;
                }
            }
            std::this_thread::sleep_for(std::chrono::microseconds(200 + random() % 2000));
        }
    }

    // The two bytes every write sends: its device's index, then anything.
    static std::array<std::uint8_t, 2> output_bytes(slot const& s, std::mt19937_64& random)
    {
        return {static_cast<std::uint8_t>(s.device->index), static_cast<std::uint8_t>(random())};
    }

    void ended(write_tally& tally, boost::system::error_code const& ec)
    {
        auto const outcome = plinth::stress::classify_write(ec);
        tally.ended(outcome);
        totals_.write_outcomes.count(outcome);
        if (outcome == write_outcome::unexpected && unexpected_write_lines_++ < 10)
            fmt::print(stderr, "hid_stress: a write failed: {}\n", ec.message());
    }

    // Blocking writes: without a timeout to the devices that answer at once (one
    // that does not would keep the caller for ever), with one to any device.
    void write_now_and_then(std::atomic<bool> const& stop, std::uint64_t seed)
    {
        std::mt19937_64 random(seed);
        while (!stop)
        {
            auto& s = slots_[random() % stream_count];
            {
                std::lock_guard const lock(s.stream_mutex);
                if (s.stream)
                {
                    auto const bytes = output_bytes(s, random);
                    auto& tally = *s.device->writes;
                    ++tally.started;
                    boost::system::error_code ec;
                    if (s.device->plan.answers == answer_kind::prompt && random() % 2 == 0)
                    {
                        ++totals_.sync_writes;
                        try
                        {
                            s.stream->write({nullptr, asio::buffer(bytes)}, ec);
                        }
                        catch (boost::system::system_error const& e)
                        {
                            ec = e.code();
                        }
                    }
                    else
                    {
                        // Mostly within the shortest deadline IOKit keeps, now and
                        // then none at all or beyond it.
                        auto const choice = random() % 16;
                        auto const timeout =
                            choice == 0 ? 0ns
                            : choice == 1
                                ? std::chrono::nanoseconds(60ms)
                                : std::chrono::nanoseconds(std::chrono::microseconds(100 + random() % 10'000));
                        ++totals_.timed_writes;
                        s.stream->write({nullptr, asio::buffer(bytes)}, timeout, ec);
                    }
                    ended(tally, ec);
                }
            }
            std::this_thread::sleep_for(std::chrono::microseconds(100 + random() % 1000));
        }
    }

    // Asynchronous writes, a few pending on a stream at most: left to end as the
    // device and IOKit's deadline decide (or the canceller's cancel()), raced
    // against a timer whose expiry cancels the write through its handler's slot,
    // or cancelled with cancel() at once.
    void write_async_now_and_then(std::atomic<bool> const& stop, std::uint64_t seed)
    {
        std::mt19937_64 random(seed);
        while (!stop)
        {
            auto& s = slots_[random() % stream_count];
            if (s.pending_writes < pending_writes_limit)
            {
                std::lock_guard const lock(s.stream_mutex);
                if (s.stream)
                    start_async_write(s, random);
            }
            std::this_thread::sleep_for(std::chrono::microseconds(200 + random() % 1500));
        }
    }

    // The caller holds s.stream_mutex.
    void start_async_write(slot& s, std::mt19937_64& random)
    {
        auto op = std::make_shared<async_write_op>();
        op->tally = s.device->writes;
        op->origin = &s;
        write_ops_.push_back(op);
        ++op->tally->started;
        ++s.pending_writes;
        ++pending_writes_;
        ++totals_.async_writes;
        auto const bytes = output_bytes(s, random);
        // The write's completion and its timer run on one strand, where the
        // timer's cancellation is emitted and the write's slot cleared.
        auto const strand = asio::make_strand(*context_);
        auto done = [this, op](boost::system::error_code const& ec, std::size_t) {
            if (op->completions++ != 0)
            {
                ++totals_.writes_completed_twice;
                return;
            }
            op->completed = true;
            ended(*op->tally, ec);
            --op->origin->pending_writes;
            --pending_writes_;
        };
        switch (random() % 3)
        {
        case 0: {
            ++totals_.async_writes_raced;
            s.stream->async_write(
                {nullptr, asio::buffer(bytes)},
                asio::bind_cancellation_slot(op->timer_cancel.slot(), asio::bind_executor(strand, std::move(done))));
            auto timer = std::make_shared<asio::steady_timer>(strand, std::chrono::microseconds(random() % 20'000));
            timer->async_wait(asio::bind_executor(strand, [this, op, timer](boost::system::error_code const&) {
                if (op->completed)
                    return;
                ++totals_.write_timer_cancels;
                op->timer_cancel.emit(asio::cancellation_type::terminal);
            }));
            break;
        }
        case 1: s.stream->async_write({nullptr, asio::buffer(bytes)}, std::move(done)); break;
        default:
            ++totals_.async_writes_cancelled;
            s.stream->async_write({nullptr, asio::buffer(bytes)}, asio::bind_executor(strand, std::move(done)));
            s.stream->cancel();
            break;
        }
    }

    // Waits until every asynchronous write has completed.
    bool writes_settle()
    {
        auto const until = std::chrono::steady_clock::now() + settle_limit;
        while (pending_writes_ != 0)
        {
            if (std::chrono::steady_clock::now() > until)
                return false;
            std::this_thread::sleep_for(1ms);
        }
        return true;
    }

    // Another program seizes a shared device for a while, then closes it. While it
    // holds the device, the device's streams are silenced and a new stream cannot
    // open it; afterwards one can.
    void seize_now_and_then(std::atomic<bool> const& stop, std::uint64_t seed)
    {
        std::mt19937_64 random(seed);
        std::vector<test_device*> shared;
        for (auto& d : devices_)
            if (d.shared())
                shared.push_back(&d);
        while (!stop)
        {
            std::this_thread::sleep_for(std::chrono::microseconds(1000 + random() % 4000));
            auto& d = *shared[random() % shared.size()];
            int const pid = 4000 + static_cast<int>(random() % 1000);
            sim::foreign_client held{};
            {
                std::lock_guard const lock(d.seize_mutex);
                held = sim::open_foreign_client(d.id, pid, grabber_name, kIOHIDOptionsTypeSeizeDevice);
                d.seized = true;
            }
            ++totals_.seizes;
            if (held.open_result != kIOReturnSuccess)
                fault(fmt::format("device {}: another program's seize gave {:#x}", d.index, held.open_result));
            refused_while_seized(d, pid);
            silenced_while_seized(d, pid);
            std::this_thread::sleep_for(std::chrono::microseconds(2000 + random() % 15'000));
            IOReturn closed = kIOReturnSuccess;
            {
                std::lock_guard const lock(d.seize_mutex);
                closed = sim::close_foreign_client(held);
                d.seized = false;
            }
            if (closed != kIOReturnSuccess)
                fault(fmt::format("device {}: another program's close gave {:#x}", d.index, closed));
            opens_after_seize(d);
        }
    }

    void fault(std::string const& what)
    {
        if (totals_.seize_faults++ < 10)
            fmt::print(stderr, "hid_stress: {}\n", what);
    }

    // A new stream on the seized device stays closed, and so does its open: the
    // device is seized by another, whose pid and name the refusal and seizer() give.
    void refused_while_seized(test_device& d, int pid)
    {
        std::lock_guard const lock(lifecycle_mutex_);
        ++totals_.probes_while_seized;
        // With the device's read queue, if its streams have one: the open refused
        // makes none.
        auto const probe_stream = open_stream(d);
        auto& probe = *probe_stream;
        if (probe.is_open())
            return fault(fmt::format("device {}: a stream opened it while seized", d.index));
        auto const holder_text = fmt::format("seized by pid {}, {}", pid, grabber_name);
        try
        {
            probe.open(hid_open_mode::shared);
            return fault(fmt::format("device {}: a stream's open succeeded while seized", d.index));
        }
        catch (boost::system::system_error const& e)
        {
            if (e.code() != plinth::apple::make_error_code(plinth::apple::hid_errc::seized_by_another) ||
                std::string_view(e.what()).find(holder_text) == std::string_view::npos)
                return fault(fmt::format("device {}: an open while seized failed with \"{}\"", d.index, e.what()));
        }
        auto const holder = probe.seizer();
        if (!holder || holder->pid != pid || holder->process_name != grabber_name)
            return fault(fmt::format("device {}: seized by pid {}, seizer() says {}", d.index, pid,
                                     holder ? holder->describe() : "nobody"));
        ++totals_.opens_refused_while_seized;
    }

    // The device's clients say so: the other program's seizes, this program's
    // streams are silenced.
    void silenced_while_seized(test_device const& d, int pid)
    {
        auto const own_pid = static_cast<int>(::getpid());
        for (auto const& client : plinth::apple::hid_device_clients(entry(d.id)))
        {
            if (client.pid == pid && client.seizing != true)
                fault(fmt::format("device {}: pid {} seizes it, but its client says otherwise", d.index, pid));
            else if (client.pid == own_pid)
            {
                if (client.silenced == true)
                    ++totals_.clients_seen_silenced;
                else
                    fault(fmt::format("device {}: a stream is not silenced while pid {} seizes it", d.index, pid));
            }
        }
    }

    // Once the other program has closed the device, a new stream opens it, and
    // nobody seizes it.
    void opens_after_seize(test_device& d)
    {
        std::lock_guard const lock(lifecycle_mutex_);
        auto const probe = open_stream(d);
        if (!probe->is_open() || probe->seizer())
            return fault(fmt::format("device {}: no stream could open it after the seize", d.index));
        ++totals_.opens_after_seize;
    }

    // Waits until every report posted to the stream's device while it could hear
    // was read or dropped.
    bool settle(slot& s)
    {
        auto const until = std::chrono::steady_clock::now() + settle_limit;
        while (backlog(s) != 0)
        {
            if (std::chrono::steady_clock::now() > until)
                return false;
            std::this_thread::sleep_for(100us);
        }
        return true;
    }

    // The output reports that reached the device, in full: at least every one a
    // write confirmed, at most every one a write handed to IOKit. At the end, with
    // every write ended, a device that answers has every one handed over, and one
    // that never answers none. The caller holds the stream_mutex of a device that
    // can be unplugged.
    void check_output_reports(test_device& d, plinth::stress::account& account, bool at_end)
    {
        auto& tally = *d.writes;
        auto const until = std::chrono::steady_clock::now() + settle_limit;
        for (;;)
        {
            // In this order, so that each count read bounds the reports read.
            auto const confirmed = tally.confirmed.load();
            auto const sent = sim::output_reports(d.id);
            auto const refused = tally.refused.load();
            auto const handed_over = tally.started - refused;
            bool const complete =
                d.plan.answers == answer_kind::stalled ? sent.size() == confirmed : sent.size() == handed_over;
            if (at_end && !complete && std::chrono::steady_clock::now() < until)
            {
                std::this_thread::sleep_for(1ms);
                continue;
            }
            account.check(confirmed <= sent.size() && sent.size() <= handed_over && (!at_end || complete),
                          fmt::format("device {}: {} output reports arrived; {} writes confirmed, {} handed over",
                                      d.index, sent.size(), confirmed, handed_over));
            for (auto const& report : sent)
                account.check(report.type == kIOHIDReportTypeOutput && report.bytes.size() == 2 &&
                                  report.bytes[0] == d.index,
                              fmt::format("device {}: an output report arrived altered", d.index));
            if (at_end)
                output_reports_arrived_ += sent.size();
            return;
        }
    }

    // Unplugs the device of one stream while its reader waits, and plugs a new
    // one in with a new stream.
    void replug(test_device& d, plinth::stress::account& account)
    {
        auto& s = *d.streams.front();
        account.check(settle(s), fmt::format("device {}: {} reports neither read nor dropped before unplugging",
                                             d.index, backlog(s)));
        {
            std::lock_guard const lock(s.park_mutex);
            s.active = false;
        }
        {
            std::lock_guard const lock(s.stream_mutex);
            check_output_reports(d, account, false);
            output_reports_arrived_ += sim::output_reports(d.id).size();
            s.dropped_by_earlier_devices += sim::dropped_input_reports(d.id);
            // Final: the device gets no report now (this thread posts them).
            s.ring_dropped_by_earlier_streams += s.stream->dropped_reports();
            sim::remove_entry(d.id);
        }
        {
            // The reader waits in a read that the removal aborts, or learns of
            // the removal at its next read. A reader still waiting after a second
            // missed it: it is cancelled so that the run can go on, and counted.
            std::unique_lock lock(s.park_mutex);
            if (!s.park_changed.wait_for(lock, 1s, [&] { return s.parked; }))
            {
                ++totals_.unplugs_unseen;
                lock.unlock();
                {
                    std::lock_guard const stream_lock(s.stream_mutex);
                    s.stream->cancel();
                }
                lock.lock();
            }
            if (!s.park_changed.wait_for(lock, settle_limit, [&] { return s.parked; }))
            {
                fmt::print(stderr, "hid_stress: FAILED: the reader of device {} was never released by the unplug\n",
                           d.index);
                std::_Exit(1);
            }
        }
        // The writes pending on the unplugged device end by themselves, aborted:
        // destroying the stream is not what ends them.
        auto const until = std::chrono::steady_clock::now() + 2s;
        while (s.pending_writes != 0 && std::chrono::steady_clock::now() < until)
            std::this_thread::sleep_for(100us);
        if (s.pending_writes != 0)
        {
            // Said with how long they took in the end, which tells a slow machine
            // from writes that the unplug did not end.
            ++totals_.writes_left_by_unplug;
            auto const left = s.pending_writes.load();
            auto const late = std::chrono::steady_clock::now() + settle_limit;
            while (s.pending_writes != 0 && std::chrono::steady_clock::now() < late)
                std::this_thread::sleep_for(100us);
            fmt::print(stderr, "hid_stress: device {}: {} writes pending 2 s after its unplug; {}\n", d.index, left,
                       s.pending_writes == 0
                           ? fmt::format("all ended {} ms after that", (std::chrono::steady_clock::now() - until) / 1ms)
                           : fmt::format("{} still pending {} s later", s.pending_writes.load(), settle_limit / 1s));
        }
        std::lock_guard const lock(s.stream_mutex);
        std::lock_guard const lifecycle(lifecycle_mutex_);
        s.stream.reset();
        d.id = plug(d.index, d.plan);
        d.writes = std::make_shared<write_tally>();
        s.last_sequence = 0;
        d.next_sequence = 1;
        s.stream = open_stream(d);
        activate(s);
    }

    // Which readers' devices are unplugged: "all", or the asynchronous ones (see main).
    bool unplugs(reader_kind kind) const { return unplugged_ == "all" || !is_sync(kind); }

    plinth::stress::run_options options_;
    std::string unplugged_;
    bool coroutines_;
    totals totals_;
    std::array<test_device, device_count> devices_;
    std::array<slot, stream_count> slots_;
    // Streams of one context are made and destroyed one at a time.
    std::mutex lifecycle_mutex_;
    // The asynchronous writes, made by one thread, read after it has stopped.
    std::vector<std::shared_ptr<async_write_op>> write_ops_;
    std::atomic<std::int64_t> pending_writes_{0};
    std::atomic<std::uint64_t> unexpected_write_lines_{0};
    std::uint64_t output_reports_arrived_ = 0; // main thread only
    std::unique_ptr<shutting_context> context_ = std::make_unique<shutting_context>();
    asio::executor_work_guard<asio::io_context::executor_type> guard_;
    std::vector<std::thread> runners_;
    std::vector<std::thread> sync_readers_;
};

} // namespace

int main(int argc, char** argv)
{
    plinth::stress::run_options options;
    int exit_code = 0;
    // Whose devices are unplugged mid-read: every reader's, or ("async") only the
    // asynchronous readers', which keeps the blocking readers' streams for the
    // whole run.
    std::string unplugged = "all";
    // "--no-coroutines" puts callback readers in place of the coroutine readers.
    bool no_coroutines = false;
    if (!options.parse("HID streams read, cancelled, written, unplugged and shut down from many threads", argc, argv,
                       exit_code, [&](CLI::App& app) {
                           app.add_option("--unplug", unplugged, "whose devices are unplugged mid-read")
                               ->check(CLI::IsMember({"async", "all"}))
                               ->capture_default_str();
                           app.add_flag("--no-coroutines", no_coroutines,
                                        "callback readers in place of the coroutine readers");
                       }))
        return exit_code;
    auto stress = std::make_unique<hid_stress>(options, unplugged, !no_coroutines);
    return stress->run();
}

#endif
