// Tests of the simulated CFRunLoop and its sources.
#include "sim/run_loop_support.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using namespace plinth::testing::run_loop;
using namespace std::chrono_literals;
using clock_type = std::chrono::steady_clock;

// Every loop lives on a thread of its own, which ends (and frees its loop) before
// the fixture counts CF objects.
using cf_run_loop_test = plinth::testing::sim_test;

// A thread that publishes its loop, then runs `body` on it.
class loop_thread
{
public:
    template <typename Body>
    explicit loop_thread(Body body)
    {
        std::promise<CFRunLoopRef> loop;
        auto published = loop.get_future();
        thread_ = std::thread([&loop, body] {
            loop.set_value(CFRunLoopGetCurrent());
            body();
        });
        loop_ = published.get();
    }
    ~loop_thread() { join(); }
    void join()
    {
        if (thread_.joinable())
            thread_.join();
    }
    CFRunLoopRef loop() const { return loop_; }

private:
    std::thread thread_;
    CFRunLoopRef loop_ = nullptr;
};

double seconds_since(clock_type::time_point start)
{
    return std::chrono::duration<double>(clock_type::now() - start).count();
}

TEST_F(cf_run_loop_test, an_empty_or_absent_mode_finishes_at_once)
{
    source_probe probe;
    on_a_thread_of_its_own([&] {
        auto const start = clock_type::now();
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 10, false), kCFRunLoopRunFinished);
        EXPECT_EQ(CFRunLoopRunInMode(CFSTR("no such mode"), 10, false), kCFRunLoopRunFinished);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopCommonModes, 10, false), kCFRunLoopRunFinished);
        CFRunLoopRun(); // returns: the default mode is empty
        EXPECT_LT(seconds_since(start), 1.0);

        // A mode whose only source was removed is empty again.
        CFRunLoopSourceRef source = make_source(probe);
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, CFSTR("named"));
        EXPECT_EQ(CFRunLoopRunInMode(CFSTR("named"), 0, false), kCFRunLoopRunTimedOut);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false), kCFRunLoopRunFinished)
            << "modes have their own sources";
        CFRunLoopRemoveSource(CFRunLoopGetCurrent(), source, CFSTR("named"));
        EXPECT_EQ(CFRunLoopRunInMode(CFSTR("named"), 10, false), kCFRunLoopRunFinished);
        CFRelease(source);
    });
}

TEST_F(cf_run_loop_test, times_out_after_a_single_pass_or_at_the_deadline_whatever_came_before_the_run)
{
    source_probe probe;
    on_a_thread_of_its_own([&] {
        CFRunLoopSourceRef source = make_source(probe);
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);

        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false), kCFRunLoopRunTimedOut);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, -1, false), kCFRunLoopRunTimedOut);

        CFRunLoopSourceSignal(source);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false), kCFRunLoopRunTimedOut)
            << "a handled source without return-after still ends in a timeout";
        EXPECT_EQ(probe.performs, 1);

        // A stop or wake-up sent while the loop is not running is forgotten.
        CFRunLoopStop(CFRunLoopGetCurrent());
        CFRunLoopWakeUp(CFRunLoopGetCurrent());
        auto const start = clock_type::now();
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.05, false), kCFRunLoopRunTimedOut);
        EXPECT_GE(seconds_since(start), 0.05);
        CFRelease(source);
    });
}

TEST_F(cf_run_loop_test, return_after_source_handled_runs_one_source_and_returns)
{
    source_probe first, second;
    on_a_thread_of_its_own([&] {
        std::vector<int> log;
        first.log = second.log = &log;
        first.tag = 1;
        second.tag = 2;
        CFRunLoopSourceRef late = make_source(second, 10);
        CFRunLoopSourceRef early = make_source(first, -3);
        CFRunLoopRef loop = CFRunLoopGetCurrent();
        CFRunLoopAddSource(loop, late, kCFRunLoopDefaultMode);
        CFRunLoopAddSource(loop, early, kCFRunLoopDefaultMode);
        CFRunLoopSourceSignal(late);
        CFRunLoopSourceSignal(early);

        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 10, true), kCFRunLoopRunHandledSource);
        EXPECT_EQ(log, std::vector<int>{1}) << "only the lowest order ran";
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 10, true), kCFRunLoopRunHandledSource);
        EXPECT_EQ(log, (std::vector<int>{1, 2}));
        CFRelease(late);
        CFRelease(early);
    });
}

