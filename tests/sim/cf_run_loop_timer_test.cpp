// Tests of the simulated CFRunLoopTimer: firing on the loop's thread in its modes, repeating without bursts,
// waking a waiting loop when added or moved, invalidation and the release of its info, and misuse.
#include "sim/run_loop_support.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <future>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using plinth::testing::run_loop::on_a_thread_of_its_own;

// Every loop lives on a thread of its own, which ends (and frees its loop) before
// the fixture counts CF objects.
using cf_run_loop_timer_test = plinth::testing::sim_test;

// What a timer's callout saw, and how often its info was retained and released.
struct timer_probe
{
    std::vector<CFAbsoluteTime> fired_at;
    std::vector<std::thread::id> threads;
    int retains = 0;
    int releases = 0;
    void (*on_fire)(CFRunLoopTimerRef timer, timer_probe& probe) = nullptr;
};

void probe_fired(CFRunLoopTimerRef timer, void* info)
{
    auto& probe = *static_cast<timer_probe*>(info);
    probe.fired_at.push_back(CFAbsoluteTimeGetCurrent());
    probe.threads.push_back(std::this_thread::get_id());
    if (probe.on_fire != nullptr)
        probe.on_fire(timer, probe);
}

CFRunLoopTimerRef make_timer(timer_probe& probe, CFAbsoluteTime fire_date, CFTimeInterval interval = 0,
                             CFIndex order = 0)
{
    CFRunLoopTimerContext context{
        0, &probe,
        [](void const* info) {
            ++static_cast<timer_probe*>(const_cast<void*>(info))->retains;
            return info;
        },
        [](void const* info) { ++static_cast<timer_probe*>(const_cast<void*>(info))->releases; }, nullptr};
    return CFRunLoopTimerCreate(kCFAllocatorDefault, fire_date, interval, 0, order, probe_fired, &context);
}

// A one-shot timer fires once, on the loop's thread, no sooner than its date; it is
// then invalid, lets go of its info at once, and leaves its mode empty, which ends the run.
TEST_F(cf_run_loop_timer_test, a_one_shot_timer_fires_once_on_the_loop_thread_then_is_invalid_and_the_run_finishes)
{
    timer_probe probe;
    on_a_thread_of_its_own([&] {
        auto const due = CFAbsoluteTimeGetCurrent() + 0.02;
        CFRunLoopTimerRef timer = make_timer(probe, due);
        EXPECT_FALSE(CFRunLoopTimerDoesRepeat(timer));
        CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
        EXPECT_TRUE(CFRunLoopContainsTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode));
        EXPECT_EQ(CFRunLoopGetNextTimerFireDate(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode), due);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 60, false), kCFRunLoopRunFinished);
        ASSERT_EQ(probe.fired_at.size(), 1u);
        EXPECT_GE(probe.fired_at[0], due);
        EXPECT_EQ(probe.threads[0], std::this_thread::get_id());
        EXPECT_FALSE(CFRunLoopTimerIsValid(timer));
        EXPECT_FALSE(CFRunLoopContainsTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode));
        EXPECT_EQ(probe.releases, 1) << "an invalid timer lets go of its info before its last reference goes";
        CFRunLoopTimerContext context{};
        CFRunLoopTimerGetContext(timer, &context);
        EXPECT_EQ(context.info, nullptr);
        CFRelease(timer);
    });
    EXPECT_EQ(probe.retains, 1);
    EXPECT_EQ(probe.releases, 1);
}

// A repeating timer that fell five intervals behind fires once, not five times,
// and its next date is the first of its schedule after now.
TEST_F(cf_run_loop_timer_test, a_repeating_timer_behind_its_schedule_fires_once_and_skips_what_it_missed)
{
    timer_probe probe;
    on_a_thread_of_its_own([&] {
        auto const start = CFAbsoluteTimeGetCurrent() - 5.5;
        CFRunLoopTimerRef timer = make_timer(probe, start, 1.0);
        CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.05, false), kCFRunLoopRunTimedOut);
        EXPECT_EQ(probe.fired_at.size(), 1u);
        auto const next = CFRunLoopTimerGetNextFireDate(timer);
        EXPECT_DOUBLE_EQ(next, start + 6.0) << "on its schedule, the first date after now";
        EXPECT_TRUE(CFRunLoopTimerIsValid(timer));
        EXPECT_EQ(CFRunLoopTimerGetInterval(timer), 1.0);
        CFRunLoopTimerInvalidate(timer);
        CFRelease(timer);
    });
    EXPECT_EQ(probe.releases, 1);
}

