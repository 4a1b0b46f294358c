// Many HID streams on one execution context run by two threads. Each stream has
// one reader of its own kind: a blocking read, a read with a (sometimes zero or
// negative) timeout, a chain of callback reads, or a coroutine racing each read
// against a timer. Meanwhile other threads cancel reads and write output reports,
// and the main thread posts input reports and unplugs devices in the middle of
// reads, plugging each back in as a new entry with a new stream. At the end the
// context is shut down while every reader is blocked.
//
// The run proves that every report posted reached a read exactly once and in
// order, or was dropped and counted by the kernel's queue; that every output
// report written reached its device; that every reader was released; and that no
// handle, CF object or thread was left.

#if defined(__APPLE__)
// The run plays the simulated I/O Kit's devices and registry, which a Mac does not
// have: there the program does nothing.
int main()
{
    return 0;
}
#else

#include "stress/stress_run.hpp"

#include "device/apple/device.hpp"
#include "device/apple/hid_stream.hpp"
#include "device/apple/tree.hpp"
#include "error/apple/hid_errc.hpp"
#include "io_kit/mach_port.hpp"
#include "log/log.hpp"
#include "sim/control/hid.hpp"
#include "sim/control/registry.hpp"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <variant>
#include <vector>

namespace {

namespace asio = boost::asio;
namespace sim = plinth::sim;
using plinth::apple::hid_stream;
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
};
constexpr int reader_kinds = 4;
constexpr int slot_count = 8;
// Reports posted and not yet read or dropped, at most, before the poster waits:
// the kernel's queue holds 512 reports of 8 bytes.
constexpr std::uint64_t backlog_limit = 32;
constexpr auto settle_limit = 5s;

sim::entry_id plug(int index)
{
    return sim::add_entry({"IOUSBHostHIDDevice",
                           "Stress " + std::to_string(index),
                           std::nullopt,
                           {{"DeviceUsagePage", sim::make_number(1)},
                            {"DeviceUsage", sim::make_number(6)},
                            {"MaxInputReportSize", sim::make_number(8)},
                            {"MaxOutputReportSize", sim::make_number(2)}}},
                          sim::root_entry_id);
}

plinth::apple::device entry(sim::entry_id id)
{
    plinth::apple::tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
    return plinth::apple::device(plinth::apple::io_kit::io_registry_entry(registry.get_by_id(id).next()));
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
    std::atomic<std::uint64_t> unexpected_errors{0};
    std::atomic<std::uint64_t> chains_started{0};
    std::atomic<std::uint64_t> chains_ended{0};
    std::atomic<std::uint64_t> cancels{0};
    std::atomic<std::uint64_t> writes{0};
    std::atomic<std::uint64_t> writes_refused{0};
    std::atomic<std::uint64_t> empty_cancel_calls{0};
    std::atomic<std::uint64_t> aborted_at_shutdown{0};
    std::atomic<std::uint64_t> unplugs_unseen{0};
    std::atomic<std::uint64_t> reads_refused_closed{0};
};

// One device and its stream, with the reader that serves it.
struct slot
{
    int index = 0;
    reader_kind kind = reader_kind::blocking;
    sim::entry_id id = 0;

    // Guards `stream` against the canceller and the writer while the main thread
    // replaces it.
    std::mutex stream_mutex;
    std::unique_ptr<hid_stream> stream;
    std::uint64_t writes_to_device = 0; // under stream_mutex

    // The reader's state: it reads while `active`, and parks (sets `parked`)
    // when it finds it cleared; `ending` makes it stop for good.
    std::mutex park_mutex;
    std::condition_variable park_changed;
    bool active = false;
    bool parked = true;
    bool ending = false;

    std::uint32_t next_sequence = 1; // main thread only
    std::atomic<std::uint64_t> posted{0};
    std::atomic<std::uint64_t> delivered{0};
    std::uint64_t dropped_by_earlier_devices = 0; // main thread only
    std::atomic<std::uint32_t> last_sequence{0};

