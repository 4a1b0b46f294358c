// Notifier tokens and device watchers made and dropped from many threads, and from
// inside their own callbacks, while entries arrive and leave. Each token watches
// arrivals or removals of one class on the notifier service's port; some drop
// themselves the first time they are called. Each watcher (stress/watcher_churn.hpp)
// follows one class on the same service; some destroy themselves in a handler.
// The run proves that every callback's context was released once its token was
// gone, that every watcher's wait completed once and its history was possible,
// that every clean-up thread ended, and that no handle or CF object was left.

#if defined(__APPLE__)
// The run plays the simulated I/O Kit's devices and registry, which a Mac does not
// have: there the program does nothing.
int main()
{
    return 0;
}
#else

#include "stress/stress_run.hpp"
#include "stress/watcher_churn.hpp"

#include "device/apple/detail/notifier_service.hpp"
#include "io_kit/cf/dictionary.hpp"
#include "io_kit/io_iterator.hpp"
#include "sim/control/registry.hpp"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include <IOKit/IOKitLib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <thread>
#include <vector>

namespace {

namespace sim = plinth::sim;
namespace io_kit = plinth::apple::io_kit;
using plinth::apple::detail::notifier_service;

constexpr int token_threads = 4;
constexpr int watcher_threads = 2;
constexpr int handler_threads = 2;

struct totals
{
    std::atomic<std::uint64_t> tokens_made{0};
    std::atomic<std::uint64_t> tokens_dropped_outside{0};
    std::atomic<std::uint64_t> tokens_dropped_inside{0};
    std::atomic<std::uint64_t> callbacks{0};
    std::atomic<std::uint64_t> events_seen{0};
    std::atomic<std::uint64_t> contexts_made{0};
    std::atomic<std::uint64_t> contexts_released{0};
    std::atomic<std::uint64_t> entries_added{0};
    std::atomic<std::uint64_t> entries_removed{0};
};

// What one notification's callback needs; counts its own release.
struct watch_context
{
    explicit watch_context(totals& t, bool drops_itself_) : counts(&t), drops_itself(drops_itself_)
    {
        ++t.contexts_made;
    }
    ~watch_context() { ++counts->contexts_released; }
    watch_context(watch_context const&) = delete;
    watch_context& operator=(watch_context const&) = delete;

    totals* counts;
    bool drops_itself;
    // The token of a context that drops itself, guarded against the thread that
    // made it, which stores it after the notification is armed.
    std::mutex token_mutex;
    std::optional<notifier_service::token> token;

    static void matched(void* refcon, io_iterator_t iterator)
    {
        auto& self = *static_cast<watch_context*>(refcon);
        ++self.counts->callbacks;
        while (io_object_t service = IOIteratorNext(iterator))
        {
            ++self.counts->events_seen;
            IOObjectRelease(service);
        }
        if (!self.drops_itself)
            return;
        // Dropping the token here, on the loop's own thread, releases this
        // context only once the callback has returned.
        std::optional<notifier_service::token> mine;
        {
            std::lock_guard const lock(self.token_mutex);
            mine.swap(self.token);
        }
        if (mine)
        {
            mine.reset();
            ++self.counts->tokens_dropped_inside;
        }
    }
};

CF::Dictionary matching(char const* class_name)
{
    return CF::Dictionary(CF::AutoPointer(IOServiceMatching(class_name)));
}

void make_and_drop_tokens(notifier_service& service, int index, std::uint64_t seed, std::atomic<bool> const& stop,
                          totals& t)
{
    std::mt19937_64 random(seed + static_cast<std::uint64_t>(index));
    std::vector<notifier_service::token> held;
    constexpr char const* types[] = {kIOFirstMatchNotification, kIOMatchedNotification, kIOTerminatedNotification};
    constexpr char const* classes[] = {"IOUSBHostDevice", "IOPCIDevice"};
    while (!stop)
    {
        if (held.size() < 16 && random() % 3 != 0)
        {
            bool const drops_itself = random() % 4 == 0;
            auto context = std::make_shared<watch_context>(t, drops_itself);
            auto* raw = context.get();
            auto notification = service.get_notification_port().add_matching_notification(
                types[random() % std::size(types)], matching(classes[random() % std::size(classes)]),
                watch_context::matched, raw);
            // Arms it: a notification reports nothing until its iterator is drained.
            while (notification.next())
            {
            }
            auto token = service.get_token(std::move(notification), std::move(context));
            ++t.tokens_made;
            if (drops_itself)
            {
                std::lock_guard const lock(raw->token_mutex);
                raw->token.emplace(std::move(token));
            }
            else
                held.push_back(std::move(token));
        }
        else if (!held.empty())
        {
            held.erase(held.begin() + static_cast<std::ptrdiff_t>(random() % held.size()));
            ++t.tokens_dropped_outside;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 300));
    }
    t.tokens_dropped_outside += held.size();
}

void make_and_stop_watchers(boost::asio::io_context& context, int index, std::uint64_t seed,
                            std::atomic<bool> const& stop, plinth::stress::watcher_totals& t)
{
    std::mt19937_64 random(seed + 50 + static_cast<std::uint64_t>(index));
    std::vector<std::shared_ptr<plinth::stress::watch_session>> held;
    constexpr char const* classes[] = {"IOUSBHostDevice", "IOPCIDevice", "IOService"};
    while (!stop)
    {
        // Paced by the handler threads: a session made and stopped before they
        // got to it would have seen nothing, which slow builds (the sanitizers')
        // would otherwise make the rule.
        if (std::any_of(held.begin(), held.end(), [](auto const& session) { return !session->started(); }))
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        else if (held.empty() || (held.size() < 8 && random() % 4 != 0))
        {
            // One in four destroys its watcher in its own handler, after a few events.
            auto const drop_after = random() % 4 == 0 ? static_cast<unsigned>(1 + random() % 5) : 0u;
            held.push_back(std::make_shared<plinth::stress::watch_session>(
                context, classes[random() % std::size(classes)], drop_after, t));
            held.back()->start();
        }
        else if (!held.empty())
        {
            auto const at = random() % held.size();
            held[at]->stop();
            held.erase(held.begin() + static_cast<std::ptrdiff_t>(at));
        }
        // Long enough for a watcher to see some of the entries come and go.
        std::this_thread::sleep_for(std::chrono::microseconds(500 + random() % 3000));
    }
    for (auto const& session : held)
        session->stop();
}