TEST_F(cf_run_loop_test, ready_sources_run_by_ascending_order)
{
    source_probe probes[4];
    on_a_thread_of_its_own([&] {
        std::vector<int> log;
        CFIndex const orders[4] = {5, -1, 3, 3};
        CFRunLoopSourceRef sources[4];
        for (int i = 0; i < 4; ++i)
        {
            probes[i].log = &log;
            probes[i].tag = i;
            sources[i] = make_source(probes[i], orders[i]);
            CFRunLoopAddSource(CFRunLoopGetCurrent(), sources[i], kCFRunLoopDefaultMode);
        }
        for (int i = 3; i >= 0; --i)
            CFRunLoopSourceSignal(sources[i]);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false), kCFRunLoopRunTimedOut);
        ASSERT_EQ(log.size(), 4u);
        EXPECT_EQ(log[0], 1);
        EXPECT_EQ(log[3], 0);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false), kCFRunLoopRunTimedOut);
        EXPECT_EQ(log.size(), 4u) << "the signal is cleared when the source performs";
        for (auto* source : sources)
            CFRelease(source);
    });
}

TEST_F(cf_run_loop_test, a_stop_from_another_thread_wakes_the_sleeping_loop)
{
    source_probe probe;
    CFRunLoopSourceRef source = make_source(probe);
    std::atomic<CFRunLoopRunResult> result{0};
    std::atomic<double> took{0};
    loop_thread runner([&] {
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        auto const start = clock_type::now();
        result = CFRunLoopRunInMode(kCFRunLoopDefaultMode, 60, false);
        took = seconds_since(start);
    });
    ASSERT_TRUE(wait_until_waiting(runner.loop()));
    EXPECT_TRUE(CFRunLoopIsWaiting(runner.loop()));
    CFRunLoopStop(runner.loop());
    runner.join();
    EXPECT_EQ(result, kCFRunLoopRunStopped);
    EXPECT_LT(took, 5.0);
    CFRelease(source);
}

TEST_F(cf_run_loop_test, a_stop_acts_on_the_innermost_run)
{
    struct nested
    {
        std::atomic<CFRunLoopRunResult> inner{0};
    } state;
    source_probe probe;
    probe.user = &state;
    probe.on_perform = [](source_probe& p) {
        static_cast<nested*>(p.user)->inner = CFRunLoopRunInMode(kCFRunLoopDefaultMode, 60, false);
    };
    CFRunLoopSourceRef source = make_source(probe);
    std::atomic<CFRunLoopRunResult> outer{0};
    loop_thread runner([&] {
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        CFRunLoopSourceSignal(source);
        outer = CFRunLoopRunInMode(kCFRunLoopDefaultMode, 60, false);
    });
    ASSERT_TRUE(wait_until_waiting(runner.loop()));
    EXPECT_EQ(probe.performs, 1) << "sleeping in the nested run";
    CFRunLoopStop(runner.loop());
    while (state.inner == 0)
        std::this_thread::sleep_for(1ms);
    EXPECT_EQ(state.inner, kCFRunLoopRunStopped);
    ASSERT_TRUE(wait_until_waiting(runner.loop()));
    EXPECT_EQ(outer, 0) << "the outer run goes on";
    CFRunLoopStop(runner.loop());
    runner.join();
    EXPECT_EQ(outer, kCFRunLoopRunStopped);
    CFRelease(source);
}

TEST_F(cf_run_loop_test, a_signal_alone_does_not_wake_the_loop)
{
    source_probe probe;
    CFRunLoopSourceRef source = make_source(probe);
    std::atomic<CFRunLoopRunResult> result{0};
    loop_thread runner([&] {
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        result = CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.3, true);
        EXPECT_EQ(probe.performs, 0);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true), kCFRunLoopRunHandledSource)
            << "still signalled for the next pass";
    });
    ASSERT_TRUE(wait_until_waiting(runner.loop()));
    CFRunLoopSourceSignal(source);
    runner.join();
    EXPECT_EQ(result, kCFRunLoopRunTimedOut);
    EXPECT_EQ(probe.performs, 1);
    CFRelease(source);
}