    // The callback chain's buffers: one read at a time.
    std::array<std::uint8_t, 8> chain_bytes{};
    std::uint8_t chain_id = 0;

    std::uint64_t dropped() const { return dropped_by_earlier_devices + sim::dropped_input_reports(id); }
    std::uint64_t backlog() const { return posted - delivered - dropped(); }
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
        // open, a failed callback): every line is shown, and counted.
        std::atomic<std::uint64_t> log_lines{0};
        auto const previous_sink = plinth::set_log_sink([&](plinth::log_level, std::string_view line) {
            if (log_lines++ < 20)
                fmt::print(stderr, "hid_stress: library log: {}\n", line);
        });
        std::mt19937_64 random(options_.seed);
        for (int i = 0; i < slot_count; ++i)
        {
            auto& s = slots_[static_cast<std::size_t>(i)];
            s.index = i;
            s.kind = static_cast<reader_kind>(i % reader_kinds);
            if (s.kind == reader_kind::coroutine && !coroutines_)
                s.kind = reader_kind::callbacks;
            s.id = plug(i);
            s.stream = std::make_unique<hid_stream>(context_->get_executor(), entry(s.id));
        }
        for (int i = 0; i < 2; ++i)
            runners_.emplace_back([this] { run_context(); });
        for (auto& s : slots_)
            if (s.kind == reader_kind::blocking || s.kind == reader_kind::timed)
                sync_readers_.emplace_back([this, &s] { sync_reader(s); });
        for (auto& s : slots_)
            activate(s);

        std::atomic<bool> stop_helpers{false};
        std::thread canceller([&] { cancel_now_and_then(stop_helpers, options_.seed + 1); });
        std::thread writer([&] { write_now_and_then(stop_helpers, options_.seed + 2); });

        auto const start = std::chrono::steady_clock::now();
        auto const deadline = options_.deadline(start);
        std::uint64_t rounds = 0;
        std::uint64_t replugs = 0;
        while (options_.more(rounds, deadline))
        {
            ++rounds;
            auto& s = slots_[random() % slot_count];
            if (random() % 100 < 2 && unplugs(s.kind))
            {
                replug(s, account);
                ++replugs;
                continue;
            }
            auto const burst = 1 + random() % 4;
            for (std::uint64_t i = 0; i < burst && s.backlog() < backlog_limit; ++i)
                post(s);
            if (rounds % 16 == 0)
                std::this_thread::sleep_for(std::chrono::microseconds(random() % 400));
        }
        stop_helpers = true;
        canceller.join();
        writer.join();

        // Every report posted is read (or dropped) before the end: what is left
        // in a queue now is lost.
        for (auto& s : slots_)
            account.check(settle(s), fmt::format("device {}: {} of {} reports neither read nor dropped", s.index,
                                                 s.backlog(), s.posted.load()));
        for (auto& s : slots_)
        {
            std::lock_guard const lock(s.stream_mutex);
            check_output_reports(s, account);
        }

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
        for (auto& s : slots_)
            s.stream.reset();

