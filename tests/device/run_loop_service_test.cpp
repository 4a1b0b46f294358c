// Tests of the run-loop service: its thread and read mode, a shutdown at any moment, and the wait for callbacks in flight.
#include "device/apple/detail/perform_on_run_loop.hpp"
#include "device/apple/run_loop_service.hpp"
#include "support/threaded_sim_test.hpp"

#include <boost/asio/io_context.hpp>

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

namespace {

using plinth::apple::run_loop_service;
using plinth::apple::detail::perform_on_run_loop;
using namespace std::chrono_literals;

// The run-loop service is registered only through the services derived from it.
class looping_service : public run_loop_service
{
public:
    static inline boost::asio::execution_context::id id;
    using run_loop_service::run_loop_service;
};

CFStringRef read_mode()
{
    return static_cast<CFStringRef>(run_loop_service::read_run_loop_mode.GetTypeRef());
}

using run_loop_service_test = plinth::testing::threaded_sim_test;

TEST_F(run_loop_service_test, read_mode_is_named_read)
{
    EXPECT_EQ(run_loop_service::read_run_loop_mode.GetValue(), "read");
}

TEST_F(run_loop_service_test, serves_its_own_loop_on_its_own_thread_once_constructed)
{
    boost::asio::io_context context;
    auto& service = boost::asio::use_service<looping_service>(context);
    ASSERT_NE(service.get_run_loop(), nullptr);
    EXPECT_EQ(plinth::testing::thread_count(), threads_before + 1);

    std::promise<std::thread::id> served;
    perform_on_run_loop(service.get_run_loop(), read_mode(), [&] { served.set_value(std::this_thread::get_id()); });
    auto const thread = served.get_future().get();
    EXPECT_NE(thread, std::this_thread::get_id());
}

TEST_F(run_loop_service_test, work_queued_in_the_default_mode_after_start_up_is_never_served)
{
    std::atomic<bool> default_ran{false};
    {
        boost::asio::io_context context;
        auto& service = boost::asio::use_service<looping_service>(context);
        perform_on_run_loop(service.get_run_loop(), kCFRunLoopDefaultMode, [&] { default_ran = true; });
        // Queued after the default-mode call and served: the loop ran since.
        std::promise<void> read_served;
        perform_on_run_loop(service.get_run_loop(), read_mode(), [&] { read_served.set_value(); });
        read_served.get_future().get();
        EXPECT_FALSE(default_ran);
    }
    // The unserved call went with the loop: nothing leaked, nothing ran late.
    EXPECT_FALSE(default_ran);
}

TEST_F(run_loop_service_test, shutdown_right_after_construction_ends_the_thread_every_time)
{
    // Each shutdown lands early in the thread's first run of the read mode: while
    // it still hands the loop over, or once it waits.
    for (int cycle = 0; cycle < 2000; ++cycle)
    {
        boost::asio::execution_context owner;
        run_loop_service service(owner);
        service.shutdown();
    }
    EXPECT_EQ(plinth::testing::thread_count(), threads_before);
}

TEST_F(run_loop_service_test, shutdown_while_the_loop_is_busy_in_a_callback_is_not_lost)
{
    std::promise<void> entered;
    std::promise<void> release;
    auto released = release.get_future();
    boost::asio::execution_context owner;
    run_loop_service service(owner);
    perform_on_run_loop(service.get_run_loop(), read_mode(), [&] {
        entered.set_value();
        released.wait();
    });
    entered.get_future().wait();
    service.shutdown();
    release.set_value();
}

TEST_F(run_loop_service_test, a_second_shutdown_is_harmless)
{
    boost::asio::io_context context;
    auto& service = boost::asio::use_service<looping_service>(context);
    service.shutdown();
    service.shutdown();
    // The context shuts its services down once more when it is destroyed.
}

// The wait for a callback under way: it returns only once that callback has, it
// cannot deadlock when a callback calls it on the loop's own thread, and after
// shutdown it waits for the loop to end rather than for work it will never run.
TEST_F(run_loop_service_test, finishing_callbacks_in_flight_waits_for_the_one_under_way)
{
    boost::asio::execution_context owner;
    run_loop_service service(owner);
    std::promise<void> entered;
    std::atomic<bool> returned{false};
    perform_on_run_loop(service.get_run_loop(), read_mode(), [&] {
        entered.set_value();
        service.finish_callbacks_in_flight(); // on its own thread: at once
        std::this_thread::sleep_for(50ms);
        returned = true;
    });
    entered.get_future().wait();
    service.finish_callbacks_in_flight();
    EXPECT_TRUE(returned);

    std::promise<void> release;
    auto released = release.get_future();
    std::promise<void> busy;
    perform_on_run_loop(service.get_run_loop(), read_mode(), [&] {
        busy.set_value();
        released.wait();
    });
    busy.get_future().wait();
    service.shutdown();
    auto after_shutdown = std::async(std::launch::async, [&] { service.finish_callbacks_in_flight(); });
    EXPECT_EQ(after_shutdown.wait_for(50ms), std::future_status::timeout) << "the loop is still in a callback";
    release.set_value();
    EXPECT_EQ(after_shutdown.wait_for(10s), std::future_status::ready);
}

} // namespace
