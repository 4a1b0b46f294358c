// Tests of queuing a call onto a run loop: it runs once on the loop's thread in its mode, or goes unrun with the loop.
#include "device/apple/detail/perform_on_run_loop.hpp"
#include "tests/support/sim_test.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <thread>

namespace {

using plinth::apple::detail::perform_on_run_loop;

class perform_on_run_loop_test : public plinth::testing::sim_test
{
};

// The call runs once, on the loop's thread, when the loop runs in the given mode.
TEST_F(perform_on_run_loop_test, runs_the_call_once_on_the_loop_thread_in_its_mode)
{
    std::promise<CFRunLoopRef> loop_promise;
    std::atomic<int> calls{0};
    std::thread::id ran_on;
    std::thread loop_thread([&] {
        CFRunLoopRef const loop = CFRunLoopGetCurrent();
        loop_promise.set_value(loop);
        while (calls.load() == 0)
            CFRunLoopRunInMode(CFSTR("read"), 0.05, true);
    });
    CFRunLoopRef const loop = loop_promise.get_future().get();
    perform_on_run_loop(loop, CFSTR("read"), [&] {
        ran_on = std::this_thread::get_id();
        ++calls;
    });
    auto const loop_id = loop_thread.get_id();
    loop_thread.join();
    EXPECT_EQ(calls.load(), 1);
    EXPECT_EQ(ran_on, loop_id);
}

// A call queued in a mode the loop never runs is destroyed unrun with the loop,
// and the sim_test fixture checks that no source is left behind.
TEST_F(perform_on_run_loop_test, destroys_an_unserved_call_when_its_loop_goes)
{
    auto const owned = std::make_shared<int>(0);
    std::weak_ptr<int> const watch = owned;
    bool ran = false;
    std::thread loop_thread([&, held = owned]() mutable {
        perform_on_run_loop(CFRunLoopGetCurrent(), CFSTR("read"), [&ran, kept = std::move(held)] { ran = true; });
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.01, true);
    });
    loop_thread.join();
    EXPECT_FALSE(ran);
    EXPECT_EQ(watch.use_count(), 1);
}

} // namespace