        std::uint64_t posted = 0;
        std::uint64_t delivered = 0;
        std::uint64_t dropped = 0;
        for (auto& s : slots_)
        {
            posted += s.posted;
            delivered += s.delivered;
            dropped += s.dropped();
        }
        auto const finish = std::chrono::steady_clock::now();
        account.figure("seed", options_.seed);
        account.figure("milliseconds", static_cast<std::uint64_t>((finish - start) / 1ms));
        account.figure("rounds", rounds);
        account.figure("streams", slot_count);
        account.figure("devices unplugged mid-read", replugs);
        account.figure("reports posted", posted);
        account.figure("reports delivered", delivered);
        account.figure("reports dropped (queue full)", dropped);
        account.figure("reads completed", totals_.reads_completed);
        account.figure("reads aborted", totals_.reads_aborted);
        account.figure("reads timed out", totals_.reads_timed_out);
        account.figure("reads beaten by the timer", totals_.timer_wins);
        account.figure("cancels", totals_.cancels);
        account.figure("cancels of no read (posted)", totals_.empty_cancel_calls);
        account.figure("writes", totals_.writes);
        account.figure("writes refused", totals_.writes_refused);
        account.figure("reads refused (closed by unplug)", totals_.reads_refused_closed);
        account.figure("unplugs a reader missed", totals_.unplugs_unseen);
        account.figure("readers released at shutdown", totals_.aborted_at_shutdown);
        account.figure("reader chains started", totals_.chains_started);
        account.figure("library log lines", log_lines);
        plinth::set_log_sink(previous_sink);
        account.check(posted == delivered + dropped,
                      fmt::format("{} reports posted, {} delivered, {} dropped", posted, delivered, dropped));
        account.check(delivered == totals_.reads_completed, "a completed read carried no report");
        account.check(totals_.out_of_order == 0,
                      fmt::format("{} reports out of order or twice", totals_.out_of_order.load()));
        account.check(totals_.malformed == 0, fmt::format("{} reports arrived altered", totals_.malformed.load()));
        account.check(totals_.unexpected_errors == 0,
                      fmt::format("{} reads failed with an unexpected error", totals_.unexpected_errors.load()));
        account.check(totals_.aborted_at_shutdown > 0, "no reader was blocked at shutdown");
        account.check(totals_.unplugs_unseen == 0,
                      fmt::format("{} unplugs left a reader waiting", totals_.unplugs_unseen.load()));
        // The coroutines' frames go with the context.
        return finish_after_context(account);
    }

    int finish_after_context(plinth::stress::account& account)
    {
        context_.reset();
        account.check(totals_.chains_started == totals_.chains_ended,
                      fmt::format("{} asynchronous reader chains started, {} ended", totals_.chains_started.load(),
                                  totals_.chains_ended.load()));
        return account.close();
    }

