// Reads input reports in a coroutine, each raced against a timer, until the device is quiet for half a second.
#include "device/apple/hid_stream.hpp"
#include "first_hid_device.hpp"

#if !defined(__APPLE__)
#include "sim/control/hid.hpp"
#endif

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <array>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <variant>
#include <vector>

using namespace boost::asio::experimental::awaitable_operators;

boost::asio::awaitable<void> read_until_quiet(plinth::apple::hid_stream& stream)
{
    boost::asio::steady_timer timer(co_await boost::asio::this_coro::executor);
    std::array<std::uint8_t, 64> bytes{};
    std::uint8_t report_id = 0;
    for (;;)
    {
        timer.expires_after(std::chrono::milliseconds(500));
        // Whichever finishes first wins; the other is cancelled. A report that
        // loses the race is not lost: the next read gets it.
        auto const result =
            co_await (stream.async_read({&report_id, boost::asio::buffer(bytes)}, boost::asio::use_awaitable) ||
                      timer.async_wait(boost::asio::use_awaitable));
        if (result.index() == 1)
        {
            std::cout << "quiet for half a second\n";
            co_return;
        }
        std::cout << "report " << int(report_id) << ": " << std::get<0>(result) << " bytes\n";
    }
}

int main()
{
    using namespace plinth::apple;
    device const first = first_hid_device();
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), first);
    if (!stream.is_open())
        return 1;

#if !defined(__APPLE__)
    // Three key presses, waiting in the device until the coroutine reads them.
    for (std::uint8_t key : {0x0b, 0x08, 0x0f})
        plinth::sim::post_input_report(first.get_id(), 0, std::vector<std::uint8_t>{0x00, 0x00, key});
#endif
    boost::asio::co_spawn(context, read_until_quiet(stream), boost::asio::detached);
    context.run();
}
