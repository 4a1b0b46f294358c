// Tests of the run-loop thread: its start-up and hand-over, a stop that no nested run can take, and a failed start.
#include "device/apple/detail/perform_on_run_loop.hpp"
#include "device/apple/detail/run_loop_thread.hpp"
#include "io_kit/cf/string.hpp"
#include "support/threaded_sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <cfloat>
#include <future>
#include <stdexcept>
#include <thread>

namespace {

using plinth::apple::detail::perform_on_run_loop;
using plinth::apple::detail::run_loop_thread;

CFStringRef served_mode()
{
    return CFSTR("served");
}

using run_loop_thread_test = plinth::testing::threaded_sim_test;

// `prepare` runs on the new thread with its loop, before that loop runs; the
// constructor returns with the loop running in its mode, and the destructor alone
// stops and joins it.
TEST_F(run_loop_thread_test, prepares_the_loop_on_its_thread_and_returns_once_it_runs)
{
    std::thread::id prepared_on;
    CFRunLoopRef prepared_loop = nullptr;
    bool running_when_prepared = true;
    {
        run_loop_thread thread(served_mode(), [&](CFRunLoopRef loop) {
            prepared_on = std::this_thread::get_id();
            prepared_loop = loop;
            running_when_prepared = CF::AutoPointer(CFRunLoopCopyCurrentMode(loop)).GetTypeRef() != nullptr;
        });
        EXPECT_EQ(prepared_loop, thread.get_run_loop());
        EXPECT_NE(prepared_on, std::this_thread::get_id());
        EXPECT_FALSE(running_when_prepared);
        EXPECT_EQ(CF::String(CF::AutoPointer(CFRunLoopCopyCurrentMode(thread.get_run_loop()))).GetValue(), "served");

        EXPECT_FALSE(thread.is_this_thread());
        std::promise<bool> on_loop;
        perform_on_run_loop(thread.get_run_loop(), served_mode(), [&] {
            on_loop.set_value(thread.is_this_thread() && std::this_thread::get_id() == prepared_on);
        });
        EXPECT_TRUE(on_loop.get_future().get());
    }
    EXPECT_EQ(plinth::testing::thread_count(), threads_before);
}

// A callback that runs the loop again, as a synchronous call inside a callback
// may, asks for the stop from inside that nested run. CFRunLoopStop would end only
// the nested run, in either mode, and the run it is nested in would go on serving.
TEST_F(run_loop_thread_test, a_stop_asked_for_inside_a_nested_run_ends_the_outer_run_too)
{
    for (CFStringRef const nested_mode : {served_mode(), CFSTR("nested")})
    {
        run_loop_thread thread(served_mode());
        std::promise<void> callback_returned;
        perform_on_run_loop(thread.get_run_loop(), served_mode(), [&] {
            perform_on_run_loop(CFRunLoopGetCurrent(), nested_mode, [&] { thread.stop(); });
            CFRunLoopRunInMode(nested_mode, DBL_MAX, false);
            callback_returned.set_value();
        });
        callback_returned.get_future().wait();
        EXPECT_TRUE(thread.stop_requested());
        thread.wait_until_ended();
    }
}

TEST_F(run_loop_thread_test, a_failure_while_preparing_reaches_the_constructor_and_ends_the_thread)
{
    auto const failing = [](CFRunLoopRef) { throw std::runtime_error("cannot prepare"); };
    EXPECT_THROW(run_loop_thread(served_mode(), failing), std::runtime_error);
    EXPECT_EQ(plinth::testing::thread_count(), threads_before);
}

} // namespace