private:
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

    void post(slot& s)
    {
        auto const sequence = s.next_sequence++;
        std::array<std::uint8_t, 4> const bytes{static_cast<std::uint8_t>(s.index), static_cast<std::uint8_t>(sequence),
                                                static_cast<std::uint8_t>(sequence >> 8),
                                                static_cast<std::uint8_t>(sequence >> 16)};
        ++s.posted;
        sim::post_input_report(s.id, static_cast<std::uint32_t>(s.index + 1), bytes);
    }

    // Checks one report a read returned.
    void received(slot& s, std::uint8_t id, std::uint8_t const* bytes, std::size_t n)
    {
        ++totals_.reads_completed;
        ++s.delivered;
        if (n != 4 || id != s.index + 1 || bytes[0] != s.index)
        {
            ++totals_.malformed;
            return;
        }
        auto const sequence = static_cast<std::uint32_t>(bytes[1] | bytes[2] << 8 | bytes[3] << 16);
        // Dropped reports leave gaps; a report twice or late goes backwards.
        if (sequence <= s.last_sequence.exchange(sequence))
            ++totals_.out_of_order;
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
        else if (s.kind == reader_kind::coroutine)
            // On a strand: the read and the timer of one race complete on the
            // context's two threads, and the race's state is the coroutine's.
            asio::co_spawn(asio::make_strand(*context_), coroutine_reader(s), asio::detached);
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
            if (!stream.is_open())
                ec = plinth::apple::make_error_code(plinth::apple::hid_errc::not_open);
            else if (s.kind == reader_kind::blocking)
                n = read_unless_closed([&] { return stream.read({&id, asio::buffer(bytes)}, ec); }, ec);
            else
            {
                // Mostly short timeouts, now and then none left at all.
                auto const choice = random() % 16;
                auto const timeout = choice == 0 ? 0ns
                                     : choice == 1
                                         ? -1ms
                                         : std::chrono::nanoseconds(std::chrono::microseconds(50 + random() % 2000));
                n = read_unless_closed([&] { return stream.read({&id, asio::buffer(bytes)}, timeout, ec); }, ec);
            }
            if (!ec)
                received(s, id, bytes.data(), n);
            else
            {
                failed(ec);
                if (std::lock_guard const lock(s.park_mutex); s.ending && ec == asio::error::operation_aborted)
                    ++totals_.aborted_at_shutdown;
            }
        }
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
                                     if (std::lock_guard const lock(s.park_mutex);
                                         s.ending && ec == asio::error::operation_aborted)
                                         ++totals_.aborted_at_shutdown;
                                 }
                                 chain_read(s, std::move(life));
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

    void cancel_now_and_then(std::atomic<bool> const& stop, std::uint64_t seed)
    {
        std::mt19937_64 random(seed);
        while (!stop)
        {
            auto& s = slots_[random() % slot_count];
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

    void write_now_and_then(std::atomic<bool> const& stop, std::uint64_t seed)
    {
        std::mt19937_64 random(seed);
        while (!stop)
        {
            auto& s = slots_[random() % slot_count];
            {
                std::lock_guard const lock(s.stream_mutex);
                if (s.stream)
                {
                    std::array<std::uint8_t, 2> const bytes{static_cast<std::uint8_t>(s.index),
                                                            static_cast<std::uint8_t>(random())};
                    boost::system::error_code ec;
                    s.stream->write({nullptr, asio::buffer(bytes)}, ec);
                    if (ec)
                        ++totals_.writes_refused;
                    else
                    {
                        ++totals_.writes;
                        ++s.writes_to_device;
                    }
                }
            }
            std::this_thread::sleep_for(std::chrono::microseconds(100 + random() % 1000));
        }
    }

    // Waits until every report posted to the slot's device was read or dropped.
    bool settle(slot& s)
    {
        auto const until = std::chrono::steady_clock::now() + settle_limit;
        while (s.backlog() != 0)
        {
            if (std::chrono::steady_clock::now() > until)
                return false;
            std::this_thread::sleep_for(100us);
        }
        return true;
    }

    // Every output report the stream wrote reached the device, in full. The
    // caller holds s.stream_mutex.
    void check_output_reports(slot& s, plinth::stress::account& account)
    {
        auto const sent = sim::output_reports(s.id);
        account.check(sent.size() == s.writes_to_device, fmt::format("device {}: {} output reports written, {} arrived",
                                                                     s.index, s.writes_to_device, sent.size()));
        for (auto const& report : sent)
            account.check(report.type == kIOHIDReportTypeOutput && report.bytes.size() == 2 &&
                              report.bytes[0] == s.index,
                          fmt::format("device {}: an output report arrived altered", s.index));
    }

    // Unplugs the slot's device while its reader waits, and plugs a new one in
    // with a new stream.
    void replug(slot& s, plinth::stress::account& account)
    {
        account.check(settle(s), fmt::format("device {}: {} reports neither read nor dropped before unplugging",
                                             s.index, s.backlog()));
        {
            std::lock_guard const lock(s.park_mutex);
            s.active = false;
        }
        {
            std::lock_guard const lock(s.stream_mutex);
            check_output_reports(s, account);
            s.dropped_by_earlier_devices += sim::dropped_input_reports(s.id);
            sim::remove_entry(s.id);
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
                           s.index);
                std::_Exit(1);
            }
        }
        std::lock_guard const lock(s.stream_mutex);
        s.stream.reset();
        s.id = plug(s.index);
        s.writes_to_device = 0;
        s.last_sequence = 0;
        s.next_sequence = 1;
        s.stream = std::make_unique<hid_stream>(context_->get_executor(), entry(s.id));
        activate(s);
    }

    // Which readers' devices are unplugged: "all", or the asynchronous ones (see main).
    bool unplugs(reader_kind kind) const
    {
        return unplugged_ == "all" || kind == reader_kind::callbacks || kind == reader_kind::coroutine;
    }

    plinth::stress::run_options options_;
    std::string unplugged_;
    bool coroutines_;
    totals totals_;
    std::array<slot, slot_count> slots_;
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