// Due timers fire earliest first, and by order among equal dates; a fired timer
// is no handled source, so a run that returns after one goes on.
TEST_F(cf_run_loop_timer_test, due_timers_fire_by_date_then_order_and_do_not_end_a_run_that_returns_after_a_source)
{
    static std::vector<int> fired;
    fired.clear();
    timer_probe a, b, c;
    a.on_fire = [](CFRunLoopTimerRef, timer_probe&) { fired.push_back(1); };
    b.on_fire = [](CFRunLoopTimerRef, timer_probe&) { fired.push_back(2); };
    c.on_fire = [](CFRunLoopTimerRef, timer_probe&) { fired.push_back(3); };
    on_a_thread_of_its_own([&] {
        auto const now = CFAbsoluteTimeGetCurrent();
        CFRunLoopTimerRef late = make_timer(a, now - 1, 0, 0);
        CFRunLoopTimerRef early_second = make_timer(b, now - 2, 0, 5);
        CFRunLoopTimerRef early_first = make_timer(c, now - 2, 0, -5);
        for (auto* timer : {late, early_second, early_first})
            CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 60, true), kCFRunLoopRunFinished)
            << "no source was handled: the run ends when its mode is empty";
        for (auto* timer : {late, early_second, early_first})
            CFRelease(timer);
    });
    EXPECT_EQ(fired, (std::vector<int>{3, 2, 1}));
}

// A timer fires only while its loop runs a mode it is in; one in the common modes
// is in every common mode, also one made common later.
TEST_F(cf_run_loop_timer_test, fires_only_in_its_modes_and_the_common_modes_include_those_added_later)
{
    timer_probe probe;
    on_a_thread_of_its_own([&] {
        CFRunLoopRef loop = CFRunLoopGetCurrent();
        CFRunLoopTimerRef timer = make_timer(probe, CFAbsoluteTimeGetCurrent() - 1, 10);
        CFRunLoopAddTimer(loop, timer, kCFRunLoopCommonModes);
        EXPECT_EQ(CFRunLoopRunInMode(CFSTR("other"), 0, false), kCFRunLoopRunFinished);
        EXPECT_TRUE(probe.fired_at.empty());
        CFRunLoopAddCommonMode(loop, CFSTR("other"));
        EXPECT_TRUE(CFRunLoopContainsTimer(loop, timer, CFSTR("other")));
        CFRunLoopTimerSetNextFireDate(timer, CFAbsoluteTimeGetCurrent() - 1);
        EXPECT_EQ(CFRunLoopRunInMode(CFSTR("other"), 0, false), kCFRunLoopRunTimedOut);
        EXPECT_EQ(probe.fired_at.size(), 1u);
        CFRunLoopRemoveTimer(loop, timer, kCFRunLoopCommonModes);
        EXPECT_FALSE(CFRunLoopContainsTimer(loop, timer, kCFRunLoopDefaultMode));
        EXPECT_FALSE(CFRunLoopContainsTimer(loop, timer, CFSTR("other")));
        EXPECT_TRUE(CFRunLoopTimerIsValid(timer)) << "removed is not invalidated";
        CFRelease(timer);
    });
    EXPECT_EQ(probe.releases, 1);
}

void wait_until_asleep(CFRunLoopRef loop)
{
    while (!CFRunLoopIsWaiting(loop))
        std::this_thread::sleep_for(1ms);
}