void add_and_remove_entries(std::uint64_t seed, std::atomic<bool> const& stop, totals& t)
{
    std::mt19937_64 random(seed);
    std::vector<sim::entry_id> live;
    while (!stop)
    {
        if (live.size() < 32 && random() % 2 == 0)
        {
            live.push_back(
                sim::add_entry({random() % 2 ? "IOUSBHostDevice" : "IOPCIDevice", "Blinking"}, sim::root_entry_id));
            ++t.entries_added;
        }
        else if (!live.empty())
        {
            auto const at = random() % live.size();
            sim::remove_entry(live[at]);
            live.erase(live.begin() + static_cast<std::ptrdiff_t>(at));
            ++t.entries_removed;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 200));
    }
}

} // namespace

int main(int argc, char** argv)
{
    plinth::stress::run_options options;
    int exit_code = 0;
    if (!options.parse("Notifier tokens and device watchers made and dropped from many threads while entries arrive "
                       "and leave",
                       argc, argv, exit_code))
        return exit_code;
    plinth::stress::account account("notifier_stress");
    sim::reset_registry();
    totals t;
    plinth::stress::watcher_totals w;
    bool waits_all_completed = true;
    auto const start = std::chrono::steady_clock::now();
    {
        boost::asio::io_context context;
        auto& service = boost::asio::use_service<notifier_service>(context);
        // The watchers' handlers run here.
        auto work = boost::asio::make_work_guard(context);
        std::vector<std::thread> handlers;
        for (int i = 0; i < handler_threads; ++i)
            handlers.emplace_back([&] { context.run(); });
        std::atomic<bool> stop{false};
        std::vector<std::thread> threads;
        for (int i = 0; i < token_threads; ++i)
            threads.emplace_back([&, i] { make_and_drop_tokens(service, i, options.seed, stop, t); });
        for (int i = 0; i < watcher_threads; ++i)
            threads.emplace_back([&, i] { make_and_stop_watchers(context, i, options.seed, stop, w); });
        threads.emplace_back([&] { add_and_remove_entries(options.seed + 100, stop, t); });
        auto const deadline = options.deadline(start);
        while (options.more(t.tokens_made, deadline))
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        stop = true;
        for (auto& thread : threads)
            thread.join();
        // Every watcher is stopped or stopped itself: each wait started must now
        // complete, the last ones aborted.
        auto const settle = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (w.waits_completed < w.waits_started || w.sessions_released < w.sessions_made)
        {
            if (std::chrono::steady_clock::now() > settle)
            {
                waits_all_completed = false;
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        work.reset();
        for (auto& thread : handlers)
            thread.join();
        // Tokens of contexts that drop themselves and were never called are
        // still held by their contexts: the service's shutdown drops them.
    }
    sim::reset_registry();
    account.figure("seed", options.seed);
    account.figure("milliseconds", static_cast<std::uint64_t>((std::chrono::steady_clock::now() - start) /
                                                              std::chrono::milliseconds(1)));
    account.figure("tokens made", t.tokens_made);
    account.figure("tokens dropped by their threads", t.tokens_dropped_outside);
    account.figure("tokens dropped in their callbacks", t.tokens_dropped_inside);
    account.figure("callbacks", t.callbacks);
    account.figure("events seen", t.events_seen);
    account.figure("entries added", t.entries_added);
    account.figure("entries removed", t.entries_removed);
    account.figure("callback contexts made", t.contexts_made);
    account.figure("watchers made", w.watchers_made);
    account.figure("watchers refused", w.watchers_refused);
    account.figure("watchers destroyed by their threads", w.destroyed_by_their_threads);
    account.figure("watchers destroyed in their handlers", w.destroyed_in_their_handlers);
    account.figure("watcher waits started", w.waits_started);
    account.figure("watcher waits completed", w.waits_completed);
    account.figure("watcher arrivals", w.arrivals);
    account.figure("watcher departures", w.departures);
    account.figure("watcher waits aborted", w.aborted);
    account.figure("watcher overflows", w.overflows);
    account.check(
        waits_all_completed && w.waits_completed == w.waits_started,
        fmt::format("{} watcher waits started, {} completed", w.waits_started.load(), w.waits_completed.load()));
    account.check(
        w.sessions_released == w.sessions_made,
        fmt::format("{} watch sessions made, {} released", w.sessions_made.load(), w.sessions_released.load()));
    account.check(w.impossible_histories == 0,
                  fmt::format("{} events told an entry arriving twice or leaving before it arrived",
                              w.impossible_histories.load()));
    account.check(w.unexpected_errors == 0,
                  fmt::format("{} watcher waits failed unexpectedly", w.unexpected_errors.load()));
    int const code = account.close();
    // The clean-up threads have ended (close() waited for them): every context
    // must have been released by now.
    if (t.contexts_made != t.contexts_released)
    {
        fmt::print(stderr, "notifier_stress: FAILED: {} callback contexts made, {} released\n", t.contexts_made.load(),
                   t.contexts_released.load());
        return 1;
    }
    return code;
}

#endif