// Each round trip is signal + wake-up on this thread, perform on the loop's thread:
// a wake-up lost between the loop's pass and its sleep would stall a round for the
// whole minute of the run.
TEST_F(cf_run_loop_test, a_signal_and_wake_up_from_another_thread_performs_on_the_loop_thread)
{
    constexpr int rounds = 2000;
    struct handoff
    {
        std::mutex mutex;
        std::condition_variable done;
        int performed = 0;
    } state;
    source_probe probe;
    probe.user = &state;
    probe.on_perform = [](source_probe& p) {
        auto& s = *static_cast<handoff*>(p.user);
        {
            std::lock_guard guard(s.mutex);
            ++s.performed;
        }
        s.done.notify_one();
    };
    CFRunLoopSourceRef source = make_source(probe);
    std::atomic<std::thread::id> loop_thread_id{};
    std::atomic<CFRunLoopRunResult> result{0};
    loop_thread runner([&] {
        loop_thread_id = std::this_thread::get_id();
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        result = CFRunLoopRunInMode(kCFRunLoopDefaultMode, 60, false);
    });
    auto const start = clock_type::now();
    for (int round = 1; round <= rounds; ++round)
    {
        CFRunLoopSourceSignal(source);
        CFRunLoopWakeUp(runner.loop());
        std::unique_lock lock(state.mutex);
        ASSERT_TRUE(state.done.wait_for(lock, 10s, [&] { return state.performed >= round; })) << "round " << round;
    }
    EXPECT_LT(seconds_since(start), 30.0);
    CFRunLoopStop(runner.loop());
    runner.join();
    EXPECT_EQ(result, kCFRunLoopRunStopped);
    EXPECT_EQ(probe.perform_thread.load(), loop_thread_id.load());
    EXPECT_NE(probe.perform_thread.load(), std::this_thread::get_id());
    CFRelease(source);
}

TEST_F(cf_run_loop_test, schedule_and_cancel_callouts_name_the_loop_and_mode_until_the_thread_ends)
{
    source_probe probe;
    on_a_thread_of_its_own([&] {
        CFRunLoopSourceRef source = make_source(probe);
        CFRunLoopRef loop = CFRunLoopGetCurrent();
        CFRunLoopAddSource(loop, source, CFSTR("named"));
        CFRunLoopAddSource(loop, source, CFSTR("named"));
        EXPECT_EQ(probe.schedules, 1) << "a second add to the same mode is ignored";
        EXPECT_EQ(probe.last_loop, loop);
        EXPECT_TRUE(CFEqual(probe.last_mode, CFSTR("named")));
        EXPECT_TRUE(CFRunLoopContainsSource(loop, source, CFSTR("named")));
        EXPECT_FALSE(CFRunLoopContainsSource(loop, source, kCFRunLoopDefaultMode));

        CFRunLoopAddSource(loop, source, kCFRunLoopCommonModes);
        EXPECT_EQ(probe.schedules, 2) << "the common modes are the default mode";
        EXPECT_TRUE(CFEqual(probe.last_mode, kCFRunLoopDefaultMode));
        EXPECT_TRUE(CFRunLoopContainsSource(loop, source, kCFRunLoopCommonModes));
        EXPECT_TRUE(CFRunLoopContainsSource(loop, source, kCFRunLoopDefaultMode));

        CFRunLoopAddCommonMode(loop, CFSTR("extra"));
        EXPECT_EQ(probe.schedules, 3) << "a new common mode gets the common sources";
        EXPECT_TRUE(CFRunLoopContainsSource(loop, source, CFSTR("extra")));

        CFRunLoopRemoveSource(loop, source, kCFRunLoopCommonModes);
        EXPECT_EQ(probe.cancels, 2);
        EXPECT_FALSE(CFRunLoopContainsSource(loop, source, kCFRunLoopCommonModes));
        EXPECT_TRUE(CFRunLoopContainsSource(loop, source, CFSTR("named")));
        EXPECT_EQ(CFGetRetainCount(source), 2) << "the loop holds one reference";
        CFRelease(source);
    });
    EXPECT_EQ(probe.cancels, 3) << "the thread ended with the source still in a mode";
    EXPECT_EQ(probe.releases, 1) << "and its loop let go of the last reference";
}