// A loop asleep until a far deadline wakes for a timer added from another thread,
// and for one whose date another thread moves nearer.
TEST_F(cf_run_loop_timer_test, a_sleeping_loop_wakes_for_a_timer_added_or_moved_from_another_thread)
{
    timer_probe added, moved;
    added.on_fire = [](CFRunLoopTimerRef, timer_probe&) { CFRunLoopStop(CFRunLoopGetCurrent()); };
    moved.on_fire = added.on_fire;
    CFRunLoopTimerRef far = make_timer(moved, CFAbsoluteTimeGetCurrent() + 3600);
    std::promise<CFRunLoopRef> published;
    std::promise<void> first_run_over;
    std::thread thread([&] {
        CFRunLoopRef loop = CFRunLoopGetCurrent();
        CFRunLoopAddTimer(loop, far, kCFRunLoopDefaultMode);
        published.set_value(loop);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 3600, false), kCFRunLoopRunStopped);
        first_run_over.set_value();
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 3600, false), kCFRunLoopRunStopped);
    });
    CFRunLoopRef loop = published.get_future().get();
    wait_until_asleep(loop);
    CFRunLoopTimerRef near = make_timer(added, CFAbsoluteTimeGetCurrent() + 0.01);
    CFRunLoopAddTimer(loop, near, kCFRunLoopDefaultMode);
    first_run_over.get_future().wait();
    wait_until_asleep(loop);
    CFRunLoopTimerSetNextFireDate(far, CFAbsoluteTimeGetCurrent() + 0.01);
    thread.join();
    EXPECT_EQ(added.fired_at.size(), 1u);
    EXPECT_EQ(moved.fired_at.size(), 1u);
    CFRelease(near);
    CFRelease(far);
}

// A callout may invalidate and release its own timer; a timer is in one loop at
// most; an invalid timer joins none.
TEST_F(cf_run_loop_timer_test, a_callout_may_invalidate_its_timer_and_a_timer_belongs_to_one_loop)
{
    timer_probe probe;
    on_a_thread_of_its_own([&] {
        static CFRunLoopTimerRef own = nullptr;
        own = make_timer(probe, CFAbsoluteTimeGetCurrent() - 1, 0.001);
        probe.on_fire = [](CFRunLoopTimerRef timer, timer_probe&) {
            EXPECT_EQ(timer, own);
            CFRunLoopTimerInvalidate(timer);
            CFRelease(timer);
        };
        CFRunLoopAddTimer(CFRunLoopGetCurrent(), own, kCFRunLoopDefaultMode);
        on_a_thread_of_its_own([&] {
            CFRunLoopAddTimer(CFRunLoopGetCurrent(), own, kCFRunLoopDefaultMode);
            EXPECT_FALSE(CFRunLoopContainsTimer(CFRunLoopGetCurrent(), own, kCFRunLoopDefaultMode));
        });
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 60, false), kCFRunLoopRunFinished);
        EXPECT_EQ(probe.fired_at.size(), 1u);
    });
    EXPECT_EQ(probe.releases, 1);

    on_a_thread_of_its_own([] {
        CFRunLoopTimerRef timer = CFRunLoopTimerCreate(kCFAllocatorDefault, 0, 0, 0, 0, nullptr, nullptr);
        CFRunLoopTimerInvalidate(timer);
        CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
        EXPECT_FALSE(CFRunLoopContainsTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode));
        CFRelease(timer);
    });
}

TEST_F(cf_run_loop_timer_test, misuse_is_reported_and_the_call_does_nothing)
{
    on_a_thread_of_its_own([] {
        CFRunLoopAddTimer(CFRunLoopGetCurrent(), nullptr, kCFRunLoopDefaultMode);
        EXPECT_EQ(CFRunLoopTimerGetNextFireDate(nullptr), 0.0);
        CFRunLoopTimerContext versioned{1, nullptr, nullptr, nullptr, nullptr};
        EXPECT_EQ(CFRunLoopTimerCreate(kCFAllocatorDefault, 0, 0, 0, 0, nullptr, &versioned), nullptr);
        CFRunLoopTimerRef timer = CFRunLoopTimerCreate(kCFAllocatorDefault, 0, 0, 0, 0, nullptr, nullptr);
        CFRunLoopTimerGetContext(timer, nullptr);
        CFRelease(timer);
    });
    EXPECT_EQ(take_misuse_reports().size(), 4u);
}

} // namespace