TEST_F(cf_run_loop_test, an_invalidated_source_leaves_every_loop_and_ignores_signals)
{
    source_probe probe;
    CFRunLoopSourceRef source = make_source(probe);
    on_a_thread_of_its_own([&] {
        CFRunLoopRef loop = CFRunLoopGetCurrent();
        CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
        CFRunLoopAddSource(loop, source, CFSTR("named"));
        CFRunLoopSourceSignal(source);
        EXPECT_TRUE(CFRunLoopSourceIsValid(source));
        CFRunLoopSourceInvalidate(source);
        EXPECT_FALSE(CFRunLoopSourceIsValid(source));
        EXPECT_EQ(probe.cancels, 2);
        EXPECT_FALSE(CFRunLoopContainsSource(loop, source, kCFRunLoopDefaultMode));
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 10, false), kCFRunLoopRunFinished)
            << "the signal went with it, and so did the mode's only source";

        CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
        EXPECT_FALSE(CFRunLoopContainsSource(loop, source, kCFRunLoopDefaultMode));
        EXPECT_EQ(probe.schedules, 2);
    });
    EXPECT_EQ(probe.performs, 0);
    CFRelease(source);
}

TEST_F(cf_run_loop_test, the_source_retains_and_releases_its_info)
{
    source_probe probe;
    CFRunLoopSourceRef source = make_source(probe);
    EXPECT_EQ(probe.retains, 1);
    on_a_thread_of_its_own([&] {
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        CFRelease(source);
        EXPECT_EQ(probe.releases, 0) << "the loop still holds the source";
        CFRunLoopRemoveSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        EXPECT_EQ(probe.releases, 1);
    });
    EXPECT_EQ(probe.retains, 1);
}

// Callouts run with nothing locked: a perform may invalidate and release its own
// source, and stop its loop.
TEST_F(cf_run_loop_test, a_perform_may_invalidate_release_and_stop)
{
    source_probe probe;
    source_probe keeper;
    on_a_thread_of_its_own([&] {
        static CFRunLoopSourceRef own = nullptr;
        own = make_source(probe);
        probe.on_perform = [](source_probe&) {
            CFRunLoopSourceInvalidate(own);
            CFRelease(own);
            CFRunLoopStop(CFRunLoopGetCurrent());
        };
        CFRunLoopSourceRef other = make_source(keeper);
        CFRunLoopAddSource(CFRunLoopGetCurrent(), own, kCFRunLoopDefaultMode);
        CFRunLoopAddSource(CFRunLoopGetCurrent(), other, kCFRunLoopDefaultMode);
        CFRunLoopSourceSignal(own);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 60, false), kCFRunLoopRunStopped);
        EXPECT_EQ(probe.releases, 1) << "freed once the pass let go of it";
        CFRelease(other);
    });
}

TEST_F(cf_run_loop_test, copies_the_mode_of_the_running_loop)
{
    source_probe probe;
    on_a_thread_of_its_own([&] {
        static CFStringRef seen = nullptr;
        probe.on_perform = [](source_probe&) { seen = CFRunLoopCopyCurrentMode(CFRunLoopGetCurrent()); };
        CFRunLoopSourceRef source = make_source(probe);
        EXPECT_EQ(CFRunLoopCopyCurrentMode(CFRunLoopGetCurrent()), nullptr);
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, CFSTR("named"));
        CFRunLoopSourceSignal(source);
        CFRunLoopRunInMode(CFSTR("named"), 0, false);
        ASSERT_NE(seen, nullptr);
        EXPECT_TRUE(CFEqual(seen, CFSTR("named")));
        CFRelease(seen);
        CFRelease(source);
    });
}

} // namespace
